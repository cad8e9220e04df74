#include "atomkit/meta/timing/sample_cursor.h"

#include <cstddef>

namespace atomkit {

static_assert(offsetof(SampleCursor, sample) == 0);
static_assert(offsetof(SampleCursor, track) == 4);
static_assert(offsetof(SampleCursor, compositionRun) == 8);
static_assert(offsetof(SampleCursor, compositionPosition) == 12);
static_assert(offsetof(SampleCursor, timeRun) == 16);
static_assert(offsetof(SampleCursor, timePosition) == 20);
static_assert(offsetof(SampleCursor, decodeTime) == 24);
static_assert(offsetof(SampleCursor, offsetInChunk) == 32);
static_assert(offsetof(SampleCursor, chunkMap) == 40);
static_assert(offsetof(SampleCursor, chunk) == 48);
static_assert(sizeof(SampleCursor) == 56);
static_assert(offsetof(ChunkMapPosition, entry) == 0);
static_assert(offsetof(ChunkMapPosition, firstSample) == 4);
static_assert(offsetof(ChunkLocation, chunk) == 0);
static_assert(offsetof(ChunkLocation, firstSample) == 4);

static_assert(offsetof(SampleInfo, duration) < offsetof(SampleInfo, compositionTime));
static_assert(offsetof(SampleInfo, compositionTime) < offsetof(SampleInfo, compositionOffset));
static_assert(offsetof(SampleInfo, compositionOffset) < offsetof(SampleInfo, timescale));
static_assert(offsetof(SampleInfo, timescale) < offsetof(SampleInfo, fileOffset));
static_assert(offsetof(SampleInfo, fileOffset) < offsetof(SampleInfo, size));

namespace {

void placeInComposition(const TimingTables& timing, SampleCursor& cursor, uint32_t sample) {
  cursor.compositionRun = kNoIndex;
  cursor.compositionPosition = kNoIndex;
  uint32_t first = 0;
  for (uint32_t run = 0; run < timing.compositionRunCount(); ++run) {
    const uint32_t end = first + timing.compositionRunLength(run);
    if (sample < end) {
      cursor.compositionRun = run;
      cursor.compositionPosition = sample - first;
      return;
    }
    first = end;
  }
}

// DELIBERATE D-325: a sample past the time table is not an error: it has no run, and its decoding
// time and duration are 0.
void placeInTime(const TimingTables& timing, SampleCursor& cursor, uint32_t sample) {
  cursor.timeRun = kNoIndex;
  cursor.timePosition = kNoIndex;
  cursor.decodeTime = 0;
  uint32_t first = 0;
  uint64_t start = 0;
  for (uint32_t index = 0; index < timing.timeRunCount(); ++index) {
    const TimeRun run = timing.timeRun(index);
    const uint32_t end = first + run.sampleCount;
    if (sample < end) {
      cursor.timeRun = index;
      cursor.timePosition = sample - first;
      cursor.decodeTime = start + uint64_t{run.sampleDelta} * cursor.timePosition;
      return;
    }
    first = end;
    start += uint64_t{run.sampleCount} * run.sampleDelta;
  }
}

// DELIBERATE D-328: a step goes to the next run whatever its length, so the cursor stands on a run
// of no samples for one sample. A reposition passes over such a run.
template <class RunLength>
void stepInRuns(uint32_t& run, uint32_t& position, uint32_t runCount, RunLength runLength) {
  ++position;
  if (position < runLength(run)) return;
  position = 0;
  ++run;
  if (run >= runCount) run = position = kNoIndex;
}

}  // namespace

// DELIBERATE D-327: the fields are set as they are found, the sample number first; a lookup that
// throws leaves the cursor on the new number with the rest half done.
uint64_t reposition(const TrackRecord& record, SampleCursor& cursor, uint32_t sample) {
  cursor.sample = sample;
  placeInComposition(record.timing, cursor, sample);
  placeInTime(record.timing, cursor, sample);
  cursor.chunkMap = {};
  cursor.chunk = record.samples.locateChunk(sample, cursor.chunkMap);
  cursor.offsetInChunk = record.samples.bytesBetween(cursor.chunk.firstSample, sample);
  return cursor.offsetInChunk;
}

bool step(const TrackRecord& record, SampleCursor& cursor) {
  const TimingTables& timing = record.timing;
  // In 64 bits: no sample follows the largest number.
  if (uint64_t{cursor.sample} + 1 >= timing.sampleCount()) return false;
  ++cursor.sample;

  if (cursor.compositionRun != kNoIndex) {
    stepInRuns(cursor.compositionRun, cursor.compositionPosition, timing.compositionRunCount(),
               [&](uint32_t run) { return timing.compositionRunLength(run); });
  }
  if (cursor.timeRun != kNoIndex) {
    cursor.decodeTime += timing.timeRun(cursor.timeRun).sampleDelta;
    stepInRuns(cursor.timeRun, cursor.timePosition, timing.timeRunCount(),
               [&](uint32_t run) { return timing.timeRun(run).sampleCount; });
  }

  const uint32_t previousFirst = cursor.chunk.firstSample;
  cursor.chunk = record.samples.locateChunk(cursor.sample, cursor.chunkMap);
  if (cursor.chunk.firstSample != previousFirst) {
    cursor.offsetInChunk = record.samples.bytesBetween(cursor.chunk.firstSample, cursor.sample);
  } else {
    cursor.offsetInChunk += record.samples.bytesBetween(cursor.sample - 1, cursor.sample);
  }
  return true;
}

// DELIBERATE D-323: the composition time adds the offset as an unsigned word, so a negative offset
// gives a time 2^32 ticks too late.
uint32_t sampleInfo(const TrackRecord& record, const SampleCursor& cursor, SampleInfo& info) {
  const TimingTables& timing = record.timing;
  info.compositionOffset =
      cursor.compositionRun == kNoIndex ? 0 : timing.compositionRunOffset(cursor.compositionRun);
  if (cursor.timeRun == kNoIndex) {
    info.duration = 0;
    info.compositionTime = 0;
  } else {
    info.duration = timing.timeRun(cursor.timeRun).sampleDelta;
    info.compositionTime = cursor.decodeTime + static_cast<uint32_t>(info.compositionOffset);
  }
  info.timescale = record.mediaTimescale;
  info.fileOffset = record.samples.chunkOffset(cursor.chunk.chunk) + cursor.offsetInChunk;
  info.size = record.samples.sampleSize(cursor.sample);
  return info.size;
}

}  // namespace atomkit
