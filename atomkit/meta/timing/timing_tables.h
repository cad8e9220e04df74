// TimingTables answers "which sample is decoded at this time, how much later is sample n shown, and
// which sample can be decoded by itself?" for one track: the boxes stts, ctts and stss. Lifetime:
// owns its tables; keeps no reference to the stream.
#pragma once
#include <cstddef>
#include <cstdint>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/meta/timing/timing_indexes.h"

namespace atomkit {

/// The absent index.
inline constexpr uint32_t kNoIndex = 0xffffffff;

struct SampleAtTime {
  uint32_t sample = 0;     ///< zero-based
  uint64_t remainder = 0;  ///< ticks from the start of the sample to the time
};

enum class Direction { backward, forward };

/// An entry of 'stts': `sampleCount` samples of `sampleDelta` ticks each.
struct TimeRun {
  uint32_t sampleCount;
  uint32_t sampleDelta;
};

/// Runs of samples that share a value, as 'stts' and 'ctts' list them.
class RunTable {
 public:
  /// Reads version and flags (both ignored) and the entry count, which it returns.
  /// @throws exception with `duplicateMessage` when the table already holds an entry; what
  ///         requireEntries() throws
  uint32_t readCount(AtomReader& reader, const char* duplicateMessage) const;
  /// Reads the entries, which the maker of their index sees.
  /// @throws what readU32Table() throws
  void readRuns(AtomReader& reader, uint32_t runs, TableBlocks& index);

  uint32_t count() const noexcept { return words_.count() / kRunWords; }

  /// The words of a run. @throws exception "array access out of range"
  const uint32_t* run(uint32_t run) const {
    // Compared as runs: the index of a word could wrap.
    return from(checkedIndex(run, count()));
  }

  // For a walk: the words of the runs from one on, their end, and the number of a run in between.
  /// @pre run <= count()
  const uint32_t* from(uint32_t run) const noexcept {
    return words_.data() + size_t{kRunWords} * run;
  }
  const uint32_t* end() const noexcept { return words_.data() + words_.count(); }
  uint32_t indexOf(const uint32_t* run) const noexcept {
    return static_cast<uint32_t>(run - words_.data()) / kRunWords;
  }

 private:
  PlainArray<uint32_t> words_;
};

/// A run and a place in it; both kNoIndex for a sample that no run holds.
struct PlaceInRun {
  uint32_t run = kNoIndex;
  uint32_t position = kNoIndex;
};

class TimingTables {
 public:
  // Each reader takes the payload of its box. All throw the stream's "past end" message, before
  // they allocate anything when the entry count doesn't fit, and "out of memory when resizing
  // array".

  /// 'stts'. @throws exception "duplicate stts data" when the table already holds an entry
  void readTimeToSample(AtomReader& reader);
  /// 'ctts'. @throws exception "duplicate ctts data" when the table already holds an entry
  void readCompositionOffsets(AtomReader& reader);
  /// 'stss'. Replaces what an earlier box gave.
  /// @throws exception "invalid stss data" when a number is 0 or not above the one before
  void readSyncSamples(AtomReader& reader);

  /// Sum of the sample counts of 'stts', wrapping at 2^32.
  uint32_t sampleCount() const noexcept { return timeIndex_.sampleCount(); }

  /// Sample that is being decoded at `time`.
  /// @param time  media ticks (the track's mdhd timescale)
  /// @throws exception "frame out of range" at or past the end of the table
  /// Cost: logarithmic in the number of runs, no I/O.
  SampleAtTime sampleAt(uint64_t time) const;

  /// The 'stts' run that holds `sample`; none past the table.
  /// @param decodeTime  receives the decoding time of the sample in ticks; 0 past the table
  /// Cost: logarithmic in the number of runs.
  PlaceInRun timePlace(uint32_t sample, uint64_t& decodeTime) const noexcept;

  /// The 'ctts' run that holds `sample`; none beyond the table.
  /// Cost: logarithmic in the number of runs.
  PlaceInRun compositionPlace(uint32_t sample) const noexcept;

  /// Ticks between decoding and showing `sample`; 0 for a sample beyond the table.
  /// Cost: logarithmic in the number of runs.
  int32_t compositionOffset(uint32_t sample) const noexcept;

  /// Sync sample at or before (backward), or at or after (forward), the sample that follows
  /// `sample`; the first or the last sync sample where there is none. Without a table every sample
  /// is a sync sample and its own answer.
  /// Cost: logarithmic in the number of sync samples.
  uint32_t nearestSyncSample(uint32_t sample, Direction direction) const;

  uint32_t timeRunCount() const noexcept { return timeToSample_.count(); }
  /// @throws exception "array access out of range"
  TimeRun timeRun(uint32_t index) const {
    const uint32_t* const run = timeToSample_.run(index);
    return {run[kRunSamples], run[kRunValue]};
  }

  uint32_t compositionRunCount() const noexcept { return composition_.count(); }
  /// Samples of a 'ctts' run. @throws exception "array access out of range"
  uint32_t compositionRunLength(uint32_t index) const {
    return composition_.run(index)[kRunSamples];
  }
  /// Offset of a 'ctts' run in ticks. @throws exception "array access out of range"
  int32_t compositionRunOffset(uint32_t index) const {
    return static_cast<int32_t>(composition_.run(index)[kRunValue]);
  }

 private:
  RunTable timeToSample_;  // values: ticks
  TimeIndex timeIndex_;
  RunTable composition_;              // values: ticks, signed
  RunIndex compositionIndex_;         // samples
  PlainArray<uint32_t> syncSamples_;  // zero-based, strictly increasing
};

}  // namespace atomkit
