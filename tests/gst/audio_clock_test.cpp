#include "gst/audio_clock.h"

#include <gmock/gmock.h>

namespace velagst {
namespace {

using testing::ElementsAre;

PacketFrames whole(uint32_t frames) { return {frames, frames, 0}; }
PacketFrames primes(uint32_t frames) { return {frames, 0, 0}; }

TEST(AudioClock, CountsFromTheTarget) {
  AudioClock clock;
  clock.restart(0);
  ASSERT_TRUE(clock.add(whole(1024)));
  EXPECT_THAT(clock.begins(), ElementsAre(0));
  ASSERT_TRUE(clock.add(whole(1024)));
  EXPECT_THAT(clock.begins(), ElementsAre(1024));
  EXPECT_EQ(clock.next(), 2048u);
}

TEST(AudioClock, HoldsBackWhatPrimesUntilAPacketCounts) {
  AudioClock clock;
  clock.restart(10 * 1024 + 100);
  EXPECT_FALSE(clock.add(primes(1024)));
  EXPECT_FALSE(clock.add(primes(1024)));
  ASSERT_TRUE(clock.add({1024, 924, 100}));
  EXPECT_THAT(clock.begins(), ElementsAre(8 * 1024, 9 * 1024, 10 * 1024));
  EXPECT_EQ(clock.firstPlayed(), 10u * 1024 + 100);
}

TEST(AudioClock, APacketThatIsCutWhollyCounts) {
  AudioClock clock;
  clock.restart(2048);
  ASSERT_TRUE(clock.add({1024, 0, 1024}));
  EXPECT_THAT(clock.begins(), ElementsAre(1024));
  ASSERT_TRUE(clock.add(whole(1024)));
  EXPECT_THAT(clock.begins(), ElementsAre(2048));
}

TEST(AudioClock, PutsAPacketOntoTheGridWhereTheCutIsOffByAFrame) {
  AudioClock clock;
  clock.restart(5 * 2048 + 31);
  EXPECT_FALSE(clock.add(primes(2048)));
  ASSERT_TRUE(clock.add({2048, 2048 - 32, 32}));  // a file that counts in pairs of frames
  EXPECT_THAT(clock.begins(), ElementsAre(4 * 2048, 5 * 2048));
  EXPECT_EQ(clock.firstPlayed(), 5u * 2048 + 32);
}

TEST(AudioClock, LeavesAPacketThatIsOffByMoreWhereItIs) {
  AudioClock clock;
  clock.restart(5 * 1024 + 500);
  ASSERT_TRUE(clock.add({1024, 1024 - 497, 497}));
  EXPECT_THAT(clock.begins(), ElementsAre(5 * 1024 + 3));
}

TEST(AudioClock, TakesNoGridFromPacketsOfSeveralLengths) {
  AudioClock clock;
  clock.restart(4 * 1024 + 1);
  EXPECT_FALSE(clock.add(primes(1000)));
  ASSERT_TRUE(clock.add({1024, 1024, 0}));
  EXPECT_THAT(clock.begins(), ElementsAre(4 * 1024 + 1 - 1000, 4 * 1024 + 1));
}

TEST(AudioClock, HasNoTimeBeforeTheStart) {
  AudioClock clock;
  clock.restart(1024);
  EXPECT_FALSE(clock.add(primes(1000)));
  EXPECT_FALSE(clock.add(primes(1025)));
  ASSERT_TRUE(clock.add({1024, 1023, 1}));
  EXPECT_THAT(clock.begins(), ElementsAre(0, 1000, 1023));
}

}  // namespace
}  // namespace velagst
