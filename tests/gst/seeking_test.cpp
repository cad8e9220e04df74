// Seeks: what is heard after each is what the whole file sounds like at the time that it claims.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <random>

#include "tests/gst/support/decoded.h"
#include "tests/gst/support/media.h"

namespace {

using namespace pipelines;

constexpr int kSeeks = 200;
constexpr auto kAccurate = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);
constexpr auto kKeyUnit = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_KEY_UNIT);

/// A kind of sound, and how near a seek comes to it.
struct Kind {
  const char* name;
  const char* arguments;  ///< of ffmpeg
  const char* decoder;
  int exact;       ///< seeks of kSeeks that are exact to the sample
  double largest;  ///< largest difference of a value, over full scale, where they are not
};

// Noise and tones: sound that is different everywhere.
#define SOUND(rate, seconds)                       \
  "-f lavfi -i \"anoisesrc=r=" rate ":d=" seconds  \
  ":a=0.3:c=pink:seed=7,volume='0.4+0.3*sin(5*t)'" \
  ":eval=frame,aformat=channel_layouts=stereo\" -fflags +bitexact -map_metadata -1 "

const Kind kKinds[] = {
    {"aac-44100.m4a", SOUND("44100", "40") "-c:a aac -aac_pns 0 -b:a 128k", "avdec_aac", 200, 0},
    {"aac-44100.m4a", SOUND("44100", "40") "-c:a aac -aac_pns 0 -b:a 128k", "faad", 200, 0},
    {"aac-48000.m4a", SOUND("48000", "40") "-c:a aac -aac_pns 0 -b:a 96k", "avdec_aac", 200, 0},
    {"aac-22050-timescale.mp4",
     SOUND("22050", "40") "-c:a aac -aac_pns 0 -b:a 48k -movie_timescale 600", "avdec_aac", 200, 0},
    {"mp3-128k.mp4", SOUND("44100", "40") "-c:a libmp3lame -b:a 128k", "avdec_mp3float", 200, 0},
    {"mp3-vbr.mp4", SOUND("44100", "40") "-c:a libmp3lame -q:a 4", "avdec_mp3float", 200, 0},
    {"mp3-16k.mp4", SOUND("22050", "40") "-c:a libmp3lame -b:a 16k", "avdec_mp3float", 200, 0},
    {"mp3-8k.mp4", SOUND("16000", "40") "-c:a libmp3lame -b:a 8k", "avdec_mp3float", 0, 1},
    {"aac-pns.m4a", SOUND("44100", "40") "-c:a aac -b:a 64k", "avdec_aac", 0, 1},
};

std::string branch(const std::string& file, const std::string& demuxer, const Kind& kind) {
  return source(file, demuxer) + " d.audio_0" + kQueue + kind.decoder + kSoundSink + "sound";
}

struct Tally {
  int exact = 0;
  int oneFrameOff = 0;
  int other = 0;
  double largest = 0;   ///< difference of a value where it is not exact
  double farthest = 0;  ///< frames between what was asked for and what was heard first
};

Tally seekAround(const std::string& file, const std::string& demuxer, const Kind& kind) {
  Sound whole;
  {
    Pipeline pipeline(branch(file, demuxer, kind));
    pipeline.setState(GST_STATE_PLAYING);
    whole = soundOf(pipeline.element("sound").get());
  }
  Pipeline pipeline(branch(file, demuxer, kind));
  const auto sink = pipeline.element("sound");
  pipeline.setState(GST_STATE_PLAYING);
  EXPECT_TRUE(pull(sink.get()));
  std::mt19937_64 random(20);
  const uint64_t length = gst_util_uint64_scale(whole.end() - 4096, GST_SECOND, whole.rate());
  Tally tally;
  for (int i = 0; i < kSeeks; ++i) {
    const uint64_t target = random() % length;
    EXPECT_TRUE(pipeline.seek(1, kAccurate, static_cast<int64_t>(target)));
    const Sound heard = someSound(sink.get(), 3000);
    const double asked = static_cast<double>(target) * whole.rate() / 1e9;
    tally.farthest = std::max(tally.farthest, std::abs(static_cast<double>(heard.begin()) - asked));
    if (heard.isPartOf(whole)) {
      ++tally.exact;
    } else if (heard.isPartOf(whole, -1) || heard.isPartOf(whole, 1)) {
      ++tally.oneFrameOff;
    } else {
      ++tally.other;
      tally.largest = std::max(tally.largest, heard.largestDifference(whole));
    }
  }
  return tally;
}

class AccurateSeeks : public testing::TestWithParam<Kind> {};

TEST_P(AccurateSeeks, AreHeardAtTheTimeTheyClaim) {
  const Kind& kind = GetParam();
  const std::string file = media::made(kind.name, kind.arguments).string();
  const Tally ours = seekAround(file, "velademux", kind);
  const Tally theirs = seekAround(file, "qtdemux", kind);
  for (const auto& [demuxer, tally] : {std::pair{"velademux", ours}, {"qtdemux", theirs}}) {
    std::printf(
        "%-24s %-15s %-10s %3d exact, %3d one frame off, %3d other (by up to %.5f of full "
        "scale); first frame within %.2f of the target\n",
        kind.name, kind.decoder, demuxer, tally.exact, tally.oneFrameOff, tally.other,
        tally.largest, tally.farthest);
  }
  EXPECT_GE(ours.exact, kind.exact);
  EXPECT_LE(ours.largest, kind.largest);
  EXPECT_LE(ours.farthest, 0.51);
}

INSTANTIATE_TEST_SUITE_P(Kinds, AccurateSeeks, testing::ValuesIn(kKinds),
                         [](const testing::TestParamInfo<Kind>& info) {
                           std::string name = std::string(info.param.name) + info.param.decoder;
                           std::replace_if(
                               name.begin(), name.end(),
                               [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); },
                               '_');
                           return name;
                         });

}  // namespace
