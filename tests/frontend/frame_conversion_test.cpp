// Ticks to sample frames: rounding, wraps and widths.
#include <gtest/gtest.h>

#include "frontend/sample_frames.h"

using vela::ticksToFrames;

TEST(SampleFrames, EqualTicksWhenTheTimescaleIsTheSamplingRate) {
  EXPECT_EQ(ticksToFrames(1024, 44100, 44100), 1024u);
  EXPECT_EQ(ticksToFrames(0, 44100, 44100), 0u);
}

TEST(SampleFrames, RoundHalfUp) {
  EXPECT_EQ(ticksToFrames(1, 1, 2), 1u);
  EXPECT_EQ(ticksToFrames(1, 1, 3), 0u);
  EXPECT_EQ(ticksToFrames(2, 1, 3), 1u);
  EXPECT_EQ(ticksToFrames(1000, 44100, 90000), 490u);
  EXPECT_EQ(ticksToFrames(1001, 48000, 96000), 501u);
}

TEST(SampleFrames, AreZeroForATimescaleOfZero) { EXPECT_EQ(ticksToFrames(1024, 44100, 0), 0u); }

TEST(SampleFrames, TakeAProductWithTheTopBitSetAsNegative) {
  const uint64_t ticks = uint64_t{1} << 63;
  EXPECT_EQ(ticksToFrames(ticks, 1, 1), ticks);  // the lowest signed value, divided by 1
  EXPECT_EQ(ticksToFrames(ticks, 1, 1000), static_cast<uint64_t>(INT64_MIN / 1000));
  EXPECT_EQ(ticksToFrames(~uint64_t{0}, 10, 1), static_cast<uint64_t>(int64_t{-10}));
}

TEST(SampleFrames, WrapTheProductAtTwoToThe64) {
  EXPECT_EQ(ticksToFrames((uint64_t{1} << 60) + 3, 16, 1), 48u);
}
