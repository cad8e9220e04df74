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

/// An entry of 'stts': `sampleCount` samples of `sampleDelta` ticks each.
struct TimeRun {
  uint32_t sampleCount;
  uint32_t sampleDelta;
};

/// An entry of 'ctts': `sampleCount` samples that are shown `sampleOffset` ticks after decoding.
struct CompositionRun {
  uint32_t sampleCount;
  int32_t sampleOffset;
};

class TimingTables {
 public:
  // Each reader takes the payload of its box. All of them throw the reader's "past end" message,
  // before anything is allocated when the entry count doesn't fit, and "out of memory when resizing
  // array".

  /// 'stts'. @throws exception "duplicate stts data" when the table already holds an entry
  void readTimeToSample(AtomReader& reader);
  /// 'ctts'. @throws exception "duplicate ctts data" when the table already holds an entry
  void readCompositionOffsets(AtomReader& reader);
  /// 'stss'. Replaces what an earlier box gave. @throws exception "invalid stss data" when a sample
  /// number is 0 or not above the one before
  void readSyncSamples(AtomReader& reader);

  /// Sum of the sample counts of 'stts', wrapping at 2^32.
  uint32_t sampleCount() const noexcept { return sampleCount_; }

  /// Sample that is being decoded at `time`.
  /// @param time  media ticks (the track's mdhd timescale)
  /// @throws exception "frame out of range" at or past the end of the table
  /// Cost: linear in the number of runs, no I/O.
  SampleAtTime sampleAt(uint64_t time) const;

  /// Ticks between decoding and showing `sample`; 0 for a sample beyond the table.
  /// Cost: linear in the number of runs.
  int32_t compositionOffset(uint32_t sample) const noexcept;

  /// Sync sample at or before (backward), or at or after (forward), the one that follows `sample`,
  /// kept within the table; without a table every sample is a sync sample and is its own answer.
  /// Cost: logarithmic in the number of sync samples.
  uint32_t nearestSyncSample(uint32_t sample, Direction direction) const;

  uint32_t timeRunCount() const noexcept { return timeToSample_.count(); }
  /// @throws exception "array access out of range"
  const TimeRun& timeRun(uint32_t index) const { return timeToSample_[index]; }

  uint32_t compositionRunCount() const noexcept { return composition_.count(); }
  /// Samples of a 'ctts' run. @throws exception "array access out of range"
  uint32_t compositionRunLength(uint32_t index) const { return composition_[index].sampleCount; }
  /// Offset of a 'ctts' run in ticks. @throws exception "array access out of range"
  int32_t compositionRunOffset(uint32_t index) const { return composition_[index].sampleOffset; }

 private:
  uint32_t sampleCount_ = 0;
  PlainArray<TimeRun> timeToSample_;
  PlainArray<CompositionRun> composition_;
  PlainArray<uint32_t> syncSamples_;  // zero-based, strictly increasing
};

}  // namespace atomkit
