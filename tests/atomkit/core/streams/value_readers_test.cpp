#include "atomkit/core/streams/value_readers.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "atomkit/core/streams/table_readers.h"
#include "atomkit/core/tables/sample_tables.h"
#include "atomkit/meta/timing/timing_tables.h"
#include "tests/support/boxes.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/memory_source.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;

TEST(ValueReaders, ReadBigEndianValuesOfEveryWidth) {
  MemorySource source(raw({0x81, 0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a,  //
                           0x91, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98}));
  HostStreamAdapter stream(source, source.size());
  EXPECT_EQ(readU8(stream), 0x81);
  EXPECT_EQ(readU16(stream), 0x8283);
  EXPECT_EQ(readU24(stream), 0x848586u);
  EXPECT_EQ(readU32(stream), 0x8788898au);
  EXPECT_EQ(readU64(stream), 0x9192939495969798u);
}

TEST(ValueReaders, NeverGiveAPartOfAValue) {
  const auto atEnd = [](uint64_t bytes, auto reader) {
    MemorySource source(zeros(100));
    HostStreamAdapter file(source, source.size());
    AtomReader box(file, bytes);
    reader(box);
  };
  EXPECT_THROWS_MESSAGE(atEnd(0, readU8), "attempting to read past end of atom");
  EXPECT_THROWS_MESSAGE(atEnd(1, readU16), "attempting to read past end of atom");
  EXPECT_THROWS_MESSAGE(atEnd(2, readU24), "attempting to read past end of atom");
  EXPECT_THROWS_MESSAGE(atEnd(3, readU32), "attempting to read past end of atom");
  EXPECT_THROWS_MESSAGE(atEnd(7, readU64), "attempting to read past end of atom");
  EXPECT_THROWS_MESSAGE(atEnd(3, skipVersionAndFlags), "attempting to read past end of atom");
}

TEST(ValueReaders, ReadArraysWithOneReadAndSwapThem) {
  MemorySource source(join(u32(1), u32(0x80000002), u64(3), u64(0x8000000000000004)));
  HostStreamAdapter stream(source, source.size());
  uint32_t words[2];
  readU32Array(stream, words, 2);
  EXPECT_EQ(words[0], 1u);
  EXPECT_EQ(words[1], 0x80000002u);
  EXPECT_EQ(source.reads, 1u);
  uint64_t longs[2];
  readU64Array(stream, longs, 2);
  EXPECT_EQ(longs[0], 3u);
  EXPECT_EQ(longs[1], 0x8000000000000004u);
  EXPECT_EQ(source.reads, 2u);
}

TEST(ValueReaders, DescriptorLengthsEndWithTheFirstByteWhoseTopBitIsClear) {
  const auto lengthOf = [](const Bytes& bytes, uint64_t expectedBytes) {
    MemorySource source(join(bytes, zeros(8)));
    HostStreamAdapter stream(source, source.size());
    const uint32_t length = readExpandableLength(stream);
    EXPECT_EQ(source.position, expectedBytes);
    return length;
  };
  EXPECT_EQ(lengthOf(raw({0x00}), 1), 0u);
  EXPECT_EQ(lengthOf(raw({0x7f}), 1), 127u);
  EXPECT_EQ(lengthOf(raw({0x81, 0x00}), 2), 128u);
  EXPECT_EQ(lengthOf(raw({0x80, 0x80, 0x05}), 3), 5u);
  EXPECT_EQ(lengthOf(raw({0xff, 0xff, 0xff, 0x7f}), 4), 0xfffffffu);
}

TEST(ValueReaders, DescriptorLengthsEndAfterTheFourthByteWhateverItsTopBit) {
  MemorySource source(raw({0x80, 0x80, 0x80, 0x85, 0x01}));
  HostStreamAdapter stream(source, source.size());
  EXPECT_EQ(readExpandableLength(stream), 5u);
  EXPECT_EQ(source.position, 4u);
}

TEST(ValueReaders, DescriptorLengthsAreReadByteByByte) {
  MemorySource source(raw({0x81}));
  HostStreamAdapter file(source, source.size());
  AtomReader box(file, 1);
  EXPECT_THROWS_MESSAGE(readExpandableLength(box), "attempting to read past end of atom");
}

TEST(ValueReaders, EntriesAreRequiredIn64Bits) {
  // 12 bytes for each of 2^32 - 1 entries: a product of 32 bits would be 0xfffffff4.
  constexpr uint64_t kBytes = uint64_t{0xffffffff} * 12;
  MemorySource source({});
  HostStreamAdapter file(source, kUnknownLength);
  AtomReader tooShort(file, kBytes - 1);
  EXPECT_THROWS_MESSAGE(requireEntries(tooShort, 0xffffffff, 12),
                        "attempting to read past end of atom");
  AtomReader longEnough(file, kBytes);
  EXPECT_THROWS_MESSAGE(requireEntries(longEnough, 0xffffffff, 12),
                        "out of memory when resizing array");
  EXPECT_NO_THROW(requireEntries(longEnough, 0x3fffffff, 4));
  EXPECT_THROWS_MESSAGE(requireEntries(longEnough, 0x40000000, 4),
                        "out of memory when resizing array");
}

TEST(ValueReaders, CountedBytesAreRequiredBeforeTheyAreAllocated) {
  FailingAllocation memory;
  MemorySource source(raw({1, 2, 3}));
  HostStreamAdapter file(source, source.size());
  AtomReader box(file, 3);
  ByteArray bytes;
  EXPECT_THROWS_MESSAGE(readBytes(box, bytes, 4), "attempting to read past end of atom");
  EXPECT_EQ(memory.allocations(), 0u);
  readBytes(box, bytes, 3);
  EXPECT_EQ(bytes[2], 3);
}

TEST(ValueReaders, BytesThatCantBeThereLeaveTheOldOnes) {
  MemorySource source(raw({1, 2, 3}));
  HostStreamAdapter file(source, source.size());
  ByteArray bytes;
  readBytes(file, bytes, 2);
  EXPECT_THROWS_MESSAGE(readBytes(file, bytes, 2), "attempting to read past end of file");
  ASSERT_EQ(bytes.count(), 2u);
  EXPECT_EQ(bytes[1], 2);
}

TEST(ValueReaders, BytesThatEndEarlyLeaveNothing) {
  MemorySource source(raw({1, 2, 3, 4, 5}));
  HostStreamAdapter file(source, kUnknownLength);
  ByteArray bytes;
  readBytes(file, bytes, 2);
  EXPECT_THROWS_MESSAGE(readBytes(file, bytes, 4), "attempting to read past end of file");
  EXPECT_EQ(bytes.count(), 0u);
}

// The lengths that a source may give: the right one, none, and one that lies.
std::vector<uint64_t> possibleLengths(uint64_t right) {
  return {right, kUnknownLength, uint64_t{1} << 60};
}

TEST(ValueReaders, BytesThatNeedNoProofAreOneReadAndOneBlock) {
  MemorySource source(repeat(7, 65'536));
  HostStreamAdapter file(source, source.size());
  AtomReader box(file, source.size());
  FailingAllocation memory;
  ByteArray bytes;
  readBytes(box, bytes, 65'536);
  EXPECT_EQ(bytes[65'535], 7);
  EXPECT_EQ(source.reads, 1u);
  EXPECT_EQ(memory.allocations(), 1u);
}

TEST(ValueReaders, WhatHasArrivedBeforeEarnsABlockInOneRead) {
  MemorySource source(repeat(7, 320'000));
  HostStreamAdapter file(source, source.size());
  AtomReader box(file, source.size());
  Bytes first(20'000);
  box.readExact(first.data(), 20'000);
  source.reads = 0;
  ByteArray bytes;
  readBytes(box, bytes, 65'536 + 35'000);
  EXPECT_EQ(source.reads, 1u);
  box.skipExact(50'000);
  source.reads = 0;
  FailingAllocation memory;
  readBytes(box, bytes, 140'000);
  EXPECT_EQ(source.reads, 1u);
  EXPECT_EQ(memory.allocations(), 1u);
}

TEST(ValueReaders, BytesThatWereSkippedEarnNothing) {
  MemorySource source(repeat(7, 320'000));
  HostStreamAdapter file(source, source.size());
  AtomReader box(file, source.size());
  box.skipExact(200'000);
  ByteArray bytes;
  FailingAllocation memory;
  readBytes(box, bytes, 65'536 + 8);
  EXPECT_GT(memory.allocations(), 1u);
}

TEST(ValueReaders, BytesAreWholeInHoweverManyPiecesTheyArrive) {
  for (const uint32_t count :
       {65'535u, 65'536u, 65'537u, 65'544u, 100'000u, 262'149u, 3'000'001u}) {
    Bytes expected;
    for (uint32_t i = 0; i < count; ++i) expected.push_back(static_cast<uint8_t>(i % 251));
    for (const uint64_t length : possibleLengths(count)) {
      MemorySource source(expected);
      HostStreamAdapter file(source, length);
      AtomReader box(file, count);
      FailingAllocation memory;
      ByteArray bytes;
      readBytes(box, bytes, count);
      ASSERT_EQ(bytes.count(), count);
      EXPECT_EQ(std::memcmp(bytes.data(), expected.data(), count), 0) << count;
      EXPECT_EQ(box.remaining(), 0u);
      EXPECT_LE(source.reads, 7u) << count;
      EXPECT_LT(memory.bytesMoved(), 2 * uint64_t{count}) << count;
      EXPECT_EQ(memory.blocksHeld(), 1u);
      bytes.resize(0);
    }
  }
}

TEST(ValueReaders, BytesThatEndEarlyCountForNoBoxHoweverManyPiecesHadArrived) {
  MemorySource source(zeros(500'000));
  HostStreamAdapter file(source, 3'000'000);
  AtomReader outer(file, 2'500'000);
  AtomReader box(outer, 2'000'000);
  ByteArray bytes;
  EXPECT_THROWS_MESSAGE(readBytes(box, bytes, 2'000'000), "attempting to read past end of file");
  EXPECT_GT(source.reads, 2u);
  EXPECT_EQ(box.remaining(), 2'000'000u);
  EXPECT_EQ(outer.remaining(), 2'500'000u);
  EXPECT_NO_THROW(file.requireBytes(2'500'000)) << "500,000 bytes are behind the source";
  EXPECT_THROWS_MESSAGE(file.requireBytes(2'500'001), "attempting to read past end of file");
}

TEST(ValueReaders, AClaimTakesMemoryForWhatArrivesOnlyWhateverTheLengthOfTheSource) {
  for (const uint64_t length : {kUnknownLength, uint64_t{1} << 60}) {
    for (const uint32_t arriving : {0u, 1u, 65'536u, 65'537u, 100'000u, 1'000'000u}) {
      MemorySource source(zeros(arriving));
      HostStreamAdapter file(source, length);
      AtomReader box(file, 0xfffffff0);
      FailingAllocation memory;
      ByteArray bytes;
      EXPECT_THROWS_MESSAGE(readBytes(box, bytes, 0xfffffff0),
                            "attempting to read past end of file");
      EXPECT_LE(memory.peakBytes(), 3 * uint64_t{arriving} + 65'536) << arriving;
      EXPECT_EQ(memory.blocksHeld(), 0u);
      EXPECT_EQ(bytes.count(), 0u);
    }
  }
}

TEST(ValueReaders, TablesAreWholeAndInTheOrderOfTheMachineWhateverTheLengthOfTheSource) {
  constexpr uint32_t kCount = 100'000;
  Bytes bytes;
  for (uint32_t i = 0; i < kCount; ++i) {
    for (const uint8_t byte : u32(i * 65537)) bytes.push_back(byte);
  }
  for (const uint64_t length : possibleLengths(bytes.size())) {
    MemorySource narrowSource(bytes), wideSource(bytes);
    HostStreamAdapter narrowFile(narrowSource, length), wideFile(wideSource, length);
    PlainArray<uint32_t> narrow;
    PlainArray<uint64_t> wide;
    readU32Table(narrowFile, narrow, kCount);
    readU64Table(wideFile, wide, kCount / 2);
    ASSERT_EQ(narrow.count(), kCount);
    ASSERT_EQ(wide.count(), kCount / 2);
    for (uint32_t i = 0; i < kCount; ++i) {
      ASSERT_EQ(narrow[i], i * 65537);
      ASSERT_EQ(wide[i / 2], uint64_t{i / 2 * 2 * 65537} << 32 | (i / 2 * 2 + 1) * 65537);
    }
  }
}

TEST(ValueReaders, ATableThatClaimsMoreTakesMemoryForWhatArrivesOnly) {
  const auto peak = [](uint64_t length, auto read) {
    MemorySource source(zeros(100'000));
    HostStreamAdapter file(source, length);
    FailingAllocation memory;
    EXPECT_THROWS_MESSAGE(read(file), "attempting to read past end of file");
    EXPECT_EQ(memory.blocksHeld(), 0u);
    return memory.peakBytes();
  };
  PlainArray<uint32_t> narrow;
  PlainArray<uint64_t> wide;
  for (const uint64_t length : {kUnknownLength, uint64_t{1} << 60}) {
    EXPECT_LE(peak(length, [&](ByteStream& file) { readU32Table(file, narrow, 0x3fffffff); }),
              365'536u);
    EXPECT_LE(peak(length, [&](ByteStream& file) { readU64Table(file, wide, 0x1fffffff); }),
              365'536u);
  }
  EXPECT_EQ(narrow.count() + wide.count(), 0u);
}

TEST(ValueReaders, EveryTableOfATrackTakesMemoryForWhatArrivesOnly) {
  constexpr uint32_t kArriving = 1'000'000;
  const auto peak = [&](bool sizes, auto read) {
    Bytes file = join(full(0), u32(0x10000000));
    if (sizes) file = join(full(0), u32(0), u32(0x10000000));
    // Entries whose numbers only rise, for the sync samples among them.
    for (uint32_t i = 1; file.size() < kArriving; ++i) {
      for (const uint8_t byte : u32(i)) file.push_back(byte);
    }
    MemorySource source(file);
    HostStreamAdapter stream(source, uint64_t{1} << 60);
    AtomReader box(stream, 0xffffffffffff);
    FailingAllocation memory;
    EXPECT_THROWS_MESSAGE(read(box), "attempting to read past end of file");
    EXPECT_GT(memory.peakBytes(), kArriving);
    return memory.peakBytes();
  };
  constexpr uint64_t kBound = 3 * uint64_t{kArriving} + 65'536;
  SampleTables samples;
  TimingTables timing;
  constexpr auto k32 = ChunkOffsetWidth::bits32;
  constexpr auto k64 = ChunkOffsetWidth::bits64;
  EXPECT_LE(peak(true, [&](AtomReader& box) { samples.readSampleSizes(box); }), kBound);
  EXPECT_LE(peak(false, [&](AtomReader& box) { samples.readChunkMap(box); }), kBound);
  EXPECT_LE(peak(false, [&](auto& box) { samples.readChunkOffsets(box, k32); }), kBound);
  EXPECT_LE(peak(false, [&](auto& box) { samples.readChunkOffsets(box, k64); }), kBound);
  EXPECT_LE(peak(false, [&](auto& box) { timing.readTimeToSample(box); }), kBound);
  EXPECT_LE(peak(false, [&](auto& box) { timing.readCompositionOffsets(box); }), kBound);
  EXPECT_LE(peak(false, [&](auto& box) { timing.readSyncSamples(box); }), kBound);
}

TEST(ValueReaders, EveryFailedAllocationOfBytesIsReportedAndLeaksNothing) {
  for (uint64_t failAt = 0; failAt < 3; ++failAt) {
    MemorySource source(zeros(200'000));
    HostStreamAdapter file(source, kUnknownLength);
    FailingAllocation memory(failAt);
    ByteArray bytes;
    EXPECT_THROWS_MESSAGE(readBytes(file, bytes, 200'000), "out of memory when resizing array");
    EXPECT_EQ(memory.blocksHeld(), 0u);
    EXPECT_EQ(bytes.count(), 0u);
  }
}

TEST(ReadString, ReadsBytesOfAStreamAndEndsThem) {
  MemorySource source(text("title"));
  HostStreamAdapter stream(source, source.size());
  EXPECT_STREQ(readString(stream, 4).text(), "titl");
  EXPECT_STREQ(readString(stream, 0).text(), "");
}

TEST(ReadString, EndsAtTheFirstZeroByteAndConsumesWhatFollows) {
  MemorySource source(join(text("ab"), u8(0), text("cd"), text("next")));
  HostStreamAdapter stream(source, source.size());
  EXPECT_STREQ(readString(stream, 5).text(), "ab");
  EXPECT_STREQ(readString(stream, 4).text(), "next");
}

TEST(ReadString, HoldsOneBlockForATextAndNoneForAnEmptyOne) {
  MemorySource source(join(text("title"), u8(0), text("hidden")));
  HostStreamAdapter stream(source, source.size());
  FailingAllocation memory;
  const SharedString title = readString(stream, 5);
  EXPECT_EQ(memory.blocksHeld(), 1u);
  EXPECT_TRUE(readString(stream, 0).empty());
  const SharedString hidden = readString(stream, 7);
  EXPECT_TRUE(hidden.empty());
  EXPECT_EQ(memory.blocksHeld(), 1u);
}

TEST(ReadString, ReadsNothingAndAllocatesNothingWhenTheBytesCantBeThere) {
  FailingAllocation memory;
  MemorySource source(text("title"));
  HostStreamAdapter stream(source, kUnknownLength);
  AtomReader reader(stream, 5);
  EXPECT_THROWS_MESSAGE(readString(reader, 6), "attempting to read past end of atom");
  EXPECT_EQ(memory.allocations(), 0u);
  EXPECT_EQ(source.reads, 0u);
}

TEST(ReadString, HoldsNothingWhenTheSourceEndsInsideTheText) {
  MemorySource source(text("title"));
  HostStreamAdapter stream(source, kUnknownLength);
  FailingAllocation memory;
  EXPECT_THROWS_MESSAGE(readString(stream, 9), "attempting to read past end of file");
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(ReadString, AReadWithoutMemoryIsOutOfMemory) {
  MemorySource source(text("title"));
  HostStreamAdapter stream(source, source.size());
  FailingAllocation memory(0);
  EXPECT_THROWS_MESSAGE(readString(stream, 5), "out of memory");
}

TEST(ReadString, ALongTextOfASourceOfUnknownLengthIsReadWhole) {
  Bytes bytes;
  for (uint32_t i = 0; i < 300'000; ++i) bytes.push_back(static_cast<uint8_t>(1 + i % 251));
  MemorySource source(bytes);
  HostStreamAdapter stream(source, kUnknownLength);
  const SharedString text = readString(stream, 300'000);
  ASSERT_EQ(std::strlen(text.text()), 300'000u);
  EXPECT_EQ(std::memcmp(text.text(), bytes.data(), bytes.size()), 0);
}

TEST(ReadString, TheRoomOfTheLongestTextAndItsZeroByteDoesNotWrap) {
  MemorySource source({});
  HostStreamAdapter stream(source, 0xffffffff);
  FailingAllocation memory(0);
  EXPECT_THROWS_MESSAGE(readString(stream, 0xffffffff), "out of memory");
  constexpr uint64_t kRoom = SharedString::kHeaderBytes + 1;
  EXPECT_EQ(memory.largestBlock(), 64'512u + kRoom) << "room for the first piece of it";
}

}  // namespace
}  // namespace atomkit
