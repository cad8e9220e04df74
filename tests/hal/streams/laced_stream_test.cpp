// VLacedWriter and VLacedReader.
#include "hal/streams/laced_stream.h"

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

int g_token = 0;
void* const kContext = &g_token;

// Bytes that differ from their neighbours and from those one segment away.
Bytes dataOf(size_t count) {
  Bytes data(count);
  for (size_t i = 0; i < count; ++i) data[i] = static_cast<uint8_t>(i * 7 + i / 251);
  return data;
}

// The laced form, made without the writer.
Bytes laced(const Bytes& data) {
  Bytes stream;
  size_t position = 0;
  for (;;) {
    const size_t length = std::min<size_t>(data.size() - position, 255);
    stream.push_back(static_cast<uint8_t>(length));
    stream.insert(stream.end(), data.begin() + static_cast<ptrdiff_t>(position),
                  data.begin() + static_cast<ptrdiff_t>(position + length));
    position += length;
    if (length < 255) return stream;
  }
}

Bytes written(const Bytes& data, const std::vector<uint32_t>& writes) {
  ScriptedWriter inner;
  VLacedWriter writer(inner);
  size_t position = 0;
  for (const uint32_t count : writes) {
    uint32_t done = 99;
    EXPECT_EQ(writer.Write(data.data() + position, count, &done, kContext), VResult::KSuccess);
    EXPECT_EQ(done, count);
    position += count;
  }
  EXPECT_EQ(writer.Close(kContext), VResult::KSuccess);
  return inner.bytes;
}

struct Delivery {
  VelaBase::TIOResult result;
  Bytes bytes;
};

// Reads `piece` bytes at a time up to the end or a failure.
Delivery readAll(VByteReader& reader, uint32_t piece) {
  Delivery delivery = {VResult::KSuccess, {}};
  Bytes buffer(piece);
  uint32_t done = 0;
  do {
    delivery.result = reader.Read(buffer.data(), piece, &done, kContext);
    delivery.bytes.insert(delivery.bytes.end(), buffer.begin(), buffer.begin() + done);
  } while (delivery.result == VResult::KSuccess && done);
  return delivery;
}

bool isPrefix(const Bytes& part, const Bytes& whole) {
  return part.size() <= whole.size() && std::equal(part.begin(), part.end(), whole.begin());
}

TEST(LacedWriter, AFullSegmentIsFollowedByAnEmptyOne) {
  const Bytes data = dataOf(255);
  Bytes expected = {0xFF};
  expected.insert(expected.end(), data.begin(), data.end());
  expected.push_back(0x00);
  EXPECT_EQ(written(data, {255}), expected);
}

TEST(LacedWriter, ThreeBytesMakeOneShortSegment) {
  EXPECT_EQ(written({7, 8, 9}, {3}), (Bytes{0x03, 7, 8, 9}));
}

TEST(LacedWriter, WritesInARowShareASegment) {
  EXPECT_EQ(written({4, 5, 6, 7, 8}, {2, 3}), (Bytes{0x05, 4, 5, 6, 7, 8}));
}

TEST(LacedWriter, NothingMakesALoneZero) {
  EXPECT_EQ(written({}, {}), Bytes{0x00});
  EXPECT_EQ(written({}, {0}), Bytes{0x00});
}

TEST(LacedWriter, AFullSegmentGoesOutAtOnceAndFurtherClosesDoNothing) {
  ScriptedWriter inner;
  VLacedWriter writer(inner);
  const Bytes data = dataOf(256);
  uint32_t done = 0;
  writer.Write(data.data(), 254, &done, kContext);
  EXPECT_TRUE(inner.bytes.empty());
  writer.Write(data.data() + 254, 1, &done, kContext);
  EXPECT_EQ(inner.bytes.size(), 256u);
  EXPECT_EQ(inner.script.counts, (std::vector<uint32_t>{1, 255}));
  writer.Write(data.data() + 255, 1, &done, kContext);
  EXPECT_EQ(writer.Close(kContext), VResult::KSuccess);
  const size_t calls = inner.script.counts.size();
  EXPECT_EQ(writer.Close(kContext), VResult::KSuccess);
  EXPECT_EQ(inner.script.counts.size(), calls);
  EXPECT_EQ(inner.bytes, laced(data));
  EXPECT_EQ(inner.script.contexts, std::vector<void*>(calls, kContext));
}

TEST(LacedWriter, AgreesWithTheFormMadeByHandHoweverTheDataArePieced) {
  SeededRandom random(60);
  for (int round = 0; round < 300; ++round) {
    const Bytes data = dataOf(random.oneIn(3) ? 255 * random.below(4) : random.below(1200));
    std::vector<uint32_t> writes;
    for (auto left = static_cast<uint32_t>(data.size()); left; left -= writes.back()) {
      writes.push_back(std::min(left, random.below(random.oneIn(2) ? 20 : 600)));
    }
    ASSERT_EQ(written(data, writes), laced(data));
  }
}

TEST(LacedWriter, AFailureOfTheInnerWriterIsReturnedAndTheSegmentIsTriedAgain) {
  ScriptedWriter inner({.failAtCall = 0});
  VLacedWriter writer(inner);
  const Bytes data = dataOf(300);
  uint32_t done = 0;
  EXPECT_EQ(writer.Write(data.data(), 300, &done, kContext), kHostCode);
  EXPECT_EQ(done, 255u) << "what the segment took";
  EXPECT_TRUE(inner.bytes.empty());
  EXPECT_EQ(writer.Write(data.data() + 255, 45, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 45u);
  EXPECT_EQ(writer.Close(kContext), VResult::KSuccess);
  EXPECT_EQ(inner.bytes, laced(data));
}

TEST(Deliberate, D159_AFailedSegmentIsWrittenAgainWithItsLengthByte) {
  const Bytes data = dataOf(258);
  // The length byte goes out; of the 255 bytes after it none, or the first ten.
  for (const uint32_t sent : {0u, 10u}) {
    ScriptedWriter inner({.sizes = {kWhole, sent, kWhole}});
    VLacedWriter writer(inner);
    uint32_t done = 0;
    EXPECT_EQ(writer.Write(data.data(), 255, &done, kContext), VResult::KOutOfRange);
    EXPECT_EQ(writer.Write(data.data() + 255, 3, &done, kContext), VResult::KSuccess);
    EXPECT_EQ(writer.Close(kContext), VResult::KSuccess);
    Bytes expected = {0xFF};
    expected.insert(expected.end(), data.begin(), data.begin() + sent);
    const Bytes whole = laced(data);
    expected.insert(expected.end(), whole.begin(), whole.end());
    EXPECT_EQ(inner.bytes, expected);
  }
}

TEST(Deliberate, D162_CloseAfterAFailedFullSegmentWritesItAndThenTheEmptyOne) {
  ScriptedWriter inner({.failAtCall = 0});
  VLacedWriter writer(inner);
  const Bytes data = dataOf(255);
  uint32_t done = 0;
  EXPECT_EQ(writer.Write(data.data(), 255, &done, kContext), kHostCode);
  EXPECT_EQ(writer.Close(kContext), VResult::KSuccess);
  EXPECT_EQ(inner.bytes, laced(data));
  EXPECT_EQ(inner.script.counts, (std::vector<uint32_t>{1, 1, 255, 1}));
}

TEST(LacedWriter, CloseReturnsTheFailureOfAFullSegmentAndIsDoneEvenSo) {
  // The inner writer refuses the length byte of the write and of the close; a third call would
  // succeed.
  ScriptedWriter inner({.sizes = {0, 0, kWhole}});
  VLacedWriter writer(inner);
  const Bytes data = dataOf(255);
  uint32_t done = 0;
  EXPECT_EQ(writer.Write(data.data(), 255, &done, kContext), VResult::KOutOfRange);
  EXPECT_EQ(writer.Close(kContext), VResult::KOutOfRange);
  EXPECT_TRUE(inner.bytes.empty()) << "no empty segment after one that is missing";
  EXPECT_EQ(writer.Close(kContext), VResult::KSuccess);
  EXPECT_EQ(inner.script.counts, (std::vector<uint32_t>{1, 1})) << "closed even so";
}

TEST(LacedWriter, CloseReturnsTheFailureOfTheEmptySegmentAfterAFullOne) {
  ScriptedWriter inner({.sizes = {0, kWhole, kWhole, 0}});
  VLacedWriter writer(inner);
  const Bytes data = dataOf(255);
  uint32_t done = 0;
  EXPECT_EQ(writer.Write(data.data(), 255, &done, kContext), VResult::KOutOfRange);
  EXPECT_EQ(writer.Close(kContext), VResult::KOutOfRange);
  EXPECT_EQ(inner.bytes.size(), 256u);
  EXPECT_EQ(writer.Close(kContext), VResult::KSuccess);
  EXPECT_EQ(inner.bytes.size(), 256u);
}

TEST(LacedWriter, AShortTransferOfTheInnerWriterIsOutOfRange) {
  ScriptedWriter lengthLost({.sizes = {0}});
  VLacedWriter first(lengthLost);
  EXPECT_EQ(first.Close(kContext), VResult::KOutOfRange);
  ScriptedWriter bytesLost({.sizes = {1, 2}});
  VLacedWriter second(bytesLost);
  uint32_t done = 0;
  second.Write("abc", 3, &done, kContext);
  EXPECT_EQ(second.Close(kContext), VResult::KOutOfRange);
  EXPECT_EQ(second.Close(kContext), VResult::KSuccess) << "closed even so";
}

TEST(LacedWriter, KeepsItsFieldsInTheListedOrder) {
  ScriptedWriter inner;
  VLacedWriter writer(inner);
  uint32_t done = 0;
  writer.Write("abc", 3, &done, kContext);
  EXPECT_EQ(raw_table::word(&writer, 1), static_cast<VByteWriter*>(&inner));
  EXPECT_EQ(raw_table::field<uint32_t>(&writer, 2 * kWidth), 3u);
  EXPECT_EQ(raw_table::field<uint8_t>(&writer, 2 * kWidth + 4 + 2), 'c');
  EXPECT_EQ(raw_table::field<uint8_t>(&writer, 2 * kWidth + 4 + 255), 0);
  writer.Close(kContext);
  EXPECT_EQ(raw_table::field<uint32_t>(&writer, 2 * kWidth), 0u);
  EXPECT_EQ(raw_table::field<uint8_t>(&writer, 2 * kWidth + 4 + 255), 1);
}

TEST(LacedWriter, ABufferStatePastTheSegmentIsReportedAndCut) {
  AssertionCapture capture;
  ScriptedWriter inner;
  VLacedWriter writer(inner);
  raw_table::setField(&writer, 2 * kWidth, uint32_t{0x100});
  EXPECT_EQ(writer.Close(kContext), VResult::KSuccess);
  EXPECT_EQ(capture.breaks(), 1);
  EXPECT_EQ(capture.reports(), std::vector<std::u16string>{AssertionCapture::report(
                                   "stdhelpers", 724, "m_buffer_state <= 0xFF")});
  EXPECT_EQ(inner.bytes, Bytes{0x00});
}

TEST(LacedWriter, EveryOperationStandsInItsSlot) {
  using VelaBase::TIOResult;
  FailingHalAllocation allocation;
  ScriptedWriter inner;
  auto* writer = new VLacedWriter(inner);
  const void* const text = "abc";
  uint32_t done = 0;
  const auto result = raw_table::call<TIOResult>(writer, 0, text, uint32_t{3}, &done, kContext);
  EXPECT_EQ(result, VResult::KSuccess);
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(allocation.blocksHeld(), 1u);
  raw_table::destroyAndFree(writer, 1);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
  EXPECT_TRUE(inner.bytes.empty()) << "the end of the object does not close the stream";
}

// ---- VLacedReader

TEST(LacedReader, DeliversTheWrittenBytesAndThenNone) {
  for (const size_t count : {0u, 1u, 3u, 254u, 255u, 256u, 509u, 510u, 511u, 1000u}) {
    const Bytes data = dataOf(count);
    Bytes stream = laced(data);
    const size_t end = stream.size();
    stream.push_back(0x55);  // belongs to whatever follows
    for (const uint32_t piece : {1u, 2u, 7u, 254u, 255u, 256u, 2000u}) {
      ScriptedReader inner(stream);
      VLacedReader reader(inner);
      const Delivery delivery = readAll(reader, piece);
      EXPECT_EQ(delivery.result, VResult::KSuccess);
      ASSERT_EQ(delivery.bytes, data) << piece;
      EXPECT_EQ(inner.position, end) << "nothing after the last segment is taken";
      uint8_t byte = 0;
      uint32_t done = 99;
      EXPECT_EQ(reader.Read(&byte, 1, &done, kContext), VResult::KSuccess);
      EXPECT_EQ(done, 0u);
      for (void* context : inner.script.contexts) ASSERT_EQ(context, kContext);
    }
  }
}

TEST(LacedReader, SkippingAndReadingTakeTurns) {
  SeededRandom random(61);
  for (int round = 0; round < 200; ++round) {
    const Bytes data = dataOf(random.below(1200));
    ScriptedReader inner(laced(data));
    VLacedReader reader(inner);
    size_t position = 0;
    for (;;) {
      const uint32_t count = random.below(random.oneIn(2) ? 10 : 600) + 1;
      const auto expected = static_cast<uint32_t>(std::min<size_t>(count, data.size() - position));
      uint32_t done = 99;
      if (random.oneIn(2)) {
        Bytes bytes(count);
        ASSERT_EQ(reader.Read(bytes.data(), count, &done, kContext), VResult::KSuccess);
        ASSERT_TRUE(std::equal(bytes.begin(), bytes.begin() + expected,
                               data.begin() + static_cast<ptrdiff_t>(position)));
      } else {
        ASSERT_EQ(reader.Skip(count, &done, kContext), VResult::KSuccess);
      }
      ASSERT_EQ(done, expected);
      position += done;
      if (!done) break;
    }
    ASSERT_EQ(position, data.size());
  }
}

TEST(LacedReader, SkipsPartsWithTheInnerSkip) {
  ScriptedReader inner(laced(dataOf(300)));
  VLacedReader reader(inner);
  uint32_t done = 0;
  EXPECT_EQ(reader.Skip(290, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 290u);
  EXPECT_EQ(inner.reads, 2u) << "two length bytes";
  EXPECT_EQ(inner.skips, 2u);
  EXPECT_EQ(inner.script.counts, (std::vector<uint32_t>{1, 255, 1, 35}));
}

TEST(LacedReader, ReadingNothingTouchesNothing) {
  ScriptedReader inner(laced(dataOf(3)));
  VLacedReader reader(inner);
  uint32_t done = 99;
  EXPECT_EQ(reader.Read(nullptr, 0, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 0u);
  EXPECT_TRUE(inner.script.counts.empty());
}

TEST(LacedReader, SkipToEndLeavesTheInnerReaderAfterTheLastSegment) {
  for (const size_t count : {0u, 3u, 255u, 600u}) {
    for (const uint32_t before : {0u, 2u}) {
      Bytes stream = laced(dataOf(count));
      const size_t end = stream.size();
      stream.push_back(0x55);
      ScriptedReader inner(stream);
      VLacedReader reader(inner);
      uint32_t done = 0;
      reader.Skip(before, &done, kContext);
      EXPECT_EQ(reader.SkipToEnd(kContext), VResult::KSuccess);
      EXPECT_EQ(inner.position, end);
    }
  }
}

TEST(LacedReader, EveryPatternOfShortReadsDeliversAPrefixAndFailsAtTheFirstShortPart) {
  const uint32_t limits[] = {1, 2, 100, 254, 255, kWhole};
  for (const size_t count : {3u, 255u, 300u}) {
    const Bytes data = dataOf(count);
    const Bytes stream = laced(data);
    for (uint32_t pattern = 0; pattern < 6 * 6 * 6 * 6; ++pattern) {
      TransferSizes sizes;
      for (uint32_t left = pattern, i = 0; i < 4; ++i, left /= 6) sizes.push_back(limits[left % 6]);
      for (const uint32_t piece : {1u, 60u, 400u}) {
        ScriptedReader inner(stream, {.sizes = sizes});
        VLacedReader reader(inner);
        const Delivery delivery = readAll(reader, piece);
        bool isShort = false;
        for (size_t call = 0; call < inner.script.counts.size(); ++call) {
          ASSERT_FALSE(isShort) << "no call follows a short one";
          isShort = inner.script.counts[call] > sizes[std::min(call, sizes.size() - 1)];
        }
        ASSERT_EQ(delivery.result, isShort ? VResult::KFailed : VResult::KSuccess);
        ASSERT_TRUE(isPrefix(delivery.bytes, data));
        ASSERT_TRUE(isShort || delivery.bytes == data);
      }
    }
  }
}

TEST(LacedReader, AShortSkipIsOutOfRange) {
  ScriptedReader inner(laced(dataOf(20)), {.sizes = {1, 5}});
  VLacedReader reader(inner);
  uint32_t done = 99;
  EXPECT_EQ(reader.Skip(10, &done, kContext), VResult::KOutOfRange);
  EXPECT_EQ(done, 0u);
}

TEST(LacedReader, AStreamCutAtAnyLengthEndsWellOnlyWhereALengthByteIsMissing) {
  const Bytes data = dataOf(515);
  const Bytes stream = laced(data);
  for (size_t length = 0; length < stream.size(); ++length) {
    ScriptedReader inner(Bytes(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(length)));
    VLacedReader reader(inner);
    const Delivery delivery = readAll(reader, 50);
    const bool atSegment = length % 256 == 0;
    ASSERT_EQ(delivery.result, atSegment ? VResult::KSuccess : VResult::KFailed) << length;
    ASSERT_TRUE(isPrefix(delivery.bytes, data));
    if (atSegment) {
      ASSERT_EQ(delivery.bytes.size(), length / 256 * 255);
    }
  }
}

TEST(Deliberate, D161_AFailedReadOfALengthByteReturnsItsCode) {
  const Bytes stream = laced(dataOf(300));
  Bytes bytes(300);
  uint32_t done = 99;
  ScriptedReader failing(stream, {.failAtCall = 2});
  VLacedReader stopped(failing);
  EXPECT_EQ(stopped.Read(bytes.data(), 300, &done, kContext), kHostCode);
  EXPECT_EQ(done, 255u);
  ScriptedReader cut(Bytes(stream.begin(), stream.begin() + 256));
  VLacedReader ended(cut);
  EXPECT_EQ(ended.Read(bytes.data(), 300, &done, kContext), VResult::KSuccess);
  EXPECT_EQ(done, 255u);
}

TEST(LacedReader, AFailureOfAnyInnerCallIsReturnedWithWhatCameBefore) {
  const Bytes data = dataOf(600);
  for (uint32_t failAt = 0; failAt < 6; ++failAt) {
    ScriptedReader inner(laced(data), {.failAtCall = failAt});
    VLacedReader reader(inner);
    Bytes bytes(600);
    uint32_t done = 99;
    EXPECT_EQ(reader.Read(bytes.data(), 600, &done, kContext), kHostCode);
    EXPECT_EQ(done, failAt / 2 * 255);
  }
}

TEST(LacedReader, KeepsItsFieldsInTheListedOrder) {
  ScriptedReader inner(laced(dataOf(300)));
  VLacedReader reader(inner);
  uint32_t done = 0;
  reader.Skip(10, &done, kContext);
  EXPECT_EQ(raw_table::word(&reader, 1), static_cast<VByteReader*>(&inner));
  EXPECT_EQ(raw_table::field<uint32_t>(&reader, 2 * kWidth), 245u);
  EXPECT_EQ(raw_table::field<uint8_t>(&reader, 2 * kWidth + 4), 0);
  reader.Skip(246, &done, kContext);
  EXPECT_EQ(raw_table::field<uint32_t>(&reader, 2 * kWidth), 44u);
  EXPECT_EQ(raw_table::field<uint8_t>(&reader, 2 * kWidth + 4), 1);
}

TEST(LacedReader, EveryOperationStandsInItsSlot) {
  using VelaBase::TIOResult;
  FailingHalAllocation allocation;
  ScriptedReader inner(laced(dataOf(5)));
  auto* reader = new VLacedReader(inner);
  uint8_t bytes[2] = {};
  uint32_t done = 0;
  auto result = raw_table::call<TIOResult>(reader, 1, uint32_t{3}, &done, kContext);
  EXPECT_EQ(result, VResult::KSuccess);
  EXPECT_EQ(done, 3u);
  result = raw_table::call<TIOResult>(reader, 0, &bytes[0], uint32_t{2}, &done, kContext);
  EXPECT_EQ(result, VResult::KSuccess);
  EXPECT_EQ(bytes[1], dataOf(5)[4]);
  EXPECT_EQ(allocation.blocksHeld(), 1u);
  raw_table::destroyAndFree(reader, 2);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

// ---- one block on a plain reader

TEST(LacedBlock, IsSkippedWhole) {
  for (const size_t count : {0u, 3u, 254u, 255u, 600u}) {
    Bytes stream = laced(dataOf(count));
    const size_t end = stream.size();
    stream.push_back(0x55);
    ScriptedReader inner(stream);
    EXPECT_EQ(VLacedReader::GSkipBlock(inner, kContext), VResult::KSuccess);
    EXPECT_EQ(inner.position, end);
  }
}

TEST(LacedBlock, IsSkippedWithASkipAfterEachLengthByteAlsoOfNothing) {
  ScriptedReader inner(laced(dataOf(255)));
  EXPECT_EQ(VLacedReader::GSkipBlock(inner, kContext), VResult::KSuccess);
  EXPECT_EQ(inner.script.counts, (std::vector<uint32_t>{1, 255, 1, 0}));
  EXPECT_EQ(inner.reads, 2u);
  EXPECT_EQ(inner.skips, 2u);
  EXPECT_EQ(inner.script.contexts, std::vector<void*>(4, kContext));
}

TEST(LacedBlock, ThatIsCutFailsAsALengthByteOrASkipFails) {
  const Bytes stream = laced(dataOf(300));
  for (size_t length = 0; length < stream.size(); ++length) {
    ScriptedReader inner(Bytes(stream.begin(), stream.begin() + static_cast<ptrdiff_t>(length)));
    EXPECT_EQ(VLacedReader::GSkipBlock(inner, kContext),
              length % 256 == 0 ? VResult::KFailed : VResult::KOutOfRange);
  }
}

TEST(LacedBlock, PassesTheCodeOfAFailureOn) {
  for (uint32_t failAt = 0; failAt < 4; ++failAt) {
    ScriptedReader inner(laced(dataOf(300)), {.failAtCall = failAt});
    EXPECT_EQ(VLacedReader::GSkipBlock(inner, kContext), kHostCode);
    EXPECT_EQ(inner.script.counts.size(), failAt + 1u);
  }
}

}  // namespace
