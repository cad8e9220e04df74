#include "atomkit/core/containers/growing_array.h"

#include <gtest/gtest.h>

#include "atomkit/core/containers/shared.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

TEST(GrowingArray, KeepsElementsInOrderWhileItGrows) {
  FailingAllocation counted;
  {
    GrowingArray<uint32_t> array;
    for (uint32_t i = 0; i < 1000; ++i) array.append(i * 3);
    ASSERT_EQ(array.count(), 1000u);
    for (uint32_t i = 0; i < 1000; ++i) EXPECT_EQ(array[i], i * 3);
  }
  EXPECT_EQ(counted.blocksHeld(), 0u);
  EXPECT_LE(counted.allocations(), 11u) << "room doubles";
}

TEST(GrowingArray, AccessAtTheCountIsOutOfRange) {
  GrowingArray<uint32_t> array;
  EXPECT_THROWS_MESSAGE(array[0], "array access out of range");
  array.append(7);
  array.append(8);
  array.append(9);
  const GrowingArray<uint32_t>& constant = array;
  EXPECT_EQ(constant[2], 9u);
  EXPECT_THROWS_MESSAGE(array[3], "array access out of range");
  EXPECT_THROWS_MESSAGE(constant[3], "array access out of range");
}

TEST(GrowingArray, OwnsItsElements) {
  Handle<int> shared = Handle<int>::make();
  GrowingArray<Handle<int>> array;
  for (int i = 0; i < 5; ++i) array.append(shared);
  EXPECT_EQ(shared.references(), 6u);
  GrowingArray<Handle<int>> other;
  other.swap(array);
  EXPECT_EQ(array.count(), 0u);
  EXPECT_EQ(other.count(), 5u);
  other.clear();
  EXPECT_EQ(other.count(), 0u);
  EXPECT_EQ(shared.references(), 1u);
}

TEST(GrowingArray, StaysAsItWasWhenThereIsNoMemory) {
  FailingAllocation failing(2);  // room for the third element
  GrowingArray<uint32_t> array;
  array.append(1);
  array.append(2);
  EXPECT_THROWS_MESSAGE(array.append(3), "out of memory when resizing array");
  EXPECT_EQ(array.count(), 2u);
  EXPECT_EQ(array[1], 2u);
}

}  // namespace
}  // namespace atomkit
