// Finishing the model: duration, chapters and tags.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "atomkit/core/movie/hundred_ns.h"
#include "atomkit/core/movie/movie.h"
#include "atomkit/core/movie/movie_boxes.h"
#include "tests/atomkit/box_reading.h"
#include "tests/atomkit/core/movie/movie_reading.h"
#include "tests/support/boxes.h"
#include "tests/support/movie_builder.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;

constexpr uint64_t kSecond = 10'000'000;  // 100 ns

/// The movie header says ten seconds.
ParsedMovie withTracks(const std::vector<Bytes>& tracks) {
  return ParsedMovie(moov({.tracks = tracks}));
}

/// Two seconds of audio whose first sample is heard `late` ticks late.
Bytes audio(int32_t late = 0, uint64_t duration = 96000) {
  return trak({.timescale = 48000,
               .duration = duration,
               .stts = stts({{100, 1024}}),
               .ctts = late ? ctts({{1, late}}) : Bytes{}});
}
Bytes video() { return trak({.timescale = 1000, .duration = 3000, .stsd = stsd(avc1())}); }

Bytes withUserData(const Bytes& userData) { return moov({.udta = userData}); }

// ---- conversion

TEST(ToHundredNs, RoundsToTheNearestUnit) {
  EXPECT_EQ(toHundredNs(48000, 48000), kSecond);
  EXPECT_EQ(toHundredNs(1, 3), 3333333u);
  EXPECT_EQ(toHundredNs(2, 3), 6666667u);
  EXPECT_EQ(toHundredNs(1, 20'000'000), 1u);  // half a unit goes up
  EXPECT_EQ(toHundredNs(1, 20'000'001), 0u);
  EXPECT_EQ(toHundredNs(0, 48000), 0u);
}

TEST(ToHundredNs, ATimescaleOfZeroGivesZero) { EXPECT_EQ(toHundredNs(12345, 0), 0u); }

TEST(Deliberate, D210_TheProductWrapsModulo2To64) {
  EXPECT_EQ(toHundredNs(uint64_t{1} << 63, 1), 0u);
  EXPECT_EQ(toHundredNs(~uint64_t{0}, 1000), (uint64_t{0} - 10'000'000 + 500) / 1000);
  // 1844674407371 x 10,000,000 is 2^64 + 448384.
  EXPECT_EQ(toHundredNs(1844674407371, 7), uint64_t{448384 + 3} / 7);
}

// ---- duration

TEST(Duration, AnAudioFileWithOneTrackTakesItFromThatTrack) {
  EXPECT_EQ(withTracks({audio()}).duration(), 2 * kSecond);
}

TEST(Duration, WithTwoAudioTracksItIsTheMoviesOwn) {
  EXPECT_EQ(withTracks({audio(), audio()}).duration(), 10 * kSecond);
}

TEST(Duration, WithAnyVideoTrackItIsTheMoviesOwn) {
  EXPECT_EQ(withTracks({audio(), video()}).duration(), 10 * kSecond);
  EXPECT_EQ(withTracks({video(), audio()}).duration(), 10 * kSecond);
  EXPECT_EQ(withTracks({trak({.stsd = stsd(mp4v())}), audio()}).duration(), 10 * kSecond);
}

TEST(Duration, TracksOfOtherKindsDoNotCount) {
  EXPECT_EQ(withTracks({trak({.stsd = stsd(otherEntry())}), audio(), box("trak")}).duration(),
            2 * kSecond);
}

TEST(Duration, AnAppleLosslessTrackGovernsToo) {
  EXPECT_EQ(withTracks({trak({.duration = 96000, .stsd = stsd(alac())})}).duration(), 2 * kSecond);
}

TEST(Duration, TwoAudioTracksOfDifferentKindsCountAsTwo) {
  const Bytes lossless = trak({.duration = 96000, .stsd = stsd(alac())});
  EXPECT_EQ(withTracks({audio(), lossless}).duration(), 10 * kSecond);
  EXPECT_EQ(withTracks({lossless, audio()}).duration(), 10 * kSecond);
}

TEST(Duration, AVideoTrackThatIsNotWantedCountsAsVideo) {
  const ParsedMovie movie(moov({.tracks = {audio(), video()}}), kWantAudio);
  EXPECT_EQ(movie.duration(), 10 * kSecond);
}

TEST(Duration, AnAudioTrackWithoutLengthDoesNotGovern) {
  EXPECT_EQ(withTracks({audio(0, 0)}).duration(), 10 * kSecond);
  EXPECT_EQ(withTracks({trak({.timescale = 0})}).duration(), 10 * kSecond);
}

TEST(Duration, AnAudioTrackThatStartsAtItsEndDoesNotGovern) {
  const ParsedMovie movie = withTracks({audio(96000)});
  EXPECT_EQ(movie.duration(), 10 * kSecond);
  EXPECT_EQ(movie.chapterStart(0), 0u);
}

TEST(Duration, AnAudioTrackThatStartsAheadOfTimeDoesNotGovern) {
  // As an unsigned word a negative offset is very large, and is cut to the track's length.
  const ParsedMovie movie = withTracks({audio(-1024)});
  EXPECT_EQ(movie.duration(), 10 * kSecond);
  EXPECT_EQ(movie.chapterStart(0), 0u);
}

TEST(Duration, AnAudioTrackOfUnknownLengthGovernsWithTheWrappedTime) {
  constexpr uint64_t kAllOnesAt48000 = 384307168202074;  // (2^64 - 10^7 + 24000) / 48000
  const ParsedMovie movie = withTracks({audio(0, 0xffffffff)});
  EXPECT_EQ(movie.duration(), kAllOnesAt48000);
  EXPECT_EQ(movie.chapterEnd(0), kAllOnesAt48000);
  // The start shows that the track governs.
  EXPECT_EQ(withTracks({audio(24000, 0xffffffff)}).chapterStart(0), kSecond / 2);
}

TEST(Deliberate, D207_AMovieDurationWithTheTopBitSetWraps) {
  const ParsedMovie movie(moov({.mvhd = mvhd({.timescale = 1000, .duration = 0x80000000})}));
  const uint64_t ticks = 0xffffffff80000000;
  EXPECT_EQ(movie.duration(), (ticks * 10'000'000 + 500) / 1000);
  EXPECT_GT(movie.duration(), uint64_t{1} << 53);
  const ParsedMovie largest(moov({.mvhd = mvhd({.timescale = 1000, .duration = 0x7fffffff})}));
  EXPECT_EQ(largest.duration(), uint64_t{0x7fffffff} * 10000);
}

// ---- chapters without marks

TEST(Chapters, AFileWithoutMarksHasOneThatLastsToTheEnd) {
  const ParsedMovie movie = withTracks({video()});
  ASSERT_EQ(movie.chapterCount(), 1u);
  EXPECT_EQ(movie.chapterStart(0), 0u);
  EXPECT_EQ(movie.chapterEnd(0), 10 * kSecond);
  EXPECT_EQ(describe(movie.chapter(0).tags), "");
}

TEST(Chapters, TheOnlyOneStartsWhereTheGoverningAudioStarts) {
  const ParsedMovie movie = withTracks({audio(24000)});
  EXPECT_EQ(movie.chapterStart(0), kSecond / 2);
  EXPECT_EQ(movie.chapterEnd(0), 2 * kSecond);
}

TEST(Chapters, AudioThatDoesNotGovernLeavesTheStartAtZero) {
  EXPECT_EQ(withTracks({audio(24000), video()}).chapterStart(0), 0u);
  EXPECT_EQ(withTracks({audio(24000), audio(24000)}).chapterStart(0), 0u);
}

TEST(Chapters, AListWithoutEntriesCountsAsNoMarks) {
  EXPECT_EQ(ParsedMovie(withUserData(chpl({}))).chapterCount(), 1u);
}

// ---- chapters with marks

TEST(Chapters, MarksGiveStartsTitlesAndNumbers) {
  const ParsedMovie movie(withUserData(chpl({{5, "One"}, {3 * kSecond, "Two"}, {9, ""}})));
  ASSERT_EQ(movie.chapterCount(), 3u);
  EXPECT_EQ(movie.chapterStart(0), 5u);
  EXPECT_EQ(movie.chapterEnd(0), 3 * kSecond);
  EXPECT_EQ(movie.chapterEnd(1), 9u);
  EXPECT_EQ(movie.chapterEnd(2), 10 * kSecond);
  EXPECT_EQ(describe(movie.chapter(0).tags), "title=One track=1");
  EXPECT_EQ(describe(movie.chapter(1).tags), "title=Two track=2");
  EXPECT_EQ(describe(movie.chapter(2).tags), "track=3");
}

TEST(Chapters, ASingleMarkGetsNoTrackNumber) {
  const ParsedMovie movie(withUserData(chpl({{7, "Only"}})));
  ASSERT_EQ(movie.chapterCount(), 1u);
  EXPECT_EQ(movie.chapterStart(0), 7u);
  EXPECT_EQ(describe(movie.chapter(0).tags), "title=Only");
}

TEST(Chapters, MarksDecideTheStartEvenWhenAudioGoverns) {
  const ParsedMovie movie(moov({.tracks = {audio(24000)}, .udta = chpl({{0, "A"}, {9, "B"}})}));
  EXPECT_EQ(movie.chapterStart(0), 0u);
  EXPECT_EQ(movie.duration(), 2 * kSecond);
}

TEST(Chapters, ATitleThatBeginsWithAZeroByteIsEmpty) {
  const ParsedMovie movie(withUserData(chpl({{7, std::string("\0x", 2)}})));
  EXPECT_EQ(describe(movie.chapter(0).tags), "");
}

TEST(Chapters, TrackNumbersGoUpToTheLargestList) {
  const ParsedMovie movie(withUserData(chpl(std::vector<Mark>(1024))));
  EXPECT_EQ(describe(movie.chapter(0).tags), "track=1");
  EXPECT_EQ(describe(movie.chapter(1023).tags), "track=1024");
}

TEST(Chapters, TooManyMarksFailTheParse) {
  EXPECT_THROWS_MESSAGE(ParsedMovie(withUserData(chpl(std::vector<Mark>(1025)))),
                        "invalid chapter count");
}

// ---- tags of the item list

TEST(ChapterTags, BeginAsACopyOfTheItemList) {
  const ParsedMovie movie(withUserData(join(metaWith(ilstText("\xA9"
                                                              "ART",
                                                              "Band")),
                                            chpl({{0, "One"}, {5, "Two"}}))));
  EXPECT_EQ(describe(movie.tags()), "artist=Band");
  EXPECT_EQ(describe(movie.chapter(0).tags), "artist=Band title=One track=1");
  EXPECT_EQ(describe(movie.chapter(1).tags), "artist=Band title=Two track=2");
}

TEST(Deliberate, D213_TheTitleOfTheFileHidesTheNamesOfItsMarks) {
  const Bytes number = box("trkn", box("data", full(0), u32(0), u16(0), u16(9), u16(0), u16(0)));
  const ParsedMovie movie(withUserData(
      join(metaWith(ilstText("\xA9nam", "Album title"), number), chpl({{0, "One"}, {5, "Two"}}))));
  EXPECT_EQ(describe(movie.chapter(1).tags), "title=Album title track=9");
  const ParsedMovie tagged(
      withUserData(join(ztTags(ztFields({{"TITLE", {"Whole"}}})), chpl({{0, "One"}, {5, "Two"}}))));
  EXPECT_EQ(describe(tagged.chapter(0).tags), "TITLE=Whole");
  EXPECT_EQ(describe(tagged.chapter(1).tags), "TITLE=Whole");
}

TEST(ChapterTags, AFileWithoutMarksHasTheItemListsTags) {
  const ParsedMovie movie(withUserData(metaWith(ilstText("\xA9nam", "Song"))));
  EXPECT_EQ(describe(movie.chapter(0).tags), "title=Song");
  EXPECT_EQ(describe(movie.tags()), "title=Song");
}

TEST(ChapterTags, TheTitleEntryTakesFurtherValues) {
  const ParsedMovie movie(withUserData(chpl({{0, "One"}, {5, "Two"}})));
  EXPECT_EQ(movie.chapter(0).tags.flag(0), TagFlag::extensible);
  EXPECT_EQ(movie.chapter(0).tags.flag(1), TagFlag::extensible);
}

// ---- tags of the tagging box

TEST(ChapterTags, TheTaggingBoxWinsOverTheItemListAndIsNotMerged) {
  const Bytes list = metaWith(ilstText("\xA9nam", "List"), ilstText("\xA9"
                                                                    "ART",
                                                                    "Band"));
  const Bytes tagging = ztTags(ztFields({{"album", {"Box"}}}));
  for (const Bytes& userData : {join(list, tagging), join(tagging, list)}) {
    const ParsedMovie movie(withUserData(userData));
    EXPECT_EQ(describe(movie.tags()), "album=Box");
    EXPECT_EQ(describe(movie.chapter(0).tags), "album=Box");
  }
}

TEST(ChapterTags, AnEmptyTaggingBoxStillWins) {
  const ParsedMovie movie(withUserData(
      join(metaWith(ilstText("\xA9nam", "List")), ztTags(), chpl({{0, ""}, {1, ""}}))));
  EXPECT_EQ(describe(movie.tags()), "");
  EXPECT_EQ(describe(movie.chapter(1).tags), "");
}

TEST(ChapterTags, SegmentsAreMergedIntoTheirChapter) {
  const ParsedMovie movie(withUserData(
      join(ztTags(ztFields({{"album", {"Box"}}, {"artist", {"All"}}}),
                  ztSegment(1, {{"artist", {"Guest", "Other"}, 0}, {"Title", {"Second"}}})),
           chpl({{0, "One"}, {5, "Two"}}))));
  EXPECT_EQ(describe(movie.chapter(0).tags), "album=Box artist=All title=One");
  EXPECT_EQ(describe(movie.chapter(1).tags), "album=Box artist!=Guest|Other Title=Second");
  EXPECT_EQ(describe(movie.tags()), "album=Box artist=All");
}

TEST(ChapterTags, ASegmentOfTheLargestNumberIsMergedIntoThatChapter) {
  const ParsedMovie movie(withUserData(
      join(ztTags(ztSegment(1000, {{"mood", {"calm"}}})), chpl(std::vector<Mark>(1002)))));
  EXPECT_EQ(describe(movie.chapter(999).tags), "");
  EXPECT_EQ(describe(movie.chapter(1000).tags), "mood=calm");
  EXPECT_EQ(describe(movie.chapter(1001).tags), "");
}

TEST(ChapterTags, WithATaggingBoxNoTrackNumbersAreMade) {
  const ParsedMovie movie(withUserData(join(ztTags(ztFields({})), chpl({{0, "One"}, {5, "Two"}}))));
  EXPECT_EQ(describe(movie.chapter(1).tags), "title=Two");
}

TEST(ChapterTags, OnlyTheFirstSegmentOfAChapterIsMerged) {
  const ParsedMovie movie(
      withUserData(join(ztTags(ztSegment(0, {{"a", {"first"}}}), ztSegment(0, {{"b", {"second"}}})),
                        chpl({{0, ""}, {5, ""}}))));
  EXPECT_EQ(describe(movie.chapter(0).tags), "a=first");
}

TEST(ChapterTags, SegmentsOfChaptersThatDoNotExistAreIgnored) {
  const ParsedMovie movie(
      withUserData(join(ztTags(ztSegment(2, {{"a", {"x"}}})), chpl({{0, ""}, {5, ""}}))));
  EXPECT_EQ(describe(movie.chapter(0).tags), "");
  EXPECT_EQ(describe(movie.chapter(1).tags), "");
}

TEST(ChapterTags, WithoutMarksSegmentsAreIgnored) {
  const ParsedMovie movie(
      withUserData(ztTags(ztFields({{"album", {"Box"}}}), ztSegment(0, {{"a", {"x"}}}))));
  EXPECT_EQ(describe(movie.chapter(0).tags), "album=Box");
}

TEST(ChapterTags, TwoTaggingBoxesLeaveTheItemListAsTheSource) {
  const ParsedMovie movie(withUserData(join(ztTags(ztFields({{"album", {"Box"}}})), ztTags(),
                                            metaWith(ilstText("\xA9nam", "List")))));
  EXPECT_EQ(describe(movie.tags()), "title=List");
}

TEST(ChapterTags, ReadForItsCoverAloneTheTaggingBoxIsTheEmptySourceThatWinsOverTheItemList) {
  const Bytes list = metaWith(ilstText("\xA9nam", "List"));
  const Bytes tagging = ztTags(ztFields({{"album", {"Box"}}}), ztSegment(1, {{"mood", {"calm"}}}));
  const Bytes marks = chpl({{0, "One"}, {5, "Two"}});
  for (const Bytes& both : {join(tagging, list), join(list, tagging)}) {
    const ParsedMovie movie(withUserData(join(both, marks)), kWantCoverArt);
    EXPECT_EQ(describe(movie.tags()), "");
    // The tagging box is enough to keep the chapters from being numbered.
    EXPECT_EQ(describe(movie.chapter(0).tags), "title=One");
    EXPECT_EQ(describe(movie.chapter(1).tags), "title=Two");
  }
  const ParsedMovie listOnly(withUserData(join(list, marks)), kWantCoverArt);
  EXPECT_EQ(describe(listOnly.chapter(1).tags), "title=Two track=2");
}

TEST(ChapterTags, WithoutTheirOptionThereAreNone) {
  const ParsedMovie movie(
      withUserData(join(metaWith(ilstText("\xA9nam", "List")), ztTags(ztFields({{"a", {"x"}}})),
                        chpl({{0, "One"}, {5, "Two"}}))),
      kWantAudio);
  EXPECT_EQ(describe(movie.tags()), "");
  EXPECT_EQ(describe(movie.chapter(0).tags), "title=One track=1");
}

TEST(ChapterTags, ATitleWithoutValuesIsATitleAllTheSame) {
  const ParsedMovie movie(
      withUserData(join(ztTags(ztFields({{"title", {}}})), chpl({{0, "One"}}))));
  ASSERT_EQ(movie.chapter(0).tags.entryCount(), 1u);
  EXPECT_STREQ(movie.chapter(0).tags.entryName(0), "title");
  EXPECT_EQ(movie.chapter(0).tags.valueCount(0), 0u);
}

// ---- the cover

TEST(Cover, OfEachSourceIsReadWithItsOptionAndHasItsOwnQuery) {
  const Bytes list =
      metaWith(ilstText("\xA9nam", "List"), box("covr", box("data", zeros(8), text("picture"))));
  const Bytes tagging = ztTags(box("covr", text("other picture")));
  const ParsedMovie both(withUserData(join(list, tagging)), kWantCoverArt);
  EXPECT_EQ(bytesOf(both.itemListCover()), text("picture"));
  EXPECT_EQ(bytesOf(both.taggingCover()), text("other picture"));
  EXPECT_EQ(describe(both.tags()), "");
  const ParsedMovie listOnly(withUserData(list), kWantCoverArt);
  EXPECT_EQ(bytesOf(listOnly.itemListCover()), text("picture"));
  EXPECT_EQ(listOnly.taggingCover().count(), 0u);
  const ParsedMovie playback(withUserData(join(list, tagging)), kPlayback);
  EXPECT_EQ(playback.itemListCover().count(), 0u);
  EXPECT_EQ(playback.taggingCover().count(), 0u);
}

// ---- the model

// What the handlers collect from the payload of a 'moov' box, before it is finished.
void collect(const Bytes& movieBox, MovieModel& model) {
  model.options = kPlayback;
  readBox(movieBox, [&](AtomReader& reader, uint64_t payloadSize) {
    MovieBoxHandler handler(model);
    walkChildren(handler, reader, payloadSize);
  });
}

TEST(Finish, ASecondTimeChangesNothing) {
  MovieModel model;
  collect(moov({.udta = join(ztTags(ztSegment(1, {{"mood", {"calm"}}})),
                             chpl({{5, "One"}, {3 * kSecond, "Two"}}))}),
          model);
  for (int times = 0; times < 2; ++times) {
    finish(model);
    ASSERT_EQ(model.chapters.count(), 2u);
    EXPECT_EQ(describe(model.chapters[1].tags), "mood=calm title=Two");
    EXPECT_EQ(model.duration, 10 * kSecond);
  }
}

TEST(Finish, ASecondTimeTakesTheTagsOfTheFileAgainAndKeepsTheChapters) {
  MovieModel model;
  collect(moov({.udta = metaWith(ilstText("\xA9nam", "Song"))}), model);
  finish(model);
  ASSERT_EQ(describe(model.tags), "title=Song");
  model.itemList.tags.clear();
  model.header.duration = 1;
  finish(model);
  EXPECT_EQ(describe(model.tags), "");
  EXPECT_EQ(describe(model.chapters[0].tags), "title=Song");
  EXPECT_EQ(model.duration, 10 * kSecond);
}

TEST(Finish, ASegmentThatIsMergedIsUsedUp) {
  MovieModel model;
  collect(moov({.udta = join(ztTags(ztSegment(1, {{"a", {"x"}}}), ztSegment(1, {{"b", {"y"}}}),
                                    ztSegment(2, {{"c", {"z"}}})),
                             chpl({{0, ""}, {5, ""}}))}),
          model);
  finish(model);
  ASSERT_EQ(model.tagging.segments.count(), 2u);
  EXPECT_EQ(describe(model.tagging.segments.first()->payload), "b=y");
  EXPECT_EQ(describe(model.tagging.segments.first()->next->payload), "c=z");
}

TEST(MovieModel, ItsFieldsStandInTheirOrder) {
  const MovieModel model;
  const std::vector<const void*> fields = {&model.options,
                                           &model.moovSeen,
                                           &model.moovOffset,
                                           &model.moovSize,
                                           &model.lastTopLevelType,
                                           &model.scannedEnd,
                                           &model.header.timescale,
                                           &model.header.duration,
                                           &model.tracks,
                                           &model.chapters,
                                           &model.tags,
                                           &model.duration,
                                           &model.itemList.seen,
                                           &model.itemList.tags,
                                           &model.chapterMarks,
                                           &model.tagging.fields,
                                           &model.tagging.segments,
                                           &model.tagging.seen};
  EXPECT_TRUE(std::is_sorted(fields.begin(), fields.end(), std::less<>()));
}

}  // namespace
}  // namespace atomkit
