// VBlockPool and the records that it keeps.
#include "hal/containers/block_pool.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <vector>

#include "tests/support/assertion_capture.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/raw_table.h"
#include "tests/support/seeded_random.h"

namespace {

// A pool whose raw blocks are freed at the end, as its owner must do.
class OwnedPool {
 public:
  OwnedPool() = default;
  OwnedPool(const OwnedPool&) = delete;
  OwnedPool& operator=(const OwnedPool&) = delete;
  ~OwnedPool() {
    for (const VBlockRecord& block : blocks()) VMemory::GFree(block.m_raw);
  }

  void* acquire(uint32_t size, uint32_t align) { return VBlockPool::GAcquire(list, size, align); }
  bool release(const void* aligned) { return VBlockPool::GRelease(list, aligned); }

  std::vector<VBlockRecord> blocks() {
    std::vector<VBlockRecord> all;
    VRecordSource::Position position = nullptr;
    for (bool valid = list.First(position); valid; valid = list.Move(position, 1)) {
      VRecord record;
      list.Get(position, record);
      all.push_back(VBlockRecord::GUnpack(record));
    }
    return all;
  }

  VList list;
};

bool isAligned(const void* address, uintptr_t align) {
  return reinterpret_cast<uintptr_t>(address) % align == 0;
}

TEST(BlockPool, AHundredBytesAtSixteenNeedARawBlockOfAHundredAndThirty) {
  OwnedPool pool;
  void* block = pool.acquire(100, 16);
  ASSERT_NE(block, nullptr);
  EXPECT_TRUE(isAligned(block, 16));
  const std::vector<VBlockRecord> blocks = pool.blocks();
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].m_raw_size, 130u);
  EXPECT_EQ(blocks[0].m_aligned, block);
  EXPECT_EQ(blocks[0].m_in_use, 1);
}

TEST(BlockPool, ReusesAReleasedBlockThatIsLargeEnough) {
  FailingHalAllocation allocation;
  OwnedPool pool;
  void* block = pool.acquire(100, 16);
  EXPECT_TRUE(pool.release(block));
  EXPECT_EQ(pool.blocks()[0].m_in_use, 0);
  const uint64_t allocations = allocation.allocations();
  EXPECT_EQ(pool.acquire(100, 16), block);
  EXPECT_TRUE(pool.release(block));
  EXPECT_EQ(pool.acquire(50, 16), block);
  EXPECT_EQ(allocation.allocations(), allocations);
  EXPECT_EQ(pool.blocks().size(), 1u);
  EXPECT_EQ(pool.blocks()[0].m_raw_size, 130u) << "the size stays that of the block";
}

TEST(BlockPool, AlignsForTheNewNeedWhenItReuses) {
  OwnedPool pool;
  void* block = pool.acquire(4096, 1);
  pool.release(block);
  // Twice the largest power of two that divides the address.
  const auto address = reinterpret_cast<uintptr_t>(block);
  const auto align = static_cast<uint32_t>((address & (~address + 1)) * 2);
  ASSERT_FALSE(isAligned(block, align));
  void* again = pool.acquire(30, align);
  EXPECT_TRUE(isAligned(again, align));
  const std::vector<VBlockRecord> blocks = pool.blocks();
  ASSERT_EQ(blocks.size(), 1u);
  EXPECT_EQ(blocks[0].m_aligned, again);
  const auto distance = static_cast<uint8_t*>(again) - static_cast<uint8_t*>(blocks[0].m_raw);
  EXPECT_GE(distance, 0);
  EXPECT_LE(distance + 30, blocks[0].m_raw_size);
  EXPECT_TRUE(pool.release(again));
}

TEST(BlockPool, BlocksInUseAreLeftAlone) {
  OwnedPool pool;
  void* first = pool.acquire(100, 1);
  void* second = pool.acquire(10, 1);
  EXPECT_NE(first, second);
  EXPECT_EQ(pool.blocks().size(), 2u);
}

// Which of the free blocks of these sizes serves `size` bytes (alignment 1)?
size_t chosen(const std::vector<uint32_t>& sizes, uint32_t size) {
  OwnedPool pool;
  std::vector<void*> blocks;
  for (const uint32_t each : sizes) blocks.push_back(pool.acquire(each, 1));
  for (const void* block : blocks) pool.release(block);
  pool.acquire(size, 1);
  const std::vector<VBlockRecord> after = pool.blocks();
  EXPECT_EQ(after.size(), sizes.size());
  const auto used = std::find_if(after.begin(), after.end(),
                                 [](const VBlockRecord& block) { return block.m_in_use; });
  return static_cast<size_t>(used - after.begin());
}

TEST(BlockPool, AmongLargeEnoughBlocksTheSmallestWins) {
  EXPECT_EQ(chosen({300, 200, 400}, 150), 1u);
  EXPECT_EQ(chosen({300, 200, 400}, 200), 1u);
}

TEST(BlockPool, ALargeEnoughBlockBeatsASmallerOne) {
  EXPECT_EQ(chosen({149, 1000, 148}, 150), 1u);
  EXPECT_EQ(chosen({1000, 149}, 150), 0u);
}

TEST(BlockPool, AmongTooSmallBlocksTheLargestWinsAndGrows) {
  EXPECT_EQ(chosen({10, 30, 20}, 150), 1u);
  OwnedPool pool;
  void* block = pool.acquire(10, 1);
  pool.release(block);
  pool.acquire(150, 4);
  EXPECT_EQ(pool.blocks()[0].m_raw_size, 156u);
}

TEST(BlockPool, OfEqualSizesTheEarlierWins) {
  EXPECT_EQ(chosen({200, 200, 200}, 150), 0u);
  EXPECT_EQ(chosen({100, 100}, 150), 0u);
}

TEST(BlockPool, ReleaseKnowsOnlyBlocksInUse) {
  OwnedPool pool;
  int other = 0;
  EXPECT_FALSE(pool.release(&other));
  void* block = pool.acquire(10, 8);
  EXPECT_FALSE(pool.release(&other));
  EXPECT_TRUE(pool.release(block));
  EXPECT_FALSE(pool.release(block)) << "it is free already";
}

TEST(BlockPool, AFailedGrowthLeavesTheRecordAsItWas) {
  FailingHalAllocation allocation(2);
  {
    OwnedPool pool;
    void* block = pool.acquire(10, 8);
    std::memset(block, 7, 10);
    pool.release(block);
    const VBlockRecord before = pool.blocks()[0];
    EXPECT_EQ(pool.acquire(1000, 8), nullptr);
    const VBlockRecord after = pool.blocks()[0];
    EXPECT_EQ(after.m_aligned, before.m_aligned);
    EXPECT_EQ(after.m_raw, before.m_raw);
    EXPECT_EQ(after.m_raw_size, before.m_raw_size);
    EXPECT_EQ(after.m_in_use, 0);
    EXPECT_EQ(static_cast<uint8_t*>(block)[9], 7) << "the old block is still there";
    EXPECT_EQ(pool.acquire(10, 8), block);
  }
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(BlockPool, EveryAllocationOfANewBlockMayFail) {
  for (uint64_t failAt = 0; failAt < 2; ++failAt) {
    FailingHalAllocation allocation(failAt);
    {
      OwnedPool pool;
      EXPECT_EQ(pool.acquire(100, 16), nullptr);
      EXPECT_EQ(allocation.blocksHeld(), 0u);
      EXPECT_TRUE(pool.blocks().empty());
      EXPECT_NE(pool.acquire(100, 16), nullptr);
    }
    EXPECT_EQ(allocation.blocksHeld(), 0u);
  }
}

TEST(BlockPool, ANeedBeyond32BitsIsRefusedBeforeAnythingIsAllocated) {
  FailingHalAllocation allocation;
  OwnedPool pool;
  EXPECT_EQ(pool.acquire(0xFFFFFFFF, 2), nullptr);
  EXPECT_EQ(pool.acquire(1, 0x80000001), nullptr);
  EXPECT_EQ(pool.acquire(100, 0), nullptr) << "no address is a multiple of 0";
  EXPECT_EQ(allocation.allocations(), 0u);
}

TEST(BlockPool, AnAlignmentThatIsNoPowerOfTwoIsReported) {
  AssertionCapture capture;
  OwnedPool pool;
  EXPECT_NE(pool.acquire(10, 12), nullptr);
  EXPECT_EQ(capture.reports(), std::vector<std::u16string>{AssertionCapture::report(
                                   "stdhelpers", 1483, "(align_mask & align) == 0")});
}

TEST(BlockPool, AgreesWithAPlainModelOnRandomRequests) {
  struct ModelBlock {
    uint32_t size;
    bool inUse;
  };
  FailingHalAllocation allocation;
  {
    SeededRandom random(80);
    OwnedPool pool;
    std::vector<ModelBlock> model;
    for (int round = 0; round < 2000; ++round) {
      const std::vector<VBlockRecord> before = pool.blocks();
      if (random.oneIn(2) && !before.empty()) {
        const size_t index = random.below(static_cast<uint32_t>(before.size()));
        ASSERT_EQ(pool.release(before[index].m_aligned), model[index].inUse);
        model[index].inUse = false;
        continue;
      }
      const uint32_t size = random.below(300);
      const uint32_t align = 1u << random.below(7);
      const uint32_t need = size + 2 * (align - 1);
      // The smallest that is large enough, else the largest; the first of equals.
      size_t best = model.size();
      for (size_t i = 0; i < model.size(); ++i) {
        if (model[i].inUse || model[i].size < need) continue;
        if (best == model.size() || model[i].size < model[best].size) best = i;
      }
      if (best == model.size()) {
        for (size_t i = 0; i < model.size(); ++i) {
          if (model[i].inUse) continue;
          if (best == model.size() || model[i].size > model[best].size) best = i;
        }
      }
      if (best == model.size()) model.push_back({need, true});
      model[best] = {std::max(model[best].size, need), true};

      auto* block = static_cast<uint8_t*>(pool.acquire(size, align));
      ASSERT_NE(block, nullptr);
      ASSERT_TRUE(isAligned(block, align));
      if (size) std::memset(block, 0x5A, size);
      const std::vector<VBlockRecord> after = pool.blocks();
      ASSERT_EQ(after.size(), model.size());
      ASSERT_EQ(after[best].m_aligned, block);
      for (size_t i = 0; i < after.size(); ++i) {
        ASSERT_EQ(after[i].m_raw_size, model[i].size);
        ASSERT_EQ(after[i].m_in_use != 0, model[i].inUse);
      }
    }
  }
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(BlockRecord, ListsAlignedRawSizeAndUseInThisOrder) {
  char bytes[32];
  const VBlockRecord block = {&bytes[16], &bytes[0], 32, 1};
  EXPECT_EQ(raw_table::word(&block, 0), &bytes[16]);
  EXPECT_EQ(raw_table::word(&block, 1), &bytes[0]);
  EXPECT_EQ(raw_table::field<uint32_t>(&block, 2 * sizeof(void*)), 32u);
  EXPECT_EQ(raw_table::field<uint8_t>(&block, 2 * sizeof(void*) + 4), 1);
}

TEST(BlockRecord, FitsARecordOfSixteenBytesWhateverThePointersWidth) {
  char bytes[32];
  for (const uint8_t inUse : {uint8_t{0}, uint8_t{1}}) {
    for (const size_t distance : {0u, 1u, 31u}) {
      const VBlockRecord block = {&bytes[distance], &bytes[0], 0xFFFFFFFF, inUse};
      const VRecord record = block.Pack();
      EXPECT_EQ(sizeof(record), 16u);
      const VBlockRecord same = VBlockRecord::GUnpack(record);
      EXPECT_EQ(same.m_aligned, block.m_aligned);
      EXPECT_EQ(same.m_raw, block.m_raw);
      EXPECT_EQ(same.m_raw_size, 0xFFFFFFFFu);
      EXPECT_EQ(same.m_in_use, inUse);
      if (sizeof(void*) == 4) {
        EXPECT_EQ(std::memcmp(&record, &block, 13), 0) << "the record is the struct";
      } else {
        EXPECT_EQ(raw_table::word(&record, 0), block.m_raw);
        EXPECT_EQ(record.m_words[2], 0xFFFFFFFFu);
        EXPECT_EQ(record.m_words[3], distance | (inUse ? 0x80000000u : 0u));
      }
    }
  }
}

}  // namespace
