#include "atomkit/meta/timing/sample_cursor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>

#include "tests/atomkit/meta/timing/track_fixture.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/throws_message.h"

using namespace atomkit;
using namespace boxes;

namespace {

// The fields of a cursor in order, to compare and print.
std::vector<uint64_t> fields(const SampleCursor& c) {
  return {c.sample,         c.track,
          c.compositionRun, c.compositionPosition,
          c.timeRun,        c.timePosition,
          c.decodeTime,     c.offsetInChunk,
          c.chunkMap.entry, c.chunkMap.firstSample,
          c.chunk.chunk,    c.chunk.firstSample};
}

std::vector<uint64_t> fields(const SampleInfo& i) {
  return {i.duration,  i.compositionTime, static_cast<uint32_t>(i.compositionOffset),
          i.timescale, i.fileOffset,      i.size};
}

SampleInfo infoAt(const TrackRecord& record, const SampleCursor& cursor) {
  SampleInfo info;
  EXPECT_EQ(sampleInfo(record, cursor, info), info.size);
  return info;
}

SampleCursor cursorOn(const TrackRecord& record, uint32_t sample) {
  SampleCursor cursor;
  EXPECT_EQ(reposition(record, cursor, sample), cursor.offsetInChunk);
  return cursor;
}

// What plain counting says about every sample of a track, or about its first `limit` samples.
std::vector<SampleInfo> expandedTrack(const TrackTables& tables, size_t limit = SIZE_MAX) {
  std::vector<SampleInfo> samples;
  uint64_t time = 0;
  for (const auto& [count, delta] : tables.times) {
    for (uint32_t i = 0; i < count; ++i, time += delta) {
      SampleInfo info;
      info.duration = delta;
      info.compositionTime = time;
      info.timescale = tables.timescale;
      samples.push_back(info);
    }
  }
  if (samples.size() > limit) samples.resize(limit);
  const std::vector<int32_t> offsets = expandedOffsets(tables.offsets);
  for (size_t i = 0; i < samples.size() && i < offsets.size(); ++i) {
    samples[i].compositionOffset = offsets[i];
    samples[i].compositionTime += static_cast<uint32_t>(offsets[i]);
  }
  // Chunk by chunk; the last run goes on without end, and so does the last chunk's offset.
  size_t next = 0;
  for (uint32_t chunk = 1; next < samples.size(); ++chunk) {
    uint32_t inChunk = 0;
    for (const ChunkRun& run : tables.chunkRuns) {
      if (run.firstChunk <= chunk) inChunk = run.samplesPerChunk;
    }
    uint64_t place = tables.chunkOffsets[std::min<size_t>(chunk, tables.chunkOffsets.size()) - 1];
    for (uint32_t i = 0; i < inChunk && next < samples.size(); ++i, ++next) {
      samples[next].fileOffset = place;
      samples[next].size = tables.constantSize ? tables.constantSize : tables.sizes[next];
      place += samples[next].size;
    }
  }
  return samples;
}

TrackTables randomTrack(SeededRandom& random) {
  TrackTables tables;
  tables.timescale = 1 + random.below(90000);
  do {
    tables.times = randomTimeEntries(random);
  } while (tables.times.empty());
  tables.offsets = randomOffsetEntries(random);
  uint32_t samples = 0;
  for (const auto& [count, delta] : tables.times) samples += count;
  if (random.oneIn(3)) {
    tables.constantSize = 1 + random.below(5000);
  } else {
    for (uint32_t i = 0; i < samples; ++i) tables.sizes.push_back(random.below(5000));
  }
  uint32_t firstChunk = 1;
  for (uint32_t i = 1 + random.below(5); i > 0; --i) {
    tables.chunkRuns.push_back({firstChunk, 1 + random.below(6)});
    firstChunk += 1 + random.below(4);
  }
  for (uint32_t i = 1 + random.below(20); i > 0; --i) {
    tables.chunkOffsets.push_back((uint64_t{random.word()} << 16) + random.word());
  }
  return tables;
}

// Two runs, composition offsets, three chunks of two samples.
TrackTables smallTrack() {
  return {.times = {{3, 1000}, {2, 500}},
          .offsets = {{2, 100}, {3, 40}},
          .sizes = {10, 20, 30, 40, 50},
          .chunkRuns = {{1, 2}},
          .chunkOffsets = {1000, 2000, 3000}};
}

// Both timing tables have runs of no samples before, between and after the others.
TrackTables trackWithEmptyRuns() {
  return {.times = {{0, 7}, {2, 10}, {0, 99}, {0, 98}, {4, 20}, {0, 97}},
          .offsets = {{0, 1}, {1, 5}, {0, 2}, {0, 3}, {2, 6}, {0, 4}},
          .constantSize = 4,
          .chunkRuns = {{1, 6}},
          .chunkOffsets = {100}};
}

template <class Entry>
void dropEmptyRuns(std::vector<Entry>& entries) {
  std::erase_if(entries, [](const Entry& entry) { return entry.first == 0; });
}

TrackTables withoutEmptyRuns(TrackTables tables) {
  dropEmptyRuns(tables.times);
  dropEmptyRuns(tables.offsets);
  return tables;
}

// The runs that a walk from sample 0 goes through: it begins in the first one with a sample, and
// stands on every later one for one sample at least.
template <class Entry>
void standOnEmptyRuns(std::vector<Entry>& entries) {
  const auto first = std::find_if(entries.begin(), entries.end(),
                                  [](const Entry& entry) { return entry.first != 0; });
  entries.erase(entries.begin(), first);
  for (Entry& entry : entries) entry.first = std::max(entry.first, 1u);
}

void expectSeeksFindTheExpandedSamples(const TrackTables& tables) {
  TrackRecord record;
  fillTrack(record, tables);
  const std::vector<SampleInfo> expected = expandedTrack(tables);
  ASSERT_EQ(record.timing.sampleCount(), expected.size());
  for (uint32_t sample = 0; sample < expected.size(); ++sample) {
    ASSERT_EQ(fields(infoAt(record, cursorOn(record, sample))), fields(expected[sample]))
        << "sample " << sample;
  }
}

void expectStepsStandOnEmptyRuns(const TrackTables& tables) {
  TrackRecord record;
  fillTrack(record, tables);
  const uint32_t count = record.timing.sampleCount();
  if (count == 0) return;
  TrackTables stoodOn = tables;
  standOnEmptyRuns(stoodOn.times);
  standOnEmptyRuns(stoodOn.offsets);
  const std::vector<SampleInfo> expected = expandedTrack(stoodOn, count);
  ASSERT_EQ(expected.size(), count);
  SampleCursor cursor = cursorOn(record, 0);
  for (uint32_t sample = 0; sample < count; ++sample) {
    ASSERT_EQ(cursor.sample, sample);
    ASSERT_EQ(fields(infoAt(record, cursor)), fields(expected[sample])) << "sample " << sample;
    ASSERT_EQ(step(record, cursor), sample + 1 < count);
  }
}

// For tracks without empty runs.
void expectStepsEqualSeeks(const TrackTables& tables) {
  TrackRecord record;
  fillTrack(record, tables);
  const uint32_t count = record.timing.sampleCount();
  if (count == 0) return;
  SampleCursor stepped = cursorOn(record, 0);
  for (uint32_t sample = 0; sample < count; ++sample) {
    ASSERT_EQ(fields(stepped), fields(cursorOn(record, sample))) << "sample " << sample;
    ASSERT_EQ(step(record, stepped), sample + 1 < count);
  }
}

}  // namespace

TEST(SampleCursor, SeekSetsEveryField) {
  TrackRecord record;
  fillTrack(record, smallTrack());
  SampleCursor cursor;
  cursor.track = 77;
  EXPECT_EQ(reposition(record, cursor, 3), 30u);
  EXPECT_EQ(fields(cursor), (std::vector<uint64_t>{3, 77, 1, 1, 1, 0, 3000, 30, 1, 0, 2, 2}));
}

TEST(SampleCursor, InfoTellsTimePlaceAndSize) {
  TrackRecord record;
  fillTrack(record, smallTrack());
  const SampleInfo info = infoAt(record, cursorOn(record, 3));
  EXPECT_EQ(info.duration, 500u);
  EXPECT_EQ(info.compositionTime, 3040u);
  EXPECT_EQ(info.compositionOffset, 40);
  EXPECT_EQ(info.timescale, 48000u);
  EXPECT_EQ(info.fileOffset, 2030u);
  EXPECT_EQ(info.size, 40u);
}

TEST(SampleCursor, StaysOnTheLastSample) {
  TrackRecord record;
  fillTrack(record, smallTrack());
  SampleCursor cursor = cursorOn(record, 4);
  const std::vector<uint64_t> before = fields(cursor);
  EXPECT_FALSE(step(record, cursor));
  EXPECT_FALSE(step(record, cursor));
  EXPECT_EQ(fields(cursor), before);
}

TEST(SampleCursor, TrackWithoutSamplesHasNoNextOne) {
  TrackRecord record;
  SampleCursor cursor;
  EXPECT_FALSE(step(record, cursor));
  EXPECT_EQ(cursor.sample, 0u);
}

TEST(SampleCursor, NoSampleFollowsTheLargestNumber) {
  TrackRecord record;
  fillTrack(
      record,
      {.times = {{0xffffffff, 1}}, .constantSize = 1, .chunkRuns = {{1, 1}}, .chunkOffsets = {0}});
  SampleCursor cursor = cursorOn(record, 0xfffffffd);
  EXPECT_TRUE(step(record, cursor));
  EXPECT_FALSE(step(record, cursor));
  EXPECT_EQ(cursor.sample, 0xfffffffeu);
  reposition(record, cursor, 0xffffffff);
  const std::vector<uint64_t> before = fields(cursor);
  EXPECT_FALSE(step(record, cursor));
  EXPECT_EQ(fields(cursor), before);
}

TEST(SampleCursor, StepKeepsTheTrackIndex) {
  TrackRecord record;
  fillTrack(record, smallTrack());
  SampleCursor cursor = cursorOn(record, 0);
  cursor.track = 5;
  EXPECT_TRUE(step(record, cursor));
  EXPECT_EQ(cursor.track, 5u);
}

TEST(SampleCursor, CompositionTableShorterThanTheTrackEndsWithoutARun) {
  TrackTables tables = smallTrack();
  tables.offsets = {{2, 100}};
  TrackRecord record;
  fillTrack(record, tables);
  SampleCursor cursor = cursorOn(record, 1);
  EXPECT_EQ(cursor.compositionPosition, 1u);
  EXPECT_TRUE(step(record, cursor));
  EXPECT_EQ(cursor.compositionRun, kNoIndex);
  EXPECT_EQ(cursor.compositionPosition, kNoIndex);
  EXPECT_EQ(infoAt(record, cursor).compositionOffset, 0);
  EXPECT_TRUE(step(record, cursor));
  EXPECT_EQ(cursor.compositionRun, kNoIndex);
}

TEST(SampleCursor, StepPastAnEmptyLastRunLeavesTheTable) {
  TrackTables tables = smallTrack();
  tables.offsets = {{1, 100}, {0, 40}};
  TrackRecord record;
  fillTrack(record, tables);
  SampleCursor cursor = cursorOn(record, 0);
  ASSERT_TRUE(step(record, cursor));
  EXPECT_EQ(infoAt(record, cursor).compositionOffset, 40);
  ASSERT_TRUE(step(record, cursor));
  EXPECT_EQ(cursor.compositionRun, kNoIndex);
  EXPECT_EQ(cursor.compositionPosition, kNoIndex);
}

TEST(SampleCursor, SizesListedOrConstantGiveTheSamePlaces) {
  TrackTables constant = smallTrack();
  constant.sizes = {};
  constant.constantSize = 17;
  for (const TrackTables& tables : {smallTrack(), constant}) {
    expectStepsEqualSeeks(tables);
    expectSeeksFindTheExpandedSamples(tables);
  }
}

TEST(SampleCursor, SeeksAndStepsAgreeWithThePlainExpansionOnEverySample) {
  SeededRandom random(4);
  for (int round = 0; round < 300; ++round) {
    SCOPED_TRACE(testing::Message() << "round " << round);
    const TrackTables tables = randomTrack(random);
    ASSERT_NO_FATAL_FAILURE(expectSeeksFindTheExpandedSamples(tables));
    ASSERT_NO_FATAL_FAILURE(expectStepsStandOnEmptyRuns(tables));
    ASSERT_NO_FATAL_FAILURE(expectStepsEqualSeeks(withoutEmptyRuns(tables)));
  }
}

TEST(SampleCursor, StepsAfterRandomSeeksAgreeWithThePlainExpansion) {
  SeededRandom random(5);
  for (int round = 0; round < 100; ++round) {
    const TrackTables tables = withoutEmptyRuns(randomTrack(random));
    TrackRecord record;
    fillTrack(record, tables);
    const std::vector<SampleInfo> expected = expandedTrack(tables);
    if (expected.empty()) continue;
    SampleCursor cursor;
    for (int seek = 0; seek < 20; ++seek) {
      auto sample = random.below(static_cast<uint32_t>(expected.size()));
      reposition(record, cursor, sample);
      for (uint32_t steps = random.below(10);; --steps) {
        ASSERT_EQ(fields(infoAt(record, cursor)), fields(expected[sample]))
            << "round " << round << " sample " << sample;
        if (steps == 0 || !step(record, cursor)) break;
        ++sample;
      }
    }
  }
}

TEST(SampleCursor, TrackWithoutChunkMapLiesInChunkOne) {
  TrackTables tables = smallTrack();
  tables.chunkRuns = {};
  tables.chunkOffsets = {};
  TrackRecord record;
  fillTrack(record, tables);
  SampleCursor cursor = cursorOn(record, 0);
  ASSERT_TRUE(step(record, cursor));
  ASSERT_TRUE(step(record, cursor));
  EXPECT_EQ(cursor.chunk.chunk, 1u);
  EXPECT_EQ(infoAt(record, cursor).fileOffset, 8u + 30u);
  EXPECT_EQ(fields(cursor), fields(cursorOn(record, 2)));
}

TEST(SampleCursor, SampleBeyondTheSizeTableIsOutOfRange) {
  TrackTables tables = smallTrack();
  tables.sizes = {10, 20, 30};
  TrackRecord record;
  fillTrack(record, tables);
  SampleCursor cursor = cursorOn(record, 2);
  EXPECT_THROWS_MESSAGE(step(record, cursor), "frame out of range");
  EXPECT_THROWS_MESSAGE(reposition(record, cursor, 3), "frame out of range");
  EXPECT_THROWS_MESSAGE(infoAt(record, cursor), "array access out of range");
}

TEST(SampleCursor, PlacePastTheEndOfItsRunMovesToTheNextRun) {
  TrackRecord record;
  fillTrack(record, smallTrack());
  SampleCursor cursor = cursorOn(record, 0);
  cursor.timePosition = 50;
  cursor.compositionPosition = 50;
  ASSERT_TRUE(step(record, cursor));
  EXPECT_EQ(cursor.timeRun, 1u);
  EXPECT_EQ(cursor.timePosition, 0u);
  EXPECT_EQ(cursor.compositionRun, 1u);
  EXPECT_EQ(cursor.compositionPosition, 0u);
}

TEST(SampleCursor, StaleTimeRunIsOutOfRange) {
  TrackRecord record;
  fillTrack(record, smallTrack());
  for (const uint32_t stale : {2u, 0x80000000u, 0xfffffffeu}) {
    SampleCursor cursor = cursorOn(record, 1);
    cursor.timeRun = stale;
    EXPECT_THROWS_MESSAGE(infoAt(record, cursor), "array access out of range");
    EXPECT_THROWS_MESSAGE(step(record, cursor), "array access out of range");
  }
}

TEST(SampleCursor, StaleCompositionRunIsOutOfRange) {
  TrackRecord record;
  fillTrack(record, smallTrack());
  for (const uint32_t stale : {2u, 0x80000000u, 0xfffffffeu}) {
    SampleCursor cursor = cursorOn(record, 1);
    cursor.compositionRun = stale;
    EXPECT_THROWS_MESSAGE(infoAt(record, cursor), "array access out of range");
    EXPECT_THROWS_MESSAGE(step(record, cursor), "array access out of range");
  }
}

// Lengths of the map's runs in samples, modulo 2^32: 0, 2, -2, 4, -1. Samples 2 and 4 fall through
// two entries each, and the second one starts before the sample.
TrackTables trackWithWrappingChunkRuns() {
  return {.times = {{6, 10}},
          .sizes = {10, 20, 30, 40, 50, 60},
          .chunkRuns = {{1, 3}, {0x55555557, 2}, {0x55555556, 4}, {0x95555557, 1}, {0x95555556, 5}},
          .chunkOffsets = {1000}};
}

TEST(SampleCursor, StepsThroughAMapOfWrappingRunsKeepThePlaceInTheChunk) {
  TrackRecord record;
  fillTrack(record, trackWithWrappingChunkRuns());
  const struct {
    uint32_t chunk, firstSample;
    uint64_t offsetInChunk;
  } expected[] = {{1, 0, 0},           {1, 0, 10},          {0x55555556, 0, 30},
                  {0x55555556, 0, 60}, {0x95555556, 3, 40}, {0x95555556, 3, 90}};
  SampleCursor cursor = cursorOn(record, 0);
  for (const auto& e : expected) {
    EXPECT_EQ(cursor.chunk.chunk, e.chunk) << cursor.sample;
    EXPECT_EQ(cursor.chunk.firstSample, e.firstSample) << cursor.sample;
    EXPECT_EQ(cursor.offsetInChunk, e.offsetInChunk) << cursor.sample;
    EXPECT_EQ(fields(cursor), fields(cursorOn(record, cursor.sample)));
    const bool isLast = cursor.sample == 5;
    ASSERT_EQ(step(record, cursor), !isLast);
  }
}

TEST(SampleCursor, StepStartsTheOffsetAnewWhenTheFirstSampleOfTheChunkChanges) {
  TrackRecord record;
  fillTrack(record, trackWithWrappingChunkRuns());
  // Another chunk number with the same first sample: the step adds the sample before.
  SampleCursor cursor = cursorOn(record, 1);
  cursor.offsetInChunk = 1000;
  ASSERT_TRUE(step(record, cursor));
  EXPECT_EQ(cursor.offsetInChunk, 1020u);
  // Another first sample, other than the new one itself: the step adds up the sizes from there.
  cursor = cursorOn(record, 3);
  cursor.offsetInChunk = 1000;
  ASSERT_TRUE(step(record, cursor));
  EXPECT_EQ(cursor.offsetInChunk, 40u);
}

TEST(SampleCursor, StaleChunkMapEntryIsOutOfRange) {
  TrackRecord record;
  fillTrack(record, smallTrack());
  for (const uint32_t stale : {2u, 0x55555556u, 0xffffffffu}) {
    SampleCursor cursor = cursorOn(record, 1);
    cursor.chunkMap.entry = stale;
    EXPECT_THROWS_MESSAGE(step(record, cursor), "array access out of range");
  }
}

TEST(SampleCursor, ChunkZeroIsOutOfRange) {
  TrackRecord record;
  fillTrack(record, smallTrack());
  SampleCursor cursor = cursorOn(record, 1);
  cursor.chunk.chunk = 0;
  EXPECT_THROWS_MESSAGE(infoAt(record, cursor), "array access out of range");
}

TEST(SampleCursor, WalkingAndAskingAllocateNothing) {
  TrackRecord record;
  fillTrack(record, smallTrack());
  FailingAllocation counting;
  SampleCursor cursor;
  reposition(record, cursor, 0);
  SampleInfo info;
  uint64_t bytes = 0;
  do {
    bytes += sampleInfo(record, cursor, info);
  } while (step(record, cursor));
  EXPECT_EQ(bytes, 150u);
  EXPECT_EQ(counting.allocations(), 0u);
}

// A walk that added up a chunk's sizes at every step would take minutes here.
TEST(SampleCursor, WalkThroughAChunkOfManySamplesIsLinear) {
  const uint32_t samples = 300000;
  TrackRecord record;
  fillTrack(record,
            {.times = {{samples, 1}}, .chunkRuns = {{1, samples}}, .chunkOffsets = {0x1000}});
  const Bytes sizes = box("stsz", full(0), u32(0), u32(samples), repeat(0x01, 4 * samples));
  readBox(sizes, [&](AtomReader& reader, uint64_t) { record.samples.readSampleSizes(reader); });
  SampleCursor cursor = cursorOn(record, 0);
  while (step(record, cursor)) {
  }
  EXPECT_EQ(cursor.sample, samples - 1);
  EXPECT_EQ(infoAt(record, cursor).fileOffset, 0x1000 + uint64_t{0x01010101} * (samples - 1));
}

// Steps and seeks that walked through all of the map, or of the time table, would take minutes
// here.
TEST(SampleCursor, PassesAnyNumberOfRunsWithoutSamplesInAMoment) {
  const uint32_t emptyRuns = 100000;
  TrackRecord record;
  fillTrack(record, {.constantSize = 1, .chunkOffsets = {0x1000}});
  Bytes map = join(full(0), u32(emptyRuns + 1), u32(1), u32(1), u32(1));
  Bytes times = join(full(0), u32(emptyRuns + 2), u32(1), u32(10));
  const Bytes emptyRun = join(u32(2), u32(1), u32(1));
  const Bytes emptyTimes = zeros(8);
  for (uint32_t i = 0; i < emptyRuns; ++i) {
    map.insert(map.end(), emptyRun.begin(), emptyRun.end());
    times.insert(times.end(), emptyTimes.begin(), emptyTimes.end());
  }
  append(times, u32(5), u32(10));
  readBox(box("stsc", map),
          [&](AtomReader& reader, uint64_t) { record.samples.readChunkMap(reader); });
  readStts(record.timing, box("stts", times));
  SampleCursor cursor;
  for (int i = 0; i < 20000; ++i) {
    reposition(record, cursor, 0);
    ASSERT_TRUE(step(record, cursor));
    ASSERT_EQ(cursor.chunkMap.entry, emptyRuns + 1);
    reposition(record, cursor, 3);
    ASSERT_EQ(cursor.timeRun, emptyRuns + 1);
    ASSERT_EQ(record.timing.sampleAt(25).sample, 2u);
  }
}

TEST(SampleCursor, DecodeTimeRunsIn64Bits) {
  TrackRecord record;
  fillTrack(record, {.times = {{10, 0xffffffff}, {5, 7}},
                     .constantSize = 1,
                     .chunkRuns = {{1, 1}},
                     .chunkOffsets = {0}});
  SampleCursor cursor = cursorOn(record, 8);
  EXPECT_EQ(cursor.decodeTime, uint64_t{8} * 0xffffffff);
  ASSERT_TRUE(step(record, cursor));
  EXPECT_EQ(infoAt(record, cursor).compositionTime, uint64_t{9} * 0xffffffff);
  EXPECT_EQ(cursorOn(record, 11).decodeTime, uint64_t{10} * 0xffffffff + 7);
}

// ---- odd on purpose

TEST(Deliberate, D320_CursorEndsAtTheWrappedSampleCount) {
  TrackRecord record;
  fillTrack(record, {.times = {{0xffffffff, 1}, {3, 1}},
                     .constantSize = 1,
                     .chunkRuns = {{1, 1}},
                     .chunkOffsets = {0}});
  SampleCursor cursor = cursorOn(record, 0);
  EXPECT_TRUE(step(record, cursor));
  EXPECT_FALSE(step(record, cursor));
}

TEST(Deliberate, D320_CursorCountsTheSamplesOfRunsIn32Bits) {
  // Samples counted up to the end of each run: 2, 1 (wrapped), 6.
  TrackRecord record;
  fillTrack(record, {.times = {{2, 10}, {0xffffffff, 3}, {5, 20}},
                     .offsets = {{2, 100}, {0xffffffff, 200}, {5, 300}},
                     .constantSize = 1,
                     .chunkRuns = {{1, 1}},
                     .chunkOffsets = {0}});
  SampleCursor cursor = cursorOn(record, 1);
  EXPECT_EQ(cursor.timeRun, 0u);
  EXPECT_EQ(cursor.compositionRun, 0u);
  EXPECT_EQ(cursor.decodeTime, 10u);
  cursor = cursorOn(record, 2);
  EXPECT_EQ(cursor.timeRun, 2u);
  EXPECT_EQ(cursor.timePosition, 1u);
  EXPECT_EQ(cursor.compositionRun, 2u);
  EXPECT_EQ(cursor.compositionPosition, 1u);
  EXPECT_EQ(cursor.decodeTime, 20 + uint64_t{0xffffffff} * 3 + 20);
  cursor = cursorOn(record, 5);
  EXPECT_FALSE(step(record, cursor));
}

TEST(Deliberate, D323_NegativeCompositionOffsetIsAddedAsAnUnsignedWord) {
  TrackTables tables = smallTrack();
  tables.offsets = {{5, -40}};
  TrackRecord record;
  fillTrack(record, tables);
  const SampleInfo info = infoAt(record, cursorOn(record, 1));
  EXPECT_EQ(info.compositionOffset, -40);
  EXPECT_EQ(info.compositionTime, uint64_t{1000} + 0xffffffd8);
}

TEST(Deliberate, D325_SampleBeyondTheTimeTableHasNoTime) {
  TrackTables tables = smallTrack();
  tables.sizes = {};
  tables.constantSize = 10;
  TrackRecord record;
  fillTrack(record, tables);
  SampleCursor cursor = cursorOn(record, 4);
  reposition(record, cursor, 5);
  EXPECT_EQ(cursor.timeRun, kNoIndex);
  EXPECT_EQ(cursor.timePosition, kNoIndex);
  EXPECT_EQ(cursor.decodeTime, 0u);
  const SampleInfo info = infoAt(record, cursor);
  EXPECT_EQ(info.duration, 0u);
  EXPECT_EQ(info.compositionTime, 0u);
  EXPECT_EQ(info.fileOffset, 3010u);
  EXPECT_EQ(info.size, 10u);
}

TEST(Deliberate, D325_SampleBeyondTheTimeTableKeepsItsCompositionOffset) {
  TrackTables tables = smallTrack();
  tables.times = {{2, 1000}};
  tables.offsets = {{1, 100}, {4, -40}};
  TrackRecord record;
  fillTrack(record, tables);
  SampleInfo info{UINT32_MAX, UINT64_MAX, INT32_MAX, UINT32_MAX, UINT64_MAX, UINT32_MAX};
  EXPECT_EQ(sampleInfo(record, cursorOn(record, 3), info), 40u);
  EXPECT_EQ(info.duration, 0u);
  EXPECT_EQ(info.compositionTime, 0u);
  EXPECT_EQ(info.compositionOffset, -40);
  EXPECT_EQ(info.timescale, 48000u);
  EXPECT_EQ(info.fileOffset, 2030u);
  EXPECT_EQ(info.size, 40u);
}

TEST(Deliberate, D327_FailedSeekLeavesTheCursorOnTheNewSampleNumber) {
  TrackRecord record;
  fillTrack(record, smallTrack());
  SampleCursor cursor = cursorOn(record, 0);
  EXPECT_THROWS_MESSAGE(reposition(record, cursor, 9), "frame out of range");
  EXPECT_EQ(cursor.sample, 9u);
  EXPECT_EQ(cursor.timeRun, kNoIndex);
  EXPECT_EQ(cursor.chunk.chunk, 5u);
}

TEST(Deliberate, D328_StepStandsOnARunOfNoSamplesForOneSample) {
  TrackRecord record;
  fillTrack(record, trackWithEmptyRuns());
  const struct {
    uint32_t timeRun, compositionRun;
    uint64_t decodeTime;
  } expected[] = {{1, 1, 0}, {1, 2, 10}, {2, 3, 20}, {3, 4, 119}, {4, 4, 217}, {4, 5, 237}};
  SampleCursor cursor = cursorOn(record, 0);
  for (const auto& e : expected) {
    EXPECT_EQ(cursor.timeRun, e.timeRun) << cursor.sample;
    EXPECT_EQ(cursor.compositionRun, e.compositionRun) << cursor.sample;
    EXPECT_EQ(cursor.decodeTime, e.decodeTime) << cursor.sample;
    const bool sampleFollows = &e != std::end(expected) - 1;
    EXPECT_EQ(step(record, cursor), sampleFollows);
  }
}

TEST(Deliberate, D328_RepositionPassesOverRunsOfNoSamples) {
  TrackRecord record;
  fillTrack(record, trackWithEmptyRuns());
  const SampleCursor cursor = cursorOn(record, 2);
  EXPECT_EQ(cursor.timeRun, 4u);
  EXPECT_EQ(cursor.timePosition, 0u);
  EXPECT_EQ(cursor.decodeTime, 20u);
  EXPECT_EQ(cursor.compositionRun, 4u);
  EXPECT_EQ(cursor.compositionPosition, 1u);
}
