#include "atomkit/core/containers/node_list.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/counting_allocator.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

struct Payload {
  int value = 0;
  int cleared = 0;
  void clear() noexcept {
    value = 0;
    ++cleared;
  }
};
using List = NodeList<uint32_t, Payload>;

TEST(NodeList, KeepsInsertionOrderAndTakesAKeyTwice) {
  List list;
  list.append(5).payload.value = 1;
  list.append(3).payload.value = 2;
  list.append(5).payload.value = 3;
  EXPECT_EQ(list.count(), 3u);
  std::vector<int> values;
  for (auto* node = list.first(); node; node = node->next) values.push_back(node->payload.value);
  EXPECT_EQ(values, (std::vector<int>{1, 2, 3}));
}

TEST(NodeList, RemovingLinksTheNeighboursAtEveryPlace) {
  for (uint32_t removed = 0; removed < 3; ++removed) {
    List list;
    List::Node* nodes[3];
    for (uint32_t key = 0; key < 3; ++key) nodes[key] = &list.append(key);
    list.remove(*nodes[removed]);
    std::vector<uint32_t> forward;
    const List::Node* last = nullptr;
    for (auto* node = list.first(); node; node = node->next) {
      EXPECT_EQ(node->previous, last);
      forward.push_back(node->key);
      last = node;
    }
    std::vector<uint32_t> expected = {0, 1, 2};
    expected.erase(expected.begin() + removed);
    EXPECT_EQ(forward, expected);
    EXPECT_EQ(list.append(9).previous, last);
  }
}

TEST(NodeList, ARemovedNodeIsClearedAndUsedAgain) {
  FailingAllocation memory;
  List list;
  list.append(1).payload.value = 7;
  list.remove(*list.first());
  EXPECT_EQ(list.count(), 0u);
  EXPECT_EQ(list.pooled(), 1u);
  EXPECT_EQ(memory.blocksHeld(), 1u);
  const auto& reused = list.append(2);
  EXPECT_EQ(reused.payload.value, 0);
  EXPECT_EQ(reused.payload.cleared, 1);
  EXPECT_EQ(memory.allocations(), 1u);
  EXPECT_EQ(list.pooled(), 0u);
}

TEST(NodeList, ANodeOfThePoolIsTheLastOneWhenItIsUsedAgain) {
  List list;
  for (uint32_t key = 0; key < 3; ++key) list.append(key);
  while (list.first()) list.remove(*list.first());
  ASSERT_EQ(list.pooled(), 3u);
  const auto& reused = list.append(7);
  EXPECT_EQ(reused.previous, nullptr);
  EXPECT_EQ(reused.next, nullptr);
  EXPECT_EQ(list.first(), &reused);
}

TEST(NodeList, The33rdRemovedNodeIsFreed) {
  FailingAllocation memory;
  List list;
  for (uint32_t key = 0; key < 33; ++key) list.append(key);
  for (int i = 0; i < 32; ++i) list.remove(*list.first());
  EXPECT_EQ(list.pooled(), 32u);
  EXPECT_EQ(memory.blocksHeld(), 33u);
  list.remove(*list.first());
  EXPECT_EQ(list.pooled(), 32u);
  EXPECT_EQ(list.count(), 0u);
  EXPECT_EQ(memory.blocksHeld(), 32u);
}

TEST(NodeList, ClearingFreesEveryNode) {
  FailingAllocation memory;
  List list;
  for (uint32_t key = 0; key < 5; ++key) list.append(key);
  list.remove(*list.first());
  list.clear();
  EXPECT_EQ(list.count(), 0u);
  EXPECT_EQ(memory.blocksHeld(), 0u);
  list.append(1);
  EXPECT_EQ(list.first()->key, 1u);
}

TEST(NodeList, AFailedInsertionIsOutOfMemoryAndLeavesTheListAsItWas) {
  FailingAllocation memory(1);
  List list;
  list.append(1);
  EXPECT_THROWS_MESSAGE(list.append(2), "out of memory");
  EXPECT_EQ(list.count(), 1u);
  EXPECT_EQ(list.first()->next, nullptr);
}

}  // namespace
}  // namespace atomkit
