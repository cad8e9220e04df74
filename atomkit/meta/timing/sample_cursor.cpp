#include "atomkit/meta/timing/sample_cursor.h"

#include <cstddef>

#include "atomkit/core/containers/exception.h"

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

// DELIBERATE D-328: a step goes to the next run whatever its length, so the cursor stands on a run
// of no samples for one sample. A reposition passes over such a run.
void stepInRuns(uint32_t& run, uint32_t& position, uint32_t runLength, uint32_t runCount) {
  if (position < runLength) return;
  position = 0;
  ++run;
  if (run >= runCount) run = position = kNoIndex;
}

}  // namespace

// DELIBERATE D-327: the fields are set as they are found, the sample number first; a lookup that
// throws leaves the cursor on the new number with the rest half done.
uint64_t reposition(const TrackRecord& record, SampleCursor& cursor, uint32_t sample) {
  cursor.sample = sample;
  const PlaceInRun composition = record.timing.compositionPlace(sample);
  cursor.compositionRun = composition.run;
  cursor.compositionPosition = composition.position;
  const PlaceInRun time = record.timing.timePlace(sample, cursor.decodeTime);
  cursor.timeRun = time.run;
  cursor.timePosition = time.position;
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
    ++cursor.compositionPosition;
    stepInRuns(cursor.compositionRun, cursor.compositionPosition,
               timing.compositionRunLength(cursor.compositionRun), timing.compositionRunCount());
  }
  if (cursor.timeRun != kNoIndex) {
    const TimeRun run = timing.timeRun(cursor.timeRun);
    cursor.decodeTime += run.sampleDelta;
    ++cursor.timePosition;
    stepInRuns(cursor.timeRun, cursor.timePosition, run.sampleCount, timing.timeRunCount());
  }

  const uint32_t previousFirst = cursor.chunk.firstSample;
  record.samples.locateNext(cursor.sample, cursor.chunkMap, cursor.chunk);
  if (cursor.chunk.firstSample != previousFirst) {
    cursor.offsetInChunk = record.samples.bytesBetween(cursor.chunk.firstSample, cursor.sample);
  } else {
    cursor.offsetInChunk += record.samples.bytesOfSampleBefore(cursor.sample);
  }
  return true;
}

void move(const TrackRecord& record, SampleCursor& cursor, uint32_t sample) {
  if (sample == cursor.sample) return;
  // In 64 bits: sample 0 does not follow the largest number.
  if (sample != uint64_t{cursor.sample} + 1) {
    reposition(record, cursor, sample);
  } else if (!step(record, cursor)) {
    throw exception("error advancing iterator");
  }
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
