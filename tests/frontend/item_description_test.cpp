// What describeItem() tells: the order of the calls, the record, chapters, tags and replay gain.
#include <array>

#include "tests/frontend/open_session.h"

using namespace boxes;
using vela::TIOResult;

namespace {

constexpr uint64_t kSecondHundredNs = 10000000;
constexpr uint64_t kSecond = vela::kHostUnitsPerSecond;

/// Five seconds of audio in packets of 100 ms.
MediaTrack fiveSeconds() { return aacTrack({.samples = 50, .delta = 4800}); }

BuiltMovie audioFile(const Bytes& udta) {
  return movieFile({.tracks = {fiveSeconds()}, .udta = udta});
}

/// The tags that item 1 of an audio file with these item-list items has.
template <class... Items>
std::vector<FakeMediaInfo::Tag> tagsOf(const Items&... items) {
  OpenSession open(audioFile(metaWith(items...)).bytes);
  EXPECT_EQ(open.describe(1), TIOResult::success);
  return open.info.tags;
}

using Tags = std::vector<FakeMediaInfo::Tag>;

/// The text that a title of these bytes becomes.
std::u16string asText(std::string_view bytes) {
  const Tags tags =
      tagsOf(ilstText("\xA9"
                      "nam",
                      bytes));
  return tags.size() == 1 ? tags[0].value : u"(no single tag)";
}

template <size_t Size>
std::string nameIn(const char (&field)[Size]) {
  return {field, strnlen(field, Size)};
}

}  // namespace

// ---- the order of the calls

TEST(DescribeItem, TellsTheWholeFileInItsFixedOrder) {
  OpenSession open(audioFile(chpl({{0, "One"}, {kSecondHundredNs, "Two"}})).bytes);
  open.info.alsoTo = &open.stream;
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.stream.calls, (Calls{"setDuration 83886080",
                                      "getLength -> " + std::to_string(open.stream.bytes.size()),
                                      "setDescription", "beginChapters 2", "addChapter 0 at 0: One",
                                      "addChapter 1 at 16777216: Two", "setFlags 0"}));
  EXPECT_EQ(open.stream.lastToken, &open.token);
}

TEST(DescribeItem, TellsAChapterInItsFixedOrder) {
  OpenSession open(audioFile(join(chpl({{0, "One"}, {kSecondHundredNs, "Two"}}),
                                  metaWith(ilstText("\xA9"
                                                    "ART",
                                                    "Someone"),
                                           ilstNamed("replaygain_track_gain", "-6.54 dB"))))
                       .bytes);
  ASSERT_EQ(open.describe(2), TIOResult::success);
  EXPECT_EQ(open.info.calls,
            (Calls{"setDuration 67108864", "setDescription", "setFlags 0",
                   "addTag artist = Someone", "getFlags", "setFlags 1", "setTrackGain -65400",
                   "addTag title = Two", "addTag track = 2"}));
}

TEST(DescribeItem, OfAFilmListsItsChaptersAndNoTags) {
  OpenSession open(movieFile({.tracks = {fiveSeconds(), avcTrack()},
                              .udta = join(chpl({{0, "One"}, {kSecondHundredNs, "Two"}}),
                                           metaWith(ilstText("\xA9"
                                                             "ART",
                                                             "Someone")))})
                       .bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.chaptersAnnounced, 2u);
  EXPECT_EQ(open.info.chapters,
            (std::vector<FakeMediaInfo::Chapter>{{0, 0, u"One", vela::kUntilNul},
                                                 {1, kSecond, u"Two", vela::kUntilNul}}));
  EXPECT_EQ(open.info.tags, Tags{});
}

TEST(DescribeItem, OfAFileWithoutMarksListsTheOneChapterOfTheWholeFile) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}}).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.calls, (Calls{"setDuration 83886080", "setDescription", "beginChapters 1",
                                    "addChapter 0 at 0: ", "setFlags 0"}));
}

TEST(DescribeItem, OfAMovieWithoutChaptersEndsWithoutAChapterList) {
  // A session that has parsed nothing holds an empty movie.
  FakeHostStream stream;
  vela::SplitterSession session(nullptr);
  vela::SessionProbe::stream(session).reset(&stream);
  FakeMediaInfo info;
  ASSERT_EQ(session.describeItem(0, info, nullptr), TIOResult::success);
  EXPECT_EQ(info.calls, (Calls{"setDuration 0", "setDescription", "setFlags 0"}));
}

TEST(DescribeItem, OfAChapterThatTheMovieDoesNotHaveFailsAndTellsNothing) {
  FakeHostStream stream;
  vela::SplitterSession session(nullptr);
  vela::SessionProbe::stream(session).reset(&stream);
  FakeMediaInfo info;
  EXPECT_EQ(vela::guarded([&] { return session.describeItem(1, info, nullptr); }),
            TIOResult::failed);
  EXPECT_EQ(info.calls, Calls{});
}

TEST(DescribeItem, OfAnIdentifierAboveTheChaptersDescribesTheWholeFile) {
  OpenSession open(audioFile(chpl({{0, "One"}, {kSecondHundredNs, "Two"}})).bytes);
  ASSERT_EQ(open.describe(3), TIOResult::success);
  EXPECT_EQ(open.info.duration, 5 * kSecond);
  EXPECT_EQ(open.info.chapters.size(), 2u);
}

TEST(DescribeItem, OfTheWholeFileAfterAChapterListsTheChapters) {
  OpenSession open(audioFile(chpl({{0, "One"}, {kSecondHundredNs, "Two"}})).bytes);
  ASSERT_EQ(open.describe(2), TIOResult::success);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.duration, 5 * kSecond);
  EXPECT_EQ(open.info.chapters.size(), 2u);
}

TEST(DescribeItem, WorksBeforeDuringAndAfterPlayback) {
  OpenSession open(movieFile({.tracks = {aacTrack({.samples = 6})}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  playAudio(open, 2);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(playAudio(open).size(), 4u);
}

TEST(Deliberate, D052_FlagsAreClearedAfterTheChaptersOfAFileAndBeforeTheTagsOfAChapter) {
  OpenSession open(audioFile(join(chpl({{0, "One"}, {kSecondHundredNs, "Two"}}),
                                  metaWith(ilstNamed("replaygain_track_gain", "-6.54 dB"))))
                       .bytes);
  open.info.flags = 15;
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.calls.back(), "setFlags 0");
  EXPECT_EQ(open.info.count("setFlags"), 1u);
  open.info.flags = 15;
  open.info.calls.clear();
  ASSERT_EQ(open.describe(1), TIOResult::success);
  EXPECT_EQ(open.info.calls.at(2), "setFlags 0");
  EXPECT_EQ(open.info.flags, vela::kTrackGainPresent);
}

// ---- the record

TEST(Description, OfAudioAloneHasNoVideoFields) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}}).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  const vela::ItemDescription& record = open.info.record88;
  EXPECT_EQ(record.sampleRate, 48000u);
  EXPECT_EQ(record.channels, 2u);
  EXPECT_EQ(nameIn(record.audioFormatName), "AAC");
  EXPECT_EQ(record.width, 0u);
  EXPECT_EQ(record.height, 0u);
  EXPECT_EQ(record.reserved, 0u);
  EXPECT_EQ(nameIn(record.videoFormatName), "");
}

TEST(Description, OfVideoAloneHasNoAudioFields) {
  OpenSession open(movieFile({.tracks = {avcTrack({.width = 640, .height = 360})}}).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  const vela::ItemDescription& record = open.info.record88;
  EXPECT_EQ(record.sampleRate, 0u);
  EXPECT_EQ(record.channels, 0u);
  EXPECT_EQ(nameIn(record.audioFormatName), "");
  EXPECT_EQ(record.width, 640u);
  EXPECT_EQ(record.height, 360u);
  EXPECT_EQ(nameIn(record.videoFormatName), "MPEG-4 AVC");
}

TEST(Description, NamesMp3AndMpeg4Visual) {
  OpenSession open(
      movieFile({.tracks = {aacTrack({.objectType = 0x69, .config = {}}), mpeg4Track()}}).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(nameIn(open.info.record88.audioFormatName), "MP3");
  EXPECT_EQ(nameIn(open.info.record88.videoFormatName), "MPEG-4 ASP");
}

TEST(Description, FillsTheNameFieldsWithZerosAfterTheName) {
  OpenSession open(movieFile({.tracks = {fiveSeconds(), avcTrack()}}).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  for (size_t i = 3; i < 32; ++i) EXPECT_EQ(open.info.record88.audioFormatName[i], 0) << i;
  for (size_t i = 10; i < 32; ++i) EXPECT_EQ(open.info.record88.videoFormatName[i], 0) << i;
}

TEST(Description, StoresAnUnknownPictureSizeAsAllOnes) {
  OpenSession open(movieFile({.tracks = {avcTrack({.width = 0, .height = 0})}}).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.record88.width, 0xffffffffu);
  EXPECT_EQ(open.info.record88.height, 0xffffffffu);
}

TEST(Description, NarrowsANameWithAQuestionMarkFromCharacter128On) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}}).bytes);
  vela::SessionProbe::setAudioFormatName(open.session, u"A\u007f\u0080\u0416");
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(nameIn(open.info.record88.audioFormatName), "A\x7f??");
}

TEST(Description, LiesInTheRecordWhereAHostLooksForIt) {
  OpenSession open(
      movieFile({.tracks = {fiveSeconds(), avcTrack({.width = 640, .height = 360})}}).bytes);
  open.stream.claimedLength = 5 * 1000;
  ASSERT_EQ(open.describe(0), TIOResult::success);
  std::array<uint8_t, 88> bytes{};
  std::memcpy(bytes.data(), &open.info.record88, sizeof bytes);
  const auto word = [&](size_t offset) {
    uint32_t value = 0;
    std::memcpy(&value, bytes.data() + offset, 4);
    return value;
  };
  EXPECT_EQ(word(0), 8000u);
  EXPECT_EQ(word(4), 48000u);
  EXPECT_EQ(word(8), 2u);
  EXPECT_EQ(word(12), 640u);
  EXPECT_EQ(word(16), 360u);
  EXPECT_EQ(word(20), 0u);
  EXPECT_EQ(std::memcmp(bytes.data() + 24, "AAC", 4), 0);
  EXPECT_EQ(std::memcmp(bytes.data() + 56, "MPEG-4 AVC", 11), 0);
}

TEST(BitRate, IsTheBitsOfTheFileOverTheDurationRoundedDown) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}}).bytes);
  open.stream.claimedLength = 1234567;
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.record88.bitRate, 1234567u * 8 / 5);
}

TEST(Deliberate, D045_TheBitRateOfAChapterIsThatOfTheWholeFile) {
  OpenSession open(audioFile(chpl({{0, "One"}, {kSecondHundredNs, "Two"}})).bytes);
  open.stream.claimedLength = 50000;
  ASSERT_EQ(open.describe(1), TIOResult::success);
  EXPECT_EQ(open.info.duration, kSecond);
  EXPECT_EQ(open.info.record88.bitRate, 80000u);
}

TEST(BitRate, IsUnsetWhenTheLengthIsUnknown) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}}).bytes);
  open.stream.claimedLength = vela::kUnknown64;
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.record88.bitRate, 0u);
}

TEST(BitRate, IsUnsetWhenTheLengthCannotBeRead) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}}).bytes);
  open.stream.failCall("getLength", 0, kHostCode);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.record88.bitRate, 0u);
  EXPECT_EQ(open.info.calls.back(), "setFlags 0");
}

TEST(BitRate, IsUnsetForADurationOfZero) {
  MediaTrack track = fiveSeconds();
  track.boxes.duration = 0;
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.record88.bitRate, 0u);
}

TEST(BitRate, OfAnUnknownDurationIsZero) {
  MediaTrack track = fiveSeconds();
  track.boxes.duration = 0xffffffff;
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.record88.bitRate, 0u);
}

TEST(BitRate, IsTheLowWordOfAQuotientThatIsTooLarge) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}}).bytes);
  open.stream.claimedLength = (uint64_t{5} << 32) / 8 + 5 * 100;  // 2^32 + 800 bits per second
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.record88.bitRate, 800u);
}

TEST(BitRate, WrapsTheProductAtTwoToThe64) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}}).bytes);
  open.stream.claimedLength = (uint64_t{1} << 37) + 5000;
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.record88.bitRate, 8000u);
}

// ---- chapter titles

TEST(ChapterTitle, IsTheNameOfTheMarkAndEmptyWithoutOne) {
  OpenSession open(audioFile(chpl({{0, "One"}, {kSecondHundredNs, ""}})).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.chapters[0].title, u"One");
  EXPECT_EQ(open.info.chapters[1].title, u"");
}

TEST(ChapterTitle, OfAFileWithoutMarksIsTheTitleOfTheFile) {
  OpenSession open(audioFile(metaWith(ilstText("\xA9"
                                               "nam",
                                               "Song")))
                       .bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.chapters[0].title, u"Song");
}

TEST(ChapterTitle, IsFoundWithoutRegardToCase) {
  OpenSession open(audioFile(metaWith(ilstNamed("TITLE", "Song"))).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.chapters[0].title, u"Song");
}

TEST(ChapterTitle, IsTheFirstOfSeveralValues) {
  OpenSession open(audioFile(metaWith(ilstText("\xA9"
                                               "alb",
                                               "Album"),
                                      ilstText("\xA9"
                                               "nam",
                                               "First"),
                                      ilstText("\xA9"
                                               "nam",
                                               "Second")))
                       .bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.chapters[0].title, u"First");
}

TEST(ChapterTitle, IsEmptyWhenTheTitleHasNoValues) {
  OpenSession open(audioFile(ztTags(ztFields({{"title"}}))).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.chapters.at(0).title, u"");
}

TEST(ChapterTitle, IsEmptyWhenTheFirstOfTwoTitlesHasNoValues) {
  OpenSession open(audioFile(ztTags(ztFields({{"title"}, {"Title", {"Song"}}}))).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.chapters.at(0).title, u"");
  ASSERT_EQ(open.describe(1), TIOResult::success);
  EXPECT_EQ(open.info.tags, (Tags{{u"Title", u"Song"}})) << "the second one was read";
}

TEST(ChapterTitle, ComesFromUtf8) {
  OpenSession open(audioFile(chpl({{0, "Pr\xC3\xA9lude \xE2\x82\xAC"}})).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.chapters[0].title, u"Pr\u00e9lude \u20ac");
}

// ---- tags

TEST(ItemTags, ComeInOrderWithEveryValueOfEveryName) {
  EXPECT_EQ(tagsOf(ilstText("\xA9"
                            "ART",
                            "One"),
                   ilstText("\xA9"
                            "alb",
                            "Album"),
                   ilstText("\xA9"
                            "ART",
                            "Two")),
            (Tags{{u"artist", u"One"}, {u"artist", u"Two"}, {u"album", u"Album"}}));
}

TEST(ItemTags, KeepTheSpellingOfTheirNames) {
  EXPECT_EQ(tagsOf(ilstNamed("MusicBrainz Album Id", "1234")),
            (Tags{{u"MusicBrainz Album Id", u"1234"}}));
}

TEST(ItemTags, OfAFileWithoutTagsAreNone) {
  OpenSession open(movieFile({.tracks = {fiveSeconds()}}).bytes);
  ASSERT_EQ(open.describe(1), TIOResult::success);
  EXPECT_EQ(open.info.calls, (Calls{"setDuration 83886080", "setDescription", "setFlags 0"}));
}

TEST(ItemTags, AreThoseOfTheChapterThatWasSelected) {
  OpenSession open(audioFile(chpl({{0, "One"}, {kSecondHundredNs, "Two"}})).bytes);
  ASSERT_EQ(open.describe(1), TIOResult::success);
  EXPECT_EQ(open.info.tags, (Tags{{u"title", u"One"}, {u"track", u"1"}}));
  open.info.tags.clear();
  ASSERT_EQ(open.describe(2), TIOResult::success);
  EXPECT_EQ(open.info.tags, (Tags{{u"title", u"Two"}, {u"track", u"2"}}));
}

TEST(ItemTags, OfAnEntryWithoutValuesAreNone) {
  OpenSession open(audioFile(ztTags(ztFields({{"artist"}, {"album", {"Album"}}}))).bytes);
  ASSERT_EQ(open.describe(1), TIOResult::success);
  EXPECT_EQ(open.info.tags, (Tags{{u"album", u"Album"}}));
}

TEST(ItemTags, OfAnEntryWithoutANameHaveAnEmptyKey) {
  OpenSession open(audioFile(ztTags(ztFields({{"", {"x"}}}))).bytes);
  ASSERT_EQ(open.describe(1), TIOResult::success);
  EXPECT_EQ(open.info.tags, (Tags{{u"", u"x"}}));
}

TEST(TagText, IsUtf8OfOneTwoAndThreeBytes) {
  EXPECT_EQ(asText("A\xC3\xA9\xE2\x82\xAC"), u"A\u00e9\u20ac");
}

TEST(TagText, HasFFFFForACharacterOfFourBytes) {
  EXPECT_EQ(asText("a\xF0\x9F\x98\x80z"), std::u16string({u'a', char16_t{0xffff}, u'z'}));
}

TEST(TagText, EndsAtTheFirstInvalidByte) {
  EXPECT_EQ(asText("ab\xFFzz"), u"ab");
  EXPECT_EQ(asText("ab\xC0\x80zz"), u"ab");
  EXPECT_EQ(asText("ab\xE2\x82"), u"ab");
  EXPECT_EQ(asText("\x80"), u"");
}

TEST(TagText, EndsAtTheFirstZeroByte) { EXPECT_EQ(asText(std::string_view("ab\0cd", 5)), u"ab"); }

TEST(TagText, OfManyUnitsIsWhole) {
  const std::string longText(5000, 'x');
  EXPECT_EQ(asText(longText), std::u16string(5000, u'x'));
}

TEST(TagText, OfANameIsConvertedToo) {
  EXPECT_EQ(tagsOf(ilstNamed("Gr\xC3\xB6\xC3\x9F"
                             "e",
                             "1")),
            (Tags{{u"Gr\u00f6\u00dfe", u"1"}}));
}

// ---- replay gain

TEST(ItemReplayGain, ReachesTheHostAsNumbersAndNotAsText) {
  OpenSession open(audioFile(metaWith(ilstNamed("replaygain_track_gain", "-6.54 dB"),
                                      ilstNamed("REPLAYGAIN_TRACK_PEAK", "0.5"),
                                      ilstNamed("ReplayGain_Album_Gain", "+1.5 dB"),
                                      ilstNamed("replaygain_album_peak", "1.0"),
                                      ilstNamed("replaygain_reference_loudness", "89.0 dB")))
                       .bytes);
  ASSERT_EQ(open.describe(1), TIOResult::success);
  EXPECT_EQ(open.info.flags, 0xfu);
  EXPECT_EQ(open.info.trackGain, -65400);
  EXPECT_EQ(open.info.albumGain, 15000);
  EXPECT_EQ(open.info.trackPeak, 4194304);
  EXPECT_EQ(open.info.albumPeak, 8388608);
  EXPECT_EQ(open.info.tags, (Tags{{u"replaygain_reference_loudness", u"89.0 dB"}}));
}

TEST(ItemReplayGain, AddsItsFlagBeforeItsValueIsSet) {
  OpenSession open(audioFile(metaWith(ilstNamed("replaygain_track_gain", "1"),
                                      ilstNamed("replaygain_album_peak", "1")))
                       .bytes);
  ASSERT_EQ(open.describe(1), TIOResult::success);
  EXPECT_EQ(open.info.calls,
            (Calls{"setDuration 83886080", "setDescription", "setFlags 0", "getFlags", "setFlags 1",
                   "setTrackGain 10000", "getFlags", "setFlags 9", "setAlbumPeak 8388608"}));
}

TEST(ItemReplayGain, OfTheWholeFileIsNotReported) {
  OpenSession open(audioFile(metaWith(ilstNamed("replaygain_track_gain", "1"))).bytes);
  ASSERT_EQ(open.describe(0), TIOResult::success);
  EXPECT_EQ(open.info.flags, 0u);
  EXPECT_EQ(open.info.count("setTrackGain"), 0u);
}
