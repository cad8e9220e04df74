// Starting an item, seeking in it, and fetching the key frame at a seek point.
#include "tests/frontend/open_session.h"
#include "tests/support/counting_allocator.h"

using namespace boxes;
using vela::TIOResult;

namespace {

constexpr uint32_t kFrames = 1024;  // of every packet of aacTrack()
constexpr uint32_t kNoSample = 0xffffffff;

/// Host units of a video sample of avcTrack(), which has 25 samples per second.
uint64_t at(uint32_t sample) { return vela::ticksToHostUnits(sample * 1000, 25000); }

/// Audio and video of about the same length: 47 packets are 1.003 s, 25 pictures are 1 s.
BuiltMovie film() {
  return movieFile({.tracks = {aacTrack({.samples = 47}), avcTrack({.samples = 25})}});
}

/// One tick per sample: tick 2^32 - 1 lies in sample 2^32 - 1, the number that means "none".
MediaTrack endlessAudio() {
  MediaTrack audio = aacTrack({.samples = 1});
  audio.boxes.stts = stts({{0xffffffff, 1}, {10, 1}});
  audio.boxes.mdhd = mdhdLong({.duration = 0x100000005, .versionAndFlags = u32(1)});
  return audio;
}

/// Enables both streams and leaves each where it is: the start fails before it seeks.
void enableBothWithoutSeek(OpenSession& open) {
  FailingAllocation memory(1);  // that of the video's configuration; the audio's comes first
  ASSERT_EQ(open.startBoth(), TIOResult::failed);
  ASSERT_TRUE(memory.failed());
  ASSERT_EQ(open.audioFormat.calls.back(), "audio AAC 2");
}

/// `count` samples of one tick, and as many more as put tick 2^32 - 1 into the sample of that
/// number, which means "none".
Bytes timesUpToNone(uint32_t count) { return stts({{count, 1}, {kNoSample - count, 1}, {10, 1}}); }

}  // namespace

// ---- startItem

TEST(StartItem, GivesIdentifierConfigurationAndPictureSizeOfTheWantedStreams) {
  OpenSession open(movieFile({.tracks = {aacTrack({.config = raw({0x12, 0x10, 0x56})}),
                                         avcTrack({.width = 64, .height = 48})}})
                       .bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  EXPECT_EQ(open.audioFormat.mediaId, vela::kMediaAac);
  EXPECT_EQ(open.audioFormat.config, raw({0x12, 0x10, 0x56}));
  EXPECT_EQ(open.videoFormat.mediaId, vela::kMediaH264);
  EXPECT_EQ(open.videoFormat.config, join(u16(5), raw({0x67, 0x42, 0xc0, 0x0a, 0xd9}), u16(4),
                                          raw({0x68, 0xce, 0x3c, 0x80})));
  EXPECT_EQ(open.videoFormat.width, 64);
  EXPECT_EQ(open.videoFormat.height, 48);
}

TEST(StartItem, NamesMp3AndGivesNoConfigurationWhereTheFileHasNone) {
  OpenSession open(movieFile({.tracks = {aacTrack({.objectType = 0x6b, .config = {}})}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  EXPECT_EQ(open.audioFormat.calls, Calls{"audio MP3 0"});
}

TEST(StartItem, GivesAnAddressEvenForAConfigurationOfNoBytes) {
  MediaTrack video = mpeg4Track();
  video.boxes.stsd = stsd(mp4v({.child = esds({.objectType = 0x20, .config = {}})}));
  OpenSession open(
      movieFile({.tracks = {aacTrack({.objectType = 0x6b, .config = {}}), video}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  EXPECT_EQ(open.audioFormat.calls, Calls{"audio MP3 0"});
  EXPECT_NE(open.audioFormat.lastConfig, nullptr);
  EXPECT_EQ(open.videoFormat.calls, Calls{"video MPEG-4 Visual 0 320x240"});
  EXPECT_NE(open.videoFormat.lastConfig, nullptr);
}

TEST(StartItem, TellsTheAudioFormatBeforeTheVideoFormat) {
  OpenSession open(film().bytes);
  CallLog both;
  open.audioFormat.alsoTo = &both;
  open.videoFormat.alsoTo = &both;
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  EXPECT_EQ(both.calls, (Calls{"audio AAC 2", "video H.264 13 320x240"}));
}

TEST(StartItem, EnablesOnlyTheStreamsThatAreAskedFor) {
  OpenSession open(film().bytes);
  FakeAudioPacket audio;
  FakeVideoPacket video;
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  EXPECT_EQ(open.readAudio(audio), TIOResult::success);
  EXPECT_EQ(open.readVideo(video), TIOResult::failed);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  EXPECT_EQ(open.readAudio(audio), TIOResult::failed);
  EXPECT_EQ(open.readVideo(video), TIOResult::success);
}

TEST(StartItem, ClearsTheFormatOfAStreamThatTheFileDoesNotHave) {
  OpenSession audioFile(movieFile({.tracks = {aacTrack()}}).bytes);
  EXPECT_EQ(audioFile.startBoth(), TIOResult::success);
  EXPECT_EQ(audioFile.videoFormat.calls, Calls{"video clear"});
  FakeVideoPacket video;
  EXPECT_EQ(audioFile.readVideo(video), TIOResult::failed);

  OpenSession videoFile(movieFile({.tracks = {avcTrack()}}).bytes);
  EXPECT_EQ(videoFile.startBoth(), TIOResult::success);
  EXPECT_EQ(videoFile.audioFormat.calls, Calls{"audio clear"});
  FakeAudioPacket audio;
  EXPECT_EQ(videoFile.readAudio(audio), TIOResult::failed);
}

TEST(StartItem, FailsWhenNoStreamIsEnabled) {
  OpenSession open(movieFile({.tracks = {avcTrack()}}).bytes);
  EXPECT_EQ(open.start(0, nullptr, nullptr), TIOResult::failed);
  EXPECT_EQ(open.startAudio(), TIOResult::failed);
  EXPECT_EQ(open.audioFormat.calls, Calls{"audio clear"});
}

TEST(StartItem, DisablesWhatAnEarlierStartEnabled) {
  OpenSession open(film().bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  EXPECT_EQ(open.start(0, nullptr, nullptr), TIOResult::failed);
  FakeAudioPacket audio;
  FakeVideoPacket video;
  EXPECT_EQ(open.readAudio(audio), TIOResult::failed);
  EXPECT_EQ(open.readVideo(video), TIOResult::failed);
}

TEST(StartItem, BeginsAgainAtTheItemsStart) {
  OpenSession open(film().bytes);
  for (int i = 0; i < 2; ++i) {
    ASSERT_EQ(open.startBoth(), TIOResult::success);
    EXPECT_EQ(playAudio(open, 3),
              (std::vector<Heard>{{0, kFrames, 0}, {1, kFrames, 0}, {2, kFrames, 0}}));
    EXPECT_EQ(playVideo(open, 2), (std::vector<Seen>{{0, 0}, {1, at(1)}}));
  }
}

TEST(StartItem, OfAnIdentifierOutOfRangeStartsTheWholeFile) {
  OpenSession open(movieFile({.tracks = {aacTrack({.samples = 6})},
                              .udta = chpl({{0, "One"}, {hundredNsAt48k(3 * kFrames), "Two"}})})
                       .bytes);
  for (const uint32_t whole : {0u, 3u, 0x80000000u, 0xffffffffu}) {
    ASSERT_EQ(open.startAudio(whole), TIOResult::success);
    EXPECT_EQ(playAudio(open).size(), 6u) << whole;
  }
  ASSERT_EQ(open.startAudio(2), TIOResult::success);
  EXPECT_EQ(
      playAudio(open),
      (std::vector<Heard>{
          {0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, kFrames, 0}, {4, kFrames, 0}, {5, kFrames, 0}}));
}

TEST(StartItem, OfAChapterThatEndsBeforeItStartsFailsAndTellsNoFormat) {
  OpenSession open(
      movieFile({.tracks = {aacTrack()}, .udta = chpl({{0, "One"}, {0, "Two"}})}).bytes);
  EXPECT_EQ(open.startAudio(1), TIOResult::failed);
  EXPECT_EQ(open.audioFormat.calls, Calls{});
}

TEST(StartItem, HasToldTheFormatAndEnabledTheStreamWhenTheCursorCannotBePositioned) {
  MediaTrack audio = aacTrack({.samples = 4});
  audio.boxes.stsz = stsz({});  // sizes are listed, and there are none
  OpenSession open(movieFile({.tracks = {audio, avcTrack()}}).bytes);
  EXPECT_EQ(open.startBoth(), TIOResult::failed);
  EXPECT_EQ(open.audioFormat.calls, Calls{"audio AAC 2"});
  EXPECT_EQ(open.videoFormat.calls, Calls{});
  FakeAudioPacket packet;
  EXPECT_EQ(open.readAudio(packet), TIOResult::success) << "the stream is enabled";
  EXPECT_EQ(open.endOfStream, 1) << "but no frames are left before a seek";

  MediaTrack video = avcTrack({.samples = 4});
  video.boxes.stsz = stsz({});
  OpenSession film(movieFile({.tracks = {aacTrack(), video}}).bytes);
  EXPECT_EQ(film.startBoth(), TIOResult::failed);
  EXPECT_EQ(film.audioFormat.calls, Calls{"audio AAC 2"});
  EXPECT_EQ(film.videoFormat.calls, Calls{"video H.264 13 320x240"});
  EXPECT_EQ(film.seek(0), TIOResult::success);
  uint32_t which = 99;
  EXPECT_EQ(film.nextStream(which), TIOResult::failed) << "video is enabled, so it is asked about";
}

TEST(StartItem, FailsWhenTheTrackHasNoTimeTable) {
  MediaTrack audio = aacTrack({.samples = 4});
  audio.boxes.stts = {};
  OpenSession open(movieFile({.tracks = {audio}}).bytes);
  EXPECT_EQ(open.startAudio(), TIOResult::failed);
}

TEST(StartItem, FailsWhenTheItemBeginsAtTheSampleNumberThatMeansNone) {
  OpenSession open(movieFile({.tracks = {endlessAudio()},
                              .udta = chpl({{0, "One"}, {hundredNsAt48k(0xffffffff), "Two"}})})
                       .bytes);
  EXPECT_EQ(open.startAudio(2), TIOResult::failed);
  EXPECT_EQ(open.audioFormat.calls, Calls{"audio AAC 2"});
}

TEST(StartItem, OfAFileWithoutDurationIsAtItsEndAtOnce) {
  MediaTrack audio = aacTrack({.samples = 4});
  audio.boxes.duration = 0;
  OpenSession open(movieFile({.tracks = {audio, avcTrack()}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  EXPECT_EQ(playAudio(open), std::vector<Heard>{});
  EXPECT_EQ(playVideo(open), std::vector<Seen>{});
  EXPECT_EQ(open.next(), vela::kNextNone);
}

TEST(StartItem, DoesNotTouchTheStream) {
  OpenSession open(film().bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  ASSERT_EQ(open.seek(at(3)), TIOResult::success);
  EXPECT_EQ(open.stream.calls, Calls{});
}

TEST(StartItem, ThatFailsAtTheVideoLeavesBothStreamsEnabledAtTheirFirstSample) {
  const BuiltMovie file = film();
  OpenSession open(file.bytes);
  enableBothWithoutSeek(open);
  EXPECT_EQ(open.videoFormat.calls, Calls{});
  EXPECT_EQ(vela::SessionProbe::nextReadOffset(open.session), vela::kUnknown64);
  EXPECT_EQ(vela::SessionProbe::audioNextSample(open.session), 0u);
  EXPECT_EQ(vela::SessionProbe::videoNextSample(open.session), 0u);
  EXPECT_EQ(playAudio(open), std::vector<Heard>{}) << "no frames are left before a seek";
  FakeVideoPacket packet;
  EXPECT_EQ(open.readVideo(packet), TIOResult::failed) << "its cursor is not placed yet";
  uint32_t which = 99;
  EXPECT_EQ(open.nextStream(which), TIOResult::failed);
  EXPECT_EQ(which, 99u);
  ASSERT_EQ(open.seek(0), TIOResult::success);
  EXPECT_EQ(playAudio(open, 1), (std::vector<Heard>{{0, kFrames, 0}})) << "no frames to drop";
}

TEST(StartItem, ThatFailsAtTheAudioLeavesTheVideoAsItWas) {
  OpenSession open(film().bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  EXPECT_EQ(playVideo(open, 3).size(), 3u);
  {
    FailingAllocation memory(0);
    ASSERT_EQ(open.startBoth(), TIOResult::failed);
    ASSERT_TRUE(memory.failed());
  }
  EXPECT_EQ(open.audioFormat.calls, Calls{});
  EXPECT_EQ(playVideo(open, 1), (std::vector<Seen>{{3, at(3)}}));
  EXPECT_EQ(playAudio(open), std::vector<Heard>{}) << "enabled, with no frames left";
}

// ---- seekTo

TEST(SeekTo, AtOrPastTheItemsEndMakesBothReadersReportTheEnd) {
  const uint64_t end = framesAt48k(47 * kFrames);
  for (const uint64_t offset : {end, end + 1, uint64_t{1} << 62}) {
    OpenSession open(film().bytes);
    ASSERT_EQ(open.startBoth(), TIOResult::success);
    EXPECT_EQ(open.seek(offset), TIOResult::success);
    EXPECT_EQ(playAudio(open), std::vector<Heard>{});
    EXPECT_EQ(open.endOfStream, 1);
    EXPECT_EQ(playVideo(open), std::vector<Seen>{});
    EXPECT_EQ(open.endOfStream, 1);
    EXPECT_EQ(open.next(), vela::kNextNone);
  }
}

TEST(SeekTo, JustBeforeTheItemsEndDeliversTheLastFrame) {
  OpenSession open(movieFile({.tracks = {aacTrack({.samples = 3})}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  ASSERT_EQ(open.seek(framesAt48k(3 * kFrames - 1)), TIOResult::success);
  EXPECT_EQ(playAudio(open), (std::vector<Heard>{{0, 0, 0}, {1, 0, 0}, {2, 1, 1023}}));
}

TEST(SeekTo, ComesBackFromTheEnd) {
  OpenSession open(film().bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  ASSERT_EQ(open.seek(uint64_t{1} << 40), TIOResult::success);
  ASSERT_EQ(open.seek(0), TIOResult::success);
  EXPECT_EQ(playAudio(open, 1), (std::vector<Heard>{{0, kFrames, 0}}));
  EXPECT_EQ(playVideo(open, 1), (std::vector<Seen>{{0, 0}}));
}

TEST(SeekTo, OfAudioAloneLeavesTheVideoAlone) {
  for (const uint64_t offset : {at(12), uint64_t{1} << 40}) {
    OpenSession open(film().bytes);
    ASSERT_EQ(open.startBoth(), TIOResult::success);
    EXPECT_EQ(playVideo(open, 3).size(), 3u);
    ASSERT_EQ(open.startAudio(), TIOResult::success);
    ASSERT_EQ(open.seek(offset), TIOResult::success);
    enableBothWithoutSeek(open);
    EXPECT_EQ(playVideo(open, 1), (std::vector<Seen>{{3, at(3)}})) << offset;
  }
}

TEST(SeekTo, OfVideoAloneLeavesTheAudioAlone) {
  for (const uint64_t offset : {at(12), uint64_t{1} << 40}) {
    OpenSession open(film().bytes);
    ASSERT_EQ(open.startBoth(), TIOResult::success);
    ASSERT_EQ(open.seek(framesAt48k(2 * kFrames + 10)), TIOResult::success);
    EXPECT_EQ(playAudio(open, 1), (std::vector<Heard>{{0, 0, 0}}));
    const uint64_t framesLeft = vela::SessionProbe::framesLeft(open.session);
    ASSERT_EQ(open.startVideo(), TIOResult::success);
    ASSERT_EQ(open.seek(offset), TIOResult::success);
    enableBothWithoutSeek(open);
    EXPECT_EQ(playAudio(open, 2), (std::vector<Heard>{{1, 0, 0}, {2, kFrames - 10, 10}})) << offset;
    EXPECT_EQ(vela::SessionProbe::framesLeft(open.session), framesLeft - (kFrames - 10));
  }
}

TEST(SeekTo, ThatFindsNoAudioSampleLeavesPositionPrerollAndFramesAsTheyWere) {
  // The lookup throws past a time table that ends too early, and finds the number that means "none"
  // in another one.
  MediaTrack ended = aacTrack({.samples = 6});
  ended.boxes.duration = 20 * kFrames;
  MediaTrack none = aacTrack({.samples = 6});
  none.boxes.stts = stts({{6, kFrames}, {kNoSample - 6, 1}, {10, 1}});
  none.boxes.mdhd = mdhdLong({.duration = 0x200000000, .versionAndFlags = u32(1)});
  for (const auto& [track, failing] :
       {std::pair{ended, framesAt48k(10 * kFrames)},
        {none, framesAt48k(6 * kFrames + uint64_t{kNoSample} - 6)}}) {
    OpenSession open(movieFile({.tracks = {track}}).bytes);
    ASSERT_EQ(open.startAudio(), TIOResult::success);
    ASSERT_EQ(open.seek(framesAt48k(3 * kFrames + 100)), TIOResult::success);
    EXPECT_EQ(playAudio(open, 1), (std::vector<Heard>{{0, 0, 0}}));
    const uint64_t framesLeft = vela::SessionProbe::framesLeft(open.session);
    EXPECT_EQ(open.seek(failing), TIOResult::failed);
    EXPECT_EQ(vela::SessionProbe::framesLeft(open.session), framesLeft);
    EXPECT_EQ(playAudio(open, 4),
              (std::vector<Heard>{{1, 0, 0}, {2, 0, 0}, {3, 924, 100}, {4, kFrames, 0}}));
  }
}

TEST(SeekTo, CountsFromTheStartOfTheItem) {
  OpenSession open(movieFile({.tracks = {aacTrack({.samples = 20})},
                              .udta = chpl({{0, "One"}, {hundredNsAt48k(12 * kFrames), "Two"}})})
                       .bytes);
  ASSERT_EQ(open.startAudio(2), TIOResult::success);
  ASSERT_EQ(open.seek(framesAt48k(2 * kFrames + 5)), TIOResult::success);
  const std::vector<Heard> heard = playAudio(open);
  ASSERT_EQ(heard.size(), 16u);
  EXPECT_EQ(heard[0], (Heard{4, 0, 0}));
  EXPECT_EQ(heard[10], (Heard{14, kFrames - 5, 5}));
}

/// Twenty audio packets; the second chapter begins with packet 3.
BuiltMovie twoChapters() {
  return movieFile({.tracks = {aacTrack({.samples = 20})},
                    .udta = chpl({{0, "One"}, {hundredNsAt48k(3 * kFrames), "Two"}})});
}

TEST(SeekTo, AnOffsetThatWrapsGoesBeforeTheStartOfALaterItem) {
  OpenSession open(twoChapters().bytes);
  ASSERT_EQ(open.startAudio(2), TIOResult::success);
  ASSERT_EQ(open.seek(uint64_t{0} - framesAt48k(kFrames)), TIOResult::success);
  EXPECT_EQ(playAudio(open, 4),
            (std::vector<Heard>{{0, 0, 0}, {1, 0, 0}, {2, kFrames, 0}, {3, kFrames, 0}}));
  EXPECT_EQ(vela::SessionProbe::framesLeft(open.session), 16 * kFrames)
      << "counted up to the end of the item";
  ASSERT_EQ(open.seek(uint64_t{0} - framesAt48k(3 * kFrames)), TIOResult::success);
  EXPECT_EQ(playAudio(open).size(), 20u) << "the first place of the file";
}

TEST(SeekTo, AnOffsetThatWrapsToBeforeTheFileIsPastTheEnd) {
  OpenSession open(twoChapters().bytes);
  ASSERT_EQ(open.startAudio(2), TIOResult::success);
  ASSERT_EQ(open.seek(uint64_t{0} - framesAt48k(3 * kFrames) - 1), TIOResult::success);
  EXPECT_EQ(playAudio(open, 1), std::vector<Heard>{});
  ASSERT_EQ(open.startAudio(0), TIOResult::success);
  ASSERT_EQ(open.seek(~uint64_t{0}), TIOResult::success);
  EXPECT_EQ(playAudio(open, 1), std::vector<Heard>{}) << "the file itself begins at 0";
}

TEST(SeekTo, LandsOnTheKeyFrameAtOrBeforeTheTarget) {
  OpenSession open(film().bytes);  // key frames 0, 5, 10, 15, 20
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  for (const auto& [target, key] : {std::pair{0u, 0u},
                                    {3u, 0u},
                                    {5u, 5u},
                                    {6u, 5u},
                                    {8u, 5u},
                                    {10u, 10u},
                                    {13u, 10u},
                                    {24u, 20u}}) {
    ASSERT_EQ(open.seek(at(target)), TIOResult::success);
    EXPECT_EQ(playVideo(open, 1), (std::vector<Seen>{{key, at(key)}})) << target;
  }
}

TEST(SeekTo, LandsOnTheTargetItselfWhenEverySampleIsAKeyFrame) {
  OpenSession open(movieFile({.tracks = {avcTrack({.syncEvery = 0})}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  ASSERT_EQ(open.seek(at(7) + 1000), TIOResult::success);
  EXPECT_EQ(playVideo(open, 1), (std::vector<Seen>{{7, at(7)}}));
}

TEST(SeekTo, FailsWhereTheAudioTimeTableHasEnded) {
  MediaTrack audio = aacTrack({.samples = 4});
  audio.boxes.duration = 10 * kFrames;  // the header promises more
  OpenSession open(movieFile({.tracks = {audio}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  EXPECT_EQ(open.seek(framesAt48k(4 * kFrames)), TIOResult::failed);
  EXPECT_EQ(open.seek(framesAt48k(4 * kFrames - 1)), TIOResult::success);
  EXPECT_EQ(playAudio(open).back(), (Heard{3, 1, 1023}));
}

TEST(SeekTo, FailsForTheSampleNumberThatMeansNone) {
  OpenSession open(movieFile({.tracks = {endlessAudio()}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  EXPECT_EQ(open.seek(framesAt48k(0xffffffff)), TIOResult::failed);
  EXPECT_EQ(open.seek(framesAt48k(0xfffffffe)), TIOResult::success);
}

TEST(Deliberate, D050_ASeekIntoTheLastHalfTickBeforeTheEndFails) {
  // A tick of 1/48000 s is 349.5 host units.
  OpenSession open(movieFile({.tracks = {aacTrack({.samples = 50, .delta = 4800})}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  const uint64_t end = 5 * uint64_t{vela::kHostUnitsPerSecond};
  for (const uint64_t before : {1u, 100u, 174u}) {
    EXPECT_EQ(open.seek(end - before), TIOResult::failed) << before;
  }
  for (const uint64_t before : {0u, 175u, 349u}) {
    EXPECT_EQ(open.seek(end - before), TIOResult::success) << before;
  }
}

TEST(SeekTo, OfVideoToTheSampleNumberThatMeansNoneFindsTheFirstKeyFrame) {
  MediaTrack video = avcTrack({.samples = 6, .timescale = 48000});
  video.boxes.stts = timesUpToNone(6);
  video.boxes.mdhd = mdhdLong({.duration = 0x100000005, .versionAndFlags = u32(1)});
  video.boxes.stss = stss({3, 5});
  OpenSession open(movieFile({.tracks = {video}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  EXPECT_EQ(open.seek(framesAt48k(kNoSample)), TIOResult::success);
  EXPECT_EQ(playVideo(open, 1), (std::vector<Seen>{{2, framesAt48k(2)}}));
}

TEST(SeekTo, OfVideoToTheSampleNumberThatMeansNoneIsTheEndWithoutAKeyFrameTable) {
  MediaTrack video = avcTrack({.samples = 6, .timescale = 48000, .syncEvery = 0});
  video.boxes.stts = timesUpToNone(6);
  video.boxes.mdhd = mdhdLong({.duration = 0x100000005, .versionAndFlags = u32(1)});
  OpenSession open(movieFile({.tracks = {video}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  EXPECT_EQ(open.next(), vela::kNextVideo);
  EXPECT_EQ(open.seek(framesAt48k(kNoSample)), TIOResult::success);
  EXPECT_EQ(open.next(), vela::kNextNone);
  EXPECT_EQ(playVideo(open, 1), std::vector<Seen>{});
}

TEST(SeekTo, FailsWhereTheVideoTimeTableHasEndedAndHasMovedTheAudio) {
  OpenSession open(
      movieFile({.tracks = {aacTrack({.samples = 47}), avcTrack({.samples = 5})}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  EXPECT_EQ(open.seek(framesAt48k(20 * kFrames)), TIOResult::failed);
  EXPECT_EQ(playAudio(open, 1), (std::vector<Heard>{{10, 0, 0}}));
}

TEST(SeekTo, DropsFramesOfTheSamplingRateNotTicks) {
  MediaTrack track = aacTrack({.samples = 3, .timescale = 24000});
  track.boxes.stsd = stsd(mp4a({.rate = 48000}));
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  ASSERT_EQ(open.seek(vela::ticksToHostUnits(1024 + 50, 24000)), TIOResult::success);
  EXPECT_EQ(playAudio(open), (std::vector<Heard>{{0, 0, 0}, {1, 1948, 100}, {2, 2048, 0}}));
}

TEST(SeekTo, WithAVideoTimescaleOfZeroPutsEverySampleAtTimeZero) {
  MediaTrack video = avcTrack({.samples = 6, .syncEvery = 0});
  video.boxes.timescale = 0;
  OpenSession open(movieFile({.tracks = {aacTrack({.samples = 20}), video}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  ASSERT_EQ(open.seek(framesAt48k(10 * kFrames)), TIOResult::success);
  const std::vector<Seen> seen = playVideo(open);
  ASSERT_EQ(seen.size(), 6u);
  for (uint32_t i = 0; i < 6; ++i) EXPECT_EQ(seen[i], (Seen{i, 0}));
}

TEST(SeekTo, WithAnAudioTimescaleOfZeroDeliversNothing) {
  MediaTrack audio = aacTrack({.samples = 4});
  audio.boxes.timescale = 0;
  OpenSession open(movieFile({.tracks = {audio}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  EXPECT_EQ(playAudio(open), std::vector<Heard>{});
}

// ---- seekWithKeyFrame

TEST(SeekWithKeyFrame, ShowsTheKeyFrameAndDeliversItAgain) {
  const BuiltMovie file = film();
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  FakeVideoPacket packet;
  ASSERT_EQ(open.seekWithKeyFrame(packet, at(8)), TIOResult::success);
  EXPECT_EQ(packet.payload.bytes, file.samples[1][5]);
  EXPECT_EQ(packet.calls, (Calls{"setMediaId H.264", "readPayload 42", "setPictureSize 320x240"}));
  EXPECT_EQ(playVideo(open, 2), (std::vector<Seen>{{5, at(5)}, {6, at(6)}}));
}

TEST(SeekWithKeyFrame, GivesItsReadTheTokenOfTheCall) {
  OpenSession open(film().bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  open.stream.lastToken = nullptr;
  open.stream.failCall("seek", 0, kHostCode);
  FakeVideoPacket packet;
  ASSERT_EQ(open.seekWithKeyFrame(packet, at(8)), TIOResult::success);
  EXPECT_EQ(open.stream.lastToken, &open.token);
  ASSERT_EQ(open.seekWithKeyFrame(packet, at(8)), TIOResult::success);
  EXPECT_EQ(packet.payload.lastToken, &open.token);
}

TEST(SeekWithKeyFrame, PutsTheAudioOnTheSeekPointToo) {
  OpenSession open(film().bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  FakeVideoPacket packet;
  ASSERT_EQ(open.seekWithKeyFrame(packet, framesAt48k(kFrames + 24)), TIOResult::success);
  EXPECT_EQ(playAudio(open, 2), (std::vector<Heard>{{0, 0, 0}, {1, 1000, 24}}));
}

TEST(SeekWithKeyFrame, WithoutVideoResetsThePacketAndSeeks) {
  OpenSession open(film().bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  FakeVideoPacket packet;
  ASSERT_EQ(open.seekWithKeyFrame(packet, framesAt48k(kFrames)), TIOResult::success);
  EXPECT_EQ(packet.calls, Calls{"reset"});
  EXPECT_EQ(playAudio(open, 2), (std::vector<Heard>{{0, 0, 0}, {1, kFrames, 0}}));
}

TEST(SeekWithKeyFrame, WithoutVideoPassesTheFailureOfTheSeekBack) {
  MediaTrack audio = aacTrack({.samples = 4});
  audio.boxes.duration = 10 * kFrames;
  OpenSession open(movieFile({.tracks = {audio}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  FakeVideoPacket packet;
  EXPECT_EQ(open.seekWithKeyFrame(packet, framesAt48k(4 * kFrames)), TIOResult::failed);
  EXPECT_EQ(packet.calls, Calls{"reset"});
}

TEST(SeekWithKeyFrame, OfAFailedSeekLeavesThePacketAlone) {
  MediaTrack video = avcTrack({.samples = 5});
  video.boxes.duration = 25000;
  OpenSession open(movieFile({.tracks = {video}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  FakeVideoPacket packet;
  EXPECT_EQ(open.seekWithKeyFrame(packet, at(5)), TIOResult::failed);
  EXPECT_EQ(packet.calls, Calls{});
}

TEST(SeekWithKeyFrame, OfASeekThatFindsNoAudioSampleLeavesThePacketAlone) {
  OpenSession open(movieFile({.tracks = {endlessAudio(), avcTrack()}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  FakeVideoPacket packet;
  EXPECT_EQ(open.seekWithKeyFrame(packet, framesAt48k(0xffffffff)), TIOResult::failed);
  EXPECT_EQ(packet.calls, Calls{});
}

TEST(SeekWithKeyFrame, ResetsThePacketWhenTheReadFailsAndStillSucceeds) {
  OpenSession open(film().bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  FakeVideoPacket packet;
  open.stream.failCall("read", 0, kHostCode);
  EXPECT_EQ(open.seekWithKeyFrame(packet, at(8)), TIOResult::success);
  EXPECT_EQ(packet.calls.back(), "reset");
  EXPECT_EQ(packet.payload.bytes, Bytes{});
  EXPECT_EQ(playVideo(open, 1), (std::vector<Seen>{{5, at(5)}}));
}

TEST(SeekWithKeyFrame, ResetsThePacketWhenTheStreamCannotBePositioned) {
  OpenSession open(film().bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  FakeVideoPacket packet;
  open.stream.failCall("seek", 0, kHostCode);
  EXPECT_EQ(open.seekWithKeyFrame(packet, at(8)), TIOResult::success);
  EXPECT_EQ(packet.calls, Calls{"reset"});
}

TEST(SeekWithKeyFrame, ResetsThePacketWhenTheTablesDoNotDescribeTheKeyFrame) {
  MediaTrack video = avcTrack({.samples = 12});
  video.boxes.stsz = stsz({40, 40});
  OpenSession open(movieFile({.tracks = {video}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  FakeVideoPacket packet;
  EXPECT_EQ(open.seekWithKeyFrame(packet, at(7)), TIOResult::success);
  EXPECT_EQ(packet.calls, Calls{"reset"});
}

TEST(SeekWithKeyFrame, AtTheEndResetsThePacket) {
  OpenSession open(film().bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  FakeVideoPacket packet;
  EXPECT_EQ(open.seekWithKeyFrame(packet, uint64_t{1} << 40), TIOResult::success);
  EXPECT_EQ(packet.calls, Calls{"reset"});
  EXPECT_EQ(playVideo(open), std::vector<Seen>{});
}
