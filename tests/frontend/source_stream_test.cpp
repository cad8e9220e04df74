// SourceStream: result codes become exceptions, long skips become seeks.
#include "frontend/source_stream.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/fake_stream.h"
#include "tests/support/raw_host.h"
#include "tests/support/raw_table.h"
#include "tests/support/throws_message.h"

using boxes::Bytes;
using vela::TIOResult;

namespace {

using Calls = std::vector<std::string>;

#define EXPECT_THROWS_CODE(statement, expectedCode) \
  do {                                              \
    try {                                           \
      statement;                                    \
      ADD_FAILURE() << #statement " threw nothing"; \
    } catch (TIOResult code) {                      \
      EXPECT_EQ(code, expectedCode);                \
    }                                               \
  } while (false)

constexpr uint64_t kFourGiB = uint64_t{1} << 32;

class Source : public testing::Test {
 protected:
  explicit Source(Seekable seekable = Seekable::yes)
      : stream(Bytes(5000, 7), seekable), source(&stream, &token) {
    stream.expectedToken = &token;
  }

  FakeHostStream stream;
  FakeCancelToken token;
  vela::SourceStream source;
};

class SourceWithoutSeeking : public Source {
 protected:
  SourceWithoutSeeking() : Source(Seekable::no) {}
};

}  // namespace

TEST_F(Source, ReadsAndReportsAShortRead) {
  Bytes bytes(10);
  EXPECT_EQ(source.read(bytes.data(), 10), 10u);
  EXPECT_EQ(bytes, Bytes(10, 7));
  stream.position = 4997;
  EXPECT_EQ(source.read(bytes.data(), 10), 3u);
  EXPECT_EQ(stream.calls, (Calls{"read 10 -> 10", "read 10 -> 3"}));
  EXPECT_EQ(stream.lastToken, &token);
}

TEST_F(Source, SeeksForALongSkip) {
  EXPECT_EQ(source.skip(1000), 1000u);
  EXPECT_EQ(stream.calls,
            (Calls{"canSeek -> 1", "getLength -> 5000", "getPosition -> 0", "seek 1000"}));
}

TEST_F(Source, SeeksNoFurtherThanTheEndForALongSkip) {
  stream.position = 4000;
  EXPECT_EQ(source.skip(3 * kFourGiB), 1000u);
  EXPECT_EQ(stream.calls.back(), "seek 5000");
  EXPECT_EQ(source.skip(257), 0u);
}

TEST_F(Source, RefusesALongSkipFromPastTheEnd) {
  stream.position = 5001;
  EXPECT_THROWS_CODE(source.skip(257), TIOResult::outOfRange);
  EXPECT_EQ(source.skip(256), 0u) << "a short skip is the stream's own matter";
}

TEST_F(Source, LeavesALongSkipToAStreamOfUnknownLength) {
  stream.claimedLength = vela::kUnknown64;
  EXPECT_EQ(source.skip(1000), 1000u);
  EXPECT_EQ(stream.calls, (Calls{"canSeek -> 1", "getLength -> unknown", "skip 1000 -> 1000"}));
  EXPECT_THROWS_CODE(source.skip(kFourGiB), TIOResult::outOfRange);
}

TEST(Deliberate, D005_ASkipOf256BytesIsTheStreamsOwnAndOneOf257BytesSeeks) {
  FakeHostStream stream(Bytes(5000, 7));
  vela::SourceStream source(&stream, nullptr);
  EXPECT_EQ(source.skip(256), 256u);
  EXPECT_EQ(stream.take(), Calls{"skip 256 -> 256"});
  EXPECT_EQ(source.skip(257), 257u);
  EXPECT_EQ(stream.take(),
            (Calls{"canSeek -> 1", "getLength -> 5000", "getPosition -> 256", "seek 513"}));
}

TEST_F(Source, ReportsAShortSkip) {
  stream.largestSkip = 100;
  EXPECT_EQ(source.skip(200), 100u);
}

TEST_F(SourceWithoutSeeking, LeavesALongSkipToTheStream) {
  EXPECT_EQ(source.skip(4000), 4000u);
  EXPECT_EQ(source.skip(0xFFFFFFFF), 1000u);
  EXPECT_EQ(stream.calls, (Calls{"canSeek -> 0", "skip 4000 -> 4000", "canSeek -> 0",
                                 "skip 4294967295 -> 1000"}));
}

TEST_F(SourceWithoutSeeking, RefusesASkipThatNeedsMoreThan32Bits) {
  EXPECT_THROWS_CODE(source.skip(kFourGiB), TIOResult::outOfRange);
  EXPECT_EQ(stream.calls, Calls{"canSeek -> 0"});
}

TEST_F(Source, SeeksTheStream) {
  source.seek(3 * kFourGiB + 5);
  EXPECT_EQ(stream.calls, (Calls{"canSeek -> 1", "seek 12884901893"}));
}

TEST_F(SourceWithoutSeeking, FailsToSeekBackwards) {
  stream.position = 100;
  EXPECT_THROWS_MESSAGE(source.seek(99), "stream seeking error");
}

TEST_F(SourceWithoutSeeking, DoesNothingToSeekToItsPosition) {
  stream.position = 100;
  source.seek(100);
  EXPECT_EQ(stream.calls, (Calls{"canSeek -> 0", "getPosition -> 100"}));
}

TEST_F(SourceWithoutSeeking, SkipsTheDistanceOfASeekForward) {
  stream.position = 100;
  source.seek(1100);
  EXPECT_EQ(stream.calls, (Calls{"canSeek -> 0", "getPosition -> 100", "skip 1000 -> 1000"}));
}

TEST_F(SourceWithoutSeeking, FailsToSeekPastTheEnd) {
  EXPECT_THROWS_CODE(source.seek(5001), TIOResult::failed);
  stream.position = 10;
  EXPECT_THROWS_CODE(source.seek(kFourGiB + 9), TIOResult::failed);  // 32 bits are enough
  EXPECT_EQ(stream.calls.back(), "skip 4294967295 -> 4990");
}

TEST_F(SourceWithoutSeeking, RefusesASeekWhoseDistanceNeedsMoreThan32Bits) {
  stream.position = 10;
  EXPECT_THROWS_CODE(source.seek(10 + kFourGiB), TIOResult::outOfRange);
}

TEST_F(Source, TellsThePosition) {
  stream.position = kFourGiB + 1;
  EXPECT_EQ(source.position(), kFourGiB + 1);
}

TEST_F(Source, WritesEverythingOrFails) {
  source.write("abc", 3);
  EXPECT_EQ(stream.bytes[2], 'c');
  stream.largestWrite = 2;
  EXPECT_THROWS_CODE(source.write("abc", 3), TIOResult::failed);
}

TEST_F(Source, TruncatesAtItsPosition) {
  stream.position = 123;
  source.truncate();
  EXPECT_EQ(stream.calls, (Calls{"getPosition -> 123", "setLength 123"}));
  EXPECT_EQ(stream.bytes.size(), 123u);
}

TEST_F(Source, ThrowsEveryCodeOfTheStream) {
  uint8_t byte = 0;
  stream.failAlways("read", kHostCode);
  EXPECT_THROWS_CODE(source.read(&byte, 1), kHostCode);
  stream.failAlways("skip", kHostCode);
  EXPECT_THROWS_CODE(source.skip(1), kHostCode);
  stream.failAlways("seek", kHostCode);
  EXPECT_THROWS_CODE(source.skip(257), kHostCode);
  EXPECT_THROWS_CODE(source.seek(1), kHostCode);
  stream.failAlways("setLength", kHostCode);
  EXPECT_THROWS_CODE(source.truncate(), kHostCode);
  stream.failAlways("getPosition", kHostCode);
  EXPECT_THROWS_CODE(source.position(), kHostCode);
  EXPECT_THROWS_CODE(source.truncate(), kHostCode);
  EXPECT_THROWS_CODE(source.skip(257), kHostCode);
  stream.failAlways("getLength", kHostCode);
  EXPECT_THROWS_CODE(source.skip(257), kHostCode);
  stream.failAlways("write", kHostCode);
  EXPECT_THROWS_CODE(source.write(&byte, 1), kHostCode);
}

TEST_F(SourceWithoutSeeking, ThrowsTheCodesOfAnEmulatedSeek) {
  stream.failCall("getPosition", 0, kHostCode);
  EXPECT_THROWS_CODE(source.seek(10), kHostCode);
  stream.failCall("skip", 0, kHostCode);
  EXPECT_THROWS_CODE(source.seek(10), kHostCode);
}

TEST_F(Source, TellsTheLength) {
  EXPECT_EQ(source.length(), 5000u);
  stream.claimedLength = vela::kUnknown64;
  EXPECT_EQ(source.length(), atomkit::kUnknownLength);
  stream.failCall("getLength", 0, kHostCode);
  EXPECT_EQ(source.length(), atomkit::kUnknownLength);
}

TEST_F(SourceWithoutSeeking, NeedNotTellTheLength) {
  stream.failCall("getLength", 0, kHostCode);
  EXPECT_EQ(source.length(), atomkit::kUnknownLength);
  EXPECT_EQ(source.length(), 5000u);
}

TEST_F(Source, HasItsOperationsInSlotOrder) {
  const auto code = [](const auto& operation) {
    try {
      operation();
    } catch (TIOResult thrown) {
      return thrown;
    }
    return TIOResult::success;
  };
  using raw_table::call;
  void* const object = &source;
  Bytes bytes(8);
  EXPECT_EQ(call<uint32_t>(object, 0, static_cast<void*>(bytes.data()), uint32_t{8}), 8u);
  EXPECT_EQ(bytes, Bytes(8, 7));
  EXPECT_EQ(call<uint64_t>(object, 1, uint64_t{100}), 100u);
  EXPECT_EQ(stream.take(), (Calls{"read 8 -> 8", "skip 100 -> 100"}));
  stream.position = kFourGiB + 1;
  EXPECT_EQ(call<uint64_t>(object, 2), kFourGiB + 1);
  EXPECT_EQ(stream.take(), Calls{"getPosition -> 4294967297"});
  call<void>(object, 3, 3 * kFourGiB + 5);
  EXPECT_EQ(stream.take(), (Calls{"canSeek -> 1", "seek 12884901893"}));
  stream.position = 10;
  call<void>(object, 4, static_cast<const void*>("abc"), uint32_t{3});
  EXPECT_EQ(stream.take(), Calls{"write 3 -> 3"});
  call<void>(object, 5);
  EXPECT_EQ(stream.take(), (Calls{"getPosition -> 13", "setLength 13"}));
  stream.failAlways("", kHostCode);
  EXPECT_EQ(code([&] { call<uint64_t>(object, 2); }), kHostCode);
  EXPECT_EQ(code([&] { call<void>(object, 3, uint64_t{1}); }), kHostCode);
  EXPECT_EQ(code([&] { call<void>(object, 4, static_cast<const void*>("a"), uint32_t{1}); }),
            kHostCode);
  EXPECT_EQ(code([&] { call<void>(object, 5); }), kHostCode);
}

TEST_F(Source, IsItsTablePointerTheTokenAndTheStream) {
  EXPECT_NE(raw_table::word(&source, 0), nullptr);
  EXPECT_EQ(raw_table::word(&source, 1), static_cast<vela::CancelToken*>(&token));
  EXPECT_EQ(raw_table::word(&source, 2), static_cast<vela::HostStream*>(&stream));
}

namespace {

/// A stream of the host that is nothing but tables.
class SourceOfRawTables : public testing::Test {
 protected:
  SourceOfRawTables()
      : source(reinterpret_cast<vela::HostStream*>(&stream),
               reinterpret_cast<vela::CancelToken*>(&token)) {
    for (uint32_t i = 0; i < 1000; ++i) stream.bytes.push_back(static_cast<uint8_t>(i));
  }

  raw_host::Stream stream;
  raw_host::Token token;
  vela::SourceStream source;
};

}  // namespace

TEST_F(SourceOfRawTables, CallsSlot1OfTheReader) {
  EXPECT_EQ(source.skip(100), 100u);
  EXPECT_EQ(stream.log, Calls{"skip 100"});
  EXPECT_EQ(stream.lastToken, &token);
  EXPECT_EQ(stream.position, 100u);
}

TEST_F(SourceOfRawTables, CallsSlots4And5And8And10OfTheControl) {
  stream.position = 300;
  EXPECT_EQ(source.position(), 300u);
  EXPECT_EQ(stream.lastToken, &token);
  EXPECT_EQ(source.skip(257), 257u);
  EXPECT_EQ(source.length(), 1000u);
  EXPECT_EQ(stream.log, Calls{"seek 557"});
  stream.canSeekAnswer = 0;
  source.seek(600);
  EXPECT_EQ(stream.log, (Calls{"seek 557", "skip 43"}));
}

TEST_F(SourceOfRawTables, CallsSlot7OfTheControlAndSlot0OfTheWriter) {
  stream.position = 500;
  source.write("abc", 3);
  EXPECT_EQ(stream.lastToken, &token);
  EXPECT_EQ(stream.bytes[502], 'c');
  stream.lastToken = nullptr;
  source.truncate();
  EXPECT_EQ(stream.log, (Calls{"write 3", "setLength 503"}));
  EXPECT_EQ(stream.lastToken, &token);
  EXPECT_EQ(stream.bytes.size(), 503u);
}

TEST(SourceStream, HoldsAReferenceToItsStream) {
  FakeHostStream stream;
  {
    const vela::SourceStream source(&stream, nullptr);
    EXPECT_EQ(stream.references.count(), 1u);
  }
  EXPECT_EQ(stream.references.timesFreed(), 1u);
}
