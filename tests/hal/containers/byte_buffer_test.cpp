// VByteBuffer and the index array that is built on it.
#include "hal/containers/byte_buffer.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "hal/containers/index_array.h"
#include "hal/containers/random_source.h"
#include "tests/support/assertion_capture.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/raw_table.h"
#include "tests/support/seeded_random.h"

namespace {

std::vector<uint8_t> content(const VByteBuffer& buffer) {
  if (!buffer.GetPtr()) return {};
  return {buffer.GetPtr(), buffer.GetPtr() + buffer.GetCapacity()};
}

void fill(VByteBuffer& buffer) {
  for (uint32_t i = 0; i < buffer.GetCapacity(); ++i) {
    buffer.GetPtr()[i] = static_cast<uint8_t>(i + 1);
  }
}

TEST(ByteBuffer, IsEmptyAtFirst) {
  const VByteBuffer buffer;
  EXPECT_EQ(buffer.GetPtr(), nullptr);
  EXPECT_EQ(buffer.GetCapacity(), 0u);
  EXPECT_EQ(buffer.GetSize(), 0u);
}

TEST(ByteBuffer, KeepsPointerCapacityAndSizeInThisOrder) {
  VByteBuffer buffer;
  buffer.SetSize(5);
  EXPECT_EQ(raw_table::word(&buffer, 0), buffer.GetPtr());
  EXPECT_EQ(raw_table::field<uint32_t>(&buffer, sizeof(void*)), 8u);
  EXPECT_EQ(raw_table::field<uint32_t>(&buffer, sizeof(void*) + 4), 5u);
}

TEST(ByteBuffer, SetSizeDoublesFromOneToEight) {
  VByteBuffer buffer;
  EXPECT_NE(buffer.SetSize(5), nullptr);
  EXPECT_EQ(buffer.GetCapacity(), 8u);
  EXPECT_EQ(buffer.GetSize(), 5u);
}

TEST(ByteBuffer, SetSizeOfOneByteOrNoneNeedsNoDoubling) {
  VByteBuffer buffer;
  EXPECT_EQ(buffer.SetSize(0), nullptr);
  EXPECT_EQ(buffer.GetCapacity(), 0u);
  EXPECT_NE(buffer.SetSize(1), nullptr);
  EXPECT_EQ(buffer.GetCapacity(), 1u);
}

TEST(ByteBuffer, SetSizeDoublesFromTheCurrentCapacity) {
  VByteBuffer buffer;
  buffer.SetSize(8);
  EXPECT_EQ(buffer.GetCapacity(), 8u);
  buffer.SetSize(9);
  EXPECT_EQ(buffer.GetCapacity(), 16u);
  buffer.Reserve(3);
  buffer.SetSize(7);
  EXPECT_EQ(buffer.GetCapacity(), 12u);
}

TEST(ByteBuffer, SetSizeThatFitsChangesNothingButTheSize) {
  VByteBuffer buffer;
  uint8_t* block = buffer.Reserve(16);
  FailingHalAllocation allocation(0);
  EXPECT_EQ(buffer.SetSize(16), block);
  EXPECT_EQ(buffer.SetSize(1), block);
  EXPECT_EQ(buffer.SetSize(0), block);
  EXPECT_EQ(buffer.GetCapacity(), 16u);
  EXPECT_EQ(buffer.GetSize(), 0u);
  EXPECT_EQ(allocation.allocations(), 0u);
}

TEST(ByteBuffer, SetSizeTakesTheWholeSizeWhenDoublingWouldWrap) {
  VByteBuffer buffer;
  FailingHalAllocation allocation(0);
  EXPECT_EQ(buffer.SetSize(0x80000001), nullptr);
  EXPECT_EQ(allocation.lastSize(), 0x80000001u);
  EXPECT_EQ(buffer.GetCapacity(), 0u);
  EXPECT_EQ(buffer.GetSize(), 0x80000001u);
}

TEST(ByteBuffer, ReserveIsExactAndKeepsTheContent) {
  VByteBuffer buffer;
  ASSERT_NE(buffer.Reserve(5), nullptr);
  EXPECT_EQ(buffer.GetCapacity(), 5u);
  fill(buffer);
  ASSERT_NE(buffer.Reserve(3), nullptr);
  EXPECT_EQ(content(buffer), (std::vector<uint8_t>{1, 2, 3}));
  ASSERT_NE(buffer.Reserve(100), nullptr);
  EXPECT_EQ(buffer.GetCapacity(), 100u);
  EXPECT_EQ(std::memcmp(buffer.GetPtr(), "\1\2\3", 3), 0);
}

TEST(ByteBuffer, ReserveOfTheCapacityDoesNothing) {
  FailingHalAllocation allocation(1);
  VByteBuffer buffer;
  EXPECT_EQ(buffer.Reserve(0), nullptr);
  EXPECT_EQ(allocation.allocations(), 0u);
  uint8_t* block = buffer.Reserve(7);
  EXPECT_EQ(buffer.Reserve(7), block);
  EXPECT_EQ(allocation.allocations(), 1u);
}

TEST(ByteBuffer, ReserveOfNothingFreesTheBlock) {
  FailingHalAllocation allocation;
  VByteBuffer buffer;
  buffer.Reserve(7);
  EXPECT_EQ(allocation.blocksHeld(), 1u);
  EXPECT_EQ(buffer.Reserve(0), nullptr);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
  EXPECT_EQ(buffer.GetPtr(), nullptr);
  EXPECT_EQ(buffer.GetCapacity(), 0u);
}

TEST(ByteBuffer, FreesItsBlockAtTheEnd) {
  FailingHalAllocation allocation;
  {
    VByteBuffer buffer;
    buffer.Reserve(7);
    EXPECT_EQ(allocation.blocksHeld(), 1u);
  }
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(ByteBuffer, CopiesTheCapacityAndItsBytesButNotTheSize) {
  VByteBuffer buffer;
  buffer.SetSize(5);
  fill(buffer);
  const VByteBuffer copy(buffer);
  EXPECT_EQ(content(copy), content(buffer));
  EXPECT_NE(copy.GetPtr(), buffer.GetPtr());
  EXPECT_EQ(copy.GetSize(), 0u);

  VByteBuffer assigned;
  assigned.SetSize(3);
  assigned = buffer;
  EXPECT_EQ(content(assigned), content(buffer));
  EXPECT_EQ(assigned.GetSize(), 3u);
}

TEST(ByteBuffer, CopyOfAnEmptyBufferIsEmpty) {
  const VByteBuffer empty;
  VByteBuffer buffer;
  buffer.Reserve(4);
  buffer = empty;
  EXPECT_EQ(buffer.GetPtr(), nullptr);
  EXPECT_EQ(buffer.GetCapacity(), 0u);
}

TEST(ByteBuffer, AssignedToItselfStaysAsItIs) {
  VByteBuffer buffer;
  buffer.Reserve(4);
  fill(buffer);
  const VByteBuffer& same = buffer;
  buffer = same;
  EXPECT_EQ(content(buffer), (std::vector<uint8_t>{1, 2, 3, 4}));
}

TEST(ByteBuffer, IsEmptyWhenThereIsNoMemoryForACopy) {
  VByteBuffer buffer;
  buffer.Reserve(4);
  FailingHalAllocation allocation(0);
  const VByteBuffer copy(buffer);
  EXPECT_EQ(copy.GetPtr(), nullptr);
  EXPECT_EQ(copy.GetCapacity(), 0u);
}

TEST(ByteBuffer, ACopyOfAnotherCapacityThatCannotBeHadEmptiesAFilledBuffer) {
  FailingHalAllocation allocation(2);
  VByteBuffer target;
  VByteBuffer source;
  target.Reserve(4);
  source.Reserve(8);
  fill(target);
  fill(source);
  target = source;
  EXPECT_TRUE(allocation.failed());
  EXPECT_EQ(target.GetPtr(), nullptr);
  EXPECT_EQ(target.GetCapacity(), 0u);
  EXPECT_EQ(source.GetCapacity(), 8u);
  EXPECT_EQ(allocation.blocksHeld(), 1u) << "the source's";
}

TEST(ByteBuffer, ACopyOfEqualCapacityKeepsTheBlockAndTakesTheBytes) {
  FailingHalAllocation allocation(2, FailingHalAllocation::kNever);
  VByteBuffer target;
  VByteBuffer source;
  uint8_t* const block = target.Reserve(4);
  source.Reserve(4);
  std::memset(block, 0xA5, 4);
  fill(source);
  target = source;
  EXPECT_EQ(target.GetPtr(), block);
  EXPECT_EQ(content(target), (std::vector<uint8_t>{1, 2, 3, 4}));
  EXPECT_EQ(allocation.allocations(), 2u);
  EXPECT_EQ(allocation.blocksHeld(), 2u);
}

TEST(Deliberate, D150_AFailedReallocationFreesTheBufferAndEmptiesIt) {
  FailingHalAllocation allocation(1);
  VByteBuffer buffer;
  ASSERT_NE(buffer.SetSize(8), nullptr);
  EXPECT_EQ(buffer.SetSize(9), nullptr);
  EXPECT_EQ(buffer.GetPtr(), nullptr);
  EXPECT_EQ(buffer.GetCapacity(), 0u);
  EXPECT_EQ(buffer.GetSize(), 9u);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
  ASSERT_NE(buffer.SetSize(9), nullptr) << "the next try starts from an empty buffer";
  EXPECT_EQ(buffer.GetCapacity(), 16u);
}

TEST(ByteBuffer, AgreesWithAVectorOnRandomSizes) {
  SeededRandom random(20);
  VByteBuffer buffer;
  std::vector<uint8_t> model;
  for (int round = 0; round < 3000; ++round) {
    const uint32_t bytes = random.below(200);
    if (random.below(2)) {
      buffer.Reserve(bytes);
      model.resize(bytes);
    } else {
      buffer.SetSize(bytes);
      size_t capacity = std::max<size_t>(model.size(), 1);
      while (capacity < bytes) capacity *= 2;
      if (bytes > model.size()) model.resize(capacity);
    }
    ASSERT_EQ(buffer.GetCapacity(), model.size());
    if (model.empty()) continue;
    // Bytes that were never written are not compared: write all of them, then change one.
    std::generate(model.begin(), model.end(), [i = uint8_t{0}]() mutable { return i++; });
    std::memcpy(buffer.GetPtr(), model.data(), model.size());
    const size_t kept = random.below(static_cast<uint32_t>(model.size()));
    const VByteBuffer copy(buffer);
    buffer.Reserve(static_cast<uint32_t>(kept));
    ASSERT_EQ(content(copy), model);
    model.resize(kept);
    ASSERT_EQ(content(buffer), model);
  }
}

// ---- VIndexArray

// Returns the values of a list, and remembers the limits that it was given.
class RowOfNumbers final : public VRandomSource {
 public:
  explicit RowOfNumbers(std::vector<uint32_t> values) : values_(std::move(values)) {}
  uint32_t Next() override {
    ADD_FAILURE() << "only numbers below a limit are wanted";
    return 0;
  }
  uint32_t Below(uint32_t limit) override {
    limits.push_back(limit);
    return values_[limits.size() - 1];
  }
  std::vector<uint32_t> limits;

 private:
  std::vector<uint32_t> values_;
};

std::vector<uint32_t> entries(VIndexArray& array) {
  if (!array.GetPtr()) return {};
  return {array.GetPtr(), array.GetPtr() + array.GetCount()};
}

TEST(IndexArray, IdentityHoldsEachIndex) {
  AssertionCapture capture;
  VIndexArray array(VIndexArray::MakeIdentity{5});
  EXPECT_EQ(entries(array), (std::vector<uint32_t>{0, 1, 2, 3, 4}));
  EXPECT_TRUE(capture.reports().empty());
}

TEST(IndexArray, IdentityOfNothingReportsPtr) {
  AssertionCapture capture;
  VIndexArray array(VIndexArray::MakeIdentity{0});
  EXPECT_EQ(capture.take(),
            std::vector<std::u16string>{AssertionCapture::report("stdhelpers", 254, "ptr")});
  EXPECT_EQ(array.GetCount(), 0u);
}

TEST(Deliberate, D160_AnIdentityWithoutStorageIsEmpty) {
  AssertionCapture capture;
  FailingHalAllocation allocation(0);
  VIndexArray array(VIndexArray::MakeIdentity{3});
  EXPECT_EQ(capture.take(),
            std::vector<std::u16string>{AssertionCapture::report("stdhelpers", 254, "ptr")});
  EXPECT_EQ(array.GetCount(), 0u);
  EXPECT_EQ(array.GetPtr(), nullptr);
}

TEST(IndexArray, CountIsExactAndItsSizeWrapsAt32Bits) {
  FailingHalAllocation allocation;
  VIndexArray array;
  EXPECT_EQ(array.GetCount(), 0u);
  EXPECT_NE(array.SetCount(3), nullptr);
  EXPECT_EQ(array.GetCount(), 3u);
  EXPECT_EQ(allocation.lastSize(), 12u);
  array.SetCount(0x40000002);
  EXPECT_EQ(allocation.lastSize(), 8u);
  EXPECT_EQ(array.GetCount(), 2u);
  EXPECT_EQ(array.SetCount(0), nullptr);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(IndexArray, SwapReturnsTheOldFirstEntry) {
  VIndexArray array(VIndexArray::MakeIdentity{4});
  EXPECT_EQ(array.Swap(1, 3), 1u);
  EXPECT_EQ(array.Swap(1, 0), 3u);
  EXPECT_EQ(entries(array), (std::vector<uint32_t>{3, 0, 2, 1}));
  EXPECT_EQ(array.Swap(2, 2), 2u);
  EXPECT_EQ(entries(array), (std::vector<uint32_t>{3, 0, 2, 1}));
}

TEST(Deliberate, D160_ASwapOutOfRangeExchangesNothing) {
  AssertionCapture capture;
  VIndexArray array(VIndexArray::MakeIdentity{2});
  const auto expected = std::vector<std::u16string>{
      AssertionCapture::report("stdhelpers", 243, "index1 < GetCount() && index2 < GetCount()")};
  EXPECT_EQ(array.Swap(2, 0), 0u);
  EXPECT_EQ(capture.breaks(), 1);
  EXPECT_EQ(capture.take(), expected);
  EXPECT_EQ(array.Swap(0, 2), 0u);
  EXPECT_EQ(capture.take(), expected);
  EXPECT_EQ(entries(array), (std::vector<uint32_t>{0, 1}));
}

TEST(IndexArray, SwapInAnEmptyArrayReportsTheIndexThenPtr) {
  AssertionCapture capture;
  VIndexArray array;
  EXPECT_EQ(array.Swap(0, 0), 0u);
  EXPECT_EQ(capture.take(),
            (std::vector<std::u16string>{AssertionCapture::report("stdhelpers", 243,
                                                                  "index1 < GetCount() && index2 < "
                                                                  "GetCount()"),
                                         AssertionCapture::report("stdhelpers", 245, "ptr")}));
}

TEST(IndexArray, InverseLookupFollowsTheCycle) {
  const uint32_t permutation[] = {2, 0, 1};
  EXPECT_EQ(VIndexArray::GFindInverse(permutation, 0), 1u);
  EXPECT_EQ(VIndexArray::GFindInverse(permutation, 1), 2u);
  EXPECT_EQ(VIndexArray::GFindInverse(permutation, 2), 0u);
}

TEST(IndexArray, InverseLookupOfAFixedPointIsItself) {
  const uint32_t permutation[] = {1, 0, 2};
  EXPECT_EQ(VIndexArray::GFindInverse(permutation, 2), 2u);
}

TEST(IndexArray, InverseLookupAgreesWithASearchOnRandomPermutations) {
  SeededRandom random(21);
  for (uint32_t count = 1; count <= 60; ++count) {
    VIndexArray array(VIndexArray::MakeIdentity{count});
    std::shuffle(array.GetPtr(), array.GetPtr() + count, random);
    const std::vector<uint32_t> permutation = entries(array);
    for (uint32_t value = 0; value < count; ++value) {
      const auto place = std::find(permutation.begin(), permutation.end(), value);
      ASSERT_EQ(VIndexArray::GFindInverse(permutation.data(), value), place - permutation.begin());
    }
  }
}

TEST(RandomSource, AnyNumberStandsInSlotZeroAndOneBelowALimitInSlotOne) {
  class TwoNumbers final : public VRandomSource {
   public:
    uint32_t Next() override { return 0xFFFFFFFF; }
    uint32_t Below(uint32_t limit) override { return limit - 1; }
  };
  TwoNumbers numbers;
  EXPECT_EQ(raw_table::call<uint32_t>(&numbers, 0), 0xFFFFFFFFu);
  EXPECT_EQ(raw_table::call<uint32_t>(&numbers, 1, uint32_t{7}), 6u);
}

TEST(IndexArray, ShuffleOfNothingAsksForNoNumber) {
  RowOfNumbers numbers({});
  EXPECT_EQ(VIndexArray::GShuffle(nullptr, 0, numbers), 0u);
  EXPECT_TRUE(numbers.limits.empty());
}

TEST(Deliberate, D152_ShuffleSwapsEveryEntryWithAnyEntry) {
  RowOfNumbers numbers({3, 3, 0, 1});
  uint32_t order[4] = {9, 9, 9, 9};
  EXPECT_EQ(VIndexArray::GShuffle(order, 4, numbers), 4u);
  EXPECT_EQ(numbers.limits, (std::vector<uint32_t>{4, 4, 4, 4}));
  // 0123 -> 3120 -> 3021 -> 2031 -> 2130
  EXPECT_EQ(std::vector<uint32_t>(order, order + 4), (std::vector<uint32_t>{2, 1, 3, 0}));
}

TEST(IndexArray, ShuffleYieldsAPermutationForAnyNumbers) {
  SeededRandom random(22);
  for (uint32_t count = 1; count < 100; ++count) {
    std::vector<uint32_t> values(count);
    for (uint32_t& value : values) value = random.below(count);
    RowOfNumbers numbers(values);
    std::vector<uint32_t> order(count);
    EXPECT_EQ(VIndexArray::GShuffle(order.data(), count, numbers), count);
    std::vector<uint32_t> model(count);
    for (uint32_t i = 0; i < count; ++i) model[i] = i;
    for (uint32_t i = 0; i < count; ++i) std::swap(model[i], model[values[i]]);
    ASSERT_EQ(order, model);
    std::sort(order.begin(), order.end());
    for (uint32_t i = 0; i < count; ++i) ASSERT_EQ(order[i], i);
  }
}

}  // namespace
