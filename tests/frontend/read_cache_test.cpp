// The read cache: which calls reach the host's stream, and what its callers see.
#include "frontend/read_cache.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "hal/memory/memory.h"
#include "tests/frontend/cache_image.h"
#include "tests/support/fake_stream.h"

using boxes::Bytes;
using vela::HostStream;
using vela::TIOResult;

namespace {

using Calls = std::vector<std::string>;

constexpr uint32_t kUntouched = 0xdeadbeef;
const std::string kFullRead = "read 16384 -> 16384";

/// Bytes that differ from place to place, with a period far from any block size.
Bytes pattern(size_t count) {
  Bytes bytes(count);
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(i % 251 + i / 16384);
  return bytes;
}

std::string seekTo(uint64_t position) { return "seek " + std::to_string(position); }

class ReadCache : public testing::Test {
 protected:
  explicit ReadCache(size_t fileSize = 0x60000, Seekable seekable = Seekable::yes)
      : host(pattern(fileSize), seekable),
        cache(VMemory::GNew<vela::ReadCache>(static_cast<HostStream*>(&host))) {
    host.expectedToken = &token;
  }

  TIOResult seek(uint64_t position) {
    const vela::Word64 words = vela::toWord64(position);
    return cache->seek(words.low, words.high, &token);
  }
  uint64_t position() {
    uint64_t current = 0;
    EXPECT_EQ(cache->getPosition(&current, &token), TIOResult::success);
    return current;
  }
  /// What a successful read of `count` bytes delivers.
  Bytes read(uint32_t count) {
    Bytes bytes(count);
    uint32_t done = kUntouched;
    EXPECT_EQ(cache->read(bytes.data(), count, &done, &token), TIOResult::success);
    bytes.resize(done);
    return bytes;
  }
  Bytes readAt(uint64_t place, uint32_t count) {
    seek(place);
    return read(count);
  }
  TIOResult tryRead(uint32_t count) {
    Bytes bytes(count);
    uint32_t done = kUntouched;
    const TIOResult result = cache->read(bytes.data(), count, &done, &token);
    EXPECT_EQ(done, kUntouched) << "a read that fails reports no bytes";
    return result;
  }
  uint32_t skip(uint32_t count) {
    uint32_t done = kUntouched;
    EXPECT_EQ(cache->skip(count, &done, &token), TIOResult::success);
    return done;
  }
  Bytes fileBytes(uint64_t place, size_t count) const {
    const auto begin = host.bytes.begin() + static_cast<std::ptrdiff_t>(place);
    return Bytes(begin, begin + static_cast<std::ptrdiff_t>(count));
  }
  /// Calls that the host got for a read of one byte at `place`.
  Calls callsToTouch(uint64_t place) {
    host.calls.clear();
    EXPECT_EQ(readAt(place, 1).size(), 1u);
    return host.take();
  }
  /// Fills the four blocks from 0x00000, 0x10000, 0x20000 and 0x30000. Then this call of the host
  /// fails when the first of them is filled from 0x40000.
  void failToReplaceTheOldestBlock(const char* call) {
    for (const uint32_t place : {0x00000u, 0x10000u, 0x20000u, 0x30000u}) readAt(place, 1);
    host.failCall(call, 0, kHostCode);
    seek(0x40000);
    EXPECT_EQ(tryRead(1), kHostCode);
  }

  FakeHostStream host;
  FakeCancelToken token;
  vela::Reference<vela::ReadCache> cache;
};

class ReadCacheWithoutSeeking : public ReadCache {
 protected:
  ReadCacheWithoutSeeking() : ReadCache(0x10000, Seekable::no) { cache->readForwardOnly(); }
};

class ShortReadCache : public ReadCache {
 protected:
  ShortReadCache() : ReadCache(100) {}
};

}  // namespace

TEST_F(ReadCache, FillsABlockExactly8192BytesBeforeAPlaceWithTheBitSet) {
  EXPECT_EQ(readAt(0x2010, 4), fileBytes(0x2010, 4));
  EXPECT_EQ(host.take(), (Calls{seekTo(0x0010), kFullRead}));
  EXPECT_EQ(readAt(0x0100, 4), fileBytes(0x0100, 4));
  EXPECT_EQ(host.take(), Calls{}) << "the block holds this place too";
}

TEST_F(ReadCache, FillsABlockAtAPlaceWithoutTheBit) {
  EXPECT_EQ(readAt(0x1000, 4), fileBytes(0x1000, 4));
  EXPECT_EQ(host.take(), (Calls{seekTo(0x1000), kFullRead}));
  EXPECT_EQ(readAt(0x4FFF, 1), fileBytes(0x4FFF, 1));
  EXPECT_EQ(host.take(), Calls{}) << "the last byte of the block";
  EXPECT_EQ(readAt(0x0FFF, 1), fileBytes(0x0FFF, 1));
  EXPECT_EQ(host.take(), (Calls{seekTo(0x0FFF), kFullRead})) << "the byte before it";
}

TEST(Deliberate, D002_ABlockBeginsAtThePlaceWithOneBitCleared) {
  const struct {
    uint64_t place, start;
  } cases[] = {{0, 0},           {0x1FFF, 0x1FFF},          {0x2000, 0},
               {0x2001, 1},      {0x3FFF, 0x1FFF},          {0x4000, 0x4000},
               {0x5ABC, 0x5ABC}, {0x6ABC, 0x4ABC},          {0xE001, 0xC001},
               {0x7777, 0x5777}, {0x100002345, 0x100000345}};
  for (const auto& one : cases) {
    FakeHostStream host;
    const vela::Reference<vela::ReadCache> cache(
        VMemory::GNew<vela::ReadCache>(static_cast<HostStream*>(&host)));
    const vela::Word64 words = vela::toWord64(one.place);
    ASSERT_EQ(cache->seek(words.low, words.high, nullptr), TIOResult::success);
    uint8_t byte = 0;
    uint32_t done = kUntouched;
    EXPECT_EQ(cache->read(&byte, 1, &done, nullptr), TIOResult::success);
    EXPECT_EQ(done, 0u);
    EXPECT_EQ(host.calls, (Calls{seekTo(one.start), "read 16384 -> 0"})) << one.place;
  }
}

TEST_F(ReadCache, SeeksBeforeTheFirstReadBecauseTheHostPositionIsUnknown) {
  EXPECT_EQ(read(4), fileBytes(0, 4));
  EXPECT_EQ(host.take(), (Calls{seekTo(0), kFullRead}));
}

TEST_F(ReadCache, ReadsOnWithoutSeeking) {
  EXPECT_EQ(read(50000), fileBytes(0, 50000));
  EXPECT_EQ(host.take(), (Calls{seekTo(0), kFullRead, kFullRead, kFullRead, kFullRead}));
  EXPECT_EQ(position(), 50000u);
}

TEST_F(ReadCache, ServesSmallReadsFromOneBlock) {
  for (uint32_t i = 0; i < 4096; ++i) ASSERT_EQ(read(4), fileBytes(4 * i, 4));
  EXPECT_EQ(host.take(), (Calls{seekTo(0), kFullRead}));
}

TEST_F(ReadCache, ReplacesTheLeastRecentlyUsedBlockByAFifthRegion) {
  for (const uint32_t place : {0x00000u, 0x10000u, 0x20000u, 0x30000u}) readAt(place, 1);
  readAt(0x00000, 1);  // now 0x10000 is the least recently used
  EXPECT_EQ(callsToTouch(0x40000), (Calls{seekTo(0x40000), kFullRead}));
  EXPECT_EQ(callsToTouch(0x00000), Calls{});
  EXPECT_EQ(callsToTouch(0x20000), Calls{});
  EXPECT_EQ(callsToTouch(0x30000), Calls{});
  EXPECT_EQ(callsToTouch(0x40000), Calls{});
  EXPECT_EQ(callsToTouch(0x10000), (Calls{seekTo(0x10000), kFullRead}));
  EXPECT_EQ(callsToTouch(0x20000), Calls{});
  EXPECT_EQ(callsToTouch(0x00000), (Calls{seekTo(0x00000), kFullRead})) << "was replaced";
}

TEST_F(ReadCache, ReplacesTheLeastRecentlyUsedBlockWhateverTheOrderOfUse) {
  std::vector<uint32_t> order = {0x00000, 0x10000, 0x20000, 0x30000};
  do {
    cache.reset(VMemory::GNew<vela::ReadCache>(static_cast<HostStream*>(&host)));
    for (const uint32_t place : {0x00000u, 0x10000u, 0x20000u, 0x30000u}) readAt(place, 1);
    for (const uint32_t place : order) readAt(place, 1);
    readAt(0x40000, 1);
    for (const uint32_t kept : {order[1], order[2], order[3], 0x40000u}) {
      EXPECT_EQ(callsToTouch(kept), Calls{}) << kept;
    }
    EXPECT_EQ(callsToTouch(order[0]), (Calls{seekTo(order[0]), kFullRead}));
  } while (std::next_permutation(order.begin(), order.end()));
}

TEST_F(ReadCache, ReplacesTheFirstOfBlocksWithEqualStamps) {
  // A block that ends before the place that was asked for is kept, but not stamped.
  host.largestRead = 8;
  const auto fillUnstamped = [&](uint64_t start) { EXPECT_EQ(readAt(0x2000 + start, 1), Bytes{}); };
  for (const uint32_t start : {0x100u, 0x200u, 0x300u, 0x400u}) fillUnstamped(start);
  fillUnstamped(0x500);
  EXPECT_EQ(callsToTouch(0x200), Calls{});
  EXPECT_EQ(callsToTouch(0x300), Calls{});
  EXPECT_EQ(callsToTouch(0x400), Calls{});
  EXPECT_EQ(callsToTouch(0x500), Calls{});
  EXPECT_EQ(callsToTouch(0x100), (Calls{seekTo(0x100), "read 16384 -> 8"}));
}

TEST(Deliberate, D007_ABlockThatMetTheEndOfTheStreamIsTheNextToBeReplaced) {
  FakeHostStream host(pattern(0x30010));
  const vela::Reference<vela::ReadCache> cache(
      VMemory::GNew<vela::ReadCache>(static_cast<HostStream*>(&host)));
  const auto callsToTouch = [&](uint32_t place) {
    host.calls.clear();
    uint8_t byte = 0;
    uint32_t done = 0;
    EXPECT_EQ(cache->seek(place, 0, nullptr), TIOResult::success);
    EXPECT_EQ(cache->read(&byte, 1, &done, nullptr), TIOResult::success);
    return host.take();
  };
  callsToTouch(0x00000);
  callsToTouch(0x10000);
  callsToTouch(0x20000);
  EXPECT_EQ(callsToTouch(0x32008), (Calls{seekTo(0x30008), "read 16384 -> 8"}));
  callsToTouch(0x08000);  // replaces that block, not the older one of 0
  EXPECT_EQ(callsToTouch(0x00000), Calls{});
  EXPECT_EQ(callsToTouch(0x30008), (Calls{seekTo(0x30008), "read 16384 -> 8"}));
}

TEST_F(ReadCache, TakesABlockThatIsNotValidBeforeTheLeastRecentlyUsed) {
  for (const uint32_t place : {0x00000u, 0x10000u, 0x20000u, 0x30000u}) readAt(place, 1);
  readAt(0x00000, 1);
  host.failCall("read", 0, kHostCode);
  seek(0x40000);
  EXPECT_EQ(tryRead(1), kHostCode);  // costs the block of 0x10000
  readAt(0x50000, 1);                // takes that block, not the one of 0x20000
  EXPECT_EQ(callsToTouch(0x20000), Calls{});
  EXPECT_EQ(callsToTouch(0x30000), Calls{});
  EXPECT_EQ(callsToTouch(0x00000), Calls{});
  EXPECT_EQ(callsToTouch(0x50000), Calls{});
}

TEST_F(ReadCache, FindsAPlaceInTheFirstBlockThatHoldsIt) {
  readAt(0x1000, 1);  // block 0: 0x1000 ... 0x5000
  readAt(0x0800, 1);  // block 1: 0x0800 ... 0x4800
  readAt(0x10000, 1);
  readAt(0x20000, 1);
  EXPECT_EQ(callsToTouch(0x2000), Calls{});  // stamps block 0, not block 1
  readAt(0x30000, 1);                        // replaces block 1
  EXPECT_EQ(callsToTouch(0x4FFF), Calls{});
  EXPECT_EQ(callsToTouch(0x0900), (Calls{seekTo(0x0900), kFullRead}));
}

TEST_F(ReadCache, CopiesAcrossBlocksThatOverlap) {
  readAt(0x4000, 1);  // 0x4000 ... 0x8000
  host.calls.clear();
  EXPECT_EQ(readAt(0x3FF0, 0x20), fileBytes(0x3FF0, 0x20));
  EXPECT_EQ(host.take(), (Calls{seekTo(0x1FF0), kFullRead})) << "0x1FF0 ... 0x5FF0";
}

TEST_F(ShortReadCache, EndsWithTheStream) {
  EXPECT_EQ(read(200), fileBytes(0, 100));
  EXPECT_EQ(host.take(), (Calls{seekTo(0), "read 16384 -> 100", "read 16384 -> 0"}));
  EXPECT_EQ(position(), 100u);
}

TEST_F(ShortReadCache, DeliversNothingAtTheEndAndPastIt) {
  EXPECT_EQ(readAt(100, 1), Bytes{});
  EXPECT_EQ(readAt(5000, 10), Bytes{});
  EXPECT_EQ(readAt(0xFFFFFFFFFFFFFFFE, 10), Bytes{});
  EXPECT_EQ(position(), 0xFFFFFFFFFFFFFFFE);
}

TEST_F(ShortReadCache, ReportsZeroBytesForACountOfZeroWithoutAnyCall) {
  EXPECT_EQ(read(0), Bytes{});
  EXPECT_EQ(host.take(), Calls{});
  EXPECT_EQ(token.questions, 0u);
}

TEST_F(ReadCache, IsCancelledBeforeAnythingIsRead) {
  token.cancelAt = 0;
  EXPECT_EQ(tryRead(1), TIOResult::cancelled);
  EXPECT_EQ(host.take(), Calls{});
  EXPECT_EQ(position(), 0u);
}

TEST(Deliberate, D006_ACancelledReadReportsNothingAndLeavesThePositionAfterWhatItCopied) {
  FakeHostStream host(pattern(0x10000));
  FakeCancelToken token(2);
  const vela::Reference<vela::ReadCache> cache(
      VMemory::GNew<vela::ReadCache>(static_cast<HostStream*>(&host)));
  Bytes bytes(50000);
  uint32_t done = kUntouched;
  EXPECT_EQ(cache->read(bytes.data(), 50000, &done, &token), TIOResult::cancelled);
  EXPECT_EQ(done, kUntouched);
  EXPECT_EQ(host.take(), (Calls{seekTo(0), kFullRead, kFullRead}));
  uint64_t position = 0;
  EXPECT_EQ(cache->getPosition(&position, nullptr), TIOResult::success);
  EXPECT_EQ(position, 2u * 16384);
}

TEST_F(ReadCache, IsCancelledEvenWhenTheBytesAreThere) {
  read(1);
  token.cancelAt = token.questions;
  EXPECT_EQ(tryRead(1), TIOResult::cancelled);
}

TEST_F(ReadCache, CannotBeCancelledWithoutAToken) {
  host.expectedToken = nullptr;
  Bytes bytes(50000);
  uint32_t done = 0;
  EXPECT_EQ(cache->read(bytes.data(), 50000, &done, nullptr), TIOResult::success);
  EXPECT_EQ(bytes, fileBytes(0, 50000));
}

TEST_F(ReadCache, HandsTheTokenOfTheCallToTheHost) {
  read(1);
  EXPECT_EQ(host.lastToken, &token);
  host.expectedToken = nullptr;
  uint64_t length = 0;
  EXPECT_EQ(cache->getLength(&length, nullptr), TIOResult::success);
  EXPECT_EQ(host.lastToken, nullptr);
}

TEST_F(ReadCache, PassesTheCodeOfAFailedSeekOnAndSeeksAgain) {
  host.failCall("seek", 0, kHostCode);
  EXPECT_EQ(tryRead(4), kHostCode);
  EXPECT_EQ(host.take(), Calls{"seek 0 failed 4660"});
  EXPECT_EQ(read(4), fileBytes(0, 4));
  EXPECT_EQ(host.take(), (Calls{seekTo(0), kFullRead}));
}

TEST_F(ReadCache, PassesTheCodeOfAFailedReadOnAndSeeksAgainBecauseTheHostMayHaveMoved) {
  host.failCall("read", 1, kHostCode);
  EXPECT_EQ(tryRead(20000), kHostCode);
  EXPECT_EQ(host.take(), (Calls{seekTo(0), kFullRead, "read 16384 failed 4660"}));
  EXPECT_EQ(position(), 16384u);
  host.position = 12345;
  EXPECT_EQ(read(4), fileBytes(16384, 4));
  EXPECT_EQ(host.take(), (Calls{seekTo(16384), kFullRead}));
}

TEST_F(ReadCache, DoesNotServeABlockWhoseFillFailed) {
  failToReplaceTheOldestBlock("read");
  host.calls.clear();
  EXPECT_EQ(read(4), fileBytes(0x40000, 4)) << "not what the block held before";
  EXPECT_EQ(host.take(), (Calls{seekTo(0x40000), kFullRead}));
  EXPECT_EQ(callsToTouch(0x00000), (Calls{seekTo(0x00000), kFullRead}));
}

TEST_F(ReadCache, DoesNotServeWhatABlockHeldBeforeItsFillFailed) {
  failToReplaceTheOldestBlock("read");
  EXPECT_EQ(callsToTouch(0x00000), (Calls{seekTo(0x00000), kFullRead}));
}

TEST_F(ReadCache, DoesNothingInItsUnusedSlots) {
  readAt(0x10000, 1);
  host.calls.clear();
  vela::HostStreamControl& control = *cache.get();
  control.unusedSlot6();
  control.unusedSlot9();
  EXPECT_EQ(host.take(), Calls{});
  EXPECT_EQ(position(), 0x10001u);
}

TEST_F(ReadCache, DoesNotServeABlockThatCouldNotBeSoughtFor) {
  failToReplaceTheOldestBlock("seek");
  host.calls.clear();
  EXPECT_EQ(read(4), fileBytes(0x40000, 4)) << "not what the block held before";
  EXPECT_EQ(host.take(), (Calls{seekTo(0x40000), kFullRead}));
  for (const uint32_t place : {0x10000u, 0x20000u, 0x30000u}) {
    EXPECT_EQ(callsToTouch(place), Calls{}) << place;
  }
  EXPECT_EQ(callsToTouch(0x00000), (Calls{seekTo(0x00000), kFullRead}));
}

TEST_F(ReadCache, DropsABlockBeforeTheSeekForItsNextPlaceIsTried) {
  failToReplaceTheOldestBlock("seek");
  EXPECT_EQ(callsToTouch(0x00000), (Calls{seekTo(0x00000), kFullRead}));
  EXPECT_EQ(readAt(0x00000, 4), fileBytes(0x00000, 4));
}

TEST_F(ReadCache, TakesNoMoreThanABlockFromAHostThatReportsMore) {
  for (const uint32_t claimed : {16385u, 20000u, 0x7FFFFFFFu, 0xFFFFFFFFu}) {
    cache.reset(VMemory::GNew<vela::ReadCache>(static_cast<HostStream*>(&host)));
    host.claimedRead = claimed;
    host.calls.clear();
    EXPECT_EQ(read(100000), fileBytes(0, 100000)) << claimed;
    EXPECT_EQ(host.count("seek"), 1u) << "the host's stream stands at the end of each block";
    EXPECT_EQ(host.count("read 16384"), 7u);
  }
}

TEST(Deliberate, D003_OneFillIsOneHostReadWhateverItDelivers) {
  FakeHostStream host(pattern(0x6000));
  host.largestRead = 1000;
  const vela::Reference<vela::ReadCache> cache(
      VMemory::GNew<vela::ReadCache>(static_cast<HostStream*>(&host)));
  Bytes bytes(2500);
  uint32_t done = 0;
  EXPECT_EQ(cache->read(bytes.data(), 2500, &done, nullptr), TIOResult::success);
  EXPECT_EQ(done, 2500u);
  const std::string read = "read 16384 -> 1000";
  EXPECT_EQ(host.take(), (Calls{seekTo(0), read, read, read}));
  // Such a fill for a place with the bit set ends before it, which counts as the end of the stream.
  EXPECT_EQ(cache->seek(0x2100, 0, nullptr), TIOResult::success);
  EXPECT_EQ(cache->read(bytes.data(), 4, &done, nullptr), TIOResult::success);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(host.take(), (Calls{seekTo(0x100), read}));
}

TEST_F(ReadCache, MovesOnlyItsOwnPositionInASeek) {
  EXPECT_EQ(seek(0x123456789), TIOResult::success);
  EXPECT_EQ(position(), 0x123456789u);
  EXPECT_EQ(host.take(), Calls{});
}

TEST_F(ReadCache, ForwardsTheLengthAndItsFailures) {
  uint64_t length = 0;
  EXPECT_EQ(cache->getLength(&length, &token), TIOResult::success);
  EXPECT_EQ(length, 0x60000u);
  host.claimedLength = vela::kUnknown64;
  EXPECT_EQ(cache->getLength(&length, &token), TIOResult::success);
  EXPECT_EQ(length, vela::kUnknown64);
  host.failCall("getLength", 0, kHostCode);
  EXPECT_EQ(cache->getLength(&length, &token), kHostCode);
}

TEST_F(ReadCache, ForwardsTheQuestionWhetherItCanSeek) {
  EXPECT_EQ(cache->canSeek(), 1u);
  host.seekable = Seekable::no;
  EXPECT_EQ(cache->canSeek(), 0u);
  EXPECT_EQ(host.take(), (Calls{"canSeek -> 1", "canSeek -> 0"}));
}

TEST_F(ReadCache, IsNotChangedByTheQuestionWhetherItCanSeek) {
  host.seekable = Seekable::no;
  EXPECT_EQ(cache->canSeek(), 0u);
  host.seekable = Seekable::yes;
  host.calls.clear();
  EXPECT_EQ(callsToTouch(0), (Calls{seekTo(0), kFullRead}));
  EXPECT_EQ(callsToTouch(0x20000), (Calls{seekTo(0x20000), kFullRead}));
}

TEST_F(ReadCache, ForwardsThePassThroughOperationsUnchanged) {
  host.passThroughResult = 0x80000001;
  EXPECT_EQ(cache->passThroughTwo(11, 22), 0x80000001u);
  EXPECT_EQ(cache->passThroughOne(33), 0x80000001u);
  EXPECT_EQ(host.take(), (Calls{"passThroughTwo 11 22", "passThroughOne 33"}));
}

TEST_F(ReadCache, SkipsInsideItsBlocksWithoutAHostCall) {
  read(16);
  host.calls.clear();
  EXPECT_EQ(skip(256), 256u);
  EXPECT_EQ(skip(0), 0u);
  EXPECT_EQ(skip(16384 - 272), 16384u - 272) << "up to the end of the block";
  EXPECT_EQ(host.take(), Calls{});
  EXPECT_EQ(position(), 16384u);
  EXPECT_EQ(read(4), fileBytes(16384, 4));
}

TEST_F(ReadCache, AsksForTheLengthWhenItSkipsOutOfItsBlocks) {
  EXPECT_EQ(skip(0x50000), 0x50000u);
  EXPECT_EQ(host.take(), Calls{"getLength -> 393216"});
  EXPECT_EQ(read(4), fileBytes(0x50000, 4));
}

TEST_F(ShortReadCache, SkipsNoFurtherThanTheEnd) {
  EXPECT_EQ(skip(60), 60u);
  EXPECT_EQ(skip(60), 40u);
  EXPECT_EQ(skip(60), 0u);
  EXPECT_EQ(position(), 100u);
  seek(200);
  EXPECT_EQ(skip(1), 0u);
  EXPECT_EQ(position(), 200u);
}

TEST_F(ShortReadCache, FindsTheEndByReadingWhenTheLengthIsUnknown) {
  host.claimedLength = vela::kUnknown64;
  EXPECT_EQ(skip(5000), 100u);
  EXPECT_EQ(read(1), Bytes{});
}

TEST_F(ReadCache, SkipsABlocksLengthThroughItsBlocksWhenTheLengthIsUnknown) {
  host.claimedLength = vela::kUnknown64;
  EXPECT_EQ(skip(vela::ReadCache::kBlockSize), vela::ReadCache::kBlockSize);
  EXPECT_EQ(host.take(), (Calls{"getLength -> unknown", seekTo(0), kFullRead}));
}

TEST_F(ShortReadCache, LeavesALongSkipToTheHostWhenTheLengthIsUnknown) {
  host.claimedLength = vela::kUnknown64;
  seek(40);
  host.take();
  EXPECT_EQ(skip(vela::ReadCache::kBlockSize + 1), 60u);
  EXPECT_EQ(position(), 100u);
  EXPECT_EQ(host.take(), (Calls{"getLength -> unknown", "seek 40", "skip 16385 -> 60"}));
  host.failCall("skip", 0, kHostCode);
  uint32_t done = 77;
  EXPECT_EQ(cache->skip(vela::ReadCache::kBlockSize + 1, &done, &token), kHostCode);
  EXPECT_EQ(done, 77u);
  EXPECT_EQ(position(), 100u);
}

TEST_F(ReadCache, GivesTheCodeOfASeekThatFailsInALongSkipOfUnknownLength) {
  host.claimedLength = vela::kUnknown64;
  readAt(0x1000, 1);  // the host's stream stands at the end of this block, not at the position
  host.failCall("seek", 0, kHostCode);
  host.calls.clear();
  uint32_t done = kUntouched;
  EXPECT_EQ(cache->skip(0x10000, &done, &token), kHostCode);
  EXPECT_EQ(host.take(), (Calls{"getLength -> unknown", "seek 4097 failed 4660"}));
  EXPECT_EQ(done, kUntouched);
  EXPECT_EQ(position(), 0x1001u);
  host.position = 12345;  // where a seek that failed may have left it
  EXPECT_EQ(skip(0x10000), 0x10000u);
  EXPECT_EQ(host.take(), (Calls{"getLength -> unknown", "seek 4097", "skip 65536 -> 65536"}));
  EXPECT_EQ(read(4), fileBytes(0x11001, 4));
  EXPECT_EQ(host.take(), Calls{kFullRead}) << "the skip left the host's stream there";
}

TEST_F(ReadCache, SeeksAgainAfterALongSkipOfUnknownLengthThatFailed) {
  host.claimedLength = vela::kUnknown64;
  read(16384);  // the host's stream stands at the position
  host.failCall("skip", 0, kHostCode);
  uint32_t done = kUntouched;
  EXPECT_EQ(cache->skip(0x10000, &done, &token), kHostCode);
  EXPECT_EQ(position(), 16384u);
  host.position = 12345;
  host.calls.clear();
  EXPECT_EQ(read(4), fileBytes(16384, 4));
  EXPECT_EQ(host.take(), (Calls{seekTo(16384), kFullRead}));
}

TEST_F(ReadCache, SkipsNoMoreThanWasAskedForWhereAHostReportsMore) {
  host.claimedLength = vela::kUnknown64;
  for (const uint32_t claimed : {0x10001u, 0xFFFFFFFFu}) {
    seek(0x1000);
    host.claimedSkip = claimed;
    EXPECT_EQ(skip(0x10000), 0x10000u) << claimed;
    EXPECT_EQ(position(), 0x11000u);
    EXPECT_EQ(read(4), fileBytes(0x11000, 4));
  }
}

TEST_F(ReadCache, WritesNoMoreThanWasAskedForWhereAHostReportsMore) {
  const Bytes text = boxes::text("one");
  host.claimedWrite = 4;
  uint32_t done = 0;
  EXPECT_EQ(cache->write(text.data(), 3, &done, &token), TIOResult::success);
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(position(), 3u);
}

TEST_F(ReadCache, WritesOnWithoutSeeking) {
  const Bytes text = boxes::text("one two");
  uint32_t done = 0;
  EXPECT_EQ(cache->write(text.data(), 4, &done, &token), TIOResult::success);
  EXPECT_EQ(cache->write(text.data() + 4, 3, &done, &token), TIOResult::success);
  EXPECT_EQ(host.take(), (Calls{seekTo(0), "write 4 -> 4", "write 3 -> 3"}));
  EXPECT_EQ(readAt(0, 7), text);
}

TEST_F(ShortReadCache, SkipsNothingAtTheLastPlaceThat64BitsCanName) {
  read(1);  // a block holds the place that the sum would wrap to
  seek(0xFFFFFFFFFFFFFFFE);
  EXPECT_EQ(skip(10), 0u);
  EXPECT_EQ(position(), 0xFFFFFFFFFFFFFFFE);
}

TEST_F(ReadCache, StaysWhereItIsWhenASkipCannotLearnTheLength) {
  host.failCall("getLength", 0, kHostCode);
  uint32_t done = kUntouched;
  EXPECT_EQ(cache->skip(100, &done, &token), kHostCode);
  EXPECT_EQ(done, kUntouched);
  EXPECT_EQ(position(), 0u);
}

TEST_F(ReadCacheWithoutSeeking, ReadsForwardWithoutASingleSeek) {
  EXPECT_EQ(read(40000), fileBytes(0, 40000));
  EXPECT_EQ(host.take(), (Calls{kFullRead, kFullRead, kFullRead}));
}

TEST_F(ReadCacheWithoutSeeking, SkipsByReadingForward) {
  EXPECT_EQ(skip(40000), 40000u);
  EXPECT_EQ(host.take(), (Calls{kFullRead, kFullRead, kFullRead}));
  EXPECT_EQ(read(4), fileBytes(40000, 4));
  EXPECT_EQ(skip(0x10000), 0x10000u - 40004) << "shortened at the end";
}

TEST_F(ReadCacheWithoutSeeking, CancelsASkip) {
  token.cancelAt = 1;
  uint32_t done = kUntouched;
  EXPECT_EQ(cache->skip(40000, &done, &token), TIOResult::cancelled);
  EXPECT_EQ(done, kUntouched);
}

TEST_F(ReadCacheWithoutSeeking, ReadsThroughTheGapAfterASeekForward) {
  EXPECT_EQ(readAt(0xA123, 4), fileBytes(0xA123, 4));
  EXPECT_EQ(host.take(), (Calls{kFullRead, kFullRead, kFullRead}));
}

TEST_F(ReadCacheWithoutSeeking, AsksTheTokenBeforeEveryBlockOfAGapWhereThereIsOne) {
  token.cancelAt = 1;
  seek(0xA123);
  EXPECT_EQ(tryRead(4), TIOResult::cancelled);
  EXPECT_EQ(host.take(), Calls{kFullRead});
  host.expectedToken = nullptr;
  uint8_t byte = 0;
  uint32_t done = 0;
  EXPECT_EQ(cache->read(&byte, 1, &done, nullptr), TIOResult::success);
  EXPECT_EQ(byte, host.bytes[0xA123]);
}

TEST_F(ReadCacheWithoutSeeking, StepsBackInsideItsBlocks) {
  read(40000);
  host.calls.clear();
  EXPECT_EQ(readAt(10, 4), fileBytes(10, 4));
  EXPECT_EQ(host.take(), Calls{});
}

TEST_F(ReadCacheWithoutSeeking, GivesTheHostsCodeForAStepBackOutOfItsBlocks) {
  host.bytes = pattern(0x20000);
  EXPECT_EQ(skip(5 * 16384), 5u * 16384);
  host.failAlways("seek", kHostCode);
  seek(10);
  EXPECT_EQ(tryRead(4), kHostCode);
  EXPECT_EQ(readAt(5 * 16384, 4), fileBytes(5 * 16384, 4)) << "and still reads forward";
}

TEST_F(ReadCacheWithoutSeeking, ReadsForwardInPiecesOfAnySize) {
  for (const uint32_t piece : {1000u, 8191u, 8192u, 8193u, 16383u}) {
    FakeHostStream pieces(pattern(0x9000), Seekable::no);
    pieces.largestRead = piece;
    const vela::Reference<vela::ReadCache> forward(
        VMemory::GNew<vela::ReadCache>(static_cast<HostStream*>(&pieces)));
    forward->readForwardOnly();
    Bytes bytes(0x9000);
    uint32_t done = 0;
    EXPECT_EQ(forward->read(bytes.data(), 0x9000, &done, nullptr), TIOResult::success);
    EXPECT_EQ(done, 0x9000u) << piece;
    EXPECT_EQ(bytes, pieces.bytes);
    EXPECT_EQ(pieces.count("seek"), 0u);
  }
}

TEST_F(ReadCacheWithoutSeeking, ReadsOnAfterAFailedRead) {
  host.failCall("read", 1, kHostCode);
  EXPECT_EQ(tryRead(20000), kHostCode);
  EXPECT_EQ(read(4), fileBytes(16384, 4));
  EXPECT_EQ(host.count("seek"), 0u);
}

TEST_F(ReadCache, WritesAtItsPositionAndDropsItsBlocks) {
  read(16);
  host.calls.clear();
  const Bytes text = boxes::text("written");
  uint32_t done = 0;
  EXPECT_EQ(cache->write(text.data(), 7, &done, &token), TIOResult::success);
  EXPECT_EQ(done, 7u);
  EXPECT_EQ(host.take(), (Calls{seekTo(16), "write 7 -> 7"}));
  EXPECT_EQ(position(), 23u);
  EXPECT_EQ(read(4), fileBytes(23, 4));
  EXPECT_EQ(host.take(), Calls{kFullRead}) << "the host's stream stands there already";
  EXPECT_EQ(readAt(16, 7), text);
}

TEST_F(ReadCache, WritesInARowNeedOneSeek) {
  read(16);
  host.calls.clear();
  const Bytes text = boxes::text("written");
  uint32_t done = 0;
  EXPECT_EQ(cache->write(text.data(), 3, &done, &token), TIOResult::success);
  EXPECT_EQ(cache->write(text.data() + 3, 4, &done, &token), TIOResult::success);
  EXPECT_EQ(done, 4u);
  EXPECT_EQ(host.take(), (Calls{seekTo(16), "write 3 -> 3", "write 4 -> 4"}));
  EXPECT_EQ(position(), 23u);
  EXPECT_EQ(readAt(16, 7), text);
}

TEST_F(ReadCache, ReportsAShortWrite) {
  host.largestWrite = 3;
  uint32_t done = 0;
  EXPECT_EQ(cache->write("abcdefg", 7, &done, &token), TIOResult::success);
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(position(), 3u);
}

TEST_F(ReadCache, PassesTheCodesOfAWriteOnAndDropsItsBlocks) {
  read(1);
  uint32_t done = kUntouched;
  host.failCall("seek", 0, kHostCode);
  EXPECT_EQ(cache->write("a", 1, &done, &token), kHostCode);
  host.failCall("write", 0, kHostCode);
  EXPECT_EQ(cache->write("a", 1, &done, &token), kHostCode);
  EXPECT_EQ(done, kUntouched);
  EXPECT_EQ(position(), 1u);
  EXPECT_EQ(callsToTouch(1), (Calls{seekTo(1), kFullRead}));
}

TEST_F(ReadCache, DropsItsBlocksWhenTheLengthIsSet) {
  readAt(50, 1);
  EXPECT_EQ(cache->setLength(100, 0, &token), TIOResult::success);
  EXPECT_EQ(host.calls.back(), "setLength 100");
  EXPECT_EQ(position(), 51u);
  EXPECT_EQ(readAt(99, 10).size(), 1u);
  readAt(0, 100);
  EXPECT_EQ(cache->setLength(200, 0, &token), TIOResult::success);
  EXPECT_EQ(callsToTouch(100), (Calls{seekTo(100), "read 16384 -> 100"}))
      << "setting the length may have moved the host's stream";
  host.failCall("setLength", 0, kHostCode);
  EXPECT_EQ(cache->setLength(0, 1, &token), kHostCode);
  EXPECT_EQ(host.calls.back(), "setLength 4294967296 failed 4660");
  EXPECT_EQ(callsToTouch(100), (Calls{seekTo(100), "read 16384 -> 100"}))
      << "a call that failed may have cut the stream all the same";
}

TEST_F(ReadCache, HoldsOneReferenceToTheHostStreamUntilItsOwnLastOne) {
  EXPECT_EQ(host.references.count(), 1u);
  EXPECT_EQ(cache->addRef(), 2u);
  EXPECT_EQ(cache->release(), 1u);
  EXPECT_EQ(host.references.count(), 1u);
  cache.reset();
  EXPECT_EQ(host.references.timesFreed(), 1u);
}

TEST_F(ReadCache, AnswersToNoIdentifier) {
  void* out = &host;
  EXPECT_EQ(cache->queryInterface(&vela::kMediaSplitterId, &out), 0u);
  EXPECT_EQ(out, &host);
}

TEST_F(ReadCache, HasItsThreeFacesOnePointerWidthApart) {
  const auto* object = reinterpret_cast<const char*>(cache.get());
  const vela::HostStreamControl* control = cache.get();
  const vela::HostStreamReader* reader = cache.get();
  const vela::HostStreamWriter* writer = cache.get();
  EXPECT_EQ(reinterpret_cast<const char*>(control), object);
  EXPECT_EQ(reinterpret_cast<const char*>(reader), object + sizeof(void*));
  EXPECT_EQ(reinterpret_cast<const char*>(writer), object + 2 * sizeof(void*));
}

TEST_F(ReadCache, KeepsItsFieldsInTheirOrder) {
  const auto fresh = imageOf(*cache.get());
  for (const CacheImage::Block& block : fresh->blocks) EXPECT_EQ(block.valid, 0);
  EXPECT_EQ(fresh->position, 0u);
  EXPECT_EQ(fresh->hostPosition, vela::kUnknown64);
  EXPECT_EQ(fresh->useClock, 0u);
  EXPECT_EQ(fresh->stream, static_cast<HostStream*>(&host));
  EXPECT_EQ(fresh->counter.count, 1);

  readAt(0x10000, 1);
  readAt(0x5FFF0, 1);  // fills from 8,192 bytes before, up to the end
  readAt(0x10005, 2);
  cache->addRef();
  const auto used = imageOf(*cache.get());
  cache->release();
  const CacheImage::Block& first = used->blocks[0];
  EXPECT_EQ(Bytes(first.data, first.data + 16384), fileBytes(0x10000, 16384));
  EXPECT_EQ(first.validLength, 16384u);
  EXPECT_EQ(first.start, 0x10000u);
  EXPECT_EQ(first.useStamp, 3u);
  EXPECT_EQ(first.valid, 1);
  const CacheImage::Block& second = used->blocks[1];
  EXPECT_EQ(second.data[0], host.bytes[0x5DFF0]);
  EXPECT_EQ(second.validLength, 0x60000u - 0x5DFF0);
  EXPECT_EQ(second.start, 0x5DFF0u);
  EXPECT_EQ(second.useStamp, 2u);
  EXPECT_EQ(second.valid, 1);
  EXPECT_EQ(used->blocks[2].valid, 0);
  EXPECT_EQ(used->blocks[3].valid, 0);
  EXPECT_EQ(used->position, 0x10007u);
  EXPECT_EQ(used->hostPosition, 0x60000u);
  EXPECT_EQ(used->useClock, 3u);
  EXPECT_EQ(used->stream, static_cast<HostStream*>(&host));
  EXPECT_EQ(used->counter.count, 2);
}

TEST_F(ReadCache, DeliversWhatTheStreamHoldsForAnyOrderOfReadsSkipsAndSeeks) {
  std::mt19937 engine(20240607);
  const auto random = [&] { return static_cast<uint32_t>(engine()); };
  uint64_t expected = 0;
  for (int step = 0; step < 4000; ++step) {
    const uint32_t choice = random() % 4;
    if (choice == 0) {
      expected = random() % (host.bytes.size() + 100);
      seek(expected);
    } else {
      const uint32_t count = random() % (choice == 3 ? 40000 : 300);
      const uint64_t left = expected < host.bytes.size() ? host.bytes.size() - expected : 0;
      const auto amount = static_cast<uint32_t>(std::min<uint64_t>(count, left));
      if (choice == 1) {
        ASSERT_EQ(skip(count), amount) << step;
      } else {
        ASSERT_EQ(read(count), amount ? fileBytes(expected, amount) : Bytes{}) << step;
      }
      expected += amount;
    }
    ASSERT_EQ(position(), expected) << step;
  }
  for (const std::string& call : host.calls) {
    EXPECT_TRUE(!call.starts_with("read ") || call.starts_with("read 16384")) << call;
  }
}
