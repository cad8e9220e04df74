#include "atomkit/core/containers/segmented_array.h"

#include <gtest/gtest.h>

#include "tests/support/counting_allocator.h"
#include "tests/support/memory_meter.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

/// Counts the living ones, which must be as many as the arrays hold.
struct Tracked {
  explicit Tracked(uint32_t number) noexcept : value(number) { ++living(); }
  Tracked(Tracked&& other) noexcept : value(other.value) { ++living(); }
  Tracked& operator=(Tracked&&) = delete;
  ~Tracked() { --living(); }

  static int& living() {
    static int count = 0;
    return count;
  }

  uint32_t value;
};

using Array = SegmentedArray<Tracked>;

void fill(Array& array, uint32_t count) {
  while (array.count() < count) array.append(Tracked(array.count()));
}

TEST(SegmentedArray, KeepsElementsInOrderAcrossSegments) {
  Array array;
  fill(array, 3 * Array::kSegment + 1);
  for (uint32_t i = 0; i < array.count(); ++i) EXPECT_EQ(array[i].value, i);
  EXPECT_EQ(Tracked::living(), static_cast<int>(3 * Array::kSegment + 1));
}

TEST(SegmentedArray, AnIndexAtTheCountIsOutOfRange) {
  Array array;
  EXPECT_THROWS_MESSAGE(array[0], "array access out of range");
  for (const uint32_t count : {1u, Array::kSegment, Array::kSegment + 1}) {
    fill(array, count);
    EXPECT_EQ(array[count - 1].value, count - 1);
    EXPECT_THROWS_MESSAGE(array[count], "array access out of range");
  }
}

TEST(SegmentedArray, ElementsOfAFullSegmentStayWhereTheyAre) {
  Array array;
  fill(array, Array::kSegment);
  const Tracked* const first = &array[0];
  fill(array, 100 * Array::kSegment);
  EXPECT_EQ(&array[0], first);
}

TEST(SegmentedArray, FewElementsTakeLittleRoomAndManyHaveOneSegmentToSpare) {
  MemoryMeter memory;
  {
    Array array;
    fill(array, 3);
    EXPECT_EQ(memory.bytesHeld(), 4 * sizeof(Tracked));
    constexpr uint32_t kMany = 1000 * Array::kSegment + 1;
    fill(array, kMany);
    EXPECT_LE(memory.mostBytesHeld(),
              (kMany + Array::kSegment) * sizeof(Tracked) + 3 * 1024 * sizeof(void*));
  }
  EXPECT_EQ(memory.bytesHeld(), 0u);
}

TEST(SegmentedArray, ClearingDestroysEveryElementAndFreesTheMemory) {
  FailingAllocation memory;
  Array array;
  fill(array, 2 * Array::kSegment + 5);
  array.clear();
  EXPECT_EQ(array.count(), 0u);
  EXPECT_EQ(Tracked::living(), 0);
  EXPECT_EQ(memory.blocksHeld(), 0u);
  fill(array, 1);
  EXPECT_EQ(array[0].value, 0u);
}

TEST(SegmentedArray, SwapsAllThatTwoArraysHold) {
  Array longer;
  Array shorter;
  fill(longer, Array::kSegment + 2);
  fill(shorter, 1);
  longer.swap(shorter);
  EXPECT_EQ(longer.count(), 1u);
  ASSERT_EQ(shorter.count(), Array::kSegment + 2);
  EXPECT_EQ(shorter[Array::kSegment + 1].value, Array::kSegment + 1);
}

TEST(SegmentedArray, AFailedAppendLeavesTheArrayAsItWas) {
  for (const uint32_t count : {0u, 1u, 2u, Array::kSegment, 2 * Array::kSegment}) {
    Array array;
    fill(array, count);
    for (uint64_t failAt = 0;; ++failAt) {
      FailingAllocation failing(failAt);
      bool threw = false;
      try {
        array.append(Tracked(count));
      } catch (const exception& failure) {
        EXPECT_STREQ(failure.message(), "out of memory when resizing array");
        threw = true;
      }
      if (!threw) {
        EXPECT_GT(failAt, 0u);
        break;
      }
      ASSERT_EQ(array.count(), count);
      for (uint32_t i = 0; i < count; ++i) EXPECT_EQ(array[i].value, i);
      EXPECT_EQ(Tracked::living(), static_cast<int>(count));
    }
    EXPECT_EQ(array.count(), count + 1);
  }
}

}  // namespace
}  // namespace atomkit
