#include "atomkit/core/tables/run_index.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "tests/support/counting_allocator.h"
#include "tests/support/seeded_random.h"

namespace atomkit {
namespace {

/// The index of a table with these totals after each entry.
RunIndex indexOf(const std::vector<uint64_t>& ends) {
  RunIndexBuilder builder(static_cast<uint32_t>(ends.size()));
  for (size_t first = 0; first < ends.size(); first += kBlockEntries) {
    const size_t end = std::min<size_t>(first + kBlockEntries, ends.size());
    builder.append(ends[end - 1], *std::max_element(&ends[first], &ends[first] + (end - first)));
  }
  return builder.finish();
}

/// The block of the first entry whose total is above `value`; the last block when there is none.
uint32_t plainBlockOf(const std::vector<uint64_t>& ends, uint64_t value) {
  size_t entry = 0;
  while (entry + 1 < ends.size() && ends[entry] <= value) ++entry;
  return static_cast<uint32_t>(entry / kBlockEntries);
}

void expectPlainBlocks(const std::vector<uint64_t>& ends) {
  const RunIndex index = indexOf(ends);
  ASSERT_EQ(index.markedBlocks(), (ends.size() - 1) / kBlockEntries);
  EXPECT_EQ(index.totalBefore(0), 0u);
  for (uint32_t block = 1; block <= index.markedBlocks(); ++block) {
    ASSERT_EQ(index.totalBefore(block), ends[block * kBlockEntries - 1]);
  }
  for (const uint64_t end : ends) {
    for (const uint64_t value : {end - 1, end, end + 1}) {
      ASSERT_EQ(index.blockOf(value), plainBlockOf(ends, value)) << value;
    }
  }
}

/// Totals that wrap as words of type Total do.
template <class Total>
std::vector<uint64_t> totalsOf(const std::vector<Total>& spans) {
  std::vector<uint64_t> ends;
  Total total = 0;
  for (const Total span : spans) ends.push_back(total += span);
  return ends;
}

TEST(RunIndex, FindsTheBlockOfEveryRisingTotal) {
  for (const uint32_t count : {1u, 63u, 64u, 65u, 128u, 129u, 500u, 64u * 64 + 1}) {
    expectPlainBlocks(totalsOf(std::vector<uint32_t>(count, 3)));
    expectPlainBlocks(totalsOf(std::vector<uint64_t>(count, 0x300000000)));
  }
}

TEST(RunIndex, FindsTheFirstBlockWhereTotalsFallInsideOneAndBetweenTwo) {
  std::vector<uint64_t> ends(320);
  for (uint32_t i = 0; i < ends.size(); ++i) ends[i] = 10 + i;
  ends[70] = 1000;  // only inside block 1
  ends[130] = 7;
  ends[191] = 5;  // the mark of block 3 is below all that lies before
  ends[319] = 2000;
  expectPlainBlocks(ends);
}

TEST(RunIndex, FindsTheFirstBlockOfRandomTotalsThatWrap) {
  SeededRandom random(1);
  for (int round = 0; round < 60; ++round) {
    std::vector<uint32_t> words(1 + random.below(700));
    std::vector<uint64_t> longWords(1 + random.below(700));
    const uint32_t shift = random.below(32);
    for (uint32_t& word : words) word = random.word() >> shift;
    for (uint64_t& word : longWords) word = uint64_t{random.word()} << (32 - shift);
    ASSERT_NO_FATAL_FAILURE(expectPlainBlocks(totalsOf(words)));
    ASSERT_NO_FATAL_FAILURE(expectPlainBlocks(totalsOf(longWords)));
  }
}

TEST(RunIndex, ATableOfOneBlockTakesNoMemory) {
  FailingAllocation memory;
  const RunIndex index = indexOf(std::vector<uint64_t>(64, 1));
  EXPECT_EQ(memory.allocations(), 0u);
  EXPECT_EQ(index.blockOf(5), 0u);
}

TEST(RunIndex, KeepsOneBlockOfItsOwnSizeWhetherTotalsRiseOrFall) {
  for (const uint32_t span : {2u, 0x80000000u}) {
    const uint64_t words = span == 2 ? 1 : 2;
    FailingAllocation memory;
    {
      const RunIndex index = indexOf(totalsOf(std::vector<uint32_t>(64'001, span)));
      EXPECT_EQ(index.markedBlocks(), 1000u);
      EXPECT_EQ(memory.largestBlock(), 1000 * words * sizeof(uint64_t));
      EXPECT_EQ(memory.blocksHeld(), 1u);
    }
    EXPECT_EQ(memory.blocksHeld(), 0u);
  }
}

TEST(RunIndex, TakesMemoryForTheBlocksThatArriveNotForThoseThatAreClaimed) {
  FailingAllocation memory;
  RunIndexBuilder builder(UINT32_MAX);
  for (uint32_t i = 1; i <= 1000; ++i) builder.append(i, i);
  EXPECT_LE(memory.peakBytes(), 4 * 1000 * sizeof(uint64_t));
}

TEST(RunIndex, WithoutMemoryEverySearchBeginsAtTheFirstEntry) {
  const std::vector<uint64_t> falling = totalsOf(std::vector<uint32_t>(40'000, 0x50000000));
  for (uint64_t failAt = 0;; ++failAt) {
    FailingAllocation memory(failAt);
    const RunIndex index = indexOf(falling);
    if (!memory.failed()) {
      EXPECT_GE(failAt, 3u);
      break;
    }
    EXPECT_EQ(index.markedBlocks(), 0u);
    EXPECT_EQ(index.blockOf(0xffffffff), 0u);
    EXPECT_EQ(index.totalBefore(0), 0u);
    EXPECT_EQ(memory.blocksHeld(), 0u);
  }
}

TEST(RunIndex, TakesTheMarksOfAnotherAndFreesItsOwn) {
  FailingAllocation memory;
  {
    RunIndex index = indexOf(totalsOf(std::vector<uint32_t>(1000, 0x50000000)));
    index = indexOf(totalsOf(std::vector<uint32_t>(100, 1)));
    EXPECT_EQ(memory.blocksHeld(), 1u);
    EXPECT_EQ(index.markedBlocks(), 1u);
    EXPECT_EQ(index.totalBefore(1), 64u);
    EXPECT_EQ(index.blockOf(64), 1u);
    index = {};
    EXPECT_EQ(memory.blocksHeld(), 0u);
    EXPECT_EQ(index.blockOf(64), 0u);
  }
}

}  // namespace
}  // namespace atomkit
