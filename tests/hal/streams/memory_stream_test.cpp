#include "hal/streams/memory_stream.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/boxes.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/raw_table.h"
#include "tests/support/seeded_random.h"

using boxes::Bytes;

TEST(MemoryReader, ReadsInOrderAndShortAtTheEnd) {
  const Bytes data = boxes::text("abcdefg");
  VMemoryReader reader(data.data(), 7);
  char text[8] = {};
  uint32_t done = 99;
  EXPECT_EQ(reader.Read(text, 3, &done, nullptr), VResult::KSuccess);
  EXPECT_EQ(done, 3u);
  EXPECT_STREQ(text, "abc");
  EXPECT_EQ(reader.Skip(2, &done, nullptr), VResult::KSuccess);
  EXPECT_EQ(done, 2u);
  EXPECT_EQ(reader.Read(text, 8, &done, nullptr), VResult::KSuccess);
  EXPECT_EQ(done, 2u);
  EXPECT_STREQ(text, "fgc");
  EXPECT_EQ(reader.GetPosition(), 7u);
  EXPECT_EQ(reader.Read(text, 1, &done, nullptr), VResult::KSuccess);
  EXPECT_EQ(done, 0u);
}

TEST(MemoryReader, SkipsShortAtTheEnd) {
  const Bytes data(7);
  VMemoryReader reader(data.data(), 7);
  uint32_t done = 99;
  EXPECT_EQ(reader.Skip(0xFFFFFFFF, &done, nullptr), VResult::KSuccess);
  EXPECT_EQ(done, 7u);
  EXPECT_EQ(reader.Skip(1, &done, nullptr), VResult::KSuccess);
  EXPECT_EQ(done, 0u);
}

TEST(MemoryStreams, WorkOverNoBlockAtAll) {
  VMemoryReader reader(nullptr, 0);
  VMemoryWriter writer(nullptr, 0);
  uint32_t done = 99;
  EXPECT_EQ(reader.Read(nullptr, 5, &done, nullptr), VResult::KSuccess);
  EXPECT_EQ(done, 0u);
  done = 99;
  EXPECT_EQ(writer.Write("abcde", 5, &done, nullptr), VResult::KSuccess);
  EXPECT_EQ(done, 0u);
}

TEST(MemoryWriter, TakesWhatFits) {
  char block[6] = "-----";
  VMemoryWriter writer(block, 4);
  uint32_t done = 99;
  EXPECT_EQ(writer.Write("abc", 3, &done, nullptr), VResult::KSuccess);
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(writer.Write("def", 3, &done, nullptr), VResult::KSuccess);
  EXPECT_EQ(done, 1u);
  EXPECT_EQ(writer.GetPosition(), 4u);
  EXPECT_EQ(writer.Write("g", 1, &done, nullptr), VResult::KSuccess);
  EXPECT_EQ(done, 0u);
  EXPECT_STREQ(block, "abcd-");
}

TEST(MemoryStreams, AgreeWithAVectorOnRandomCalls) {
  SeededRandom random(4103);
  for (int round = 0; round < 200; ++round) {
    Bytes data(random.below(50));
    for (uint8_t& byte : data) byte = static_cast<uint8_t>(random.word());
    const auto size = static_cast<uint32_t>(data.size());
    Bytes copy(data.size(), 0);
    VMemoryReader reader(data.data(), size);
    VMemoryWriter writer(copy.data(), size);
    uint32_t position = 0;
    for (int call = 0; call < 20; ++call) {
      uint8_t piece[12];
      const uint32_t count = random.below(12);
      uint32_t done = 99;
      reader.Read(piece, count, &done, nullptr);
      const uint32_t expected = std::min(count, size - position);
      ASSERT_EQ(done, expected);
      writer.Write(piece, done, &done, nullptr);
      ASSERT_EQ(done, expected);
      position += expected;
    }
    data.resize(position);
    copy.resize(position);
    EXPECT_EQ(copy, data);
  }
}

TEST(MemoryReader, HasReadSkipAndDestructorAndItsFieldsInOrder) {
  FailingHalAllocation allocation;
  const Bytes data = boxes::text("abcdefg");
  auto* reader = new VMemoryReader(data.data(), 7);
  uint32_t done = 0;
  uint8_t bytes[2];
  raw_table::call<VelaBase::TIOResult>(reader, 0, static_cast<void*>(bytes), uint32_t{2}, &done,
                                       static_cast<void*>(nullptr));
  EXPECT_EQ(bytes[1], 'b');
  raw_table::call<VelaBase::TIOResult>(reader, 1, uint32_t{3}, &done, static_cast<void*>(nullptr));
  EXPECT_EQ(done, 3u);
  EXPECT_EQ(raw_table::field<const void*>(reader, sizeof(void*)), data.data());
  EXPECT_EQ(raw_table::field<uint32_t>(reader, 2 * sizeof(void*)), 7u);
  EXPECT_EQ(raw_table::field<uint32_t>(reader, 2 * sizeof(void*) + 4), 5u);
  raw_table::destroyAndFree(reader, 2);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(MemoryWriter, HasWriteAndDestructorAndItsFieldsInOrder) {
  FailingHalAllocation allocation;
  Bytes data(7);
  auto* writer = new VMemoryWriter(data.data(), 7);
  uint32_t done = 0;
  raw_table::call<VelaBase::TIOResult>(writer, 0, static_cast<const void*>("xyz"), uint32_t{3},
                                       &done, static_cast<void*>(nullptr));
  EXPECT_EQ(data[2], 'z');
  EXPECT_EQ(raw_table::field<void*>(writer, sizeof(void*)), data.data());
  EXPECT_EQ(raw_table::field<uint32_t>(writer, 2 * sizeof(void*)), 7u);
  EXPECT_EQ(raw_table::field<uint32_t>(writer, 2 * sizeof(void*) + 4), 3u);
  raw_table::destroyAndFree(writer, 1);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}
