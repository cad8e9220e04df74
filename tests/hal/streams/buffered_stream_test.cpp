// VBufferedWriter and VBufferedReader.
#include "hal/streams/buffered_stream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/support/assertion_capture.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/hal_streams.h"
#include "tests/support/raw_table.h"
#include "tests/support/seeded_random.h"

using boxes::Bytes;

namespace {

constexpr size_t kWidth = sizeof(void*);
constexpr size_t kCapacityOffset = 3 * kWidth;        // of the staging, after its pointer
constexpr size_t kFirstCountOffset = 3 * kWidth + 8;  // after the staging
using Counts = std::vector<uint32_t>;

int g_token = 0;
void* const kContext = &g_token;

Bytes rising(size_t count) {
  Bytes bytes(count);
  for (size_t i = 0; i < count; ++i) bytes[i] = static_cast<uint8_t>(i + 1);
  return bytes;
}

// ---- VBufferedWriter

TEST(BufferedWriter, StagingIsHalvedUntilItCanBeHad) {
  const auto sizeWhenFailing = [](uint32_t size, uint64_t failures) {
    FailingHalAllocation allocation(0, failures);
    ScriptedWriter inner;
    const VBufferedWriter writer(inner, size);
    return writer.GetStagingSize();
  };
  EXPECT_EQ(sizeWhenFailing(100, 0), 100u);
  EXPECT_EQ(sizeWhenFailing(100, 1), 50u);
  EXPECT_EQ(sizeWhenFailing(100, 3), 12u);
  EXPECT_EQ(sizeWhenFailing(100, 6), 1u);
  EXPECT_EQ(sizeWhenFailing(100, 7), 0u);
  EXPECT_EQ(sizeWhenFailing(2, 1), 1u);
  EXPECT_EQ(sizeWhenFailing(0, 0), 0u);
  EXPECT_EQ(sizeWhenFailing(1, 1), 0u);
}

TEST(BufferedWriter, WithoutStagingWritesDirectly) {
  ScriptedWriter inner;
  VBufferedWriter writer(inner, 0);
  uint32_t done = 99;
  EXPECT_EQ(writer.Write("abc", 3, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(inner.bytes, (Bytes{'a', 'b', 'c'}));
  EXPECT_EQ(writer.Write("", 0, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(inner.script.counts, (Counts{3, 0})) << "a write of no bytes gets there too";
  EXPECT_EQ(writer.Flush(kContext), VResult::KSuccess);
  EXPECT_EQ(inner.script.counts.size(), 2u);

  ScriptedWriter refusing({.failAtCall = 0});
  VBufferedWriter forwarding(refusing, 0);
  done = 99;
  EXPECT_EQ(forwarding.Write("", 0, &done, kContext), kHostCode);
  EXPECT_EQ(done, 0u);

  ScriptedWriter cut({.sizes = {2}});
  VBufferedWriter direct(cut, 0);
  EXPECT_EQ(direct.Write("abc", 3, &done, kContext), VResult::KOutOfRange);
}

TEST(BufferedWriter, StagesUpToTwiceItsSizeAndFlushesEachTimeItIsFull) {
  ScriptedWriter inner;
  VBufferedWriter writer(inner, 4);
  const Bytes data = rising(20);
  uint32_t done = 0;
  EXPECT_EQ(writer.Write(data.data(), 3, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(inner.script.counts, Counts{});
  EXPECT_EQ(writer.Write(data.data() + 3, 1, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(inner.script.counts, Counts{4}) << "full";
  EXPECT_EQ(writer.Write(data.data() + 4, 1, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(writer.Write(data.data() + 5, 8, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 8u);
  EXPECT_EQ(inner.script.counts, (Counts{4, 4, 4})) << "eight is not more than twice four";
  EXPECT_EQ(writer.Flush(kContext), VResult::KSuccess);
  EXPECT_EQ(writer.Flush(kContext), VResult::KSuccess);
  EXPECT_EQ(inner.script.counts, (Counts{4, 4, 4, 1}));
  EXPECT_EQ(inner.bytes, rising(13));
  EXPECT_EQ(inner.script.contexts, std::vector<void*>(4, kContext));
}

TEST(BufferedWriter, WritesInARowAreStagedOneAfterTheOther) {
  ScriptedWriter inner;
  VBufferedWriter writer(inner, 8);
  uint32_t done = 0;
  EXPECT_EQ(writer.Write("ab", 2, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(writer.Write("cde", 3, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(writer.Flush(kContext), VResult::KSuccess);
  EXPECT_EQ(inner.bytes, (Bytes{'a', 'b', 'c', 'd', 'e'}));
  EXPECT_EQ(inner.script.counts, Counts{5});
}

TEST(BufferedWriter, MoreThanTwiceItsSizeBypassesTheStagingAfterAFlush) {
  ScriptedWriter inner;
  VBufferedWriter writer(inner, 4);
  const Bytes data = rising(11);
  uint32_t done = 0;
  writer.Write(data.data(), 2, &done, kContext);
  EXPECT_EQ(writer.Write(data.data() + 2, 9, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 9u);
  EXPECT_EQ(inner.script.counts, (Counts{2, 9}));
  EXPECT_EQ(inner.bytes, data);
}

TEST(Deliberate, D157_AFailedFlushDropsWhatWasStaged) {
  ScriptedWriter inner({.failAtCall = 0});
  VBufferedWriter writer(inner, 4);
  uint32_t done = 0;
  writer.Write("ab", 2, &done, kContext);
  EXPECT_EQ(writer.Flush(kContext), kHostCode);
  EXPECT_EQ(writer.Flush(kContext), VResult::KSuccess);
  EXPECT_TRUE(inner.bytes.empty());
  writer.Write("cd", 2, &done, kContext);
  EXPECT_EQ(writer.Flush(kContext), VResult::KSuccess);
  EXPECT_EQ(inner.bytes, (Bytes{'c', 'd'}));
}

TEST(BufferedWriter, ReturnsTheFirstFailureOfTheInnerWriter) {
  const Bytes data = rising(20);
  uint32_t done = 0;
  ScriptedWriter whenFull({.failAtCall = 1});
  VBufferedWriter staging(whenFull, 4);
  EXPECT_EQ(staging.Write(data.data(), 8, &done, kContext), kHostCode);
  EXPECT_EQ(done, 8u) << "taken, although the second half could not be flushed";
  EXPECT_EQ(whenFull.bytes, rising(4));

  ScriptedWriter atOnce({.failAtCall = 0});
  VBufferedWriter stopping(atOnce, 4);
  stopping.Write(data.data(), 1, &done, kContext);
  EXPECT_EQ(stopping.Write(data.data() + 1, 7, &done, kContext), kHostCode);
  EXPECT_EQ(done, 3u) << "what filled the staging";

  ScriptedWriter beforeDirect({.failAtCall = 0});
  VBufferedWriter flushing(beforeDirect, 4);
  flushing.Write(data.data(), 1, &done, kContext);
  EXPECT_EQ(flushing.Write(data.data(), 20, &done, kContext), kHostCode);
  EXPECT_EQ(done, 0u);
  EXPECT_EQ(beforeDirect.script.counts, Counts{1}) << "the direct write is not tried";

  ScriptedWriter cut({.sizes = {3}});
  VBufferedWriter shortened(cut, 4);
  EXPECT_EQ(shortened.Write(data.data(), 4, &done, kContext), VResult::KOutOfRange);
}

TEST(BufferedWriter, AgreesWithTheBytesHoweverTheyArePieced) {
  FailingHalAllocation allocation;
  SeededRandom random(70);
  for (int round = 0; round < 300; ++round) {
    const uint32_t size = random.below(20);
    const Bytes data = rising(random.below(200));
    ScriptedWriter inner;
    VBufferedWriter writer(inner, size);
    for (size_t position = 0; position < data.size();) {
      const auto count = static_cast<uint32_t>(
          std::min<size_t>(random.below(3 * size + 3), data.size() - position));
      uint32_t done = 99;
      ASSERT_EQ(writer.Write(data.data() + position, count, &done, kContext), VResult::KSuccess);
      ASSERT_EQ(done, count);
      position += count;
      ASSERT_LT(position - inner.bytes.size(), std::max(size, 1u)) << "less than the staging waits";
      if (random.oneIn(5)) {
        ASSERT_EQ(writer.Flush(kContext), VResult::KSuccess);
        ASSERT_EQ(inner.bytes.size(), position);
      }
    }
    ASSERT_EQ(writer.Flush(kContext), VResult::KSuccess);
    ASSERT_EQ(inner.bytes, data);
  }
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(BufferedWriter, KeepsItsFieldsInTheListedOrder) {
  ScriptedWriter inner;
  VBufferedWriter writer(inner, 16);
  uint32_t done = 0;
  writer.Write("abc", 3, &done, kContext);
  EXPECT_EQ(raw_table::word(&writer, 1), static_cast<VByteWriter*>(&inner));
  EXPECT_EQ(static_cast<char*>(raw_table::word(&writer, 2))[1], 'b');
  EXPECT_EQ(raw_table::field<uint32_t>(&writer, kCapacityOffset), 16u);
  EXPECT_EQ(raw_table::field<uint32_t>(&writer, kFirstCountOffset), 3u);
}

TEST(BufferedWriter, EveryOperationStandsInItsSlot) {
  using VelaBase::TIOResult;
  FailingHalAllocation allocation;
  ScriptedWriter inner;
  auto* writer = new VBufferedWriter(inner, 2);
  const void* const text = "ab";
  uint32_t done = 0;
  const auto result = raw_table::call<TIOResult>(writer, 0, text, uint32_t{2}, &done, kContext);
  EXPECT_EQ(result, VResult::KSuccess);
  EXPECT_EQ(inner.bytes, (Bytes{'a', 'b'}));
  EXPECT_EQ(allocation.blocksHeld(), 2u);
  raw_table::destroyAndFree(writer, 1);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

// ---- VBufferedReader

TEST(BufferedReader, StagingIsHalvedUntilItCanBeHad) {
  FailingHalAllocation allocation(0, 3);
  ScriptedReader inner({});
  const VBufferedReader reader(inner, 40);
  EXPECT_EQ(reader.GetStagingSize(), 5u);
}

TEST(BufferedReader, WithoutStagingForwardsEachCall) {
  ScriptedReader inner(rising(10), {.sizes = {2, 3, kWhole}});
  VBufferedReader reader(inner, 0);
  Bytes bytes(9);
  uint32_t done = 99;
  EXPECT_EQ(reader.Read(bytes.data(), 9, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 2u);
  EXPECT_EQ(reader.Skip(9, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(inner.reads, 1u);
  EXPECT_EQ(inner.skips, 1u);
  EXPECT_EQ(inner.script.contexts, std::vector<void*>(2, kContext));
}

TEST(BufferedReader, RefillsWithTheWholeStaging) {
  ScriptedReader inner(rising(10));
  VBufferedReader reader(inner, 4);
  Bytes bytes(8);
  uint32_t done = 0;
  EXPECT_EQ(reader.Read(bytes.data(), 3, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(reader.Read(bytes.data(), 1, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(inner.script.counts, Counts{4}) << "nothing is read before it is wanted";
  EXPECT_EQ(reader.Read(bytes.data(), 8, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 6u) << "the end of the data";
  EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 6), (Bytes{5, 6, 7, 8, 9, 10}));
  EXPECT_EQ(inner.script.counts, (Counts{4, 4, 4, 4})) << "a partial fill, then an empty one";
}

TEST(BufferedReader, MoreThanTwiceItsSizeIsTheStagedPartAndOneDirectCall) {
  ScriptedReader inner(rising(30), {.sizes = {kWhole, 7, kWhole}});
  VBufferedReader reader(inner, 4);
  Bytes bytes(20);
  uint32_t done = 0;
  reader.Read(bytes.data(), 1, &done, kContext);
  EXPECT_EQ(reader.Read(bytes.data(), 12, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 10u) << "three staged bytes and the seven that the one call delivered";
  EXPECT_EQ(Bytes(bytes.begin(), bytes.begin() + 10), (Bytes{2, 3, 4, 5, 6, 7, 8, 9, 10, 11}));
  EXPECT_EQ(inner.script.counts, (Counts{4, 9}));
  EXPECT_EQ(reader.Skip(9, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 9u);
  EXPECT_EQ(inner.skips, 1u);
}

TEST(BufferedReader, AFailureIsReturnedWithWhatCameBefore) {
  Bytes bytes(20);
  uint32_t done = 0;
  ScriptedReader refill(rising(30), {.failAtCall = 1});
  VBufferedReader staged(refill, 4);
  EXPECT_EQ(staged.Read(bytes.data(), 6, &done, kContext), kHostCode);
  EXPECT_EQ(done, 4u);
  EXPECT_EQ(staged.Read(bytes.data(), 2, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(bytes[0], 5) << "goes on where it stopped";

  ScriptedReader past(rising(30), {.failAtCall = 1});
  VBufferedReader direct(past, 4);
  direct.Read(bytes.data(), 1, &done, kContext);
  EXPECT_EQ(direct.Read(bytes.data(), 20, &done, kContext), kHostCode);
  EXPECT_EQ(done, 3u);
}

TEST(BufferedReader, EveryPatternOfShortReadsYieldsTheBytesInOrder) {
  const Bytes data = rising(11);
  const uint32_t limits[] = {1, 2, 3, kWhole};
  for (uint32_t capacity = 0; capacity <= 5; ++capacity) {
    for (uint32_t pattern = 0; pattern < 4 * 4 * 4 * 4; ++pattern) {
      TransferSizes sizes;
      for (uint32_t left = pattern, i = 0; i < 4; ++i, left /= 4) sizes.push_back(limits[left % 4]);
      for (uint32_t count = 1; count <= 12; ++count) {
        for (const bool skipsOften : {false, true}) {
          ScriptedReader inner(data, {.sizes = sizes});
          VBufferedReader reader(inner, capacity);
          uint32_t position = 0;
          for (uint32_t call = 0;; ++call) {
            uint8_t bytes[12] = {};
            uint32_t done = 99;
            const bool skips = skipsOften && call % 2;
            ASSERT_EQ(skips ? reader.Skip(count, &done, kContext)
                            : reader.Read(bytes, count, &done, kContext),
                      VResult::KSuccess);
            const uint32_t left = 11 - position;
            ASSERT_LE(done, std::min(count, left));
            if (count <= 2 * capacity) {
              ASSERT_EQ(done, std::min(count, left)) << "staged reads are whole";
            }
            if (!skips) {
              ASSERT_TRUE(std::equal(bytes, bytes + done, data.begin() + position));
            }
            position += done;
            if (!done) break;
          }
          ASSERT_EQ(position, 11u) << "only the end of the data delivers nothing";
        }
      }
    }
  }
}

TEST(BufferedReader, AgreesWithTheBytesOnRandomPieces) {
  FailingHalAllocation allocation;
  SeededRandom random(71);
  for (int round = 0; round < 300; ++round) {
    const Bytes data = rising(random.below(300));
    TransferSizes sizes(random.below(20) + 1);
    for (uint32_t& size : sizes) size = random.below(30) + 1;
    ScriptedReader inner(data, {.sizes = sizes});
    VBufferedReader reader(inner, random.below(20));
    size_t position = 0;
    for (;;) {
      const uint32_t count = random.below(50) + 1;
      Bytes bytes(count);
      uint32_t done = 99;
      const bool skips = random.oneIn(3);
      ASSERT_EQ(skips ? reader.Skip(count, &done, kContext)
                      : reader.Read(bytes.data(), count, &done, kContext),
                VResult::KSuccess);
      ASSERT_LE(position + done, data.size());
      if (!skips) {
        ASSERT_TRUE(std::equal(bytes.begin(), bytes.begin() + done,
                               data.begin() + static_cast<ptrdiff_t>(position)));
      }
      position += done;
      if (!done) break;
    }
    ASSERT_EQ(position, data.size());
  }
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(BufferedReader, AnInnerReaderThatClaimsTooMuchIsHeldToTheStaging) {
  class Liar final : public VByteReader {
   public:
    virtual ~Liar() = default;
    VelaBase::TIOResult Read(void* buffer, uint32_t count, uint32_t* done, void*) override {
      std::memset(buffer, 'x', count);
      *done = count + 1000;
      return VResult::KSuccess;
    }
    VelaBase::TIOResult Skip(uint32_t count, uint32_t* done, void*) override {
      *done = count;
      return VResult::KSuccess;
    }
  };
  Liar inner;
  VBufferedReader reader(inner, 4);
  uint8_t bytes[8] = {};
  uint32_t done = 0;
  EXPECT_EQ(reader.Read(bytes, 8, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 8u);
  EXPECT_EQ(bytes[7], 'x');
}

TEST(BufferedReader, MoreStagedThanALargeReadAsksForIsReportedAndHandedOut) {
  AssertionCapture capture;
  ScriptedReader inner(rising(100));
  VBufferedReader reader(inner, 64);
  Bytes bytes(9);
  uint32_t done = 0;
  reader.Read(bytes.data(), 1, &done, kContext);
  raw_table::setField(&reader, kCapacityOffset, uint32_t{4});
  EXPECT_EQ(reader.Read(bytes.data(), 9, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(capture.breaks(), 1);
  EXPECT_EQ(capture.reports(), std::vector<std::u16string>{AssertionCapture::report(
                                   "stdhelpers", 849, "remaining < todo")});
  EXPECT_EQ(done, 9u);
  EXPECT_EQ(bytes, (Bytes{2, 3, 4, 5, 6, 7, 8, 9, 10}));
}

TEST(BufferedReader, KeepsItsFieldsInTheListedOrder) {
  ScriptedReader inner(rising(100));
  VBufferedReader reader(inner, 16);
  uint32_t done = 0;
  reader.Skip(5, &done, kContext);
  EXPECT_EQ(raw_table::word(&reader, 1), static_cast<VByteReader*>(&inner));
  EXPECT_EQ(static_cast<uint8_t*>(raw_table::word(&reader, 2))[15], 16);
  EXPECT_EQ(raw_table::field<uint32_t>(&reader, kCapacityOffset), 16u);
  EXPECT_EQ(raw_table::field<uint32_t>(&reader, kFirstCountOffset), 16u) << "filled";
  EXPECT_EQ(raw_table::field<uint32_t>(&reader, kFirstCountOffset + 4), 5u) << "consumed";
}

TEST(BufferedReader, EveryOperationStandsInItsSlot) {
  using VelaBase::TIOResult;
  FailingHalAllocation allocation;
  ScriptedReader inner(rising(10));
  auto* reader = new VBufferedReader(inner, 4);
  uint8_t bytes[2] = {};
  uint32_t done = 0;
  auto result = raw_table::call<TIOResult>(reader, 1, uint32_t{3}, &done, kContext);
  EXPECT_EQ(result, VResult::KSuccess);
  EXPECT_EQ(done, 3u);
  result = raw_table::call<TIOResult>(reader, 0, &bytes[0], uint32_t{2}, &done, kContext);
  EXPECT_EQ(result, VResult::KSuccess);
  EXPECT_EQ(bytes[1], 5);
  EXPECT_EQ(allocation.blocksHeld(), 2u);
  raw_table::destroyAndFree(reader, 2);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

}  // namespace
