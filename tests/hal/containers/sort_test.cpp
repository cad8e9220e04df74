// VSort and VBinarySearch.
#include "hal/containers/sort.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "hal/containers/binary_search.h"
#include "tests/support/seeded_random.h"

namespace {

// An element of the arrays below. Its size is not a power of two, and its place tells equals apart.
struct Item {
  uint16_t key;
  uint16_t place;
  uint16_t check;
  bool operator==(const Item&) const = default;
};

// What the sort did, in order: compares as (left, right), swaps likewise, by element index.
struct Event {
  char kind;
  int64_t left;
  int64_t right;
  bool operator==(const Event&) const = default;
};

const Item* g_base = nullptr;
std::vector<Event> g_events;
uint64_t g_compares = 0;

int64_t indexOf(const void* element) { return static_cast<const Item*>(element) - g_base; }

int32_t compareItems(const void* left, const void* right) {
  ++g_compares;
  return int32_t{static_cast<const Item*>(left)->key} - static_cast<const Item*>(right)->key;
}

int32_t compareAndLog(const void* left, const void* right) {
  g_events.push_back({'c', indexOf(left), indexOf(right)});
  return compareItems(left, right);
}

void swapAndLog(void* left, void* right, uint32_t size) {
  g_events.push_back({'s', indexOf(left), indexOf(right)});
  VSort::GSwapBytes(left, right, size);
}

std::vector<Item> itemsOf(const std::vector<uint16_t>& keys) {
  std::vector<Item> items;
  for (const uint16_t key : keys) {
    const auto place = static_cast<uint16_t>(items.size());
    items.push_back({key, place, static_cast<uint16_t>(key ^ place)});
  }
  return items;
}

void sort(std::vector<Item>& items, VSort::Compare compare = &compareItems,
          VSort::Swap swap = &VSort::GSwapBytes) {
  g_base = items.data();
  g_events.clear();
  g_compares = 0;
  VSort::GSort(items.data(), static_cast<uint32_t>(items.size()), sizeof(Item), compare, swap);
}

// The shapes of keys that the tests run through.
struct Shape {
  const char* name;
  std::vector<uint16_t> keys;
};

std::vector<Shape> shapes(size_t count, SeededRandom& random) {
  const auto shape = [&](const char* name, auto keyOf) {
    Shape made = {name, std::vector<uint16_t>(count)};
    for (size_t i = 0; i < count; ++i) made.keys[i] = static_cast<uint16_t>(keyOf(i));
    return made;
  };
  return {
      shape("random", [&](size_t) { return random.word(); }),
      shape("rising", [](size_t i) { return i; }),
      shape("falling", [&](size_t i) { return count - i; }),
      shape("equal", [](size_t) { return 7; }),
      shape("woven", [&](size_t i) { return i % 2 ? i : count - i; }),
      shape("few keys: two", [&](size_t) { return random.below(2); }),
      shape("few keys: ten", [&](size_t) { return random.below(10); }),
  };
}

// A model of the sort, on positions that may leave the array at its lower end; `events` are its
// compares and swaps.
class PlainQuicksort {
 public:
  using Order = int32_t (*)(size_t event);

  /// @param order  answers a compare by its number among the events; null for the order of keys
  explicit PlainQuicksort(std::vector<Item> items, Order order = nullptr)
      : items_(std::move(items)), order_(order) {
    if (items_.size() < 2) return;
    int64_t lo = 0;
    int64_t hi = static_cast<int64_t>(items_.size()) - 1;
    std::vector<std::pair<int64_t, int64_t>> stack;
    for (;;) {
      const int64_t n = hi - lo + 1;
      if (n > 8) {
        swap(lo + n / 2, lo);
        int64_t l = lo;
        int64_t h = hi + 1;
        for (;;) {
          ++l;
          while (l <= hi && compare(l, lo) <= 0) ++l;
          --h;
          while (h > lo && compare(h, lo) >= 0) --h;
          if (h < l) break;
          swap(l, h);
        }
        swap(lo, h);
        ++partitions;
        if (h - 1 - lo < hi - l) {
          if (l < hi) stack.emplace_back(l, hi);
          if (lo + 1 < h) {
            hi = h - 1;
            continue;
          }
        } else {
          if (lo + 1 < h) stack.emplace_back(lo, h - 1);
          if (l < hi) {
            lo = l;
            continue;
          }
        }
      } else {
        for (int64_t end = hi; end > lo; --end) {
          int64_t largest = lo;
          for (int64_t i = lo + 1; i <= end; ++i) {
            if (compare(i, largest) > 0) largest = i;
          }
          swap(largest, end);
        }
      }
      if (stack.empty()) return;
      lo = stack.back().first;
      hi = stack.back().second;
      stack.pop_back();
    }
  }

  std::vector<Event> events;
  int partitions = 0;

 private:
  int32_t compare(int64_t left, int64_t right) {
    events.push_back({'c', left, right});
    if (order_) return order_(events.size());
    return int32_t{items_[static_cast<size_t>(left)].key} - items_[static_cast<size_t>(right)].key;
  }
  void swap(int64_t left, int64_t right) {
    events.push_back({'s', left, right});
    std::swap(items_[static_cast<size_t>(left)], items_[static_cast<size_t>(right)]);
  }

  std::vector<Item> items_;
  Order order_;
};

TEST(Sort, FewerThanTwoElementsOrNoSizeAreLeftAlone) {
  std::vector<Item> items = itemsOf({2, 1});
  const std::vector<Item> before = items;
  g_base = items.data();
  g_events.clear();
  VSort::GSort(nullptr, 0, sizeof(Item), &compareAndLog, &swapAndLog);
  VSort::GSort(items.data(), 1, sizeof(Item), &compareAndLog, &swapAndLog);
  VSort::GSort(items.data(), 2, 0, &compareAndLog, &swapAndLog);
  EXPECT_TRUE(g_events.empty());
  EXPECT_EQ(items, before);
}

TEST(Sort, EightElementsUseOnlyTheSelectionPass) {
  std::vector<Item> items = itemsOf({5, 3, 8, 1, 7, 2, 6, 4});
  sort(items, &compareAndLog, &swapAndLog);
  EXPECT_EQ(g_compares, 28u) << "7 + 6 + ... + 1";
  EXPECT_EQ(g_events.size(), 28u + 7u) << "one swap for each end";
  EXPECT_EQ(g_events[0], (Event{'c', 1, 0}));
  EXPECT_EQ(g_events[7], (Event{'s', 2, 7})) << "the largest goes to the end";
}

TEST(Sort, NineElementsUseOnePartitionStep) {
  std::vector<Item> items = itemsOf({1, 2, 3, 4, 5, 6, 7, 8, 9});
  EXPECT_EQ(PlainQuicksort(items).partitions, 1);
  sort(items, &compareAndLog, &swapAndLog);
  EXPECT_EQ(g_events[0], (Event{'s', 4, 0})) << "the middle element becomes the pivot";
  EXPECT_EQ(g_events[1], (Event{'c', 1, 0}));
  // Both parts have four elements. The right one is sorted first, because it is not larger.
  const std::vector<Event> tail(g_events.end() - 3, g_events.end());
  EXPECT_EQ(tail, (std::vector<Event>{{'s', 2, 2}, {'c', 1, 0}, {'s', 1, 1}}));
}

TEST(Sort, FirstOfEqualMaximaGoesToTheEnd) {
  std::vector<Item> items = itemsOf({9, 9, 1});
  sort(items);
  EXPECT_EQ(items[2].place, 0);
  EXPECT_EQ(items[1].place, 1);
}

TEST(Sort, AgreesWithStableSortOnTheOrderOfKeysAndLosesNoElement) {
  SeededRandom random(30);
  for (size_t count = 0; count < 200; ++count) {
    for (const auto& [name, keys] : shapes(count, random)) {
      std::vector<Item> items = itemsOf(keys);
      std::vector<Item> model = items;
      std::stable_sort(model.begin(), model.end(),
                       [](const Item& a, const Item& b) { return a.key < b.key; });
      sort(items);
      for (size_t i = 0; i < count; ++i) ASSERT_EQ(items[i].key, model[i].key) << name;
      std::sort(items.begin(), items.end(),
                [](const Item& a, const Item& b) { return a.place < b.place; });
      ASSERT_EQ(items, itemsOf(keys));
    }
  }
}

TEST(Sort, ComparesAndSwapsInTheDefinedSequence) {
  SeededRandom random(31);
  for (size_t count = 0; count < 130; ++count) {
    for (const auto& [name, keys] : shapes(count, random)) {
      std::vector<Item> items = itemsOf(keys);
      const PlainQuicksort model(items);
      sort(items, &compareAndLog, &swapAndLog);
      ASSERT_EQ(g_events, model.events) << count << " elements, " << name;
    }
  }
}

TEST(Sort, NeedsNoMoreThanTwoNLogNComparesOnTheShapesItIsMadeFor) {
  SeededRandom random(32);
  for (const size_t count : {100u, 1000u, 20000u, 60000u}) {
    const double bound = 2.0 * static_cast<double>(count) * std::log2(static_cast<double>(count));
    for (const auto& [name, keys] : shapes(count, random)) {
      if (std::string(name).starts_with("few keys")) continue;
      std::vector<Item> items = itemsOf(keys);
      sort(items);
      EXPECT_LE(static_cast<double>(g_compares), bound) << count << " elements, " << name;
    }
  }
}

TEST(Deliberate, D158_FewDistinctKeysTakeQuadraticTime) {
  SeededRandom random(35);
  std::vector<uint16_t> keys(2000);
  for (uint16_t& key : keys) key = static_cast<uint16_t>(random.below(2));
  std::vector<Item> items = itemsOf(keys);
  sort(items);
  EXPECT_GT(g_compares, 2000u * 2000u / 8);
  EXPECT_LT(g_compares, 2000u * 2000u / 2);
}

TEST(Sort, EqualKeysTakeOnePass) {
  std::vector<Item> items = itemsOf(std::vector<uint16_t>(1000, 7));
  sort(items);
  EXPECT_EQ(g_compares, 2 * 999u);
}

// Follows no order: even the same two elements may compare differently the next time.
int32_t noOrder(size_t event) { return static_cast<int32_t>(event * 7919 % 1009 % 3) - 1; }

int32_t compareWithoutOrder(const void* left, const void* right) {
  g_events.push_back({'c', indexOf(left), indexOf(right)});
  return noOrder(g_events.size());
}

TEST(Sort, ACompareWithoutAnOrderStaysInsideTheArrayAndEnds) {
  for (size_t count = 2; count < 700; count += 3) {
    std::vector<uint16_t> keys(count);
    std::iota(keys.begin(), keys.end(), uint16_t{0});
    std::vector<Item> items = itemsOf(keys);
    const PlainQuicksort model(items, &noOrder);
    sort(items, &compareWithoutOrder, &swapAndLog);
    ASSERT_EQ(g_events, model.events);
    std::sort(items.begin(), items.end(),
              [](const Item& a, const Item& b) { return a.key < b.key; });
    ASSERT_EQ(items, itemsOf(keys)) << "no element is lost";
  }
}

TEST(Sort, SwapBytesExchangesEveryByte) {
  char left[] = "left!";
  char right[] = "RIGHT";
  VSort::GSwapBytes(left, right, 4);
  EXPECT_STREQ(left, "RIGH!");
  EXPECT_STREQ(right, "leftT");
}

TEST(Sort, SwapBytesOfEqualAddressesOrNoSizeDoesNothing) {
  char text[] = "ab";
  VSort::GSwapBytes(text, text, 2);
  VSort::GSwapBytes(text, text + 1, 0);
  EXPECT_STREQ(text, "ab");
  VSort::GSwapBytes(nullptr, nullptr, 100);
}

// ---- VBinarySearch

std::vector<int64_t> g_visited;

int32_t compareKey(const void* key, const void* element) {
  g_visited.push_back(indexOf(element));
  return int32_t{*static_cast<const uint16_t*>(key)} - static_cast<const Item*>(element)->key;
}

const Item* find(const std::vector<Item>& items, uint16_t key) {
  g_base = items.data();
  g_visited.clear();
  return static_cast<const Item*>(VBinarySearch::GFind(
      &key, items.data(), static_cast<uint32_t>(items.size()), sizeof(Item), &compareKey));
}

TEST(BinarySearch, NothingIsFoundInNothing) {
  EXPECT_EQ(find({}, 1), nullptr);
  EXPECT_TRUE(g_visited.empty());
}

TEST(BinarySearch, ASingleElementIsComparedOnce) {
  const std::vector<Item> items = itemsOf({5});
  EXPECT_EQ(find(items, 5), items.data());
  EXPECT_EQ(find(items, 4), nullptr);
  EXPECT_EQ(g_visited.size(), 1u);
}

TEST(BinarySearch, AnEvenNumberBeginsWithItsLowerMiddle) {
  find(itemsOf({0, 1, 2, 3}), 9);
  EXPECT_EQ(g_visited, (std::vector<int64_t>{1, 2, 3}));
  find(itemsOf({1, 2}), 0);
  EXPECT_EQ(g_visited, (std::vector<int64_t>{0}));
}

TEST(BinarySearch, AnOddNumberBeginsWithItsMiddle) {
  find(itemsOf({1, 2, 3, 4, 5}), 0);
  EXPECT_EQ(g_visited, (std::vector<int64_t>{2, 0}));
}

// A model of the search, on positions that may leave the array.
int64_t plainSearch(const std::vector<Item>& items, uint16_t key, std::vector<int64_t>& visited) {
  const auto compare = [&](int64_t index) {
    visited.push_back(index);
    return int32_t{key} - items[static_cast<size_t>(index)].key;
  };
  int64_t lo = 0;
  int64_t hi = static_cast<int64_t>(items.size()) - 1;
  auto num = static_cast<int64_t>(items.size());
  while (lo <= hi) {
    const int64_t half = num / 2;
    if (half) {
      const int64_t below = num & 1 ? half : half - 1;
      const int64_t mid = lo + below;
      const int32_t order = compare(mid);
      if (order == 0) return mid;
      if (order < 0) {
        hi = mid - 1;
        num = below;
      } else {
        lo = mid + 1;
        num = half;
      }
    } else if (num) {
      return compare(lo) == 0 ? lo : -1;
    } else {
      break;
    }
  }
  return -1;
}

TEST(BinarySearch, AgreesWithTheStandardSearchAndVisitsTheDefinedElements) {
  SeededRandom random(34);
  for (size_t count = 0; count < 150; ++count) {
    std::vector<uint16_t> keys(count);
    for (uint16_t& key : keys) key = static_cast<uint16_t>(random.word() % (2 * count) + 1);
    std::sort(keys.begin(), keys.end());
    const std::vector<Item> items = itemsOf(keys);
    for (uint16_t key = 0; key < 2 * count + 2; ++key) {
      const Item* found = find(items, key);
      ASSERT_EQ(found != nullptr, std::binary_search(keys.begin(), keys.end(), key));
      if (found) {
        ASSERT_EQ(found->key, key);
      }
      std::vector<int64_t> visited;
      ASSERT_EQ(found ? found - items.data() : -1, plainSearch(items, key, visited));
      ASSERT_EQ(g_visited, visited);
      ASSERT_LE(static_cast<double>(visited.size()),
                count ? std::floor(std::log2(static_cast<double>(count))) + 1 : 0);
    }
  }
}

}  // namespace
