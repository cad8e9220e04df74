// ReplayGainAdapter: each of its operations is the same one of the host's MediaInfo.
#include "frontend/replay_gain_adapter.h"

#include <gtest/gtest.h>

#include "tests/support/fake_sinks.h"

TEST(ReplayGainAdapter, ForwardsEverySetter) {
  FakeMediaInfo info;
  vela::ReplayGainAdapter adapter(info);
  adapter.setHead({5, 1});
  adapter.setFlags(3);
  adapter.setTrackGain(-1);
  adapter.setAlbumGain(-2);
  adapter.setTrackPeak(-3);
  adapter.setAlbumPeak(-4);
  EXPECT_EQ(info.calls,
            (std::vector<std::string>{"setDuration 4294967301", "setFlags 3", "setTrackGain -1",
                                      "setAlbumGain -2", "setTrackPeak -3", "setAlbumPeak -4"}));
}

TEST(ReplayGainAdapter, ForwardsEveryGetter) {
  FakeMediaInfo info;
  info.duration = uint64_t{1} << 40;
  info.flags = 9;
  info.trackGain = -10;
  info.albumGain = -20;
  info.trackPeak = 30;
  info.albumPeak = 40;
  vela::ReplayGainAdapter adapter(info);
  EXPECT_EQ(adapter.getHead(), uint64_t{1} << 40);
  EXPECT_EQ(adapter.getFlags(), 9u);
  EXPECT_EQ(adapter.getTrackGain(), -10);
  EXPECT_EQ(adapter.getAlbumGain(), -20);
  EXPECT_EQ(adapter.getTrackPeak(), 30);
  EXPECT_EQ(adapter.getAlbumPeak(), 40);
}
