// Ticks, host units and sample frames: rounding, wraps and widths.
#include "frontend/host_time.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/seeded_random.h"

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

// ---- the same conversions with a timescale that is kept

namespace {

// Values at which a quotient changes, and their neighbours, among any others.
uint64_t randomValue(SeededRandom& random, uint32_t divisor) {
  const uint64_t value = (uint64_t{random.word()} << 32 | random.word()) >> random.below(64);
  if (random.oneIn(8)) return UINT64_MAX - random.below(3);
  return random.oneIn(2) ? value : value / divisor * divisor + random.below(3) - 1;
}

uint32_t randomDivisor(SeededRandom& random) {
  if (random.oneIn(8)) return UINT32_MAX - random.below(3);
  if (random.oneIn(8)) return (uint32_t{1} << random.below(32)) + random.below(3) - 1;
  return random.word() >> random.below(32);
}

}  // namespace

TEST(Timescale, DividesAsTheDivisionDoes) {
  SeededRandom random(1);
  for (int round = 0; round < 400'000; ++round) {
    const uint32_t divisor = std::max(randomDivisor(random), 1u);
    const uint64_t value = randomValue(random, divisor);
    ASSERT_EQ(vela::Timescale(divisor).divide(value), value / divisor) << value << " / " << divisor;
  }
}

TEST(Timescale, ConvertsTicksAsTheDivisionDoes) {
  SeededRandom random(2);
  for (int round = 0; round < 400'000; ++round) {
    const uint32_t timescale = random.oneIn(50) ? 0 : randomDivisor(random);
    const uint32_t rate = random.oneIn(2) ? timescale : randomDivisor(random);
    const uint64_t ticks = randomValue(random, std::max(timescale, 1u));
    const vela::Timescale kept(timescale);
    ASSERT_EQ(vela::ticksToHostUnits(ticks, kept), vela::ticksToHostUnits(ticks, timescale))
        << ticks << " of " << timescale;
    ASSERT_EQ(ticksToFrames(ticks, rate, kept), ticksToFrames(ticks, rate, timescale))
        << ticks << " of " << timescale << " at " << rate;
  }
}

TEST(Timescale, ConvertsTicksOfOneFrameEachUpToTheSignOfTheProduct) {
  for (const uint32_t rate : {1u, 2u, 48000u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
    for (uint64_t ticks : {uint64_t{0}, uint64_t{1024}, uint64_t{0x7ffffffe}, uint64_t{0x7fffffff},
                           uint64_t{0x80000000}, uint64_t{0x80000001}, uint64_t{0xffffffff}}) {
      EXPECT_EQ(ticksToFrames(ticks, rate, vela::Timescale(rate)), ticksToFrames(ticks, rate, rate))
          << ticks << " at " << rate;
    }
  }
}

TEST(Timescale, TakesTheUpperHalfOfAProductFromItsFourParts) {
  SeededRandom random(3);
  for (int round = 0; round < 100'000; ++round) {
    const uint64_t left = (uint64_t{random.word()} << 32 | random.word()) >> random.below(64);
    const uint64_t right = (uint64_t{random.word()} << 32 | random.word()) >> random.below(64);
    ASSERT_EQ(vela::upperHalfOfPartProducts(left, right), vela::upperHalfOfProduct(left, right));
  }
}
