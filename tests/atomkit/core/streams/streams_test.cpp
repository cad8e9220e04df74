// Byte streams, and the big-endian values that are read from them.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/core/streams/fourcc.h"
#include "atomkit/core/streams/value_readers.h"
#include "tests/support/boxes.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/memory_source.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;

/// Records what is asked of it and answers with `surplus` more than that.
class LoggingStream final : public ByteStream {
 public:
  uint32_t read(void*, uint32_t count) override {
    log.push_back({"read", count});
    return count + static_cast<uint32_t>(surplus);
  }
  uint64_t skip(uint64_t count) override {
    log.push_back({"skip", count});
    return count + surplus;
  }
  void readExact(void*, uint32_t count) override { log.push_back({"readExact", count}); }
  void skipExact(uint64_t count) override { log.push_back({"skipExact", count}); }
  void requireBytes(uint64_t count) override { log.push_back({"requireBytes", count}); }

  using Call = std::pair<std::string, uint64_t>;
  std::vector<Call> log;
  uint64_t surplus = 0;
};
using Calls = std::vector<LoggingStream::Call>;

/// Claims one byte more than it was asked for, a breach of its contract.
class SurplusSource final : public ByteSource {
 public:
  uint32_t read(void*, uint32_t count) override { return count + 1; }
  uint64_t skip(uint64_t count) override { return count + 1; }
};

// ---- HostStreamAdapter

TEST(HostStreamAdapter, ForwardsReadAndSkipWithTheSourcesResult) {
  MemorySource source(raw({1, 2, 3, 4, 5}));
  HostStreamAdapter stream(source, source.size());
  uint8_t buffer[8] = {};
  EXPECT_EQ(stream.read(buffer, 2), 2u);
  EXPECT_EQ(buffer[1], 2);
  EXPECT_EQ(stream.skip(1), 1u);
  EXPECT_EQ(stream.read(buffer, 8), 2u);
  EXPECT_EQ(buffer[0], 4);
  EXPECT_EQ(stream.skip(3), 0u);
  EXPECT_EQ(stream.read(buffer, 1), 0u);
}

TEST(HostStreamAdapter, AnExactReadOfTooFewBytesIsPastTheEndOfTheFile) {
  MemorySource source(zeros(3));
  HostStreamAdapter stream(source, kUnknownLength);
  uint8_t buffer[4];
  EXPECT_THROWS_MESSAGE(stream.readExact(buffer, 4), "attempting to read past end of file");
}

TEST(HostStreamAdapter, AnExactSkipOfTooFewBytesIsPastTheEndOfTheFile) {
  MemorySource source(zeros(3));
  HostStreamAdapter stream(source, kUnknownLength);
  EXPECT_THROWS_MESSAGE(stream.skipExact(4), "attempting to skip past end of file");
}

TEST(HostStreamAdapter, AnExactReadIsOneReadOfTheSource) {
  MemorySource source(zeros(10));
  HostStreamAdapter stream(source, kUnknownLength);
  uint8_t buffer[10];
  stream.readExact(buffer, 10);
  EXPECT_EQ(source.reads, 1u);
  EXPECT_EQ(source.position, 10u);
}

TEST(HostStreamAdapter, RequiredBytesAreComparedWithTheKnownLengthAndNothingIsRead) {
  MemorySource source(zeros(10));
  HostStreamAdapter stream(source, 10);
  stream.skipExact(4);
  stream.requireBytes(6);
  EXPECT_THROWS_MESSAGE(stream.requireBytes(7), "attempting to read past end of file");
  EXPECT_EQ(source.reads, 0u);
  readU8(stream);
  stream.requireBytes(5);
  EXPECT_THROWS_MESSAGE(stream.requireBytes(6), "attempting to read past end of file");
}

TEST(HostStreamAdapter, ASourceOfUnknownLengthMayHoldAnyNumberOfBytes) {
  MemorySource source(zeros(1));
  HostStreamAdapter stream(source, kUnknownLength);
  EXPECT_NO_THROW(stream.requireBytes(~uint64_t{0}));
}

TEST(HostStreamAdapter, BehindTheToldLengthNoBytesCanBeThere) {
  MemorySource source(zeros(10));
  HostStreamAdapter stream(source, 4);
  stream.skipExact(6);
  EXPECT_NO_THROW(stream.requireBytes(0));
  EXPECT_THROWS_MESSAGE(stream.requireBytes(1), "attempting to read past end of file");
  EXPECT_THROWS_MESSAGE(stream.requireBytes(~uint64_t{0}), "attempting to read past end of file");
}

TEST(HostStreamAdapter, ExactOperationsThatGetMoreThanAskedAreRefusedToo) {
  SurplusSource source;
  HostStreamAdapter stream(source, kUnknownLength);
  uint8_t buffer[4];
  EXPECT_THROWS_MESSAGE(stream.readExact(buffer, 4), "attempting to read past end of file");
  EXPECT_THROWS_MESSAGE(stream.skipExact(4), "attempting to skip past end of file");
}

TEST(HostStreamAdapter, ASurplusIsReturnedUnchangedAndIsABugForTheBoxAboveIt) {
  SurplusSource source;
  HostStreamAdapter stream(source, kUnknownLength);
  uint8_t buffer[8];
  EXPECT_EQ(stream.read(buffer, 4), 5u);
  EXPECT_EQ(stream.skip(uint64_t{1} << 32), (uint64_t{1} << 32) + 1);
  AtomReader reader(stream, 100);
  EXPECT_THROWS_MESSAGE(reader.read(buffer, 4), "bug: stream read more bytes than asked for");
  EXPECT_THROWS_MESSAGE(reader.skip(4), "bug: stream skipped more bytes than asked for");
  EXPECT_EQ(reader.remaining(), 100u);
}

// ---- AtomReader

TEST(AtomReader, ClipsReadsToWhatIsLeft) {
  LoggingStream parent;
  AtomReader reader(parent, 5);
  uint8_t buffer[8];
  EXPECT_EQ(reader.read(buffer, 3), 3u);
  EXPECT_EQ(reader.read(buffer, 8), 2u);
  EXPECT_EQ(reader.remaining(), 0u);
  EXPECT_EQ(parent.log, (Calls{{"read", 3}, {"read", 2}}));
}

TEST(AtomReader, ClipsSkipsToWhatIsLeftIn64Bits) {
  LoggingStream parent;
  AtomReader reader(parent, 0x100000005);
  EXPECT_EQ(reader.skip(5), 5u);
  EXPECT_EQ(reader.skip(~uint64_t{0}), 0x100000000u);
  EXPECT_EQ(reader.remaining(), 0u);
}

TEST(AtomReader, CountsDownByWhatTheParentDelivered) {
  MemorySource source(zeros(2));
  HostStreamAdapter file(source, kUnknownLength);
  AtomReader reader(file, 10);
  uint8_t buffer[8];
  EXPECT_EQ(reader.read(buffer, 8), 2u);
  EXPECT_EQ(reader.remaining(), 8u);
  EXPECT_EQ(reader.skip(8), 0u);
  EXPECT_EQ(reader.remaining(), 8u);
}

TEST(AtomReader, AnExhaustedBoxReadsZeroBytesWithoutThrowing) {
  LoggingStream parent;
  AtomReader reader(parent, 0);
  uint8_t buffer[4];
  EXPECT_EQ(reader.read(buffer, 4), 0u);
  EXPECT_EQ(reader.skip(4), 0u);
  for (const auto& call : parent.log) EXPECT_EQ(call.second, 0u);
}

TEST(AtomReader, AnExactReadOnAnExhaustedBoxIsPastTheEndOfTheAtom) {
  LoggingStream parent;
  AtomReader reader(parent, 0);
  uint8_t byte;
  EXPECT_THROWS_MESSAGE(reader.readExact(&byte, 1), "attempting to read past end of atom");
  EXPECT_TRUE(parent.log.empty());
}

TEST(AtomReader, ExactOperationsBeyondTheBoxThrowBeforeTheyTouchTheParent) {
  LoggingStream parent;
  AtomReader reader(parent, 3);
  uint8_t buffer[4];
  EXPECT_THROWS_MESSAGE(reader.readExact(buffer, 4), "attempting to read past end of atom");
  EXPECT_THROWS_MESSAGE(reader.skipExact(4), "attempting to skip past end of atom");
  EXPECT_THROWS_MESSAGE(reader.requireBytes(4), "attempting to read past end of atom");
  EXPECT_TRUE(parent.log.empty());
  EXPECT_EQ(reader.remaining(), 3u);
}

TEST(AtomReader, ExactOperationsUseTheParentsExactOnes) {
  LoggingStream parent;
  AtomReader reader(parent, 10);
  uint8_t buffer[4];
  reader.requireBytes(10);
  reader.readExact(buffer, 4);
  reader.skipExact(6);
  EXPECT_EQ(parent.log, (Calls{{"requireBytes", 10}, {"readExact", 4}, {"skipExact", 6}}));
  EXPECT_EQ(reader.remaining(), 0u);
}

TEST(AtomReader, InsideTheBoxButBehindTheFileIsPastTheEndOfTheFile) {
  MemorySource source(zeros(2));
  HostStreamAdapter file(source, kUnknownLength);
  AtomReader outer(file, 10);
  AtomReader inner(outer, 8);
  uint8_t buffer[4];
  EXPECT_THROWS_MESSAGE(inner.readExact(buffer, 4), "attempting to read past end of file");
}

TEST(AtomReader, BehindTheBoxIsPastTheEndOfTheAtomEvenWhereTheFileHasTheBytes) {
  MemorySource source(zeros(100));
  HostStreamAdapter file(source, kUnknownLength);
  AtomReader outer(file, 50);
  AtomReader inner(outer, 3);
  uint8_t buffer[4];
  EXPECT_THROWS_MESSAGE(inner.readExact(buffer, 4), "attempting to read past end of atom");
}

TEST(AtomReader, AParentThatReadsMoreThanAskedIsABug) {
  LoggingStream parent;
  parent.surplus = 1;
  AtomReader reader(parent, 10);
  uint8_t buffer[4];
  EXPECT_THROWS_MESSAGE(reader.read(buffer, 4), "bug: stream read more bytes than asked for");
}

TEST(AtomReader, AParentThatReadsMoreThanIsLeftInTheBoxIsABug) {
  LoggingStream parent;
  parent.surplus = 1;
  AtomReader reader(parent, 2);
  uint8_t buffer[8];
  EXPECT_THROWS_MESSAGE(reader.read(buffer, 8), "bug: stream read more bytes than asked for");
  EXPECT_THROWS_MESSAGE(reader.skip(8), "bug: stream skipped more bytes than asked for");
}

TEST(AtomReader, AParentThatSkipsMoreThanAskedIsABug) {
  LoggingStream parent;
  parent.surplus = 1;
  AtomReader reader(parent, 10);
  EXPECT_THROWS_MESSAGE(reader.skip(4), "bug: stream skipped more bytes than asked for");
}

TEST(AtomReader, FinishSkipsTheRestWithOneExactSkip) {
  LoggingStream parent;
  AtomReader reader(parent, 10);
  reader.skipExact(3);
  reader.finish();
  EXPECT_EQ(parent.log, (Calls{{"skipExact", 3}, {"skipExact", 7}}));
}

TEST(AtomReader, FinishMakesNoCallWhenNothingIsLeft) {
  LoggingStream parent;
  AtomReader reader(parent, 4);
  uint8_t buffer[4];
  reader.readExact(buffer, 4);
  reader.finish();
  EXPECT_EQ(parent.log, (Calls{{"readExact", 4}}));
}

// ---- values

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

TEST(ValueReaders, WidenArraysInChunksOf256Entries) {
  Bytes bytes;
  for (uint32_t i = 0; i < 600; ++i) bytes = join(bytes, u32(0xfffffff0 - i));
  MemorySource source(bytes);
  HostStreamAdapter stream(source, source.size());
  std::vector<uint64_t> values(600);
  readU32ArrayWidened(stream, values.data(), 600);
  for (uint32_t i = 0; i < 600; ++i) ASSERT_EQ(values[i], 0xfffffff0 - i);
  EXPECT_EQ(source.reads, 3u);
  EXPECT_EQ(source.largestRead, 1024u);
}

TEST(ValueReaders, WidenWithoutTheHeap) {
  FailingAllocation memory(0);
  MemorySource source(u32(5));
  HostStreamAdapter stream(source, source.size());
  uint64_t value = 0;
  readU32ArrayWidened(stream, &value, 1);
  EXPECT_EQ(value, 5u);
  EXPECT_EQ(memory.allocations(), 0u);
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
  LoggingStream stream;
  EXPECT_THROWS_MESSAGE(requireEntries(stream, 0xffffffff, 12),
                        "out of memory when resizing array");
  EXPECT_EQ(stream.log, (Calls{{"requireBytes", 0xfffffff4 + (uint64_t{0xb} << 32)}}));
  EXPECT_NO_THROW(requireEntries(stream, 0x3fffffff, 4));
  EXPECT_THROWS_MESSAGE(requireEntries(stream, 0x40000000, 4), "out of memory when resizing array");
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

TEST(ValueReaders, BytesThatEndEarlyLeaveNothing) {
  MemorySource source(raw({1, 2, 3, 4, 5}));
  HostStreamAdapter file(source, kUnknownLength);
  ByteArray bytes;
  readBytes(file, bytes, 2);
  EXPECT_THROWS_MESSAGE(readBytes(file, bytes, 4), "attempting to read past end of file");
  EXPECT_EQ(bytes.count(), 0u);
}

TEST(ValueReaders, BytesOfASourceThatKnowsItsLengthAreOneReadAndOneBlock) {
  MemorySource source(repeat(7, 300'000));
  HostStreamAdapter file(source, source.size());
  AtomReader box(file, source.size());
  FailingAllocation memory;
  ByteArray bytes;
  readBytes(box, bytes, 300'000);
  EXPECT_EQ(bytes[299'999], 7);
  EXPECT_EQ(source.reads, 1u);
  EXPECT_EQ(memory.allocations(), 1u);
}

TEST(ValueReaders, BytesOfASourceOfUnknownLengthArriveInPiecesThatDouble) {
  constexpr uint32_t kPiece = 65536;
  for (const uint32_t count : {kPiece - 1, kPiece, kPiece + 1, 2 * kPiece, 4 * kPiece + 5}) {
    Bytes expected;
    for (uint32_t i = 0; i < count; ++i) expected.push_back(static_cast<uint8_t>(i % 251));
    MemorySource source(expected);
    HostStreamAdapter file(source, kUnknownLength);
    AtomReader box(file, count);
    ByteArray bytes;
    readBytes(box, bytes, count);
    ASSERT_EQ(bytes.count(), count);
    EXPECT_EQ(std::memcmp(bytes.data(), expected.data(), count), 0) << count;
    EXPECT_EQ(box.remaining(), 0u);
    EXPECT_EQ(source.reads, count <= kPiece ? 1u : count <= 2 * kPiece ? 2u : 4u) << count;
  }
}

TEST(ValueReaders, AClaimOfASourceOfUnknownLengthTakesMemoryForWhatArrivesOnly) {
  MemorySource source(zeros(100'000));
  HostStreamAdapter file(source, kUnknownLength);
  AtomReader box(file, 0xfffffff0);
  FailingAllocation memory;
  ByteArray bytes;
  EXPECT_THROWS_MESSAGE(readBytes(box, bytes, 0xfffffff0), "attempting to read past end of file");
  EXPECT_LE(memory.largestBlock(), 131'072u);
  EXPECT_EQ(memory.blocksHeld(), 0u);
  EXPECT_EQ(bytes.count(), 0u);
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

// ---- FourCC

TEST(FourCC, HoldsItsCharactersInFileOrderInMemory) {
  const FourCC type = fourCC("moov");
  EXPECT_EQ(std::memcmp(&type, "moov", 4), 0);
  const uint8_t bytes[] = {0, 'm', 'o', 'o', 'v'};
  EXPECT_EQ(fourCCFrom(bytes + 1), type);
  const FourCC name = fourCC("\xA9nam");
  EXPECT_EQ(std::memcmp(&name, "\xA9nam", 4), 0);
}

}  // namespace
// ---- texts

TEST(ReadString, ReadsBytesOfAStreamAndEndsThem) {
  MemorySource source(boxes::text("title"));
  HostStreamAdapter stream(source, source.size());
  OwnedString text;
  readString(stream, text, 4);
  EXPECT_STREQ(text.text(), "titl");
  readString(stream, text, 0);
  EXPECT_STREQ(text.text(), "");
}

TEST(ReadString, ReadsNothingAndAllocatesNothingWhenTheBytesCantBeThere) {
  FailingAllocation memory;
  MemorySource source(boxes::text("title"));
  HostStreamAdapter stream(source, kUnknownLength);
  AtomReader reader(stream, 5);
  OwnedString text;
  EXPECT_THROWS_MESSAGE(readString(reader, text, 6), "attempting to read past end of atom");
  EXPECT_EQ(memory.allocations(), 0u);
  EXPECT_EQ(source.reads, 0u);
}

TEST(ReadString, IsEmptyWhenTheSourceEndsInsideTheText) {
  MemorySource source(boxes::text("title"));
  HostStreamAdapter stream(source, kUnknownLength);
  FailingAllocation memory;
  OwnedString text;
  text.assign("before");
  EXPECT_THROWS_MESSAGE(readString(stream, text, 9), "attempting to read past end of file");
  EXPECT_TRUE(text.empty());
  EXPECT_STREQ(text.text(), "");
  EXPECT_EQ(text.length(), 0u);
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(ReadString, AReadWithoutMemoryIsOutOfMemoryAndLeavesItEmpty) {
  MemorySource source(boxes::text("title"));
  HostStreamAdapter stream(source, source.size());
  OwnedString text;
  text.assign("before");
  FailingAllocation memory(0);
  EXPECT_THROWS_MESSAGE(readString(stream, text, 5), "out of memory");
  EXPECT_TRUE(text.empty());
}

TEST(ReadString, ALongTextOfASourceOfUnknownLengthIsReadWhole) {
  boxes::Bytes bytes;
  for (uint32_t i = 0; i < 300'000; ++i) bytes.push_back(static_cast<uint8_t>(1 + i % 251));
  MemorySource source(bytes);
  HostStreamAdapter stream(source, kUnknownLength);
  OwnedString text;
  readString(stream, text, 300'000);
  ASSERT_EQ(text.length(), 300'000u);
  EXPECT_EQ(std::memcmp(text.text(), bytes.data(), bytes.size()), 0);
}

}  // namespace atomkit
