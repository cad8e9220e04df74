// VList: its table, its operations, its checks.
#include "hal/containers/list.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <list>
#include <memory>
#include <vector>

#include "tests/hal/containers/list_helpers.h"
#include "tests/support/assertion_capture.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/raw_table.h"
#include "tests/support/seeded_random.h"

namespace {

using namespace list_helpers;
using Reports = std::vector<std::u16string>;

constexpr size_t kWidth = sizeof(void*);
constexpr size_t kCountOffset = 4 * kWidth;
constexpr size_t kSpareCountOffset = 4 * kWidth + 4;

VListNode* firstOf(const VList& list) { return static_cast<VListNode*>(raw_table::word(&list, 1)); }
VListNode* lastOf(const VList& list) { return static_cast<VListNode*>(raw_table::word(&list, 2)); }
uint32_t spareCount(const VList& list) {
  return raw_table::field<uint32_t>(&list, kSpareCountOffset);
}

// Both directions, the count and the ends agree with `values`.
void expectValues(VList& list, const Values& values) {
  EXPECT_EQ(valuesOf(list), values);
  EXPECT_EQ(valuesBackwards(list), Values(values.rbegin(), values.rend()));
  EXPECT_EQ(list.GetCount(), values.size());
  EXPECT_EQ(firstOf(list) == nullptr, values.empty());
  EXPECT_EQ(lastOf(list) == nullptr, values.empty());
}

Reports report(int line, const char* condition) {
  return {AssertionCapture::report("stdhelpers", line, condition)};
}

TEST(List, KeepsItsFieldsInTheListedOrder) {
  VList list;
  ASSERT_TRUE(append(list, {1, 2, 3}));
  Position first = nullptr;
  Position last = nullptr;
  list.First(first);
  list.Last(last);
  EXPECT_EQ(raw_table::word(&list, 1), first);
  EXPECT_EQ(raw_table::word(&list, 2), last);
  EXPECT_EQ(raw_table::word(&list, 3), nullptr) << "pool of spare nodes";
  EXPECT_EQ(raw_table::field<uint32_t>(&list, kCountOffset), 3u);
  EXPECT_EQ(raw_table::field<uint32_t>(&list, kSpareCountOffset), 0u);
}

TEST(List, NodeIsPreviousNextAndSixteenBytes) {
  VList list;
  append(list, {1, 2, 3});
  VListNode* middle = at(list, 1);
  EXPECT_EQ(raw_table::word(middle, 0), at(list, 0));
  EXPECT_EQ(raw_table::word(middle, 1), at(list, 2));
  const VRecord expected = recordOf(2);
  EXPECT_EQ(std::memcmp(reinterpret_cast<char*>(middle) + 2 * kWidth, &expected, 16), 0);
  EXPECT_EQ(sizeof(VListNode), 2 * kWidth + 16);
}

TEST(List, EveryOperationStandsInItsSlot) {
  using raw_table::call;
  FailingHalAllocation allocation;
  VList* const list = new VList;
  VAcceptAllFilter all;
  VFilter* const filter = &all;
  ValueSource two({1, 2});
  ValueSource one({9});
  VRecordSource* const twoRecords = &two;
  VRecordSource* const oneRecord = &one;
  Position position = nullptr;

  EXPECT_TRUE((call<bool>(list, 8, twoRecords, filter))) << "InsertBack";
  EXPECT_EQ(valuesOf(*list), (Values{1, 2}));
  EXPECT_TRUE((call<bool>(list, 7, oneRecord, filter))) << "InsertFront";
  EXPECT_EQ(valuesOf(*list), (Values{9, 1, 2}));
  EXPECT_TRUE(call<bool>(list, 0, &position)) << "First";
  EXPECT_EQ(position, firstOf(*list));
  EXPECT_TRUE(call<bool>(list, 1, &position)) << "Last";
  EXPECT_EQ(position, lastOf(*list));
  alignas(VRecord) uint8_t record[24];
  std::memset(record, 0xA5, sizeof(record));
  EXPECT_TRUE((call<bool>(list, 2, &position, &record[4]))) << "Get";
  const VRecord expected = recordOf(2);
  EXPECT_EQ(std::memcmp(&record[4], &expected, 16), 0);
  EXPECT_EQ(record[3], 0xA5);
  EXPECT_EQ(record[20], 0xA5) << "sixteen bytes and no more";
  EXPECT_TRUE((call<bool>(list, 3, &position, int32_t{-2}))) << "Move";
  EXPECT_EQ(position, firstOf(*list));
  EXPECT_EQ(call<uint32_t>(list, 4), 3u) << "GetCount";
  EXPECT_TRUE((call<bool>(list, 5, &position, oneRecord, filter))) << "InsertBefore";
  EXPECT_TRUE((call<bool>(list, 6, &position, twoRecords, filter))) << "InsertAfter";
  EXPECT_EQ(valuesOf(*list), (Values{9, 9, 1, 2, 1, 2}));
  EXPECT_TRUE((call<bool>(list, 10, &position, int32_t{1}))) << "Remove";
  EXPECT_EQ(valuesOf(*list), (Values{9, 1, 2, 1, 2}));
  const uint32_t order[] = {2, 1, 0};
  EXPECT_TRUE((call<bool>(list, 11, &order[0], uint32_t{3}))) << "Reorder";
  EXPECT_EQ(valuesOf(*list), (Values{2, 1, 9, 1, 2}));
  const VRecord changed = recordOf(77);
  position = firstOf(*list);
  EXPECT_TRUE((call<bool>(list, 12, &position, &changed))) << "Set";
  EXPECT_EQ(valuesOf(*list), (Values{77, 1, 9, 1, 2}));
  RuleFilter even([](uint32_t index) { return index % 2 == 0; });
  VFilter* const evenFilter = &even;
  EXPECT_TRUE(call<bool>(list, 9, evenFilter)) << "RemoveIf";
  EXPECT_EQ(valuesOf(*list), (Values{1, 1}));
  EXPECT_EQ(allocation.blocksHeld(), 3u) << "the list and two nodes";
  raw_table::destroyAndFree(list, 13);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(List, EmptyListHasNoEnds) {
  VList list;
  Position position = reinterpret_cast<Position>(&list);
  EXPECT_FALSE(list.First(position));
  EXPECT_EQ(position, nullptr);
  position = reinterpret_cast<Position>(&list);
  EXPECT_FALSE(list.Last(position));
  EXPECT_EQ(position, nullptr);
  expectValues(list, {});
}

TEST(List, NullPositionIsRefusedEverywhere) {
  VList list;
  append(list, {1});
  ValueSource source({2});
  VAcceptAllFilter all;
  Position position = nullptr;
  VRecord record = recordOf(5);
  EXPECT_FALSE(list.Get(position, record));
  EXPECT_TRUE(isRecordOf(record, 5));
  EXPECT_FALSE(list.Set(position, record));
  EXPECT_FALSE(list.Move(position, 0));
  EXPECT_FALSE(list.Move(position, 1));
  EXPECT_FALSE(list.InsertBefore(position, source, all));
  EXPECT_FALSE(list.InsertAfter(position, source, all));
  EXPECT_FALSE(list.Remove(position, 1));
  EXPECT_FALSE(list.Remove(position, 0));
  EXPECT_EQ(position, nullptr);
  expectValues(list, {1});
}

TEST(List, MoveFollowsTheLinksAndStopsAtAnEnd) {
  VList list;
  append(list, {0, 1, 2, 3});
  for (int32_t start = 0; start < 4; ++start) {
    for (int32_t step = -6; step <= 6; ++step) {
      Position position = at(list, static_cast<uint32_t>(start));
      const int32_t target = start + step;
      const bool inside = target >= 0 && target < 4;
      EXPECT_EQ(list.Move(position, step), inside);
      EXPECT_EQ(position, inside ? at(list, static_cast<uint32_t>(target)) : nullptr);
    }
  }
  Position position = at(list, 1);
  EXPECT_FALSE(list.Move(position, INT32_MIN));
  EXPECT_EQ(position, nullptr);
}

TEST(List, MoveBackFromTheFirstGivesNullAndFalse) {
  VList list;
  append(list, {1, 2});
  Position position = at(list, 0);
  EXPECT_FALSE(list.Move(position, -1));
  EXPECT_EQ(position, nullptr);
}

TEST(List, InsertsBeforeAndAfterEveryElement) {
  for (uint32_t index = 0; index < 3; ++index) {
    for (const bool before : {true, false}) {
      VList list;
      append(list, {0, 1, 2});
      ValueSource source({7, 8});
      VAcceptAllFilter all;
      Position position = at(list, index);
      const Position same = position;
      EXPECT_TRUE(before ? list.InsertBefore(position, source, all)
                         : list.InsertAfter(position, source, all));
      EXPECT_EQ(position, same);
      Values expected = {0, 1, 2};
      const Values added = {7, 8};
      expected.insert(expected.begin() + index + (before ? 0 : 1), added.begin(), added.end());
      expectValues(list, expected);
    }
  }
}

TEST(List, InsertsAtBothEndsOfAnEmptyList) {
  ValueSource source({1, 2});
  VAcceptAllFilter all;
  VList front;
  EXPECT_TRUE(front.InsertFront(source, all));
  expectValues(front, {1, 2});
  VList back;
  EXPECT_TRUE(back.InsertBack(source, all));
  expectValues(back, {1, 2});
}

TEST(List, AnEmptySourceIsASuccessAndChangesNothing) {
  VList list;
  VList empty;
  append(list, {1, 2});
  VAcceptAllFilter all;
  Position position = at(list, 1);
  EXPECT_TRUE(list.InsertBefore(position, empty, all));
  EXPECT_TRUE(list.InsertAfter(position, empty, all));
  EXPECT_TRUE(list.InsertFront(empty, all));
  EXPECT_TRUE(list.InsertBack(empty, all));
  expectValues(list, {1, 2});
  EXPECT_TRUE(empty.InsertBack(empty, all));
  expectValues(empty, {});
}

TEST(List, TheFilterIsAskedOnceForEachIndexOfTheSource) {
  VList list;
  append(list, {100});
  ValueSource source({0, 1, 2, 3, 4});
  RuleFilter odd([](uint32_t index) { return index % 2 == 1; });
  EXPECT_TRUE(list.InsertFront(source, odd));
  expectValues(list, {1, 3, 100});
  EXPECT_EQ(odd.asked, (Values{0, 1, 2, 3, 4}));
}

TEST(List, ARecordIsFetchedOnlyWhenTheFilterLetsItPass) {
  VList list;
  ValueSource source({0, 1, 2, 3, 4});
  source.failingGet = 2;
  RuleFilter odd([](uint32_t index) { return index % 2 == 1; });
  EXPECT_TRUE(list.InsertBack(source, odd));
  EXPECT_EQ(source.fetched, (Values{1, 3}));
  expectValues(list, {1, 3});
}

TEST(List, AFilterSpeaksWithTheLowEightBitsOfItsAnswer) {
  const Values answers = {0x100, 0x101, 0xFFFFFF00, 0x80, 0};
  VList list;
  ValueSource source({0, 1, 2, 3, 4});
  RuleFilter filter([&](uint32_t index) { return answers[index]; });
  EXPECT_TRUE(list.InsertBack(source, filter));
  expectValues(list, {1, 3});

  VList all;
  append(all, {0, 1, 2, 3, 4});
  EXPECT_TRUE(all.RemoveIf(filter));
  expectValues(all, {0, 2, 4});
}

TEST(List, AFilterThatLetsNothingPassIsASuccess) {
  VList list;
  append(list, {1});
  ValueSource source({2, 3});
  RuleFilter none([](uint32_t) { return false; });
  EXPECT_TRUE(list.InsertBack(source, none));
  expectValues(list, {1});
}

TEST(List, InsertsItsOwnRecordsInTheMiddleOfItself) {
  VList list;
  append(list, {1, 2, 3});
  VAcceptAllFilter all;
  Position position = at(list, 1);
  EXPECT_TRUE(list.InsertBefore(position, list, all));
  expectValues(list, {1, 1, 2, 3, 2, 3});
}

TEST(List, ASourceThatFailsLeavesTheListUnchangedAndNoNodeBehind) {
  FailingHalAllocation allocation;
  {
    VList list;
    append(list, {1, 2});
    ValueSource source({7, 8, 9});
    source.failingGet = 2;
    VAcceptAllFilter all;
    EXPECT_FALSE(list.InsertBack(source, all));
    expectValues(list, {1, 2});
    EXPECT_EQ(allocation.blocksHeld(), 2u);
    EXPECT_EQ(spareCount(list), 0u);
  }
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(List, ASourceThatFailsTakesTheSpareNodesAlong) {
  for (const size_t failing : {size_t{1}, size_t{2}}) {
    FailingHalAllocation allocation(3);
    VList list;
    append(list, {1});
    EXPECT_FALSE(append(list, {2, 3, 4}));
    ASSERT_EQ(spareCount(list), 2u);
    // Both spare nodes are in the chain, or just taken, when Get() fails.
    ValueSource source({7, 8, 9});
    source.failingGet = failing;
    VAcceptAllFilter all;
    EXPECT_FALSE(list.InsertBack(source, all));
    expectValues(list, {1});
    EXPECT_EQ(spareCount(list), 0u);
    EXPECT_EQ(raw_table::word(&list, 3), nullptr);
    EXPECT_EQ(allocation.blocksHeld(), list.GetCount());
    EXPECT_TRUE(append(list, {5, 6}));
    expectValues(list, {1, 5, 6});
    EXPECT_EQ(allocation.blocksHeld(), 3u);
  }
}

TEST(List, SetOverwritesTheRecord) {
  VList list;
  append(list, {1, 2, 3});
  Position position = at(list, 1);
  EXPECT_TRUE(list.Set(position, recordOf(9)));
  expectValues(list, {1, 9, 3});
}

TEST(List, RemoveMovesFirstAndUnlinksEveryPlace) {
  for (uint32_t index = 0; index < 3; ++index) {
    for (int32_t step = -2; step <= 2; ++step) {
      VList list;
      append(list, {0, 1, 2});
      Position position = at(list, index);
      const int32_t target = static_cast<int32_t>(index) + step;
      const bool inside = step != 0 && target >= 0 && target < 3;
      const Position expected = inside ? at(list, static_cast<uint32_t>(target)) : nullptr;
      EXPECT_EQ(list.Remove(position, step), inside);
      EXPECT_EQ(position, expected);
      Values values = {0, 1, 2};
      values.erase(values.begin() + index);
      expectValues(list, values);
    }
  }
}

TEST(List, RemovingTheOnlyElementEmptiesTheList) {
  FailingHalAllocation allocation;
  VList list;
  append(list, {1});
  Position position = at(list, 0);
  EXPECT_FALSE(list.Remove(position, 1));
  EXPECT_EQ(position, nullptr);
  EXPECT_EQ(firstOf(list), nullptr);
  EXPECT_EQ(lastOf(list), nullptr);
  EXPECT_EQ(list.GetCount(), 0u);
  EXPECT_EQ(spareCount(list), 0u) << "the node does not go to the pool";
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(Deliberate, D155_RemoveTellsWhereThePositionIsNotWhetherItRemoved) {
  VList list;
  append(list, {1, 2, 3});
  Position position = at(list, 1);
  EXPECT_FALSE(list.Remove(position, 0)) << "removed, but no position";
  EXPECT_EQ(position, nullptr);
  expectValues(list, {1, 3});
  position = at(list, 1);
  EXPECT_FALSE(list.Remove(position, 1)) << "removed, and nothing follows";
  expectValues(list, {1});
}

TEST(List, RemoveMovesThroughTheTable) {
  class StaysAway final : public VList {
   public:
    bool Move(Position& position, int32_t step) override {
      steps.push_back(step);
      position = nullptr;
      return false;
    }
    std::vector<int32_t> steps;
  };
  StaysAway list;
  list.InsertRecordBack(recordOf(1));
  list.InsertRecordBack(recordOf(2));
  Position position = nullptr;
  list.First(position);
  EXPECT_FALSE(list.Remove(position, 1));
  EXPECT_EQ(position, nullptr);
  EXPECT_EQ(list.steps, (std::vector<int32_t>{1}));
  EXPECT_EQ(list.GetCount(), 1u);
  list.First(position);
  list.Remove(position, 0);
  EXPECT_EQ(list.steps.size(), 1u) << "a step of 0 does not move";
}

TEST(List, RemoveIfAsksForEveryIndexOfTheListAsItWas) {
  VList list;
  append(list, {10, 11, 12, 13, 14, 15});
  RuleFilter some([](uint32_t index) { return index == 0 || index == 2 || index >= 4; });
  EXPECT_TRUE(list.RemoveIf(some));
  EXPECT_EQ(some.asked, (Values{0, 1, 2, 3, 4, 5}));
  expectValues(list, {11, 13});
  VAcceptAllFilter all;
  EXPECT_TRUE(list.RemoveIf(all));
  expectValues(list, {});
  EXPECT_TRUE(list.RemoveIf(all)) << "also when it is empty";
}

TEST(List, DestructionDeletesEveryNodeAndEverySpareNode) {
  FailingHalAllocation allocation(5);
  {
    VList list;
    append(list, {1, 2, 3});
    EXPECT_FALSE(append(list, {4, 5, 6}));
    EXPECT_EQ(spareCount(list), 2u);
    EXPECT_EQ(allocation.blocksHeld(), 5u);
  }
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(Deliberate, D151_ACutInsertionLeavesItsNodesToThePool) {
  FailingHalAllocation allocation(3);
  VList list;
  append(list, {1});
  EXPECT_FALSE(append(list, {2, 3, 4, 5}));
  expectValues(list, {1});
  EXPECT_EQ(spareCount(list), 2u);
  EXPECT_NE(raw_table::word(&list, 3), nullptr);
  EXPECT_EQ(allocation.allocations(), 4u);

  EXPECT_TRUE(append(list, {6}));
  EXPECT_EQ(allocation.allocations(), 4u) << "a spare node is taken";
  EXPECT_EQ(spareCount(list), 1u);
  EXPECT_TRUE(append(list, {7, 8}));
  EXPECT_EQ(allocation.allocations(), 5u) << "one spare node and a new one";
  EXPECT_EQ(spareCount(list), 0u);
  EXPECT_EQ(raw_table::word(&list, 3), nullptr);
  expectValues(list, {1, 6, 7, 8});
}

TEST(List, EveryAllocationOfAnInsertionMayFail) {
  for (uint64_t failAt = 0; failAt < 6; ++failAt) {
    FailingHalAllocation allocation(failAt + 2);
    {
      VList list;
      ASSERT_TRUE(append(list, {1, 2}));
      Position position = at(list, 1);
      ValueSource source({3, 4, 5, 6, 7});
      VAcceptAllFilter all;
      const bool inserted = list.InsertBefore(position, source, all);
      EXPECT_EQ(inserted, failAt == 5);
      expectValues(list, inserted ? Values{1, 3, 4, 5, 6, 7, 2} : Values{1, 2});
      EXPECT_TRUE(list.InsertBefore(position, source, all) || failAt == 5);
    }
    EXPECT_EQ(allocation.blocksHeld(), 0u);
  }
}

// ---- the checks

// Reaches the step that links gathered nodes.
class LinkableList final : public VList {
 public:
  using VList::Chain;
  using VList::Link;
};

TEST(List, InsertionBetweenBrokenLinksIsReportedAndCarriedOut) {
  AssertionCapture capture;
  VList list;
  append(list, {1, 2, 3});
  VListNode* const first = at(list, 0);
  VListNode* const second = at(list, 1);
  first->m_next = at(list, 2);
  ValueSource source({7});
  VAcceptAllFilter all;
  Position position = second;
  EXPECT_TRUE(list.InsertBefore(position, source, all));
  EXPECT_EQ(capture.breaks(), 1);
  EXPECT_EQ(capture.take(),
            report(1537,
                   "p_before == 0 || p_after == 0 || (p_before->m_next == p_after && "
                   "p_after->m_prev == p_before)"));
  expectValues(list, {1, 7, 2, 3});
}

TEST(List, InsertionOfNothingChecksTheLinksAllTheSame) {
  AssertionCapture capture;
  VList list;
  VList empty;
  append(list, {1, 2, 3});
  VListNode* const first = at(list, 0);
  VListNode* const second = at(list, 1);
  VListNode* const third = at(list, 2);
  first->m_next = third;
  VAcceptAllFilter all;
  Position position = second;
  EXPECT_TRUE(list.InsertBefore(position, empty, all));
  EXPECT_EQ(capture.take(),
            report(1537,
                   "p_before == 0 || p_after == 0 || (p_before->m_next == p_after && "
                   "p_after->m_prev == p_before)"));
  EXPECT_EQ(first->m_next, third) << "and nothing is linked";
  first->m_next = second;
  expectValues(list, {1, 2, 3});
}

TEST(List, InsertionBetweenNodesThatDoNotPointBackIsReported) {
  AssertionCapture capture;
  VList list;
  append(list, {1, 2, 3});
  at(list, 1)->m_prev = at(list, 2);
  ValueSource source({7});
  VAcceptAllFilter all;
  Position position = at(list, 0);
  EXPECT_TRUE(list.InsertAfter(position, source, all));
  EXPECT_EQ(capture.take().size(), 1u);
  expectValues(list, {1, 7, 2, 3});
}

TEST(Deliberate, D160_AChainWithOnlyOneEndIsNotLinked) {
  AssertionCapture capture;
  LinkableList list;
  list.InsertRecordBack(recordOf(1));
  VListNode node = {};
  list.Link(nullptr, nullptr, {&node, nullptr, 1});
  const Reports expected = report(1539, "(first != 0 && last != 0) || (first == 0 && last == 0)");
  EXPECT_EQ(capture.take(), expected);
  list.Link(nullptr, nullptr, {nullptr, &node, 1});
  EXPECT_EQ(capture.take(), expected);
  expectValues(list, {1});
}

TEST(List, InsertionIntoASoundListReportsNothing) {
  AssertionCapture capture;
  VList list;
  append(list, {1, 2});
  VAcceptAllFilter all;
  list.InsertFront(list, all);
  EXPECT_TRUE(capture.reports().empty());
}

// ---- against a plain model

TEST(List, AgreesWithAStandardListOnRandomOperations) {
  FailingHalAllocation allocation;
  SeededRandom random(40);
  for (int run = 0; run < 40; ++run) {
    VList list;
    std::list<uint32_t> model;
    uint32_t next = 1;
    for (int round = 0; round < 150; ++round) {
      Values added(random.below(4));
      for (uint32_t& value : added) value = next++;
      ValueSource source(added);
      VAcceptAllFilter all;
      const auto count = static_cast<uint32_t>(model.size());
      const uint32_t index = count ? random.below(count) : 0;
      Position position = at(list, index);
      auto place = std::next(model.begin(), index);
      switch (random.below(8)) {
        case 0:
          ASSERT_TRUE(list.InsertFront(source, all));
          model.insert(model.begin(), added.begin(), added.end());
          break;
        case 1:
          ASSERT_TRUE(list.InsertBack(source, all));
          model.insert(model.end(), added.begin(), added.end());
          break;
        case 2:
          ASSERT_EQ(list.InsertBefore(position, source, all), count != 0);
          if (count) model.insert(place, added.begin(), added.end());
          break;
        case 3:
          ASSERT_EQ(list.InsertAfter(position, source, all), count != 0);
          if (count) model.insert(std::next(place), added.begin(), added.end());
          break;
        case 4: {
          if (!count) break;
          const int32_t step = static_cast<int32_t>(random.below(5)) - 2;
          const int64_t target = int64_t{index} + step;
          const bool inside = step && target >= 0 && target < int64_t{count};
          const uint32_t reached =
              inside ? *std::next(model.begin(), static_cast<ptrdiff_t>(target)) : 0;
          model.erase(place);
          ASSERT_EQ(list.Remove(position, step), inside);
          VRecord record;
          ASSERT_EQ(list.Get(position, record), inside);
          if (inside) {
            ASSERT_TRUE(isRecordOf(record, reached));
          }
          break;
        }
        case 5: {
          const uint32_t modulus = random.below(7) + 2;
          RuleFilter rule([=](uint32_t i) { return i % modulus == 1; });
          ASSERT_TRUE(list.RemoveIf(rule));
          uint32_t i = 0;
          model.remove_if([&](uint32_t) { return i++ % modulus == 1; });
          break;
        }
        case 6:
          ASSERT_EQ(list.Set(position, recordOf(next)), count != 0);
          if (count) *place = next;
          ++next;
          break;
        case 7: {
          Values order(count ? random.below(count + 1) : 0);
          for (uint32_t i = 0; i < order.size(); ++i) order[i] = i;
          std::shuffle(order.begin(), order.end(), random);
          const Values before(model.begin(), model.end());
          ASSERT_TRUE(list.Reorder(order.data(), static_cast<uint32_t>(order.size())));
          auto to = model.begin();
          for (const uint32_t from : order) *to++ = before[from];
          break;
        }
      }
      expectValues(list, Values(model.begin(), model.end()));
      ASSERT_EQ(allocation.blocksHeld(), model.size());
      if (HasFailure()) return;
    }
  }
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

}  // namespace
