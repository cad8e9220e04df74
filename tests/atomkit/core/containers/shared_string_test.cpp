#include "atomkit/core/containers/shared_string.h"

#include <gtest/gtest.h>

#include <cstring>
#include <utility>

#include "atomkit/core/containers/memory.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

/// A block as adopt() wants it: room for the header, then the bytes of a text.
void* blockWith(const char* text, size_t bytes) {
  void* const block = allocate(SharedString::kHeaderBytes + bytes);
  std::memcpy(static_cast<char*>(block) + SharedString::kHeaderBytes, text, bytes);
  return block;
}

TEST(SharedString, HoldsATextAndItsOwnersInOneBlock) {
  FailingAllocation memory;
  {
    const SharedString text = SharedString::copyOf("One");
    EXPECT_STREQ(text.text(), "One");
    EXPECT_FALSE(text.empty());
    EXPECT_EQ(memory.allocations(), 1u);
    EXPECT_EQ(memory.largestBlock(), sizeof(uint32_t) + sizeof "One");
  }
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(SharedString, TheEmptyTextOwnsNoMemoryAndHasNoOwners) {
  FailingAllocation memory;
  const SharedString none;
  const SharedString copied = SharedString::copyOf("");
  EXPECT_TRUE(none.empty());
  EXPECT_TRUE(copied.empty());
  EXPECT_STREQ(none.text(), "");
  EXPECT_EQ(copied.references(), 0u);
  EXPECT_EQ(memory.allocations(), 0u);
}

TEST(SharedString, CopiesShareTheTextAndTheLastOwnerFreesIt) {
  FailingAllocation memory;
  {
    SharedString first = SharedString::copyOf("One");
    {
      const SharedString second = first;
      EXPECT_EQ(second.text(), first.text());
      EXPECT_EQ(first.references(), 2u);
    }
    EXPECT_EQ(first.references(), 1u);
    const SharedString moved = std::move(first);
    EXPECT_EQ(moved.references(), 1u);
    EXPECT_EQ(memory.blocksHeld(), 1u);
  }
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(SharedString, AssignmentGivesUpTheOldText) {
  FailingAllocation memory;
  SharedString first = SharedString::copyOf("One");
  const SharedString second = SharedString::copyOf("Two");
  first = second;
  EXPECT_STREQ(first.text(), "Two");
  EXPECT_EQ(second.references(), 2u);
  EXPECT_EQ(memory.blocksHeld(), 1u);
}

TEST(SharedString, AssigningToItselfKeepsTheText) {
  SharedString text = SharedString::copyOf("One");
  const SharedString& alias = text;
  text = alias;
  EXPECT_STREQ(text.text(), "One");
  EXPECT_EQ(text.references(), 1u);
}

TEST(SharedString, AdoptsABlockAndEndsTheTextAtItsFirstZeroByte) {
  FailingAllocation memory;
  {
    const SharedString text = SharedString::adopt(blockWith("ab\0cd", 6));
    EXPECT_STREQ(text.text(), "ab");
    EXPECT_EQ(text.references(), 1u);
    EXPECT_EQ(memory.blocksHeld(), 1u);
  }
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(SharedString, FreesTheBlockOfAnAdoptedEmptyTextAtOnce) {
  FailingAllocation memory;
  const SharedString text = SharedString::adopt(blockWith("\0after", 7));
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(SharedString, ACopyWithoutMemoryIsOutOfMemory) {
  FailingAllocation memory(0);
  EXPECT_THROWS_MESSAGE(SharedString::copyOf("One"), "out of memory");
}

}  // namespace
}  // namespace atomkit
