// Which stream is read next: the choice itself, and what nextStream() settles before it.
#include "frontend/interleaving.h"
#include "tests/frontend/open_session.h"

using namespace boxes;
using vela::chooseStream;
using vela::kInterleaveSpan;
using vela::kNextAudio;
using vela::kNextNone;
using vela::kNextVideo;
using vela::TIOResult;

namespace {

constexpr uint64_t kSecond = vela::kHostUnitsPerSecond;
constexpr uint64_t kFarEnd = 1000 * kSecond;

}  // namespace

TEST(Interleaving, EndsWhenBothStreamsAreAtTheEndOfTheRange) {
  EXPECT_EQ(chooseStream({10, 1}, {10, 2}, 10), kNextNone);
  EXPECT_EQ(chooseStream({11, 1}, {12, 2}, 10), kNextNone);
}

TEST(Interleaving, ReadsTheStreamThatIsStillInTheRange) {
  EXPECT_EQ(chooseStream({9, 500}, {10, 2}, 10), kNextAudio);
  EXPECT_EQ(chooseStream({10, 2}, {9, 500}, 10), kNextVideo);
}

TEST(Interleaving, ReadsTheStreamThatLagsByMoreThanTheSpanWhereverItLies) {
  EXPECT_EQ(chooseStream({0, 900}, {kInterleaveSpan + 1, 100}, kFarEnd), kNextAudio);
  EXPECT_EQ(chooseStream({kInterleaveSpan + 1, 100}, {0, 900}, kFarEnd), kNextVideo);
}

TEST(Interleaving, FollowsTheFileAtExactlyTheSpan) {
  EXPECT_EQ(chooseStream({0, 900}, {kInterleaveSpan, 100}, kFarEnd), kNextVideo);
  EXPECT_EQ(chooseStream({0, 100}, {kInterleaveSpan, 900}, kFarEnd), kNextAudio);
  EXPECT_EQ(chooseStream({kInterleaveSpan, 100}, {0, 900}, kFarEnd), kNextAudio);
  EXPECT_EQ(chooseStream({kInterleaveSpan, 900}, {0, 100}, kFarEnd), kNextVideo);
}

TEST(Interleaving, GivesSamplesAtTheSamePlaceToVideo) {
  EXPECT_EQ(chooseStream({5, 100}, {5, 100}, kFarEnd), kNextVideo);
  EXPECT_EQ(chooseStream({5, 99}, {5, 100}, kFarEnd), kNextAudio);
}

TEST(Interleaving, AudioAtTenSecondsIsReadBeforeVideoAtElevenPointEight) {
  const uint64_t audio = 10 * kSecond;
  EXPECT_EQ(chooseStream({audio, 900}, {11 * kSecond + kSecond * 4 / 5, 100}, kFarEnd), kNextAudio);
  EXPECT_EQ(chooseStream({audio, 900}, {11 * kSecond, 100}, kFarEnd), kNextVideo);
  EXPECT_EQ(chooseStream({audio, 100}, {11 * kSecond, 900}, kFarEnd), kNextAudio);
}

TEST(Interleaving, WrapsTheSumOfATimeAndTheSpan) {
  const uint64_t sumsToZero = uint64_t{0} - kInterleaveSpan;
  EXPECT_EQ(chooseStream({sumsToZero, 900}, {5, 100}, vela::kUnknown64), kNextAudio);
  EXPECT_EQ(chooseStream({sumsToZero - 1, 100}, {sumsToZero, 900}, vela::kUnknown64), kNextVideo);
}

TEST(NextStream, FailsWhenNeitherStreamIsEnabled) {
  OpenSession open(movieFile({.tracks = {aacTrack()}}).bytes);
  uint32_t which = 99;
  EXPECT_EQ(open.nextStream(which), TIOResult::failed);
  EXPECT_EQ(which, 99u);
}

TEST(NextStream, OfAudioAloneIsAudioUntilItsSamplesEnd) {
  // The range is far longer than the samples, so that only their number ends it.
  MediaTrack track = aacTrack({.samples = 3});
  track.boxes.duration = 48000;
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(open.next(), kNextAudio);
    playAudio(open, 1);
  }
  EXPECT_EQ(open.next(), kNextNone);
}

TEST(NextStream, OfAudioAloneEndsWithTheFramesOfTheRange) {
  const auto file = movieFile({.tracks = {aacTrack({.samples = 20})},
                               .udta = chpl({{0, "One"}, {hundredNsAt48k(1500), "Two"}})});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startAudio(1), TIOResult::success);
  EXPECT_EQ(open.next(), kNextAudio);
  playAudio(open, 2);
  EXPECT_EQ(open.next(), kNextNone);
}

TEST(NextStream, OfVideoAloneIsVideoUntilItsSamplesEnd) {
  OpenSession open(movieFile({.tracks = {avcTrack({.samples = 2})}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(open.next(), kNextVideo);
    playVideo(open, 1);
  }
  EXPECT_EQ(open.next(), kNextNone);
}

TEST(NextStream, OfVideoAloneDoesNotLookAtTheEndOfTheRange) {
  // The audio track, which gives the range, ends long before the video.
  OpenSession open(
      movieFile({.tracks = {aacTrack({.samples = 2}), avcTrack({.samples = 5})}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  playVideo(open);
  EXPECT_EQ(open.endOfStream, 1);
  EXPECT_EQ(open.next(), kNextVideo);
}

TEST(NextStream, IsVideoAloneWhenTheAudioSamplesHaveEnded) {
  MediaTrack audio = aacTrack({.samples = 1});
  audio.boxes.duration = 480000;
  OpenSession open(movieFile({.tracks = {audio, avcTrack({.samples = 2})}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  playAudio(open, 1);
  EXPECT_EQ(open.next(), kNextVideo);
  playVideo(open, 2);
  EXPECT_EQ(open.next(), kNextNone);
}

TEST(NextStream, IsAudioAloneWhenTheVideoSamplesHaveEnded) {
  OpenSession open(movieFile({.tracks = {aacTrack(), avcTrack({.samples = 1})}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  playVideo(open, 1);
  EXPECT_EQ(open.next(), kNextAudio);
}

TEST(Deliberate, D043_WithBothStreamsTheFramesLeftAreNotLookedAt) {
  // The range ends 24 frames into the second of three audio packets; the one video sample is read.
  MediaTrack audio = aacTrack({.samples = 3});
  audio.boxes.duration = 1024 + 24;
  OpenSession open(movieFile({.tracks = {audio, avcTrack({.samples = 1})}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  playVideo(open, 1);
  EXPECT_EQ(playAudio(open).size(), 2u);
  EXPECT_EQ(open.endOfStream, 1);
  EXPECT_EQ(open.next(), kNextAudio);
}

TEST(NextStream, IsNoneWhenBothNextSamplesLiePastTheRange) {
  MediaTrack audio = aacTrack({.samples = 10});
  audio.boxes.duration = 2048;  // 42.7 ms: two audio samples, and the video samples at 0 and 40 ms
  OpenSession open(movieFile({.tracks = {audio, avcTrack({.samples = 10})}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  EXPECT_EQ(playAudio(open).size(), 2u);
  EXPECT_EQ(open.next(), kNextVideo);  // audio is past the range, video is not
  EXPECT_EQ(playVideo(open).size(), 2u);
  EXPECT_EQ(open.next(), kNextNone);
}

TEST(NextStream, AnswersAudioWhenItLagsAndTheFileOrderOtherwise) {
  // The second samples lie at 10.0 s of audio and at `ticks` / 10 s of video, video first in the
  // file.
  const auto secondSample = [](uint32_t ticks) {
    const auto audio =
        aacTrack({.samples = 3, .timescale = 48000, .delta = 480000, .samplesPerChunk = 1});
    const auto video =
        avcTrack({.samples = 3, .timescale = 10, .delta = ticks, .samplesPerChunk = 1});
    OpenSession open(movieFile({.tracks = {video, audio}}).bytes);
    EXPECT_EQ(open.startBoth(), TIOResult::success);
    playVideo(open, 1);
    playAudio(open, 1);
    return open.next();
  };
  EXPECT_EQ(secondSample(118), kNextAudio);
  EXPECT_EQ(secondSample(110), kNextVideo);
}

TEST(NextStream, ComparesPresentationTimesNotDecodingTimes) {
  // Decoded at 0 like the audio, but shown two seconds later, and first in the file.
  MediaTrack video = avcTrack({.samples = 2, .timescale = 1000, .delta = 40});
  video.boxes.ctts = ctts({{2, 2000}});
  OpenSession open(movieFile({.tracks = {video, aacTrack({.samples = 200})}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  EXPECT_EQ(open.next(), kNextAudio);
}

TEST(NextStream, ComparesThePresentationTimeOfAudioToo) {
  MediaTrack audio = aacTrack({.samples = 200});
  audio.boxes.ctts = ctts({{200, 2 * 48000}});
  OpenSession open(movieFile({.tracks = {audio, avcTrack({.samples = 20})}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  EXPECT_EQ(open.next(), kNextVideo) << "audio comes first in the file, but two seconds later";
}

TEST(Deliberate, D049_AudioAloneIsAnnouncedAtASampleWithoutFramesWhereEveryReadReportsTheEnd) {
  MediaTrack audio = aacTrack({.samples = 4});
  audio.boxes.stts = stts({{1, 1024}, {1, 0}, {2, 1024}});
  OpenSession open(movieFile({.tracks = {audio}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  EXPECT_EQ(playAudio(open, 1), (std::vector<Heard>{{0, 1024, 0}}));
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(open.next(), kNextAudio);
    EXPECT_EQ(playAudio(open), std::vector<Heard>{});
    EXPECT_EQ(open.endOfStream, 1);
  }
}

TEST(NextStream, FailsOnAnAudioSampleThatTheTablesDoNotDescribeAndAnswersNothing) {
  MediaTrack audio = aacTrack({.samples = 4});
  audio.boxes.stsz = stsz({24});  // three of the four samples have no size
  OpenSession open(movieFile({.tracks = {audio, avcTrack()}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  playAudio(open, 1);
  uint32_t which = 99;
  EXPECT_EQ(open.nextStream(which), TIOResult::failed);
  EXPECT_EQ(which, 99u);
}

TEST(NextStream, FailsOnAVideoSampleThatTheTablesDoNotDescribeAndAnswersNothing) {
  MediaTrack video = avcTrack({.samples = 4});
  video.boxes.stsz = stsz({40});
  OpenSession open(movieFile({.tracks = {aacTrack(), video}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  playVideo(open, 1);
  uint32_t which = 99;
  EXPECT_EQ(open.nextStream(which), TIOResult::failed);
  EXPECT_EQ(which, 99u);
}
