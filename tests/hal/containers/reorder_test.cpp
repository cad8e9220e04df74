// Bit tables, and bringing elements, pointers and list nodes into the order of a permutation.
#include "hal/containers/reorder.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "hal/containers/bit_table.h"
#include "tests/hal/containers/list_helpers.h"
#include "tests/support/assertion_capture.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/raw_table.h"
#include "tests/support/seeded_random.h"

namespace {

using namespace list_helpers;
using Reports = std::vector<std::u16string>;

std::u16string report(int line, const char* condition) {
  return AssertionCapture::report("stdhelpers", line, condition);
}

// ---- bit tables

TEST(BitTable, BitsStandFromTheLowestOfTheFirstByte) {
  uint8_t table[3] = {};
  VBitArrayBitTable::GSet(table, 0, 1);
  EXPECT_EQ(table[0], 0x01);
  VBitArrayBitTable::GSet(table, 7, 1);
  EXPECT_EQ(table[0], 0x81);
  VBitArrayBitTable::GSet(table, 10, 1);
  EXPECT_EQ(table[1], 0x04);
  VBitArrayBitTable::GSet(table, 0, 0);
  EXPECT_EQ(table[0], 0x80);
  EXPECT_EQ(table[2], 0);
  EXPECT_TRUE(VBitArrayBitTable::GGet(table, 7));
  EXPECT_FALSE(VBitArrayBitTable::GGet(table, 6));
  EXPECT_TRUE(VBitArrayBitTable::GGet(table, 10));
}

TEST(BitTable, ByteCountIsRoundedUp) {
  EXPECT_EQ(VBitArrayBitTable::GGetByteCount(0), 0u);
  EXPECT_EQ(VBitArrayBitTable::GGetByteCount(1), 1u);
  EXPECT_EQ(VBitArrayBitTable::GGetByteCount(8), 1u);
  EXPECT_EQ(VBitArrayBitTable::GGetByteCount(9), 2u);
  EXPECT_EQ(VBitArrayBitTable::GGetByteCount(0xFFFFFFF8), 0x1FFFFFFFu);
  EXPECT_EQ(VBitArrayBitTable::GGetByteCount(0xFFFFFFF9), 0u) << "the sum wraps";
}

TEST(Deliberate, D153_OnlyTheLowEightBitsOfABitsValueCount) {
  uint8_t table[1] = {0x00};
  VBitArrayBitTable::GSet(table, 3, 0x80);
  EXPECT_EQ(table[0], 0x08);
  VBitArrayBitTable::GSet(table, 3, 0x100);
  EXPECT_EQ(table[0], 0x00);
}

TEST(BitTable, AgreesWithAVectorOfBooleans) {
  SeededRandom random(50);
  std::vector<bool> model(1000);
  VBitTable table;
  ASSERT_NE(table.SetCount(1000), nullptr);
  table.Clear();
  for (int round = 0; round < 5000; ++round) {
    const uint32_t bit = random.below(1000);
    const bool value = random.below(2);
    table.Set(bit, value);
    model[bit] = value;
  }
  for (uint32_t bit = 0; bit < 1000; ++bit) ASSERT_EQ(table.Get(bit), model[bit]);
}

TEST(BitTable, OwnsExactlyTheBytesThatItsBitsNeed) {
  FailingHalAllocation allocation;
  {
    VBitTable table;
    const uint8_t* bits = table.SetCount(9);
    EXPECT_EQ(bits, table.GetPtr());
    EXPECT_EQ(allocation.lastSize(), 2u);
    EXPECT_EQ(table.GetCount(), 9u);
    EXPECT_EQ(raw_table::word(&table, 0), table.GetPtr()) << "the buffer first, then the count";
    EXPECT_EQ(raw_table::field<uint32_t>(&table, sizeof(VByteBuffer)), 9u);
    EXPECT_EQ(table.SetCount(0), nullptr);
    EXPECT_EQ(table.GetCount(), 0u);
    table.Clear();
    table.SetCount(1);
  }
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(BitTable, KeepsTheCountWhenThereIsNoMemory) {
  FailingHalAllocation allocation(0);
  VBitTable table;
  EXPECT_EQ(table.SetCount(20), nullptr);
  EXPECT_EQ(table.GetCount(), 20u);
  EXPECT_EQ(table.GetPtr(), nullptr);
}

// ---- elements and pointers

std::string reorder(std::string elements, const Values& permutation, uint32_t size = 1) {
  VReorder::GElements(elements.data(), size, permutation.data(),
                      static_cast<uint32_t>(permutation.size()));
  return elements;
}

TEST(Reorder, ElementKIsTheOldElementThatThePermutationNames) {
  EXPECT_EQ(reorder("ABC", {1, 2, 0}), "BCA");
  EXPECT_EQ(reorder("ABC", {2, 0, 1}), "CAB");
  EXPECT_EQ(reorder("AaBbCc", {1, 2, 0}, 2), "BbCcAa");
}

TEST(Reorder, TheIdentitySwapsNothing) {
  // Without a swap no byte is written, so the elements may be in memory that is read-only.
  AssertionCapture capture;
  static const char kConstant[] = "ABCD";
  const Values identity = {0, 1, 2, 3};
  EXPECT_TRUE(VReorder::GElements(const_cast<char*>(kConstant), 1, identity.data(), 4));
  EXPECT_STREQ(kConstant, "ABCD");
  static const void* const kPointers[] = {&kConstant[2], &kConstant[0], &kConstant[3]};
  EXPECT_TRUE(VReorder::GPointers(const_cast<const void**>(kPointers), identity.data(), 3));
  EXPECT_EQ(kPointers[0], &kConstant[2]);
  EXPECT_TRUE(capture.reports().empty()) << "an entry in its place makes no cycle";
}

TEST(Deliberate, D154_NoElementsAreReportedLikeMissingStorage) {
  AssertionCapture capture;
  EXPECT_FALSE(VReorder::GElements(nullptr, 4, nullptr, 0));
  EXPECT_EQ(capture.breaks(), 1);
  EXPECT_EQ(capture.take(), Reports{report(199, "done")});
  EXPECT_FALSE(VReorder::GPointers(nullptr, nullptr, 0));
  EXPECT_EQ(capture.take(), Reports{report(1128, "done")});
}

TEST(Deliberate, D160_AReorderWithoutStorageMovesNothing) {
  AssertionCapture capture;
  FailingHalAllocation allocation(0, FailingHalAllocation::kNever);
  EXPECT_EQ(reorder("ABC", {1, 2, 0}), "ABC");
  EXPECT_EQ(capture.take(), Reports{report(199, "done")});
  void* pointers[] = {&capture, &allocation};
  const Values swapped = {1, 0};
  EXPECT_FALSE(VReorder::GPointers(pointers, swapped.data(), 2));
  EXPECT_EQ(capture.take(), Reports{report(1128, "done")});
  EXPECT_EQ(pointers[0], &capture);
}

TEST(Deliberate, D160_AnEntryOutsideTheArrayEndsItsCycle) {
  AssertionCapture capture;
  // Of the five elements only the first two or three take part. The bit of an entry of
  // `count` is still in the table's last byte; that of one far away is not.
  const auto reordered = [](const Values& permutation) {
    std::string elements = "ABCDE";
    EXPECT_TRUE(VReorder::GElements(elements.data(), 1, permutation.data(),
                                    static_cast<uint32_t>(permutation.size())));
    return elements;
  };
  for (const uint32_t outside : {3u, 4u, 0x100u, 0x80000000u, 0xFFFFFFFFu}) {
    EXPECT_EQ(reordered({outside, 1, 2}), "ABCDE") << outside;
    EXPECT_EQ(reordered({outside, 2, 1}), "ACBDE") << "the other cycle is carried out";
    EXPECT_EQ(reordered({1, 2, outside}), "BCADE") << "what was moved before stays";
    EXPECT_EQ(reordered({1, outside, 2}), "BACDE");
  }
  EXPECT_TRUE(capture.reports().empty());

  char targets[3];
  void* pointers[] = {&targets[0], &targets[1], &targets[2]};
  const Values permutation = {1, 2};
  EXPECT_TRUE(VReorder::GPointers(pointers, permutation.data(), 2));
  EXPECT_EQ(pointers[0], &targets[1]);
  EXPECT_EQ(pointers[1], &targets[0]);
  EXPECT_EQ(pointers[2], &targets[2]);
  EXPECT_TRUE(capture.reports().empty());
}

TEST(Deliberate, D160_ARepeatedEntryEndsItsCycle) {
  AssertionCapture capture;
  EXPECT_EQ(reorder("AB", {1, 1}), "BA");
  EXPECT_EQ(capture.take(), Reports{report(210, "!VBitArrayBitTable::GGet(done,next)")});
  EXPECT_EQ(reorder("AB", {0, 0}), "AB");
  EXPECT_EQ(capture.take(), Reports{report(211, "next>n")});
  EXPECT_EQ(reorder("ABC", {1, 0, 1}), "BAC");
  EXPECT_EQ(capture.take(),
            (Reports{report(210, "!VBitArrayBitTable::GGet(done,next)"), report(211, "next>n")}))
      << "an earlier cycle's member";
}

TEST(Reorder, PointersReportTheirOwnLines) {
  AssertionCapture capture;
  char a = 0;
  char b = 0;
  void* pointers[] = {&a, &b};
  const Values repeated = {1, 1};
  VReorder::GPointers(pointers, repeated.data(), 2);
  EXPECT_EQ(capture.take(), Reports{report(1140, "!VBitArrayBitTable::GGet(done,next)")});
  const Values back = {0, 0};
  VReorder::GPointers(pointers, back.data(), 2);
  EXPECT_EQ(capture.take(), Reports{report(1141, "next>n")});
}

// A whole reorder always begins its cycles below the count; this calls the step for a single cycle.
class CycleStep : public VReorder {
 public:
  static void FollowPastTheCount(const Reports& reports) {
    const uint32_t permutation[] = {0, 2, 1};
    uint8_t done = 0;
    char elements[] = "ABC";
    const Work work = {static_cast<uint8_t*>(static_cast<void*>(elements)), 1, permutation, 1,
                       &done};
    GFollowCycle(work, 1, reports);
    EXPECT_STREQ(elements, "ABC") << "nothing is past the count";
  }
  static void ElementsPastTheCount() { FollowPastTheCount(KElementReports); }
  static void PointersPastTheCount() { FollowPastTheCount(KPointerReports); }
};

TEST(Reorder, ACycleThatBeginsPastTheCountIsReported) {
  AssertionCapture capture;
  CycleStep::ElementsPastTheCount();
  EXPECT_EQ(capture.take(), Reports{report(212, "n<count")});
  CycleStep::PointersPastTheCount();
  EXPECT_EQ(capture.take(), Reports{report(1142, "n<count")});
}

TEST(Reorder, AgreesWithAPlainPermutationForElementsOfEverySize) {
  AssertionCapture capture;
  FailingHalAllocation allocation;
  SeededRandom random(51);
  for (uint32_t count = 1; count < 70; ++count) {
    for (const uint32_t size : {1u, 2u, 3u, 8u, 16u, 33u}) {
      std::vector<uint8_t> elements(count * size);
      for (uint8_t& byte : elements) byte = static_cast<uint8_t>(random.word());
      Values permutation(count);
      std::iota(permutation.begin(), permutation.end(), 0);
      std::shuffle(permutation.begin(), permutation.end(), random);
      std::vector<uint8_t> model(elements.size());
      for (uint32_t k = 0; k < count; ++k) {
        std::memcpy(&model[k * size], &elements[permutation[k] * size], size);
      }
      VReorder::GElements(elements.data(), size, permutation.data(), count);
      ASSERT_EQ(elements, model);
    }
  }
  EXPECT_TRUE(capture.reports().empty());
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(Reorder, EveryPermutationOfSixPointersIsCarriedOut) {
  AssertionCapture capture;
  char targets[6];
  Values permutation = {0, 1, 2, 3, 4, 5};
  do {
    void* pointers[6];
    for (uint32_t i = 0; i < 6; ++i) pointers[i] = &targets[i];
    VReorder::GPointers(pointers, permutation.data(), 6);
    for (uint32_t i = 0; i < 6; ++i) ASSERT_EQ(pointers[i], &targets[permutation[i]]);
  } while (std::next_permutation(permutation.begin(), permutation.end()));
  EXPECT_TRUE(capture.reports().empty());
}

// ---- lists

TEST(ListReorder, KeepsWhatFollowsThePermutedElements) {
  VList list;
  append(list, {1, 2, 3, 4, 5});
  const Values permutation = {2, 0, 1};
  EXPECT_TRUE(list.Reorder(permutation.data(), 3));
  EXPECT_EQ(valuesOf(list), (Values{3, 1, 2, 4, 5}));
  EXPECT_EQ(valuesBackwards(list), (Values{5, 4, 2, 1, 3}));
}

TEST(ListReorder, RelinksBothEndsAndCopiesNoRecord) {
  VList list;
  append(list, {1, 2, 3});
  const Position first = at(list, 0);
  const Values permutation = {1, 2, 0};
  EXPECT_TRUE(list.Reorder(permutation.data(), 3));
  EXPECT_EQ(valuesOf(list), (Values{2, 3, 1}));
  EXPECT_EQ(valuesBackwards(list), (Values{1, 3, 2}));
  EXPECT_EQ(at(list, 2), first);
}

TEST(ListReorder, NothingToReorderIsASuccess) {
  AssertionCapture capture;
  FailingHalAllocation allocation(0);
  VList list;
  EXPECT_TRUE(list.Reorder(nullptr, 0));
  EXPECT_TRUE(capture.reports().empty());
  EXPECT_EQ(allocation.allocations(), 0u);
}

TEST(ListReorder, MoreThanThereIsIsRefused) {
  VList list;
  append(list, {1, 2});
  const Values permutation = {2, 1, 0};
  EXPECT_FALSE(list.Reorder(permutation.data(), 3));
  EXPECT_EQ(valuesOf(list), (Values{1, 2}));
}

TEST(ListReorder, EveryAllocationMayFail) {
  const Values permutation = {1, 2, 0};
  for (uint64_t failAt = 0; failAt < 3; ++failAt) {
    AssertionCapture capture;
    FailingHalAllocation allocation(failAt + 3);
    {
      VList list;
      append(list, {1, 2, 3});
      const bool reordered = list.Reorder(permutation.data(), 3);
      // It allocates the array of nodes and the bits; without either the order stays as it was.
      EXPECT_EQ(reordered, failAt == 2);
      EXPECT_EQ(valuesOf(list), failAt == 2 ? (Values{2, 3, 1}) : (Values{1, 2, 3}));
      EXPECT_EQ(valuesBackwards(list), failAt == 2 ? (Values{1, 3, 2}) : (Values{3, 2, 1}));
      EXPECT_EQ(capture.take(), failAt == 1 ? Reports{report(1128, "done")} : Reports{});
      EXPECT_EQ(allocation.blocksHeld(), 3u);
    }
    EXPECT_EQ(allocation.blocksHeld(), 0u);
  }
}

TEST(ListReorder, AnEntryOutsideTheCountLosesNoElement) {
  AssertionCapture capture;
  VList list;
  append(list, {1, 2, 3, 4, 5});
  const Values permutation = {1, 4, 0xFFFFFFFF};
  EXPECT_TRUE(list.Reorder(permutation.data(), 3));
  EXPECT_EQ(valuesOf(list), (Values{2, 1, 3, 4, 5}));
  EXPECT_EQ(valuesBackwards(list), (Values{5, 4, 3, 1, 2}));
  EXPECT_TRUE(capture.reports().empty());
}

constexpr size_t kCountOffset = 4 * sizeof(void*);

TEST(Deliberate, D160_AListThatEndsEarlyIsNotReordered) {
  AssertionCapture capture;
  FailingHalAllocation allocation;
  VList list;
  append(list, {1, 2, 3});
  raw_table::setField(&list, kCountOffset, uint32_t{5});
  const Values permutation = {1, 0, 3, 2};
  EXPECT_FALSE(list.Reorder(permutation.data(), 4));
  EXPECT_EQ(capture.take(), Reports{report(1416, "walk != 0")});
  EXPECT_EQ(valuesOf(list), (Values{1, 2, 3}));
  EXPECT_EQ(allocation.blocksHeld(), 3u);
}

TEST(ListReorder, ACountThatIsNotTheListsIsReportedAndCarriedOut) {
  AssertionCapture capture;
  VList list;
  append(list, {1, 2, 3});
  const char condition[] = "(walk == 0 && m_count == p_count) || (walk != 0 && m_count > p_count)";
  raw_table::setField(&list, kCountOffset, uint32_t{5});
  const Values three = {1, 2, 0};
  EXPECT_TRUE(list.Reorder(three.data(), 3));
  EXPECT_EQ(capture.take(), Reports{report(1421, condition)});
  EXPECT_EQ(valuesOf(list), (Values{2, 3, 1}));

  raw_table::setField(&list, kCountOffset, uint32_t{2});
  const Values two = {1, 0};
  EXPECT_TRUE(list.Reorder(two.data(), 2));
  EXPECT_EQ(capture.take(), Reports{report(1421, condition)});
  EXPECT_EQ(valuesOf(list), (Values{3, 2, 1}));
}

TEST(ListReorder, AgreesWithAPlainPermutation) {
  AssertionCapture capture;
  SeededRandom random(52);
  for (uint32_t count = 1; count < 40; ++count) {
    for (uint32_t permuted = 0; permuted <= count; ++permuted) {
      VList list;
      Values values(count);
      std::iota(values.begin(), values.end(), 100);
      append(list, values);
      Values permutation(permuted);
      std::iota(permutation.begin(), permutation.end(), 0);
      std::shuffle(permutation.begin(), permutation.end(), random);
      ASSERT_TRUE(list.Reorder(permutation.data(), permuted));
      Values model = values;
      for (uint32_t k = 0; k < permuted; ++k) model[k] = values[permutation[k]];
      ASSERT_EQ(valuesOf(list), model);
      ASSERT_EQ(valuesBackwards(list), Values(model.rbegin(), model.rend()));
    }
  }
  EXPECT_TRUE(capture.reports().empty());
}

}  // namespace
