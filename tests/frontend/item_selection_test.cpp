// Items of a file: how many, which identifiers, and which range an identifier selects.
#include "tests/frontend/open_session.h"

using namespace boxes;
using vela::TIOResult;

namespace {

constexpr uint64_t kSecondHundredNs = 10000000;
constexpr uint64_t kSecond = vela::kHostUnitsPerSecond;

Bytes threeChapters() {
  return chpl({{0, "One"}, {kSecondHundredNs, "Two"}, {3 * kSecondHundredNs, "Three"}});
}

/// The first chapter ends a second before it starts.
Bytes invertedChapters() {
  return chpl({{2 * kSecondHundredNs, "a"}, {kSecondHundredNs, "b"}, {3 * kSecondHundredNs, "c"}});
}

/// Five seconds of audio in packets of 100 ms.
MediaTrack fiveSeconds() { return aacTrack({.samples = 50, .delta = 4800}); }

/// Duration in host units that the host is told for an identifier.
uint64_t durationOf(OpenSession& open, uint32_t itemId) {
  EXPECT_EQ(open.describe(itemId), TIOResult::success);
  return open.info.duration;
}

}  // namespace

TEST(Items, OfAnAudioFileAreItsChapters) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}, .udta = threeChapters()}).bytes);
  EXPECT_EQ(open.session.getItemCount(), 3u);
  EXPECT_EQ(open.session.getItemId(0), 1u);
  EXPECT_EQ(open.session.getItemId(2), 3u);
  EXPECT_EQ(open.session.getItemId(0xffffffff), 0u);
}

TEST(Items, OfAnAudioFileWithoutMarksIsOne) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}}).bytes);
  EXPECT_EQ(open.session.getItemCount(), 1u);
  EXPECT_EQ(open.session.getItemId(0), 1u);
  EXPECT_EQ(durationOf(open, 1), 5 * kSecond);
}

TEST(Items, OfAFilmIsTheWholeFileEvenWithChapters) {
  OpenSession open(
      movieFile({.tracks = {fiveSeconds(), avcTrack()}, .udta = threeChapters()}).bytes);
  EXPECT_EQ(open.session.getItemCount(), 1u);
  EXPECT_EQ(open.session.getItemId(0), 0u);
  EXPECT_EQ(open.session.getItemId(7), 0u);
}

TEST(Items, OfAFileWithVideoOnlyIsTheWholeFile) {
  OpenSession open(movieFile({.tracks = {avcTrack()}}).bytes);
  EXPECT_EQ(open.session.getItemCount(), 1u);
  EXPECT_EQ(open.session.getItemId(0), 0u);
}

TEST(SelectItem, ZeroIsTheWholeFile) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}, .udta = threeChapters()}).bytes);
  EXPECT_EQ(durationOf(open, 0), 5 * kSecond);
}

TEST(SelectItem, AChapterOfOneSecondEndsAt16777216) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}, .udta = threeChapters()}).bytes);
  EXPECT_EQ(durationOf(open, 1), 16777216u);
}

TEST(SelectItem, AChapterEndsWhereTheNextBeginsAndTheLastAtTheEndOfTheMovie) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}, .udta = threeChapters()}).bytes);
  EXPECT_EQ(durationOf(open, 2), 2 * kSecond);
  EXPECT_EQ(durationOf(open, 3), 2 * kSecond);
}

TEST(SelectItem, AnIdentifierOutOfRangeIsTheWholeFile) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}, .udta = threeChapters()}).bytes);
  for (const uint32_t itemId : {4u, 0x7fffffffu, 0x80000000u, 0xffffffffu}) {
    EXPECT_EQ(durationOf(open, itemId), 5 * kSecond) << itemId;
  }
}

TEST(SelectItem, RoundsTheBoundsOfAChapterEachByItself) {
  // 100 ns are 1.68 host units. The bounds 1 and 2 round to 2 and 3, so that the chapter lasts one
  // unit.
  OpenSession open(
      movieFile({.tracks = {fiveSeconds()}, .udta = chpl({{1, "a"}, {2, "b"}})}).bytes);
  EXPECT_EQ(durationOf(open, 1), 1u);
}

TEST(SelectItem, AChapterOfStartAndEndZeroFailsWithItsMessage) {
  OpenSession open(
      movieFile({.tracks = {fiveSeconds()}, .udta = chpl({{0, "a"}, {0, "b"}})}).bytes);
  EXPECT_THROWS_MESSAGE(open.session.selectItem(1), "invalid chapter data");
  EXPECT_EQ(open.describe(1), TIOResult::failed);
  EXPECT_EQ(open.info.calls, Calls{});
  EXPECT_EQ(durationOf(open, 2), 5 * kSecond);
}

TEST(SelectItem, AChapterThatEndsBeforeItStartsFails) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()},
                              .udta = chpl({{2 * kSecondHundredNs, "a"}, {kSecondHundredNs, "b"}})})
                       .bytes);
  EXPECT_EQ(open.describe(1), TIOResult::failed);
  EXPECT_EQ(durationOf(open, 2), 4 * kSecond);
}

TEST(SelectItem, AFailedOneLeavesItsRangeWhichEndsAtOnceWhereverASeekGoes) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}, .udta = invertedChapters()}).bytes);
  ASSERT_EQ(open.startAudio(3), TIOResult::success);
  EXPECT_EQ(open.describe(1), TIOResult::failed);
  EXPECT_EQ(open.next(), vela::kNextAudio) << "the frames left are still those of the start";
  for (const uint64_t offset : {uint64_t{0}, uint64_t{1}, kSecond, 10 * kSecond}) {
    EXPECT_EQ(open.seek(offset), TIOResult::success);
    EXPECT_EQ(open.next(), vela::kNextNone) << offset;
    EXPECT_EQ(playAudio(open, 1), std::vector<Heard>{});
    EXPECT_EQ(open.endOfStream, 1);
  }
}

TEST(SelectItem, AFailedOneEndsBothStreamsOfAFilmAtTheNextSeek) {
  OpenSession open(
      movieFile({.tracks = {fiveSeconds(), avcTrack({.samples = 100})}, .udta = invertedChapters()})
          .bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  EXPECT_EQ(open.describe(1), TIOResult::failed);
  EXPECT_EQ(open.seek(0), TIOResult::success);
  EXPECT_EQ(open.next(), vela::kNextNone);
  EXPECT_EQ(playAudio(open, 1), std::vector<Heard>{});
  EXPECT_EQ(open.endOfStream, 1);
  EXPECT_EQ(playVideo(open, 1), std::vector<Seen>{});
  EXPECT_EQ(open.endOfStream, 1);
}

TEST(SelectItem, AFailedOneHasSetStartAndEndOfTheRange) {
  OpenSession open(
      movieFile({.tracks = {fiveSeconds(), avcTrack({.samples = 100})}, .udta = invertedChapters()})
          .bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  EXPECT_EQ(playVideo(open, 10).size(), 10u);
  EXPECT_EQ(open.describe(1), TIOResult::failed);
  const std::vector<Seen> seen = playVideo(open);
  ASSERT_EQ(seen.size(), 15u) << "up to the end of the range, at one second";
  EXPECT_EQ(seen[0], (Seen{10, vela::ticksToHostUnits(10 * 1000, 25000) - 2 * kSecond}));
}

TEST(SelectItem, AFailedOneAtAStartLeavesTheStreamsEnabledAsTheyWere) {
  OpenSession open(
      movieFile({.tracks = {fiveSeconds(), avcTrack({.samples = 100})}, .udta = invertedChapters()})
          .bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  EXPECT_EQ(playAudio(open, 1), (std::vector<Heard>{{0, 4800, 0}}));
  EXPECT_EQ(open.startVideo(1), TIOResult::failed);
  EXPECT_EQ(open.videoFormat.calls, Calls{});
  EXPECT_EQ(playAudio(open, 1), (std::vector<Heard>{{1, 4800, 0}}));
  FakeVideoPacket packet;
  EXPECT_EQ(open.readVideo(packet), TIOResult::failed);
}

TEST(SelectItem, OfAChapterThatTheMovieDoesNotHaveFails) {
  // A session that has parsed nothing counts as one item, and its movie holds no chapter.
  vela::SplitterSession session(nullptr);
  EXPECT_THROWS_MESSAGE(session.selectItem(1), "array access out of range");
}

TEST(SelectItem, AChapterPastTheEndOfTheMovieFails) {
  OpenSession open(
      movieFile({.tracks = {fiveSeconds()}, .udta = chpl({{0, "a"}, {6 * kSecondHundredNs, "b"}})})
          .bytes);
  EXPECT_EQ(durationOf(open, 1), 6 * kSecond);
  EXPECT_EQ(open.describe(2), TIOResult::failed);
}

TEST(Deliberate, D053_ChapterTimesBeginAgainAtZeroAfter30HoursAnd32Minutes) {
  constexpr uint64_t kHourHundredNs = 3600 * kSecondHundredNs;
  constexpr uint64_t kTurn = uint64_t{1} << 40;
  const MediaTrack fortyHours = aacTrack({.samples = 40, .timescale = 8000, .delta = 3600 * 8000});
  OpenSession unmarked(movieFile({.tracks = {fortyHours}}).bytes);
  EXPECT_EQ(durationOf(unmarked, 0), 40 * 3600 * kSecond) << "the whole file has its true length";
  EXPECT_EQ(durationOf(unmarked, 1), vela::hundredNsToHostUnits(40 * kHourHundredNs - kTurn));

  OpenSession marked(
      movieFile({.tracks = {fortyHours}, .udta = chpl({{0, "One"}, {31 * kHourHundredNs, "Two"}})})
          .bytes);
  const uint64_t second = vela::hundredNsToHostUnits(31 * kHourHundredNs - kTurn);
  EXPECT_EQ(durationOf(marked, 1), second);
  EXPECT_EQ(durationOf(marked, 2), 9 * 3600 * kSecond);
  EXPECT_EQ(marked.session.getItemId(1), 2u);

  OpenSession crossing(
      movieFile({.tracks = {fortyHours}, .udta = chpl({{0, "One"}, {20 * kHourHundredNs, "Two"}})})
          .bytes);
  EXPECT_EQ(crossing.describe(2), TIOResult::failed) << "it ends at 9.5 hours, before it starts";
}

TEST(SelectItem, OfAnUnknownDurationEndsTheWholeFileAtAllOnes) {
  MediaTrack track = fiveSeconds();
  track.boxes.duration = 0xffffffff;
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  EXPECT_EQ(durationOf(open, 0), vela::kUnknown64);
}

TEST(Deliberate, D041_TheIdentifier1OfAFilmIsItsFirstChapter) {
  OpenSession open(
      movieFile({.tracks = {fiveSeconds(), avcTrack({.samples = 100})},
                 .udta = chpl({{kSecondHundredNs / 2, "One"}, {2 * kSecondHundredNs, "Two"}})})
          .bytes);
  EXPECT_EQ(durationOf(open, 1), kSecond + kSecond / 2);
  EXPECT_EQ(durationOf(open, 2), 5 * kSecond) << "there is no item 2";
  // The key frame at or before half a second (sample 12) is sample 10, shown before the item.
  ASSERT_EQ(open.startVideo(1), TIOResult::success);
  const std::vector<Seen> seen = playVideo(open, 4);
  ASSERT_EQ(seen.size(), 4u);
  EXPECT_EQ(seen[0].sample, 10u);
}

TEST(Deliberate, D047_AKeyFrameBeforeTheItemHasATimeThatWraps) {
  OpenSession open(
      movieFile({.tracks = {fiveSeconds(), avcTrack({.samples = 100})},
                 .udta = chpl({{kSecondHundredNs / 2, "One"}, {2 * kSecondHundredNs, "Two"}})})
          .bytes);
  ASSERT_EQ(open.startVideo(1), TIOResult::success);
  const uint64_t start = kSecond / 2;
  const uint64_t picture = vela::ticksToHostUnits(10 * 1000, 25000);
  const std::vector<Seen> seen = playVideo(open, 4);
  ASSERT_EQ(seen.size(), 4u);
  EXPECT_EQ(seen[0], (Seen{10, picture - start}));
  EXPECT_EQ(seen[3], (Seen{13, vela::ticksToHostUnits(13 * 1000, 25000) - start}));
  EXPECT_GT(seen[0].time, vela::kUnknown64 / 2);
  EXPECT_LT(seen[3].time, kSecond);
  // It can be given to a seek, which goes to that key frame.
  ASSERT_EQ(open.seek(vela::kUnknown64 - 1), TIOResult::success);
  EXPECT_EQ(playVideo(open, 1), (std::vector<Seen>{{10, picture - start}}));
  ASSERT_EQ(open.seek(seen[0].time), TIOResult::success);
  EXPECT_EQ(playVideo(open, 2), (std::vector<Seen>{seen[0], seen[1]}));
}

TEST(Deliberate, D048_DescribingAnotherItemMovesTheRangeOfThePlayback) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}, .udta = threeChapters()}).bytes);
  ASSERT_EQ(open.startAudio(3), TIOResult::success);
  EXPECT_EQ(playAudio(open, 11).back(), (Heard{30, 4800, 0})) << "after ten packets of pre-roll";
  EXPECT_EQ(durationOf(open, 1), kSecond);
  // Playback goes on where it was; a seek goes into the item that was described.
  EXPECT_EQ(playAudio(open, 1), (std::vector<Heard>{{31, 4800, 0}}));
  ASSERT_EQ(open.seek(0), TIOResult::success);
  EXPECT_EQ(playAudio(open).size(), 10u);
}
