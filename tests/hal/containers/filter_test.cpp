#include "hal/containers/filter.h"

#include <gtest/gtest.h>

#include <vector>

#include "tests/support/hal_allocator.h"
#include "tests/support/raw_table.h"
#include "tests/support/seeded_random.h"

namespace {

// Returns results[i % size] for index i, and keeps the indices that it was asked for.
class TableFilter final : public VFilter {
 public:
  explicit TableFilter(std::vector<uint32_t> given) : results(std::move(given)) {}
  uint32_t Test(uint32_t index) override {
    asked.push_back(index);
    return results[index % results.size()];
  }
  std::vector<uint32_t> results;
  std::vector<uint32_t> asked;
};

// Searches like the base class, and keeps what it was asked for.
class RecordingFilter final : public VFilter {
 public:
  struct Search {
    uint32_t value;
    uint32_t start;
    uint32_t count;
    uint32_t step;
    bool operator==(const Search&) const = default;
  };

  explicit RecordingFilter(std::vector<uint32_t> given) : results(std::move(given)) {}
  uint32_t Test(uint32_t index) override { return results[index % results.size()]; }
  uint32_t FindNext(uint32_t value, uint32_t start, uint32_t count, uint32_t step) override {
    searches.push_back({value, start, count, step});
    return VFilter::FindNext(value, start, count, step);
  }
  std::vector<uint32_t> results;
  std::vector<Search> searches;
};

constexpr uint32_t kNoLimit = ~uint32_t{0};

}  // namespace

TEST(FilterFindNext, ReturnsTheStartWhenTheCountIsZero) {
  TableFilter filter({1});
  EXPECT_EQ(filter.FindNext(1, 17, 0, 1), 17u);
  EXPECT_TRUE(filter.asked.empty());
}

TEST(FilterFindNext, TestsEveryStepAndStopsAtTheFirstMatch) {
  TableFilter filter({0, 0, 0, 0, 0, 0, 0, 1, 1, 1});
  EXPECT_EQ(filter.FindNext(1, 1, 10, 3), 7u);
  EXPECT_EQ(filter.asked, (std::vector<uint32_t>{1, 4, 7}));
}

TEST(FilterFindNext, ReturnsTheIndexAfterTheLastWhenNoneMatches) {
  TableFilter filter({0});
  EXPECT_EQ(filter.FindNext(1, 5, 4, 3), 17u);
  EXPECT_EQ(filter.asked, (std::vector<uint32_t>{5, 8, 11, 14}));
}

TEST(FilterFindNext, LooksForEitherAnswer) {
  TableFilter filter({1, 1, 0});
  EXPECT_EQ(filter.FindNext(0, 0, 9, 1), 2u);
}

TEST(FilterFindNext, ComparesTheLowEightBits) {
  TableFilter filter({0x100, 0x101, 0xFF, 2});
  EXPECT_EQ(filter.FindNext(1, 0, 4, 1), 1u);
  EXPECT_EQ(filter.FindNext(0xABCD00, 0, 4, 1), 0u);
  EXPECT_EQ(filter.FindNext(0xFFFFFFFF, 0, 4, 1), 2u);
  EXPECT_EQ(filter.FindNext(0x102, 0, 4, 1), 3u);
}

TEST(FilterFindNext, WalksBackwardsAndWraps) {
  TableFilter filter({0});
  EXPECT_EQ(filter.FindNext(1, 1, 3, 0xFFFFFFFF), 0xFFFFFFFEu);
  EXPECT_EQ(filter.asked, (std::vector<uint32_t>{1, 0, 0xFFFFFFFF}));
}

TEST(FilterCount, CountsMatchesInTheRange) {
  TableFilter filter({1, 0, 1, 1, 0});
  EXPECT_EQ(VFilter::GCount(filter, 1, 0, 5, kNoLimit), 3u);
  EXPECT_EQ(VFilter::GCount(filter, 0, 0, 5, kNoLimit), 2u);
  EXPECT_EQ(VFilter::GCount(filter, 1, 3, 1, kNoLimit), 1u);
  EXPECT_EQ(VFilter::GCount(filter, 1, 4, 1, kNoLimit), 0u);
  EXPECT_EQ(VFilter::GCount(filter, 1, 2, 0, kNoLimit), 0u);
}

TEST(FilterCount, StopsAtTheLimit) {
  TableFilter filter({1});
  EXPECT_EQ(VFilter::GCount(filter, 1, 0, 100, 3), 3u);
  EXPECT_EQ(filter.asked.size(), 3u);
  EXPECT_EQ(VFilter::GCount(filter, 1, 0, 100, 0), 0u);
  EXPECT_EQ(filter.asked.size(), 3u);
}

TEST(FilterCount, AsksForEveryIndexOnce) {
  TableFilter filter({0, 1, 1, 0});
  VFilter::GCount(filter, 1, 10, 4, kNoLimit);
  EXPECT_EQ(filter.asked, (std::vector<uint32_t>{10, 11, 12, 13}));
}

TEST(FilterCount, SearchesWhatIsLeftAfterEachMatch) {
  using Searches = std::vector<RecordingFilter::Search>;
  RecordingFilter endsInAMiss({0, 1, 1, 0});
  EXPECT_EQ(VFilter::GCount(endsInAMiss, 0xAB01, 8, 4, kNoLimit), 2u);
  EXPECT_EQ(endsInAMiss.searches,
            (Searches{{0xAB01, 8, 4, 1}, {0xAB01, 10, 2, 1}, {0xAB01, 11, 1, 1}}));
  RecordingFilter endsInAMatch({1, 0, 1});
  EXPECT_EQ(VFilter::GCount(endsInAMatch, 1, 3, 3, kNoLimit), 2u);
  EXPECT_EQ(endsInAMatch.searches, (Searches{{1, 3, 3, 1}, {1, 4, 2, 1}, {1, 6, 0, 1}}))
      << "the last search has nothing left to look at";
  RecordingFilter limited({1});
  EXPECT_EQ(VFilter::GCount(limited, 1, 5, 9, 2), 2u);
  EXPECT_EQ(limited.searches, (Searches{{1, 5, 9, 1}, {1, 6, 8, 1}})) << "none at the limit";
}

TEST(FilterCount, CrossesTheEndOfTheIndices) {
  TableFilter filter({1});
  EXPECT_EQ(VFilter::GCount(filter, 1, 0xFFFFFFFE, 4, kNoLimit), 4u);
}

TEST(FilterCount, AgreesWithAPlainLoop) {
  SeededRandom random(4101);
  for (int round = 0; round < 300; ++round) {
    std::vector<uint32_t> results(1 + random.below(40));
    for (uint32_t& result : results) result = random.below(3);
    TableFilter filter(results);
    const uint32_t value = random.below(3);
    const uint32_t start = random.below(50);
    const uint32_t length = random.below(60);
    const uint32_t limit = random.below(40);
    uint32_t expected = 0;
    for (uint32_t i = start; i < start + length && expected < limit; ++i) {
      expected += results[i % results.size()] == value;
    }
    EXPECT_EQ(VFilter::GCount(filter, value, start, length, limit), expected) << round;
  }
}

TEST(AcceptAllFilter, AcceptsEveryIndex) {
  VAcceptAllFilter filter;
  for (const uint32_t index : {0u, 1u, 77u, 0xFFFFFFFFu}) EXPECT_EQ(filter.Test(index), 1u);
  EXPECT_EQ(filter.FindNext(1, 9, 5, 2), 9u);
  EXPECT_EQ(filter.FindNext(0, 9, 5, 2), 19u);
  EXPECT_EQ(VFilter::GCount(filter, 1, 0, 12, kNoLimit), 12u);
}

TEST(AcceptAllFilter, HasTheSlotsTestFindNextDestructor) {
  FailingHalAllocation allocation;
  auto* filter = new VAcceptAllFilter;
  EXPECT_EQ(raw_table::call<uint32_t>(filter, 0, uint32_t{3}), 1u);
  EXPECT_EQ(
      raw_table::call<uint32_t>(filter, 1, uint32_t{0}, uint32_t{4}, uint32_t{5}, uint32_t{6}),
      34u);
  EXPECT_EQ(allocation.blocksHeld(), 1u);
  raw_table::destroyAndFree(filter, 2);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}
