// Sample sizes, the sample-to-chunk map and chunk offsets.
#include "atomkit/core/tables/sample_tables.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <vector>

#include "tests/support/boxes.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/memory_source.h"
#include "tests/support/movie_builder.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;

constexpr char kPastAtom[] = "attempting to read past end of atom";
constexpr char kOutOfRange[] = "array access out of range";

/// Hands the payload of `whole`, a box with a short header, to the reader of its type. `source`
/// holds that payload.
void feedFrom(ByteSource& source, SampleTables& tables, const Bytes& whole) {
  const Bytes type(whole.begin() + 4, whole.begin() + 8);
  HostStreamAdapter file(source, kUnknownLength);
  AtomReader reader(file, whole.size() - 8);
  if (type == text("stsz")) tables.readSampleSizes(reader);
  if (type == text("stsc")) tables.readChunkMap(reader);
  if (type == text("stco")) tables.readChunkOffsets(reader, ChunkOffsetWidth::bits32);
  if (type == text("co64")) tables.readChunkOffsets(reader, ChunkOffsetWidth::bits64);
}

void feed(SampleTables& tables, const Bytes& whole) {
  MemorySource source(Bytes(whole.begin() + 8, whole.end()));
  feedFrom(source, tables, whole);
}

ChunkLocation locate(const SampleTables& tables, uint32_t sample) {
  ChunkMapPosition fromStart;
  return tables.locateChunk(sample, fromStart);
}

// ---- sizes

TEST(SampleSize, IsTheTableEntryWhenSizesAreListed) {
  SampleTables tables;
  feed(tables, stsz({10, 0, 0x80000000}));
  EXPECT_EQ(tables.sampleSize(0), 10u);
  EXPECT_EQ(tables.sampleSize(1), 0u);
  EXPECT_EQ(tables.sampleSize(2), 0x80000000u);
  EXPECT_THROWS_MESSAGE(tables.sampleSize(3), kOutOfRange);
}

TEST(SampleSize, AConstantSizeHoldsForAnySampleNumberAndKeepsNoTable) {
  FailingAllocation memory;
  SampleTables tables;
  feed(tables, stszConstant(7, 3));
  EXPECT_EQ(tables.sampleSize(0), 7u);
  EXPECT_EQ(tables.sampleSize(3), 7u);
  EXPECT_EQ(tables.sampleSize(0xffffffff), 7u);
  EXPECT_EQ(memory.allocations(), 0u);
}

TEST(SampleSize, WithoutATableThereIsNone) {
  EXPECT_THROWS_MESSAGE(SampleTables().sampleSize(0), kOutOfRange);
}

TEST(SampleSize, ASecondBoxReplacesTheFirst) {
  SampleTables tables;
  feed(tables, stsz({1, 2, 3}));
  feed(tables, stsz({9}));
  EXPECT_EQ(tables.sampleSize(0), 9u);
  EXPECT_THROWS_MESSAGE(tables.sampleSize(1), kOutOfRange);
  feed(tables, stszConstant(5, 1));
  EXPECT_EQ(tables.sampleSize(8), 5u);
  feed(tables, stsz({4}));
  EXPECT_EQ(tables.sampleSize(0), 4u);
}

TEST(SampleSizes, ACountThatRunsPastTheBoxIsRejectedBeforeAnythingIsAllocated) {
  FailingAllocation memory;
  SampleTables tables;
  EXPECT_THROWS_MESSAGE(feed(tables, box("stsz", full(0), u32(0), u32(3), u32(1), u32(2))),
                        kPastAtom);
  EXPECT_THROWS_MESSAGE(feed(tables, box("stsz", full(0), u32(0), u32(0xffffffff))), kPastAtom);
  EXPECT_EQ(memory.allocations(), 0u);
}

TEST(SampleSizes, VersionAndFlagsAreIgnored) {
  SampleTables tables;
  feed(tables, box("stsz", full(9, 0x123456), u32(0), u32(1), u32(6)));
  EXPECT_EQ(tables.sampleSize(0), 6u);
}

TEST(SampleSizes, BytesAfterTheTableAreLeftUnread) {
  SampleTables tables;
  MemorySource source(join(full(0), u32(0), u32(1), u32(6), zeros(5)));
  HostStreamAdapter file(source, kUnknownLength);
  AtomReader reader(file, source.size());
  tables.readSampleSizes(reader);
  EXPECT_EQ(reader.remaining(), 5u);
}

TEST(SampleSizes, TheTableIsReadWithOneRead) {
  MemorySource source(join(full(0), u32(0), u32(1000), zeros(4000)));
  HostStreamAdapter file(source, kUnknownLength);
  AtomReader reader(file, source.size());
  SampleTables tables;
  tables.readSampleSizes(reader);
  EXPECT_EQ(source.largestRead, 4000u);
}

TEST(SampleSizes, ATableThatCantBeAllocatedIsOutOfMemory) {
  FailingAllocation memory(0);
  SampleTables tables;
  EXPECT_THROWS_MESSAGE(feed(tables, stsz({1})), "out of memory when resizing array");
}

// ---- bytes between

TEST(BytesBetween, AddsTheListedSizes) {
  SampleTables tables;
  const std::vector<uint32_t> sizes = {10, 20, 0xffffffff, 40, 0xfffffff0, 60};
  feed(tables, stsz(sizes));
  for (uint32_t first = 0; first < sizes.size(); ++first) {
    uint64_t expected = 0;
    for (uint32_t end = first; end < sizes.size(); ++end) {
      EXPECT_EQ(tables.bytesBetween(first, end), expected) << first << " to " << end;
      expected += sizes[end];
    }
  }
}

TEST(BytesBetween, AnEmptyOrReversedSpanOfListedSizesIsZero) {
  SampleTables tables;
  feed(tables, stsz({1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(tables.bytesBetween(3, 3), 0u);
  EXPECT_EQ(tables.bytesBetween(5, 3), 0u);
  EXPECT_EQ(tables.bytesBetween(100, 3), 0u);
}

TEST(Deliberate, D202_TheEndOfASpanMustNameAnExistingSample) {
  SampleTables tables;
  feed(tables, stsz({1, 2, 3}));
  EXPECT_EQ(tables.bytesBetween(0, 2), 3u);
  EXPECT_THROWS_MESSAGE(tables.bytesBetween(0, 3), "frame out of range");
  EXPECT_THROWS_MESSAGE(tables.bytesBetween(3, 3), "frame out of range");
  EXPECT_THROWS_MESSAGE(SampleTables().bytesBetween(0, 0), "frame out of range");
}

TEST(BytesBetween, MultipliesAConstantSizeWithoutARangeCheck) {
  SampleTables tables;
  feed(tables, stszConstant(100, 1));
  EXPECT_EQ(tables.bytesBetween(3, 3), 0u);
  EXPECT_EQ(tables.bytesBetween(3, 8), 500u);
  EXPECT_EQ(tables.bytesBetween(0, 0xffffffff), 100u * uint64_t{0xffffffff});
}

TEST(Deliberate, D201_AReversedSpanOfAConstantSizeCountsModulo2To32) {
  SampleTables tables;
  feed(tables, stszConstant(100, 1));
  EXPECT_EQ(tables.bytesBetween(5, 3), uint64_t{0xfffffffe} * 100);
}

TEST(Deliberate, D201_AConstantSizeWithTheTopBitSetCountsAsNegative) {
  SampleTables tables;
  feed(tables, stszConstant(0xffffffff, 1));
  EXPECT_EQ(tables.sampleSize(0), 0xffffffffu);
  EXPECT_EQ(tables.bytesBetween(0, 3), static_cast<uint64_t>(int64_t{-3}));
  feed(tables, stszConstant(0x80000000, 1));
  EXPECT_EQ(tables.bytesBetween(1, 0), static_cast<uint64_t>(-(int64_t{0xffffffff} << 31)));
}

// ---- locating chunks

TEST(LocateChunk, FollowsTheMapAndGoesOnWithoutEnd) {
  SampleTables tables;
  feed(tables, stsc({{1, 10, 1}, {3, 5, 1}}));
  const auto expectChunk = [&](uint32_t first, uint32_t last, uint32_t chunk) {
    for (uint32_t sample = first; sample <= last; ++sample) {
      EXPECT_EQ(locate(tables, sample).chunk, chunk) << sample;
      EXPECT_EQ(locate(tables, sample).firstSample, first) << sample;
    }
  };
  expectChunk(0, 9, 1);
  expectChunk(10, 19, 2);
  expectChunk(20, 24, 3);
  expectChunk(25, 29, 4);
  expectChunk(1020, 1024, 203);
}

TEST(LocateChunk, AgreesWithAPlainlyExpandedMapForEverySample) {
  const std::vector<ChunkRun> runs = {{1, 3}, {2, 1}, {5, 7}, {6, 2}, {40, 4}};
  SampleTables tables;
  feed(tables, stsc(runs));
  std::vector<ChunkLocation> expanded;
  uint32_t run = 0;
  for (uint32_t chunk = 1; chunk < 60; ++chunk) {
    if (run + 1 < runs.size() && runs[run + 1].firstChunk == chunk) ++run;
    const auto first = static_cast<uint32_t>(expanded.size());
    for (uint32_t i = 0; i < runs[run].samplesPerChunk; ++i) expanded.push_back({chunk, first});
  }
  ChunkMapPosition carried;
  for (uint32_t sample = 0; sample < expanded.size(); ++sample) {
    const ChunkLocation fresh = locate(tables, sample);
    const ChunkLocation walked = tables.locateChunk(sample, carried);
    ASSERT_EQ(fresh.chunk, expanded[sample].chunk) << sample;
    ASSERT_EQ(fresh.firstSample, expanded[sample].firstSample) << sample;
    ASSERT_EQ(walked.chunk, expanded[sample].chunk) << sample;
    ASSERT_EQ(walked.firstSample, expanded[sample].firstSample) << sample;
  }
  EXPECT_EQ(carried.entry, runs.size());
}

TEST(LocateChunk, WithoutAMapEverythingIsInChunkOne) {
  EXPECT_EQ(locate(SampleTables(), 100).chunk, 1u);
  EXPECT_EQ(locate(SampleTables(), 100).firstSample, 0u);
}

TEST(LocateChunk, ARunOfZeroSamplesAChunkAtTheEndIsChunkOne) {
  SampleTables tables;
  feed(tables, stsc({{1, 4, 1}, {3, 0, 1}}));
  EXPECT_EQ(locate(tables, 7).chunk, 2u);
  EXPECT_EQ(locate(tables, 8).chunk, 1u);
  EXPECT_EQ(locate(tables, 8).firstSample, 8u);
}

TEST(LocateChunk, AFirstRunThatStartsAfterChunkOneIsTakenFromThere) {
  SampleTables tables;
  feed(tables, stsc({{5, 4, 1}}));
  EXPECT_EQ(locate(tables, 0).chunk, 5u);
  EXPECT_EQ(locate(tables, 4).chunk, 6u);
}

TEST(LocateChunk, FirstChunksThatFallWrapModulo2To32AndStayInsideTheTable) {
  SampleTables tables;
  feed(tables, stsc({{10, 2, 1}, {1, 3, 1}}));
  // The first run spans (1 - 10) * 2 samples, which wraps to nearly all of them.
  EXPECT_EQ(locate(tables, 4).chunk, 12u);
  EXPECT_EQ(locate(tables, 4).firstSample, 4u);
}

TEST(LocateChunk, AStalePositionPastTheMapThrows) {
  SampleTables tables;
  feed(tables, stsc({{1, 4, 1}}));
  ChunkMapPosition stale{2, 0};
  EXPECT_THROWS_MESSAGE(tables.locateChunk(0, stale), kOutOfRange);
  ChunkMapPosition atEnd{1, 0};
  EXPECT_EQ(tables.locateChunk(9, atEnd).chunk, 3u);
}

TEST(LocateChunk, AStalePositionWhoseWordsWrapIntoTheMapThrows) {
  SampleTables tables;
  feed(tables, stsc({{1, 4, 1}, {3, 2, 1}}));
  // Three times the number of the entry before it is 2, modulo 2^32.
  ChunkMapPosition wrapping{0x55555557, 0};
  EXPECT_THROWS_MESSAGE(tables.locateChunk(0, wrapping), kOutOfRange);
}

TEST(LocateChunk, ThePositionOnlyMovesForward) {
  SampleTables tables;
  feed(tables, stsc({{1, 10, 1}, {3, 5, 1}}));
  ChunkMapPosition position;
  tables.locateChunk(25, position);
  EXPECT_EQ(position.entry, 2u);
  EXPECT_EQ(position.firstSample, 20u);
  tables.locateChunk(26, position);
  EXPECT_EQ(position.entry, 2u);
}

TEST(ChunkMap, ACountThatRunsPastTheBoxIsRejectedBeforeAnythingIsAllocated) {
  FailingAllocation memory;
  SampleTables tables;
  EXPECT_THROWS_MESSAGE(feed(tables, box("stsc", full(0), u32(2), u32(1), u32(1), u32(1))),
                        kPastAtom);
  // Three words per entry would wrap to one word.
  EXPECT_THROWS_MESSAGE(feed(tables, box("stsc", full(0), u32(0x55555556), zeros(24))), kPastAtom);
  EXPECT_EQ(memory.allocations(), 0u);
}

TEST(ChunkMap, ASecondBoxWithoutEntriesEmptiesIt) {
  SampleTables tables;
  feed(tables, stsc({{1, 10, 1}, {3, 5, 1}}));
  feed(tables, stsc({}));
  EXPECT_EQ(locate(tables, 25).chunk, 1u);
  EXPECT_EQ(locate(tables, 25).firstSample, 0u);
  ChunkMapPosition stale{1, 0};
  EXPECT_THROWS_MESSAGE(tables.locateChunk(0, stale), kOutOfRange);
}

TEST(ChunkMap, ASecondBoxReplacesTheFirst) {
  SampleTables tables;
  feed(tables, stsc({{1, 10, 1}, {3, 5, 1}}));
  feed(tables, stsc({{1, 2, 1}}));
  EXPECT_EQ(locate(tables, 25).chunk, 13u);
}

// ---- tables without entries

TEST(EmptyTables, TakeNoReadOfTheSourceForTheirEntries) {
  struct Case {
    Bytes table;
    uint32_t reads;  // of the version, the flags and each word before the entries
  };
  for (const Case& empty :
       {Case{stsz({}), 4}, Case{stsc({}), 3}, Case{stco({}), 3}, Case{co64({}), 3}}) {
    MemorySource source(Bytes(empty.table.begin() + 8, empty.table.end()));
    SampleTables tables;
    feedFrom(source, tables, empty.table);
    EXPECT_EQ(source.reads, empty.reads);
    EXPECT_EQ(source.position, source.size());
  }
}

TEST(EmptyTables, ReplaceWhatAnEarlierBoxGave) {
  SampleTables tables;
  feed(tables, stsz({1, 2}));
  feed(tables, stsz({}));
  EXPECT_THROWS_MESSAGE(tables.sampleSize(0), kOutOfRange);
  feed(tables, co64({100}));
  feed(tables, co64({}));
  EXPECT_EQ(tables.chunkOffset(1), 8u);
}

// ---- chunk offsets

TEST(ChunkOffset, IsTheEntryOfTheOneBasedChunk) {
  SampleTables tables;
  feed(tables, stco({100, 0xffffffff, 300}));
  EXPECT_EQ(tables.chunkOffset(1), 100u);
  EXPECT_EQ(tables.chunkOffset(2), 0xffffffffu);
  EXPECT_EQ(tables.chunkOffset(3), 300u);
}

TEST(ChunkOffset, Has64BitsInCo64) {
  SampleTables tables;
  feed(tables, co64({0x123456789abcdef0, 1}));
  EXPECT_EQ(tables.chunkOffset(1), 0x123456789abcdef0u);
  EXPECT_EQ(tables.chunkOffset(2), 1u);
}

TEST(ChunkOffset, WidensTablesOfMoreThanOneBuffer) {
  std::vector<uint64_t> offsets;
  for (uint32_t i = 0; i < 600; ++i) offsets.push_back(0xf0000000 + i);
  SampleTables tables;
  feed(tables, stco(offsets));
  for (uint32_t i = 0; i < 600; ++i) ASSERT_EQ(tables.chunkOffset(i + 1), offsets[i]);
}

TEST(Deliberate, D203_WithoutChunkOffsetsEveryChunkLiesAt8) {
  SampleTables tables;
  EXPECT_EQ(tables.chunkOffset(0), 8u);
  EXPECT_EQ(tables.chunkOffset(1), 8u);
  EXPECT_EQ(tables.chunkOffset(0xffffffff), 8u);
  feed(tables, stco({}));
  EXPECT_EQ(tables.chunkOffset(1), 8u);
}

TEST(Deliberate, D204_AChunkPastTheTableHasTheLastOffset) {
  SampleTables tables;
  feed(tables, stco({100, 200}));
  EXPECT_EQ(tables.chunkOffset(3), 200u);
  EXPECT_EQ(tables.chunkOffset(0xffffffff), 200u);
}

TEST(ChunkOffset, OfChunkZeroThrows) {
  SampleTables tables;
  feed(tables, stco({100}));
  EXPECT_THROWS_MESSAGE(tables.chunkOffset(0), kOutOfRange);
}

TEST(ChunkOffset, ASecondBoxReplacesTheFirst) {
  SampleTables tables;
  feed(tables, stco({100, 200}));
  feed(tables, co64({7}));
  EXPECT_EQ(tables.chunkOffset(1), 7u);
  EXPECT_EQ(tables.chunkOffset(2), 7u);
}

TEST(ChunkOffsets, ACountThatRunsPastTheBoxIsRejectedBeforeAnythingIsAllocated) {
  FailingAllocation memory;
  SampleTables tables;
  EXPECT_THROWS_MESSAGE(feed(tables, box("stco", full(0), u32(2), u32(1))), kPastAtom);
  EXPECT_THROWS_MESSAGE(feed(tables, box("co64", full(0), u32(1), u32(1))), kPastAtom);
  EXPECT_THROWS_MESSAGE(feed(tables, box("co64", full(0), u32(0x20000001), zeros(8))), kPastAtom);
  EXPECT_EQ(memory.allocations(), 0u);
}

TEST(SampleTableBoxes, CutAtEveryLengthAreRejected) {
  for (const Bytes& whole : {stsz({1, 2, 3}), stszConstant(5, 2), stsc({{1, 2, 1}, {2, 1, 1}}),
                             stco({1, 2}), co64({1, 2})}) {
    for (size_t length = 8; length < whole.size(); ++length) {
      SampleTables tables;
      EXPECT_THROWS_MESSAGE(
          feed(tables, Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length))),
          kPastAtom);
    }
  }
}

}  // namespace
}  // namespace atomkit
