#include "atomkit/core/containers/plain_array.h"

#include <gtest/gtest.h>

#include "atomkit/core/containers/memory.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

TEST(PlainArray, ResizingToTheSameCountKeepsTheContentsAndAllocatesNothing) {
  FailingAllocation memory;
  PlainArray<uint32_t> words;
  words.resize(3);
  words[0] = 7;
  words[2] = 9;
  words.resize(3);
  EXPECT_EQ(words[0], 7u);
  EXPECT_EQ(words[2], 9u);
  EXPECT_EQ(memory.allocations(), 1u);
}

TEST(PlainArray, ResizingToAnyOtherCountTakesNewStorageOfTheExactSize) {
  FailingAllocation memory;
  PlainArray<uint64_t> words;
  words.resize(3);
  EXPECT_EQ(memory.largestBlock(), 24u);
  words.resize(2);
  EXPECT_EQ(memory.allocations(), 2u);
  EXPECT_EQ(memory.blocksHeld(), 1u);
  words.resize(5);
  EXPECT_EQ(memory.largestBlock(), 40u);
  EXPECT_EQ(memory.blocksHeld(), 1u);
  EXPECT_EQ(words.count(), 5u);
}

TEST(PlainArray, ResizingToZeroHoldsNoMemory) {
  FailingAllocation memory;
  ByteArray bytes;
  bytes.resize(4);
  bytes.resize(0);
  EXPECT_EQ(bytes.count(), 0u);
  EXPECT_EQ(bytes.data(), nullptr);
  EXPECT_EQ(memory.blocksHeld(), 0u);
  EXPECT_EQ(memory.allocations(), 1u);
}

TEST(PlainArray, AFailedResizeLeavesItEmpty) {
  FailingAllocation memory(1);
  PlainArray<uint32_t> words;
  words.resize(3);
  EXPECT_THROWS_MESSAGE(words.resize(4), "out of memory when resizing array");
  EXPECT_EQ(words.count(), 0u);
  EXPECT_EQ(memory.blocksHeld(), 0u);
  EXPECT_THROWS_MESSAGE(words[0], "array access out of range");
}

TEST(PlainArray, AccessAtTheCountThrows) {
  ByteArray bytes;
  EXPECT_THROWS_MESSAGE(bytes[0], "array access out of range");
  bytes.resize(2);
  bytes[1] = 5;
  EXPECT_EQ(bytes[1], 5);
  EXPECT_THROWS_MESSAGE(bytes[2], "array access out of range");
  EXPECT_THROWS_MESSAGE(bytes[0xffffffff], "array access out of range");
  const ByteArray& constant = bytes;
  EXPECT_EQ(constant[1], 5);
  EXPECT_THROWS_MESSAGE(constant[2], "array access out of range");
}

TEST(PlainArray, TruncatingKeepsTheFirstElementsInTheirBlock) {
  FailingAllocation memory;
  ByteArray bytes;
  bytes.truncate(0);
  bytes.resize(3);
  bytes[1] = 7;
  bytes.truncate(3);
  bytes.truncate(9);
  EXPECT_EQ(bytes.count(), 3u);
  bytes.truncate(2);
  EXPECT_EQ(bytes[1], 7);
  EXPECT_THROWS_MESSAGE(bytes[2], "array access out of range");
  EXPECT_EQ(memory.allocations(), 1u);
  bytes.truncate(0);
  EXPECT_EQ(bytes.data(), nullptr);
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(PlainArray, AdoptingABlockFreesTheOldOneAndOwnsTheNewOne) {
  FailingAllocation memory;
  {
    ByteArray bytes;
    bytes.resize(4);
    auto* const block = static_cast<uint8_t*>(allocate(2));
    block[1] = 9;
    bytes.adopt(block, 2);
    EXPECT_EQ(memory.blocksHeld(), 1u);
    ASSERT_EQ(bytes.count(), 2u);
    EXPECT_EQ(bytes[1], 9);
  }
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(PlainArray, SwapExchangesContents) {
  ByteArray left;
  ByteArray right;
  left.resize(1);
  left[0] = 3;
  left.swap(right);
  EXPECT_EQ(left.count(), 0u);
  EXPECT_EQ(right[0], 3);
}

}  // namespace
}  // namespace atomkit
