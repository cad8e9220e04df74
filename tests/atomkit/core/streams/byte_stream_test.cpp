#include "atomkit/core/streams/byte_stream.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/boxes.h"
#include "tests/support/memory_source.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;

// Records what is asked of it and answers with `surplus` more than that.
class LoggingStream final : public ByteStream {
 public:
  LoggingStream() : ByteStream(head_) {}
  uint32_t read(void*, uint32_t count) override {
    pass("read", count);
    return count + static_cast<uint32_t>(surplus);
  }
  uint64_t skip(uint64_t count) override {
    pass("skip", count);
    return count + surplus;
  }
  void readExact(void*, uint32_t count) override { pass("readExact", count); }
  void skipExact(uint64_t count) override { pass("skipExact", count); }
  void requireBytes(uint64_t count) override { log.push_back({"requireBytes", count}); }

  using Call = std::pair<std::string, uint64_t>;
  std::vector<Call> log;
  uint64_t surplus = 0;

 private:
  void pass(const char* operation, uint64_t count) {
    log.push_back({operation, count});
    head_.advance(count);
  }

  ReadHead head_;
};
using Calls = std::vector<LoggingStream::Call>;

// Breaks its contract: claims one byte more than it was asked for.
class SurplusSource final : public ByteSource {
 public:
  uint32_t read(void*, uint32_t count) override { return count + 1; }
  uint64_t skip(uint64_t count) override { return count + 1; }
};

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
  EXPECT_EQ(stream.skip(1), 1u);
  stream.requireBytes(5);
  EXPECT_THROWS_MESSAGE(stream.requireBytes(6), "attempting to read past end of file");
}

TEST(HostStreamAdapter, BytesThatWereReadAreNotThereAgain) {
  MemorySource source(zeros(10));
  HostStreamAdapter stream(source, 10);
  uint8_t buffer[8];
  EXPECT_EQ(stream.read(buffer, 3), 3u);
  EXPECT_NO_THROW(stream.requireBytes(7));
  EXPECT_THROWS_MESSAGE(stream.requireBytes(8), "attempting to read past end of file");
  stream.readExact(buffer, 5);
  EXPECT_NO_THROW(stream.requireBytes(2));
  EXPECT_THROWS_MESSAGE(stream.requireBytes(3), "attempting to read past end of file");
}

TEST(HostStreamAdapter, ASourceOfUnknownLengthMayHoldAnyNumberOfBytes) {
  MemorySource source(zeros(1));
  HostStreamAdapter stream(source, kUnknownLength);
  EXPECT_NO_THROW(stream.requireBytes(~uint64_t{0}));
  stream.skipExact(1);
  EXPECT_NO_THROW(stream.requireBytes(~uint64_t{0}));
}

TEST(HostStreamAdapter, PastTheKnownLengthNoBytesCanBeThere) {
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

TEST(AtomReader, InsideTheBoxButPastTheFileIsPastTheEndOfTheFile) {
  MemorySource source(zeros(2));
  HostStreamAdapter file(source, kUnknownLength);
  AtomReader outer(file, 10);
  AtomReader inner(outer, 8);
  uint8_t buffer[4];
  EXPECT_THROWS_MESSAGE(inner.readExact(buffer, 4), "attempting to read past end of file");
}

TEST(AtomReader, PastTheBoxIsPastTheEndOfTheAtomEvenWhereTheFileHasTheBytes) {
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

}  // namespace
}  // namespace atomkit
