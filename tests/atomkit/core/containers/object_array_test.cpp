#include "atomkit/core/containers/object_array.h"

#include <gtest/gtest.h>

#include "tests/support/counting_allocator.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

// Counts its living instances and remembers whether it was copied; construction and copying can be
// made to throw.
struct Counted {
  Counted() {
    if (constructionsLeft() == 0) throw exception("construction failed");
    if (constructionsLeft() > 0) --constructionsLeft();
    ++living();
  }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted& other) {
    if (other.value == throwOnCopyOf()) throw exception("copy failed");
    value = other.value;
    copied = true;
    return *this;
  }
  ~Counted() { --living(); }

  static int& living() {
    static int count = 0;
    return count;
  }
  // Constructions that succeed before one throws; below 0, none throws.
  static int& constructionsLeft() {
    static int left = -1;
    return left;
  }
  static int& throwOnCopyOf() {
    static int value = -1;
    return value;
  }

  int value = 0;
  bool copied = false;
};

TEST(ObjectArray, GrowingFromTwoToThreeCopiesTheOldElementsAndAddsADefaultOne) {
  FailingAllocation memory;
  ObjectArray<Counted> objects;
  objects.resize(2);
  objects[0].value = 10;
  objects[1].value = 11;
  objects.resize(3);
  EXPECT_EQ(objects[0].value, 10);
  EXPECT_EQ(objects[1].value, 11);
  EXPECT_TRUE(objects[1].copied);
  EXPECT_EQ(objects[2].value, 0);
  EXPECT_FALSE(objects[2].copied);
  EXPECT_EQ(Counted::living(), 3);
  EXPECT_EQ(memory.blocksHeld(), 1u);
}

TEST(ObjectArray, ResizingFromThreeToZeroDestroysAllThree) {
  FailingAllocation memory;
  ObjectArray<Counted> objects;
  objects.resize(3);
  EXPECT_EQ(Counted::living(), 3);
  objects.resize(0);
  EXPECT_EQ(Counted::living(), 0);
  EXPECT_EQ(objects.count(), 0u);
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(ObjectArray, ShrinkingKeepsTheFirstElements) {
  ObjectArray<Counted> objects;
  objects.resize(3);
  for (uint32_t i = 0; i < 3; ++i) objects[i].value = static_cast<int>(i) + 20;
  objects.resize(2);
  EXPECT_EQ(objects.count(), 2u);
  EXPECT_EQ(objects[0].value, 20);
  EXPECT_EQ(objects[1].value, 21);
  EXPECT_EQ(Counted::living(), 2);
}

TEST(ObjectArray, ResizingToTheSameCountCopiesNothing) {
  FailingAllocation memory;
  ObjectArray<Counted> objects;
  objects.resize(2);
  objects.resize(2);
  EXPECT_FALSE(objects[0].copied);
  EXPECT_EQ(memory.allocations(), 1u);
}

TEST(ObjectArray, AFailedResizeLeavesItAsItWas) {
  FailingAllocation memory(1);
  ObjectArray<Counted> objects;
  objects.resize(2);
  objects[1].value = 5;
  EXPECT_THROWS_MESSAGE(objects.resize(3), "out of memory when resizing array");
  EXPECT_EQ(objects.count(), 2u);
  EXPECT_EQ(objects[1].value, 5);
  EXPECT_EQ(Counted::living(), 2);
}

TEST(ObjectArray, ACopyThatThrowsLeavesItAsItWas) {
  FailingAllocation memory;
  ObjectArray<Counted> objects;
  objects.resize(2);
  objects[1].value = 13;
  Counted::throwOnCopyOf() = 13;
  EXPECT_THROWS_MESSAGE(objects.resize(3), "copy failed");
  Counted::throwOnCopyOf() = -1;
  EXPECT_EQ(objects.count(), 2u);
  EXPECT_EQ(objects[1].value, 13);
  EXPECT_EQ(Counted::living(), 2);
  EXPECT_EQ(memory.blocksHeld(), 1u);
}

TEST(ObjectArray, AccessAtTheCountThrows) {
  ObjectArray<Counted> objects;
  EXPECT_THROWS_MESSAGE(objects[0], "array access out of range");
  objects.resize(1);
  EXPECT_EQ(objects[0].value, 0);
  EXPECT_THROWS_MESSAGE(objects[1], "array access out of range");
}

TEST(ObjectArray, DestroysItsElementsWithItself) {
  {
    ObjectArray<Counted> objects;
    objects.resize(4);
  }
  EXPECT_EQ(Counted::living(), 0);
}

TEST(ObjectArray, AConstructorThatThrowsLeavesItAsItWas) {
  FailingAllocation memory;
  ObjectArray<Counted> objects;
  objects.resize(2);
  objects[1].value = 13;
  for (const int failAt : {0, 1, 2}) {
    Counted::constructionsLeft() = failAt;
    EXPECT_THROWS_MESSAGE(objects.resize(3), "construction failed");
    Counted::constructionsLeft() = -1;
    ASSERT_EQ(objects.count(), 2u);
    EXPECT_EQ(objects[1].value, 13);
    EXPECT_FALSE(objects[1].copied);
    EXPECT_EQ(Counted::living(), 2);
    EXPECT_EQ(memory.blocksHeld(), 1u);
  }
  ObjectArray<Counted> empty;
  Counted::constructionsLeft() = 0;
  EXPECT_THROWS_MESSAGE(empty.resize(1), "construction failed");
  Counted::constructionsLeft() = -1;
  EXPECT_EQ(empty.count(), 0u);
  EXPECT_EQ(memory.blocksHeld(), 1u);
}

}  // namespace
}  // namespace atomkit
