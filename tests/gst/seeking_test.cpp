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

/// There is no encoder of HE-AAC at hand, so the second that the corpus has of it is repeated.
constexpr const char* kOfCorpus = nullptr;
const media::File heAac{"aac-mdat-size-zero.m4a", true};

std::filesystem::path longHeAac(const std::string& name) {
  const std::string once =
      media::made("he-aac.aac", "-i \"" + heAac.path().string() + "\" -c copy").string();
  std::string often = once;
  for (int i = 1; i < 31; ++i) often += "|" + once;
  return media::made(name, "-i \"concat:" + often + "\" -c copy");
}

/// A kind of sound, and how near a seek comes to it.
struct Kind {
  const char* name;
  const char* arguments;  ///< of ffmpeg, or kOfCorpus
  const char* decoder;
  uint32_t numerator;  ///< of the factor by which the file's time scale differs from the rate
  uint32_t denominator;
  int exact;       ///< seeks of kSeeks that are exact to the sample, at least
  double largest;  ///< difference of a value, over full scale, where they are not, at most
};

/// What test listings show.
std::ostream& operator<<(std::ostream& out, const Kind& kind) {
  return out << kind.name << ", " << kind.decoder << ", time scale " << kind.numerator << ":"
             << kind.denominator;
}

// Noise and tones: sound that is different everywhere.
#define SOUND(rate, seconds)                       \
  "-f lavfi -i \"anoisesrc=r=" rate ":d=" seconds  \
  ":a=0.3:c=pink:seed=7,volume='0.4+0.3*sin(5*t)'" \
  ":eval=frame,aformat=channel_layouts=stereo\" -fflags +bitexact -map_metadata -1 "

#define AAC "-c:a aac -aac_pns 0 "
#define MP3 "-c:a libmp3lame "

const Kind kKinds[] = {
    {"aac-44100.m4a", SOUND("44100", "40") AAC "-b:a 128k", "avdec_aac", 1, 1, 200, 0},
    {"aac-44100.m4a", SOUND("44100", "40") AAC "-b:a 128k", "faad", 1, 1, 200, 0},
    {"aac-48000.m4a", SOUND("48000", "40") AAC "-b:a 96k", "avdec_aac", 1, 1, 200, 0},
    {"aac-48000.m4a", SOUND("48000", "40") AAC "-b:a 96k", "avdec_aac", 1, 2, 200, 0},
    {"aac-48000.m4a", SOUND("48000", "40") AAC "-b:a 96k", "avdec_aac", 15, 8, 200, 0},
    {"mp3-128k.mp4", SOUND("44100", "40") MP3 "-b:a 128k", "avdec_mp3float", 1, 1, 200, 0},
    {"mp3-vbr.mp4", SOUND("44100", "40") MP3 "-q:a 4", "avdec_mp3float", 1, 1, 200, 0},
    {"mp3-16k.mp4", SOUND("22050", "40") MP3 "-b:a 16k", "avdec_mp3float", 1, 1, 200, 0},
    {"aac-44100.m4a", SOUND("44100", "40") AAC "-b:a 128k", "avdec_aac_fixed", 1, 1, 200, 0},
    // What follows differs by its nature. The bounds are about 1.5 times the largest differences
    // of 16 runs; the last four kinds are not the same in any two.
    {"mp3-8k.mp4", SOUND("16000", "40") MP3 "-b:a 8k", "avdec_mp3float", 1, 1, 5, 0.15},
    {"mp3-128k.mp4", SOUND("44100", "40") MP3 "-b:a 128k", "avdec_mp3", 1, 1, 0, 0.00005},
    {"aac-pns.m4a", SOUND("44100", "40") "-c:a aac -b:a 64k", "avdec_aac", 1, 1, 155, 0.066},
    {"he-aac.m4a", kOfCorpus, "avdec_aac", 1, 1, 0, 0.0001},
    {"he-aac.m4a", kOfCorpus, "avdec_aac", 1, 2, 0, 0.0001},
    {"he-aac.m4a", kOfCorpus, "faad", 1, 1, 0, 0.0001},
};

std::string branch(const std::string& file, const std::string& demuxer, const Kind& kind) {
  // qtdemux doesn't tell the layer of MPEG audio, which the decoder asks for.
  const bool isMp3 = std::string(kind.decoder).find("mp3") != std::string::npos;
  const char* const parser = isMp3 && demuxer == "qtdemux" ? "mpegaudioparse ! " : "";
  return source(file, demuxer) + " d.audio_0" + kQueue + parser + kind.decoder + kSoundSink +
         "sound";
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
  if (kind.arguments == kOfCorpus) SKIP_WITHOUT_CORPUS(heAac);
  std::filesystem::path made =
      kind.arguments == kOfCorpus ? longHeAac(kind.name) : media::made(kind.name, kind.arguments);
  const bool rescaled = kind.numerator != kind.denominator;
  if (rescaled) made = media::rescaled(made, kind.numerator, kind.denominator);
  const std::string file = made.string();
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
  // Half a frame; where times are in other units than frames, two conversions are rounded.
  EXPECT_LE(ours.farthest, rescaled ? 1.01 : 0.51);
  if (rescaled) std::filesystem::remove(made);
}

std::string kindName(const testing::TestParamInfo<Kind>& kind) {
  std::string name = std::string(kind.param.name) + "_" + kind.param.decoder + "_" +
                     std::to_string(kind.param.numerator) + "_" +
                     std::to_string(kind.param.denominator);
  std::replace_if(
      name.begin(), name.end(), [](char c) { return !std::isalnum(static_cast<unsigned char>(c)); },
      '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Kinds, AccurateSeeks, testing::ValuesIn(kKinds), kindName);

std::string plainAac() { return media::made(kKinds[0].name, kKinds[0].arguments).string(); }

TEST(StopPositions, EndTheSoundExactlyAtTheirFrame) {
  const std::string file = plainAac();
  Pipeline pipeline(branch(file, "velademux", kKinds[0]));
  const auto sink = pipeline.element("sound");
  pipeline.setState(GST_STATE_PLAYING);
  ASSERT_TRUE(pull(sink.get()));
  std::mt19937_64 random(21);
  for (int i = 0; i < 50; ++i) {
    const uint64_t first = random() % (30 * 44100);
    const uint64_t last = first + 1 + random() % 20000;
    const auto start = static_cast<int64_t>(gst_util_uint64_scale_round(first, GST_SECOND, 44100));
    const auto stop = static_cast<int64_t>(gst_util_uint64_scale_round(last, GST_SECOND, 44100));
    ASSERT_TRUE(pipeline.seek(1, kAccurate, start, stop));
    const Sound heard = soundOf(sink.get());
    EXPECT_EQ(heard.begin(), first);
    EXPECT_EQ(heard.end(), last);
  }
}

TEST(SeeksToTheEnd, EndTheStreamAtOnce) {
  const std::string file = plainAac();
  Pipeline pipeline(branch(file, "velademux", kKinds[0]));
  const auto sink = pipeline.element("sound");
  pipeline.setState(GST_STATE_PLAYING);
  ASSERT_TRUE(pull(sink.get()));
  const int64_t duration = pipeline.query(gst_element_query_duration);
  ASSERT_TRUE(pipeline.seek(1, kAccurate, duration));
  EXPECT_FALSE(pull(sink.get()));
  EXPECT_EQ(pipeline.waitForEnd().kind, Outcome::Kind::eos);
}

/// A film with a key frame each second and pictures that are shown long after they are decoded.
std::string film() {
  return media::made(
             "film.mp4",
             "-f lavfi -i testsrc2=size=96x64:rate=25:duration=8 -f lavfi -i "
             "anoisesrc=r=44100:d=8.2:a=0.3:seed=3 -c:v libx264 -bf 3 -g 25 -pix_fmt yuv420p "
             "-c:a aac -aac_pns 0 -fflags +bitexact")
      .string();
}

const std::string kFilmBranches =
    std::string(" d.video_0") + kQueue +
    "avdec_h264 max-threads=1 ! appsink name=pictures sync=false d.audio_0" + kQueue + "avdec_aac" +
    kSoundSink + "sound";

std::vector<Picture> nextPictures(GstElement* appsink, size_t count) {
  std::vector<Picture> pictures;
  while (pictures.size() < count) {
    const Sample sample = pull(appsink);
    if (!sample) break;
    pictures.push_back(pictureOf(sample.get()));
  }
  return pictures;
}

/// All pictures of the film, from a pipeline of their own.
std::vector<Picture> filmPictures() {
  Pipeline pipeline(source(film()) + kFilmBranches);
  pipeline.setState(GST_STATE_PLAYING);
  const auto sound = pipeline.element("sound");
  g_object_set(sound.get(), "drop", TRUE, "max-buffers", 1u, nullptr);
  return picturesOf(pipeline.element("pictures").get());
}

/// The film, decoded, while it plays.
struct PlayingFilm {
  PlayingFilm()
      : pipeline(source(film()) + kFilmBranches),
        pictures(pipeline.element("pictures")),
        sound(pipeline.element("sound")) {
    pipeline.setState(GST_STATE_PLAYING);
    EXPECT_TRUE(pull(pictures.get()));
  }

  Pipeline pipeline;
  const Owned<GstElement> pictures;
  const Owned<GstElement> sound;
};

TEST(SeeksInFilms, ShowThePictureAtTheTarget) {
  const std::vector<Picture> whole = filmPictures();
  ASSERT_GT(whole.size(), 190u);
  PlayingFilm playing;
  auto& [pipeline, pictures, sound] = playing;
  std::mt19937_64 random(22);
  for (int i = 0; i < 60; ++i) {
    const size_t wanted = 1 + random() % (whole.size() - 4);
    // In the middle of a picture's time, then at its very beginning.
    const uint64_t target = whole[wanted].time + (i % 2 == 0 ? 20000000 : 0);
    ASSERT_TRUE(pipeline.seek(1, kAccurate, static_cast<int64_t>(target)));
    const std::vector<Picture> shown = nextPictures(pictures.get(), 2);
    ASSERT_EQ(shown.size(), 2u);
    EXPECT_EQ(shown[0].checksum, whole[wanted].checksum) << "target " << target;
    EXPECT_EQ(shown[1].checksum, whole[wanted + 1].checksum) << "target " << target;
    const Sound heard = someSound(sound.get(), 1000);
    EXPECT_NEAR(static_cast<double>(heard.begin()), static_cast<double>(target) * 44.1e-6, 0.51);
  }
}

TEST(SeeksInFilms, ToAKeyFrameTakeTheSoundAlong) {
  const std::vector<Picture> whole = filmPictures();
  PlayingFilm playing;
  auto& [pipeline, pictures, sound] = playing;
  for (const size_t second : {size_t{5}, size_t{1}, size_t{3}, size_t{6}, size_t{2}}) {
    const uint64_t key = whole[second * 25].time;
    for (const uint64_t after : {uint64_t{0}, uint64_t{30000000}, uint64_t{900000000}}) {
      ASSERT_TRUE(pipeline.seek(1, kKeyUnit, static_cast<int64_t>(key + after)));
      const std::vector<Picture> shown = nextPictures(pictures.get(), 1);
      ASSERT_EQ(shown.size(), 1u);
      EXPECT_EQ(shown[0].checksum, whole[second * 25].checksum) << second << " s + " << after;
      const Sound heard = someSound(sound.get(), 1000);
      EXPECT_NEAR(static_cast<double>(heard.begin()), static_cast<double>(key) * 44.1e-6, 0.51);
    }
  }
}

TEST(SeeksInFilms, WithAStopShowEveryPictureBeforeItAndNoOther) {
  const std::vector<Picture> whole = filmPictures();
  PlayingFilm playing;
  auto& [pipeline, pictures, sound] = playing;
  std::mt19937_64 random(23);
  for (int i = 0; i < 40; ++i) {
    SCOPED_TRACE(i);
    const size_t first = 1 + random() % (whole.size() - 40);
    const size_t last = first + random() % 30;
    // In the middle of both pictures.
    const uint64_t start = whole[first].time + 20000000;
    const uint64_t stop = whole[last].time + 25000000;
    ASSERT_TRUE(
        pipeline.seek(1, kAccurate, static_cast<int64_t>(start), static_cast<int64_t>(stop)));
    const std::vector<Picture> shown = picturesOf(pictures.get());
    ASSERT_EQ(shown.size(), last - first + 1);
    for (size_t k = 0; k < shown.size(); ++k) {
      EXPECT_EQ(shown[k].checksum, whole[first + k].checksum) << k;
    }
    const Sound heard = soundOf(sound.get());
    EXPECT_NEAR(static_cast<double>(heard.begin()), static_cast<double>(start) * 44.1e-6, 0.51);
    EXPECT_NEAR(static_cast<double>(heard.end()), static_cast<double>(stop) * 44.1e-6, 0.51);
  }
}

}  // namespace
