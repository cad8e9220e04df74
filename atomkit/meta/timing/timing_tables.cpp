#include "atomkit/meta/timing/timing_tables.h"

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/table_readers.h"
#include "atomkit/core/streams/value_readers.h"

namespace atomkit {
namespace {

// Sample and remainder of a time in samples of equal length. Two words are divided only where the
// time needs both, as not every machine can divide them by itself.
SampleAtTime divided(uint64_t time, uint32_t delta) {
  if (time <= UINT32_MAX) {
    const auto ticks = static_cast<uint32_t>(time);
    return {ticks / delta, ticks % delta};
  }
  return {static_cast<uint32_t>(time / delta), time % delta};
}

}  // namespace

// DELIBERATE D-321: a second box is an error only when the table holds an entry; after a box
// without entries it fills the table.
uint32_t RunTable::readCount(AtomReader& reader, const char* duplicateMessage) const {
  if (count() > 0) throw exception(duplicateMessage);
  skipVersionAndFlags(reader);
  const uint32_t runs = readU32(reader);
  // The bytes of the table fit 32 bits from here on, and so does its number of words.
  requireEntries(reader, runs, kRunWords * sizeof(uint32_t));
  return runs;
}

void RunTable::readRuns(AtomReader& reader, uint32_t runs, TableBlocks& index) {
  readU32Table(reader, words_, runs * kRunWords, &index);
}

// 'stts' TimeToSampleBox
//   u8 version, u24 flags (both ignored), u32 entry_count,
//   entry_count x { u32 sample_count, u32 sample_delta }
//
// DELIBERATE D-320: the number of samples is the total of the counts, which wraps at 2^32.
void TimingTables::readTimeToSample(AtomReader& reader) {
  const uint32_t runs = timeToSample_.readCount(reader, "duplicate stts data");
  TimeIndexBuilder index(runs);
  timeToSample_.readRuns(reader, runs, index);
  timeIndex_ = index.finish();
}

// 'ctts' CompositionOffsetBox
//   u8 version, u24 flags (both ignored), u32 entry_count,
//   entry_count x { u32 sample_count, i32 sample_offset }
// The offset is signed in both versions of the box: many files have negative offsets in version 0.
void TimingTables::readCompositionOffsets(AtomReader& reader) {
  const uint32_t runs = composition_.readCount(reader, "duplicate ctts data");
  CompositionIndexBuilder index(runs);
  composition_.readRuns(reader, runs, index);
  compositionIndex_ = index.finish();
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
// total. The times wrap only in tables that no real file has. The walk goes on while the time is at
// or past the end of a run, so the subtraction doesn't wrap. A run of delta 0 never stops the walk,
// so the divisor is not 0.
SampleAtTime TimingTables::sampleAt(uint64_t time) const {
  auto [first, samples, start] = timeIndex_.beforeTime(time);
  const uint32_t* const end = timeToSample_.end();
  for (const uint32_t* run = timeToSample_.from(first); run != end; run += kRunWords) {
    const uint64_t runEnd = start + uint64_t{run[kRunSamples]} * run[kRunValue];
    if (time < runEnd) {
      const SampleAtTime inRun = divided(time - start, run[kRunValue]);
      return {samples + inRun.sample, inRun.remainder};
    }
    samples += run[kRunSamples];
    start = runEnd;
  }
  throw exception(kFrameOutOfRange);
}

// DELIBERATE D-325: a sample past the time table is not an error: it has no run, and its decoding
// time and duration are 0.
PlaceInRun TimingTables::timePlace(uint32_t sample, uint64_t& decodeTime) const noexcept {
  auto [first, samples, start] = timeIndex_.beforeSample(sample);
  const uint32_t* const end = timeToSample_.end();
  for (const uint32_t* run = timeToSample_.from(first); run != end; run += kRunWords) {
    const uint32_t runEnd = samples + run[kRunSamples];
    if (sample < runEnd) {
      decodeTime = start + uint64_t{run[kRunValue]} * (sample - samples);
      return {timeToSample_.indexOf(run), sample - samples};
    }
    start += uint64_t{run[kRunSamples]} * run[kRunValue];
    samples = runEnd;
  }
  decodeTime = 0;
  return {};
}

PlaceInRun TimingTables::compositionPlace(uint32_t sample) const noexcept {
  const uint32_t block = compositionIndex_.blockOf(sample);
  auto samples = static_cast<uint32_t>(compositionIndex_.totalBefore(block));
  const uint32_t* const end = composition_.end();
  for (const uint32_t* run = composition_.from(block * kBlockEntries); run != end;
       run += kRunWords) {
    const uint32_t runEnd = samples + run[kRunSamples];
    if (sample < runEnd) return {composition_.indexOf(run), sample - samples};
    samples = runEnd;
  }
  return {};
}

int32_t TimingTables::compositionOffset(uint32_t sample) const noexcept {
  const PlaceInRun place = compositionPlace(sample);
  if (place.run == kNoIndex) return 0;
  return static_cast<int32_t>(composition_.from(place.run)[kRunValue]);
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
