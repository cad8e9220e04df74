#include "hal/memory/alignment.h"

#include <gtest/gtest.h>

#include "hal/memory/memory.h"
#include "tests/support/assertion_capture.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/raw_table.h"

TEST(Alignment, GivesTheNextMultipleAtOrAbove) {
  EXPECT_EQ(VAlignment::GAlignUp(uintptr_t{13}, 8), 16u);
  EXPECT_EQ(VAlignment::GAlignUp(uintptr_t{16}, 8), 16u);
  EXPECT_EQ(VAlignment::GAlignUp(uintptr_t{17}, 8), 24u);
  EXPECT_EQ(VAlignment::GAlignUp(uintptr_t{0}, 8), 0u);
  EXPECT_EQ(VAlignment::GAlignUp(uintptr_t{13}, 1), 13u);
  for (uintptr_t align = 1; align <= 4096; align *= 2) {
    for (uintptr_t value = 0; value < 5000; value += 7) {
      EXPECT_EQ(VAlignment::GAlignUp(value, align), (value + align - 1) / align * align);
    }
  }
}

TEST(Alignment, WrapsAtTheEndOfTheAddresses) {
  EXPECT_EQ(VAlignment::GAlignUp(~uintptr_t{0}, 8), 0u);
  EXPECT_EQ(VAlignment::GAlignUp(~uintptr_t{0} - 7, 8), ~uintptr_t{7});
}

TEST(Alignment, ReportsAnAlignmentThatIsNoPowerOfTwoAndCarriesOn) {
  AssertionCapture capture;
  EXPECT_EQ(VAlignment::GAlignUp(uintptr_t{13}, 12), (13u + 11u) & (0u - 12u));
  ASSERT_EQ(capture.reports().size(), 1u);
  EXPECT_EQ(capture.reports()[0],
            u"\r\n*** ASSERTION FAILED in stdhelpers(1483):\r\n(align_mask & align) == 0\r\n");
  EXPECT_EQ(capture.breaks(), 1);
}

TEST(Alignment, TakesZeroForAPowerOfTwo) {
  AssertionCapture capture;
  EXPECT_EQ(VAlignment::GAlignUp(uintptr_t{13}, 0), 0u);
  EXPECT_TRUE(capture.reports().empty());
}

TEST(AlignedBlock, StartsWithoutABlock) {
  const VAlignedBlock block;
  EXPECT_EQ(block.GetAligned(), nullptr);
  EXPECT_EQ(block.GetRaw(), nullptr);
}

TEST(AlignedBlock, KeepsTheAlignedAndThenTheRawAddress) {
  auto* raw = static_cast<char*>(VMemory::GAllocate(100));
  VAlignedBlock block;
  block.Set(raw + 0, 64);
  EXPECT_EQ(block.GetRaw(), raw);
  EXPECT_EQ(block.GetAligned(),
            reinterpret_cast<void*>((reinterpret_cast<uintptr_t>(raw) + 63) / 64 * 64));
  EXPECT_EQ(raw_table::field<void*>(&block, 0), block.GetAligned());
  EXPECT_EQ(raw_table::field<void*>(&block, sizeof(void*)), raw);
  EXPECT_EQ(sizeof(block), 2 * sizeof(void*));
}

TEST(AlignedBlock, FreesItsBlockAndNothingElse) {
  FailingHalAllocation allocation;
  {
    VAlignedBlock block;
    block.Set(VMemory::GAllocate(10), 4);
    block.Set(VMemory::GReallocate(block.GetRaw(), 1000), 4);
    EXPECT_EQ(allocation.blocksHeld(), 1u);
  }
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}
