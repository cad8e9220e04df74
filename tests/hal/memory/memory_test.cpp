#include "hal/memory/memory.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>

#include "tests/support/hal_allocator.h"

TEST(Memory, GivesABlockForNoBytes) {
  FailingHalAllocation allocation;
  void* block = VMemory::GAllocate(0);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(allocation.lastSize(), 1u);
  block = VMemory::GReallocate(block, 0);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(allocation.lastSize(), 1u);
  VMemory::GFree(block);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(Memory, IgnoresAFreeOfNull) {
  FailingHalAllocation allocation;
  VMemory::GFree(nullptr);
  VMemory::GDelete<int>(nullptr);
  VMemory::GDeleteArray<int>(nullptr);
  EXPECT_EQ(allocation.blocksHeld(), 0u) << "a free of null would count below zero";
}

TEST(Memory, KeepsTheOldBlockWhenAReallocationFails) {
  FailingHalAllocation allocation(1);
  auto* block = static_cast<char*>(VMemory::GAllocate(4));
  std::memcpy(block, "abc", 4);
  EXPECT_EQ(VMemory::GReallocate(block, 1000), nullptr);
  EXPECT_STREQ(block, "abc");
  VMemory::GFree(block);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(Memory, AllocatesFreshWhenThereIsNothingToReallocate) {
  FailingHalAllocation allocation;
  void* first = VMemory::GReallocate(nullptr, 8);
  void* second = VMemory::GReallocateOrAllocate(nullptr, 0, 8);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_EQ(allocation.blocksHeld(), 2u);
  VMemory::GFree(first);
  VMemory::GFree(second);
}

TEST(Memory, ReallocatesInPlaceOfTheOldBlock) {
  FailingHalAllocation allocation;
  auto* block = static_cast<char*>(VMemory::GReallocateOrAllocate(nullptr, 0, 4));
  std::memcpy(block, "abc", 4);
  block = static_cast<char*>(VMemory::GReallocateOrAllocate(block, 4, 100000));
  ASSERT_NE(block, nullptr);
  EXPECT_STREQ(block, "abc");
  EXPECT_EQ(allocation.blocksHeld(), 1u);
  VMemory::GFree(block);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(Deliberate, D106_AFailedReallocationFreesTheBlock) {
  FailingHalAllocation allocation(1);
  void* block = VMemory::GAllocate(4);
  EXPECT_EQ(allocation.blocksHeld(), 1u);
  EXPECT_EQ(VMemory::GReallocateOrAllocate(block, 4, 8), nullptr);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(Memory, GivesNullWhenAFreshAllocationFails) {
  FailingHalAllocation allocation(0, FailingHalAllocation::kNever);
  EXPECT_EQ(VMemory::GAllocate(1), nullptr);
  EXPECT_EQ(VMemory::GReallocate(nullptr, 1), nullptr);
  EXPECT_EQ(VMemory::GReallocateOrAllocate(nullptr, 0, 1), nullptr);
  EXPECT_EQ(VMemory::GNew<int>(7), nullptr);
  EXPECT_EQ(VMemory::GNewArray<int>(7), nullptr);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(Memory, RefusesAnArrayWhoseSizeWraps) {
  FailingHalAllocation allocation;
  EXPECT_EQ(VMemory::GNewArray<uint32_t>(SIZE_MAX / 4 + 1), nullptr);
  EXPECT_EQ(VMemory::GNewArray<uint32_t>(SIZE_MAX), nullptr);
  EXPECT_EQ(allocation.allocations(), 0u);
}

TEST(Memory, GivesRoomForAWholeArray) {
  FailingHalAllocation allocation;
  uint32_t* values = VMemory::GNewArray<uint32_t>(5);
  ASSERT_NE(values, nullptr);
  EXPECT_EQ(allocation.lastSize(), 20u);
  VMemory::GDeleteArray(values);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(Memory, ReturnsTheAllocatorThatWasSetBefore) {
  const VAllocator mine = {[](size_t) -> void* { return nullptr; },
                           [](void*, size_t) -> void* { return nullptr; }, [](void*) {}};
  const VAllocator original = VMemory::GSetAllocator(mine);
  EXPECT_EQ(VMemory::GAllocate(1), nullptr);
  EXPECT_EQ(VMemory::GSetAllocator(original).m_allocate, mine.m_allocate);
  void* block = VMemory::GAllocate(1);
  EXPECT_NE(block, nullptr);
  VMemory::GFree(block);
}

namespace {

class Counted : public VHeapObject {
 public:
  explicit Counted(int* lives) : lives_(lives) { ++*lives_; }
  virtual ~Counted() { --*lives_; }

 private:
  int* lives_;
};

class Derived final : public Counted {
 public:
  using Counted::Counted;
  uint64_t more[4] = {};
};

}  // namespace

TEST(Memory, MakesAndEndsObjects) {
  FailingHalAllocation allocation;
  int lives = 0;
  Derived* object = VMemory::GNew<Derived>(&lives);
  ASSERT_NE(object, nullptr);
  EXPECT_EQ(allocation.lastSize(), sizeof(Derived));
  EXPECT_EQ(lives, 1);
  VMemory::GDelete(object);
  EXPECT_EQ(lives, 0);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(Memory, IgnoresADeleteOfNullForAClassWithADestructor) {
  FailingHalAllocation allocation;
  VMemory::GDelete(static_cast<Derived*>(nullptr));  // its destructor would write through null
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(HeapObject, ComesFromAndGoesBackToTheLibrary) {
  FailingHalAllocation allocation;
  int lives = 0;
  Counted* object = new Derived(&lives);
  EXPECT_EQ(allocation.allocations(), 1u);
  EXPECT_EQ(allocation.lastSize(), sizeof(Derived));
  delete object;
  EXPECT_EQ(lives, 0);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(HeapObject, IsNullAndNotConstructedWithoutMemory) {
  FailingHalAllocation allocation(0);
  int lives = 0;
  EXPECT_EQ(new Derived(&lives), nullptr);
  EXPECT_EQ(lives, 0);
}

TEST(HeapObject, AddsNoField) {
  struct Plain : VHeapObject {
    void* field;
  };
  EXPECT_EQ(sizeof(Plain), sizeof(void*));
}
