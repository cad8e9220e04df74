// Which tracks of a file are selected, and the figures that are taken from them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/frontend/opening.h"

using namespace boxes;
using vela::TIOResult;
using Probe = vela::SessionProbe;

namespace {

constexpr uint64_t kSecond = vela::kHostUnitsPerSecond;

MediaTrack alacTrack() {
  MediaTrack track = aacTrack();
  track.boxes.stsd = stsd(alac());
  return track;
}

MediaTrack mp4vTrackOfType(uint8_t objectType) {
  MediaTrack track = mpeg4Track();
  track.boxes.stsd = stsd(mp4v({.child = esds({.objectType = objectType})}));
  return track;
}

class Selection : public testing::Test {
 protected:
  void open(std::vector<MediaTrack> tracks) {
    opening.emplace(movieFile({.tracks = std::move(tracks)}).bytes);
    result = opening->open();
  }
  int32_t audio() const { return Probe::audioTrack(opening->session); }
  int32_t video() const { return Probe::videoTrack(opening->session); }

  std::optional<Opening> opening;
  TIOResult result = TIOResult::failed;
};

}  // namespace

TEST_F(Selection, OffersEveryObjectTypeOfAacAsAac) {
  for (const uint8_t type : std::initializer_list<uint8_t>{0x40, 0x66, 0x67, 0x68}) {
    open({aacTrack({.objectType = type})});
    ASSERT_EQ(result, TIOResult::success) << int{type};
    EXPECT_EQ(audio(), 0);
    EXPECT_TRUE(Probe::audioMediaId(opening->session) == vela::kMediaAac);
    EXPECT_EQ(std::u16string(Probe::audioFormatName(opening->session)), u"AAC");
  }
}

TEST_F(Selection, OffersBothObjectTypesOfMpegAudioAsMp3) {
  for (const uint8_t type : std::initializer_list<uint8_t>{0x69, 0x6B}) {
    open({aacTrack({.objectType = type, .config = {}})});
    ASSERT_EQ(result, TIOResult::success) << int{type};
    EXPECT_TRUE(Probe::audioMediaId(opening->session) == vela::kMediaMp3);
    EXPECT_EQ(std::u16string(Probe::audioFormatName(opening->session)), u"MP3");
  }
}

TEST_F(Selection, RefusesEveryOtherObjectTypeOfAudio) {
  for (const uint8_t type :
       std::initializer_list<uint8_t>{0x00, 0x20, 0x3F, 0x41, 0x65, 0x6A, 0x6C, 0xFF}) {
    open({aacTrack({.objectType = type})});
    EXPECT_EQ(result, TIOResult::failed) << int{type};
  }
}

TEST_F(Selection, TakesTheFirstOfTwoAacTracks) {
  open({aacTrack({.samples = 11}), aacTrack({.samples = 22})});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(audio(), 0);
  EXPECT_EQ(Probe::audioSampleCount(opening->session), 11u);
}

TEST_F(Selection, PassesOverObjectType6AAndTakesTheAacTrackAfterIt) {
  open({aacTrack({.objectType = 0x6A}), aacTrack({.samples = 22})});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(audio(), 1);
  EXPECT_EQ(Probe::audioSampleCount(opening->session), 22u);
}

TEST_F(Selection, RefusesAFileWhoseOnlyTrackIsAlac) {
  open({alacTrack()});
  EXPECT_EQ(result, TIOResult::failed);
  open({alacTrack(), aacTrack()});
  EXPECT_EQ(result, TIOResult::success);
  EXPECT_EQ(audio(), 1);
}

TEST_F(Selection, RefusesAFileWithoutTracks) {
  open({});
  EXPECT_EQ(result, TIOResult::failed);
}

TEST_F(Selection, RefusesAFileOfUnknownSampleEntries) {
  MediaTrack track = aacTrack();
  track.boxes.stsd = stsd(otherEntry());
  open({track});
  EXPECT_EQ(result, TIOResult::failed);
}

TEST_F(Selection, OffersMpeg4VisualOfObjectType20Only) {
  open({mp4vTrackOfType(0x20)});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(video(), 0);
  EXPECT_TRUE(Probe::videoMediaId(opening->session) == vela::kMediaMpeg4Visual);
  EXPECT_EQ(std::u16string(Probe::videoFormatName(opening->session)), u"MPEG-4 ASP");
  for (const uint8_t type : std::initializer_list<uint8_t>{0x00, 0x1F, 0x21, 0x40, 0x6C}) {
    open({mp4vTrackOfType(type)});
    EXPECT_EQ(result, TIOResult::failed) << int{type};
  }
}

TEST_F(Selection, OpensAVideoOnlyFile) {
  open({avcTrack({.samples = 50, .width = 64, .height = 48})});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(audio(), -1);
  EXPECT_EQ(video(), 0);
  EXPECT_TRUE(Probe::videoMediaId(opening->session) == vela::kMediaH264);
  EXPECT_EQ(std::u16string(Probe::videoFormatName(opening->session)), u"MPEG-4 AVC");
  EXPECT_FALSE(Probe::audioOnly(opening->session));
  EXPECT_EQ(Probe::duration(opening->session), 2 * kSecond);
  EXPECT_EQ(Probe::videoTimescale(opening->session), 25000u);
  EXPECT_EQ(Probe::videoSampleCount(opening->session), 50u);
  EXPECT_EQ(Probe::width(opening->session), 64);
  EXPECT_EQ(Probe::height(opening->session), 48);
}

TEST_F(Selection, TakesTheFirstVideoTrackThatQualifies) {
  open({mp4vTrackOfType(0x6C), avcTrack({.samples = 3}), mpeg4Track()});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(video(), 1);
  EXPECT_TRUE(Probe::videoMediaId(opening->session) == vela::kMediaH264);
}

TEST_F(Selection, TakesMpeg4VisualInFrontOfH264) {
  open({mpeg4Track({.samples = 3}), avcTrack({.samples = 5})});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(video(), 0);
  EXPECT_TRUE(Probe::videoMediaId(opening->session) == vela::kMediaMpeg4Visual);
  EXPECT_EQ(std::u16string(Probe::videoFormatName(opening->session)), u"MPEG-4 ASP");
  EXPECT_EQ(Probe::videoSampleCount(opening->session), 3u);
}

TEST_F(Selection, TakesOneTrackOfEachSortInAnyOrder) {
  open({avcTrack(), aacTrack(), avcTrack(), aacTrack()});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(video(), 0);
  EXPECT_EQ(audio(), 1);
  EXPECT_FALSE(Probe::audioOnly(opening->session));
}

TEST_F(Selection, TakesOverTheFiguresOfAnAudioOnlyFile) {
  open({aacTrack({.samples = 43, .timescale = 44100})});
  ASSERT_EQ(result, TIOResult::success);
  const vela::SplitterSession& session = opening->session;
  EXPECT_TRUE(Probe::audioOnly(session));
  EXPECT_EQ(Probe::sampleRate(session), 44100u);
  EXPECT_EQ(Probe::channels(session), 2u);
  EXPECT_EQ(Probe::audioTimescale(session), 44100u);
  EXPECT_EQ(Probe::audioSampleCount(session), 43u);
  EXPECT_EQ(Probe::duration(session), vela::ticksToHostUnits(43 * 1024, 44100));
  EXPECT_EQ(Probe::width(session), -1);
  EXPECT_EQ(Probe::height(session), -1);
  EXPECT_EQ(Probe::videoFormatName(session), nullptr);
  EXPECT_EQ(Probe::nextReadOffset(session), vela::kUnknown64);
}

TEST_F(Selection, TakesTheDurationFromTheAudioTrackOfAFilm) {
  open({avcTrack({.samples = 25}), aacTrack({.samples = 94, .timescale = 48000})});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(Probe::duration(opening->session), vela::ticksToHostUnits(94 * 1024, 48000));
}

TEST_F(Selection, ConvertsADurationOfOneSecond) {
  MediaTrack track = aacTrack();
  track.boxes.timescale = 1000;
  track.boxes.duration = 1000;
  open({track});
  EXPECT_EQ(Probe::duration(opening->session), 16777216u);
}

TEST_F(Selection, KeepsAnUnknownDurationUnknown) {
  MediaTrack track = aacTrack();
  track.boxes.duration = 0xFFFFFFFF;
  open({track});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(Probe::duration(opening->session), vela::kUnknown64);
  track.boxes.mdhd = mdhdLong({.duration = vela::kUnknown64, .versionAndFlags = full(0, 1)});
  open({track});
  EXPECT_EQ(Probe::duration(opening->session), vela::kUnknown64);
}

TEST_F(Selection, TakesNoDurationFromTheVideoTrackWhenThatOfTheAudioTrackIsUnknown) {
  MediaTrack track = aacTrack();
  track.boxes.duration = 0xFFFFFFFF;
  open({avcTrack({.samples = 25}), track});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(audio(), 1);
  EXPECT_EQ(video(), 0);
  EXPECT_EQ(Probe::duration(opening->session), vela::kUnknown64);
}

TEST_F(Selection, KeepsTheUnknownDurationOfAVideoOnlyFileUnknown) {
  MediaTrack track = avcTrack();
  track.boxes.duration = 0xFFFFFFFF;
  open({track});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(Probe::duration(opening->session), vela::kUnknown64);
}

TEST_F(Selection, GivesADurationOfZeroForATimescaleOfZero) {
  MediaTrack track = aacTrack();
  track.boxes.timescale = 0;
  open({track});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(Probe::duration(opening->session), 0u);
}

TEST_F(Selection, RefusesAudioWithoutASampleRateOrWithoutChannels) {
  MediaTrack track = aacTrack();
  track.boxes.stsd = stsd(mp4a({.rate = 0}));
  open({track});
  EXPECT_EQ(result, TIOResult::failed);
  track.boxes.stsd = stsd(mp4a({.channels = 0}));
  open({track});
  EXPECT_EQ(result, TIOResult::failed);
  open({track, avcTrack()});
  EXPECT_EQ(result, TIOResult::failed) << "even with a video track that could be played";
}

TEST_F(Selection, MarksAPictureSizeThatTheFileDoesNotGive) {
  open({avcTrack({.width = 0, .height = 240})});
  ASSERT_EQ(result, TIOResult::success);
  EXPECT_EQ(Probe::width(opening->session), -1);
  EXPECT_EQ(Probe::height(opening->session), 240);
  open({avcTrack({.width = 320, .height = 0})});
  EXPECT_EQ(Probe::width(opening->session), 320);
  EXPECT_EQ(Probe::height(opening->session), -1);
  open({avcTrack({.width = 0xFFFF, .height = 0xFFFF})});
  EXPECT_EQ(Probe::width(opening->session), 65535);
}
