// TimingTables answers "which sample is decoded at this time, when is sample n shown, and which
// sample can be decoded by itself?" for one track: the boxes stts, ctts and stss. Lifetime: owns
// its tables; keeps no reference to the stream.
#pragma once
#include <cstdint>

#include "atomkit/core/byte_stream.h"
#include "atomkit/core/plain_array.h"

namespace atomkit {

/// Index that stands for "none".
inline constexpr uint32_t kNoIndex = 0xffffffff;

struct SampleAtTime {
  uint32_t sample = 0;     ///< zero-based
  uint64_t remainder = 0;  ///< ticks of the time that lie inside the sample
};

enum class Direction { backward, forward };

/// A run of 'stts': `sampleCount` samples of `sampleDelta` ticks each.
struct TimeRun {
  uint32_t sampleCount;
  uint32_t sampleDelta;
};

class TimingTables {
 public:
  /// 'stts'. @throws exception "duplicate stts data" when the table already holds an entry
  void readTimeToSample(AtomReader& reader);
  /// 'ctts'. @throws exception "duplicate ctts data" when the table already holds an entry
  void readCompositionOffsets(AtomReader& reader);
  /// 'stss'. @throws exception "invalid stss data"
  void readSyncSamples(AtomReader& reader);

  /// Sum of the sample counts of 'stts', wrapping at 2^32.
  uint32_t sampleCount() const noexcept { return sampleCount_; }

  /// Sample that is being decoded at `time`.
  /// @param time  media ticks (the track's mdhd timescale)
  /// @throws exception "frame out of range" at or past the end of the table
  /// Cost: linear in the number of runs, no I/O.
  SampleAtTime sampleAt(uint64_t time) const;

  /// Ticks between decoding and showing `sample`; 0 for a sample beyond the table.
  int32_t compositionOffset(uint32_t sample) const;

  /// Sync sample at or before (backward), or at or after (forward), `sample`; without a table every
  /// sample is one.
  uint32_t nearestSyncSample(uint32_t sample, Direction direction) const;

  uint32_t timeRunCount() const noexcept { return timeToSample_.count(); }
  /// @throws exception "array access out of range"
  const TimeRun& timeRun(uint32_t index) const { return timeToSample_[index]; }

  uint32_t compositionRunCount() const noexcept { return composition_.count() / 2; }
  /// Samples of a 'ctts' run. @throws exception "array access out of range"
  uint32_t compositionRunLength(uint32_t index) const;
  /// Offset of a 'ctts' run in ticks. @throws exception "array access out of range"
  int32_t compositionRunOffset(uint32_t index) const;

 private:
  uint32_t sampleCount_ = 0;
  PlainArray<TimeRun> timeToSample_;
  PlainArray<uint32_t> composition_;  // two words a run: sample count, signed offset
  PlainArray<uint32_t> syncSamples_;  // zero-based, strictly increasing
};

}  // namespace atomkit
