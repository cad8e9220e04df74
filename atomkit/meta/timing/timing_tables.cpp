#include "atomkit/meta/timing/timing_tables.h"

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/value_readers.h"

namespace atomkit {

// DELIBERATE D-321: a second box is an error only when the table holds an entry; after a box
// without entries it fills the table.
void RunTable::read(AtomReader& reader, const char* duplicateMessage) {
  if (count() > 0) throw exception(duplicateMessage);
  skipVersionAndFlags(reader);
  const uint32_t runs = readU32(reader);
  // The bytes of the table fit 32 bits from here on, and so does its number of words.
  requireEntries(reader, runs, kWordsPerRun * sizeof(uint32_t));
  readU32Table(reader, words_, kWordsPerRun * runs);
}

// 'stts' TimeToSampleBox
//   u8 version, u24 flags (both ignored), u32 entry_count,
//   entry_count x { u32 sample_count, u32 sample_delta }
//
// DELIBERATE D-320: the number of samples is the total of the counts, which wraps at 2^32.
void TimingTables::readTimeToSample(AtomReader& reader) {
  timeToSample_.read(reader, "duplicate stts data");
  uint32_t total = 0;
  for (uint32_t i = 0; i < timeToSample_.count(); ++i) total += timeToSample_.sampleCount(i);
  sampleCount_ = total;
}

// 'ctts' CompositionOffsetBox
//   u8 version, u24 flags (both ignored), u32 entry_count,
//   entry_count x { u32 sample_count, i32 sample_offset }
// The offset is signed in both versions of the box: many files have negative offsets in version 0.
void TimingTables::readCompositionOffsets(AtomReader& reader) {
  composition_.read(reader, "duplicate ctts data");
}

// 'stss' SyncSampleBox
//   u8 version, u24 flags (both ignored), u32 entry_count,
//   entry_count x u32 sample number (one-based, rising)
void TimingTables::readSyncSamples(AtomReader& reader) {
  readU32(reader);
  const uint32_t count = readU32(reader);
  requireEntries(reader, count, sizeof(uint32_t));
  readU32Table(reader, syncSamples_, count);
  uint32_t previous = 0;
  for (uint32_t i = 0; i < count; ++i) {
    const uint32_t number = syncSamples_[i];
    if (number <= previous) throw exception("invalid stss data");
    previous = number;
    syncSamples_[i] = number - 1;
  }
}

// DELIBERATE D-320: a walk through the runs adds their counts in 32 bits, which wrap like the
// total, here and in the cursor. The times wrap only in tables that no real file has. The walk goes
// on while the time is at or past the end of a run, so the subtraction doesn't wrap. A run of delta
// 0 never stops the walk, so the divisor is not 0.
SampleAtTime TimingTables::sampleAt(uint64_t time) const {
  uint32_t samples = 0;
  uint64_t start = 0;
  for (uint32_t i = 0; i < timeToSample_.count(); ++i) {
    const TimeRun run = timeRun(i);
    const uint64_t end = start + uint64_t{run.sampleCount} * run.sampleDelta;
    if (time < end) {
      const uint64_t inRun = time - start;
      return {samples + static_cast<uint32_t>(inRun / run.sampleDelta), inRun % run.sampleDelta};
    }
    samples += run.sampleCount;
    start = end;
  }
  throw exception(kFrameOutOfRange);
}

int32_t TimingTables::compositionOffset(uint32_t sample) const noexcept {
  uint32_t end = 0;
  for (uint32_t i = 0; i < composition_.count(); ++i) {
    end += compositionRunLength(i);
    if (sample < end) return compositionRunOffset(i);
  }
  return 0;
}

// DELIBERATE D-322: the one-based number of the sample is compared with the zero-based entries, so
// the answer is the one for the following sample.
uint32_t TimingTables::nearestSyncSample(uint32_t sample, Direction direction) const {
  if (syncSamples_.count() == 0) return sample;
  const uint32_t key = sample + 1;
  uint32_t low = 0;
  uint32_t high = syncSamples_.count() - 1;
  if (key <= syncSamples_[low]) return syncSamples_[low];
  if (key >= syncSamples_[high]) return syncSamples_[high];
  while (low + 1 < high) {
    const uint32_t middle = (low + high) / 2;
    if (syncSamples_[middle] == key) return key;
    (syncSamples_[middle] > key ? high : low) = middle;
  }
  return syncSamples_[direction == Direction::forward ? high : low];
}

}  // namespace atomkit
