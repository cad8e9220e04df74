// Ticks, host units and sample frames: rounding, wraps and widths.
#include "frontend/host_time.h"

#include <gtest/gtest.h>

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

TEST(HostTime, ConvertsTicksRoundingHalfUp) {
  EXPECT_EQ(vela::ticksToHostUnits(1000, 1000), 16777216u);
  EXPECT_EQ(vela::ticksToHostUnits(0, 1000), 0u);
  EXPECT_EQ(vela::ticksToHostUnits(5, 0), 0u);
  EXPECT_EQ(vela::ticksToHostUnits(1, 3), 5592405u);   // 5592405.33
  EXPECT_EQ(vela::ticksToHostUnits(2, 3), 11184811u);  // 11184810.67
  EXPECT_EQ(vela::ticksToHostUnits(1, 33554432), 1u);  // 0.5
  EXPECT_EQ(vela::ticksToHostUnits(1, 33554433), 0u);  // just below 0.5
  EXPECT_EQ(vela::ticksToHostUnits(10'000'000, 10'000'000), 16777216u);
  EXPECT_EQ(vela::ticksToHostUnits(1, 0xFFFFFFFF), 0u);
}

TEST(HostTime, WrapsThe64BitProductOfTicks) {
  EXPECT_EQ(vela::ticksToHostUnits(uint64_t{1} << 40, 1000), 0u) << "2^64 is 0; 500 / 1000 is 0";
  EXPECT_EQ(vela::ticksToHostUnits((uint64_t{1} << 40) + 1000, 1000), 16777216u);
  EXPECT_EQ(vela::ticksToHostUnits(vela::kUnknown64, 1), vela::kUnknown64 - 16777215);
}

TEST(HostTime, ConvertsHostUnitsToTicksRoundingHalfUp) {
  EXPECT_EQ(vela::hostUnitsToTicks(16777216, 48000), 48000u);
  EXPECT_EQ(vela::hostUnitsToTicks(8388608, 1), 1u);
  EXPECT_EQ(vela::hostUnitsToTicks(8388607, 1), 0u);
  EXPECT_EQ(vela::hostUnitsToTicks(12345, 0), 0u);
  EXPECT_EQ(vela::hostUnitsToTicks(vela::kUnknown64, 1), 0u) << "the sum wraps";
}
