// How the host plays: which stream it asks, when it stops, and what it notes about the ends.
#include "host/playback.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <deque>
#include <sstream>
#include <string>
#include <vector>

#include "host/failure.h"
#include "host/stream_ends.h"

namespace {

using testing::ElementsAre;
using vela::TIOResult;
using velahost::Playback;
using velahost::StreamEnds;
using velahost::StreamKind;

constexpr uint32_t kRate = 48000;

uint64_t seconds(double value) { return static_cast<uint64_t>(value * vela::kHostUnitsPerSecond); }

/// A splitter that delivers what a test tells it, and keeps a diary of what it is asked.
class ScriptedSplitter final : public vela::IMediaSplitterEx {
 public:
  uint32_t addRef() override { return 1; }
  uint32_t release() override { return 1; }
  uint32_t queryInterface(const vela::Guid*, void**) override { return 0; }
  void deletingDestructor(uint32_t) override {}
  uint32_t getItemCount() override { return 1; }
  uint32_t getItemId(uint32_t) override { return 0; }
  TIOResult describeItem(uint32_t, vela::MediaInfo*, vela::CancelToken*) override {
    return TIOResult::success;
  }
  uint32_t passThroughTwo(uintptr_t, uintptr_t) override { return 0; }
  TIOResult startItem(uint32_t, vela::AudioFormat* audio, vela::VideoFormat* video,
                      vela::CancelToken*) override {
    const uint8_t config = 0;
    if (audio && hasAudio) audio->set(&vela::kMediaAac, &config, 1);
    if (video && hasVideo) video->set(&vela::kMediaH264, &config, 1, 16, 16);
    return startResult;
  }
  TIOResult readAudioPacket(vela::AudioPacket* packet, uint8_t* end, vela::CancelToken*) override {
    diary += 'a';
    *end = audioFrames.empty();
    if (*end) return audioResult;
    packet->setSampleRate(kRate);
    packet->setFrameCount(audioFrames.front());
    audioFrames.pop_front();
    return TIOResult::success;
  }
  TIOResult readVideoPacket(vela::VideoPacket*, uint8_t* end, uint64_t* time,
                            vela::CancelToken*) override {
    diary += 'v';
    *end = videoTimes.empty();
    if (*end) return videoResult;
    *time = videoTimes.front();
    videoTimes.pop_front();
    return TIOResult::success;
  }
  TIOResult nextStream(uint32_t* which) override {
    *which = named;
    return TIOResult::success;
  }
  TIOResult seekTo(vela::Word64, vela::CancelToken*) override { return TIOResult::success; }
  TIOResult seekWithKeyFrame(vela::VideoPacket*, vela::Word64, vela::CancelToken*) override {
    return TIOResult::success;
  }
  uint32_t slot14() override { return 1; }
  uint32_t passThroughOne(uintptr_t) override { return 0; }

  bool hasAudio = true;
  bool hasVideo = true;
  std::deque<uint32_t> audioFrames;  ///< of each packet that is left
  std::deque<uint64_t> videoTimes;   ///< host units
  uint32_t named = vela::kNextVideo;
  TIOResult startResult = TIOResult::success;
  TIOResult audioResult = TIOResult::success;  ///< once there are no packets
  TIOResult videoResult = TIOResult::success;
  std::string diary;  ///< a letter for each read: a, v
};

/// Plays a scripted item from its start to its end.
struct Played {
  explicit Played(ScriptedSplitter& splitter, uint64_t duration, uint64_t from = 0)
      : playback(splitter, nullptr), ends(duration, from) {
    playback.start(0, velahost::Wanted::both);
    if (from != 0) playback.seek(from);
    for (StreamKind kind = playback.next(); kind != StreamKind::none; kind = playback.next()) {
      ends.count(playback, kind);
    }
  }

  std::string told() const {
    std::ostringstream out;
    ends.write(out, "film", playback);
    return out.str();
  }

  Playback playback;
  StreamEnds ends;
};

TEST(Playback, StopsAskingForAStreamThatHasEndedThoughItIsNamedOnAndOn) {
  ScriptedSplitter splitter;
  splitter.audioFrames = {1024, 1024};
  splitter.videoTimes = {0};
  const Played video(splitter, seconds(1));
  EXPECT_EQ(splitter.diary, "vvaaa") << "each stream up to its end, and no further";

  splitter.diary.clear();
  splitter.named = vela::kNextAudio;
  splitter.audioFrames = {1024};
  splitter.videoTimes = {0, 1};
  const Played audio(splitter, seconds(1));
  EXPECT_EQ(splitter.diary, "aavvv");
}

TEST(Playback, AsksForNoStreamThatTheItemDoesNotHave) {
  ScriptedSplitter splitter;
  splitter.hasVideo = false;
  splitter.audioFrames = {1024};
  const Played played(splitter, seconds(1));
  EXPECT_EQ(splitter.diary, "aa");
}

std::string failureOf(ScriptedSplitter& splitter) {
  try {
    const Played played(splitter, seconds(1));
  } catch (const velahost::Failure& failure) {
    return failure.what();
  }
  return "no failure";
}

TEST(Playback, TellsWhichPacketOfAllCantBeRead) {
  ScriptedSplitter splitter;
  splitter.audioFrames = {1024, 1024};
  splitter.videoTimes = {0, 1, 2};
  splitter.audioResult = TIOResult::failed;
  EXPECT_EQ(
      failureOf(splitter),
      "Reading stopped after 5 packets: the next audio packet is damaged or cut short (result "
      "5).");
  splitter.audioResult = TIOResult::success;
  splitter.videoResult = TIOResult::outOfRange;
  splitter.videoTimes = {0};
  EXPECT_EQ(failureOf(splitter),
            "Reading stopped after 1 packet: the next video packet lies outside the file, which "
            "may be cut short (result 1).");
}

TEST(Playback, TellsAStreamThatIsMissingFromTablesThatAreDamaged) {
  ScriptedSplitter splitter;
  splitter.startResult = TIOResult::failed;
  EXPECT_THAT(failureOf(splitter), testing::StartsWith("The item can't be started"));
  splitter.hasAudio = splitter.hasVideo = false;
  EXPECT_EQ(failureOf(splitter), "The item has no stream that can be played (result 5).");
}

TEST(StreamEnds, AreToldWhenAStreamEndsMoreThanHalfASecondEarly) {
  ScriptedSplitter splitter;
  splitter.audioFrames = {kRate, kRate};
  splitter.videoTimes = {0, seconds(0.5), seconds(0.25)};
  const Played played(splitter, seconds(2.75));
  EXPECT_EQ(played.told(),
            "velahost: film: audio ended at 2.000 s of 2.750 s\n"
            "velahost: film: video ended at 0.750 s of 2.750 s\n");
}

TEST(StreamEnds, AreNotToldWithinHalfASecond) {
  ScriptedSplitter splitter;
  splitter.audioFrames = {kRate, kRate};
  splitter.videoTimes = {0, seconds(1)};
  const Played played(splitter, seconds(2.5));
  EXPECT_FALSE(played.ends.isEarly(StreamKind::audio));
  EXPECT_EQ(played.told(), "");
}

TEST(StreamEnds, TakeTheLastPictureToLastAsLongAsTheOneBefore) {
  ScriptedSplitter splitter;
  splitter.hasAudio = false;
  splitter.videoTimes = {0, seconds(10), seconds(20)};
  const Played slides(splitter, seconds(30));
  EXPECT_EQ(slides.told(), "");
  splitter.videoTimes = {0, seconds(20)};
  const Played longer(splitter, seconds(30));
  EXPECT_EQ(longer.ends.endedAt(StreamKind::video), static_cast<int64_t>(seconds(30)))
      << "no stream outlasts its item";
  splitter.videoTimes = {seconds(1)};
  const Played one(splitter, seconds(30));
  EXPECT_EQ(one.told(), "velahost: film: video ended at 1.000 s of 30.000 s\n");
}

TEST(StreamEnds, CountFromWherePlayingBegan) {
  ScriptedSplitter splitter;
  splitter.audioFrames = {0, kRate};
  const Played played(splitter, seconds(10), seconds(5));
  EXPECT_EQ(played.told(),
            "velahost: film: audio ended at 6.000 s of 10.000 s\n"
            "velahost: film: video ended at 5.000 s of 10.000 s\n");
  const Played past(splitter, seconds(10), seconds(11));
  EXPECT_EQ(past.told(), "") << "nothing was left to be played";
}

TEST(StreamEnds, AreNotToldOfAnItemWithoutADuration) {
  ScriptedSplitter splitter;
  const Played played(splitter, vela::kUnknown64);
  EXPECT_EQ(played.told(), "");
}

}  // namespace
