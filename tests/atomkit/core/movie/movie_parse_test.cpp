// The walk over the file: top-level boxes, headers, tracks, and the gates of the sample table.
#include <gtest/gtest.h>

#include "atomkit/core/movie/movie.h"
#include "tests/atomkit/core/movie/movie_reading.h"
#include "tests/support/boxes.h"
#include "tests/support/memory_source.h"
#include "tests/support/movie_builder.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;

constexpr char kNoHeader[] = "invalid or missing mvhd data";
constexpr char kPastAtom[] = "attempting to read past end of atom";
constexpr char kInvalidHeader[] = "invalid box/atom header";

void parseStreaming(const Bytes& file) {
  const ParsedMovie movie(file, kPlayback, ScanRange::upToMediaData);
}

/// The duration that a track's header gives.
TrackSummary summaryWith(const Bytes& mediaHeader) {
  const ParsedMovie movie(moov({.tracks = {trak({.mdhd = mediaHeader})}}));
  TrackSummary summary;
  movie.summary(0, summary);
  return summary;
}

// ---- top level

TEST(TopLevel, AnEmptyFileHasNoMovieHeader) {
  EXPECT_THROWS_MESSAGE(ParsedMovie(Bytes{}), kNoHeader);
}

TEST(TopLevel, AFileThatBeginsWithNoHeaderHasNoMovieHeader) {
  EXPECT_THROWS_MESSAGE(ParsedMovie(zeros(7)), kNoHeader);
  EXPECT_THROWS_MESSAGE(ParsedMovie(join(zeros(8), moov())), kNoHeader);
}

TEST(TopLevel, AFileWithoutMovieBoxHasNoMovieHeader) {
  EXPECT_THROWS_MESSAGE(ParsedMovie(join(ftyp(), box("mdat", zeros(10)))), kNoHeader);
}

TEST(TopLevel, AStreamedFileMustHaveItsMovieBeforeItsMedia) {
  const Bytes file = join(ftyp(), box("mdat", zeros(20)), moov());
  EXPECT_THROWS_MESSAGE(parseStreaming(file), "streaming a file that isn't optimized");
  EXPECT_EQ(ParsedMovie(file).chapterCount(), 1u);
  // A movie box counts as seen even when it is empty.
  EXPECT_THROWS_MESSAGE(parseStreaming(join(box("moov"), box("mdat"))), kNoHeader);
}

TEST(TopLevel, ASecondMovieIsADuplicateEvenAfterTheMedia) {
  EXPECT_THROWS_MESSAGE(ParsedMovie(join(moov(), box("mdat", zeros(20)), moov())),
                        "duplicate moov atom");
  EXPECT_THROWS_MESSAGE(parseStreaming(join(moov(), moov(), box("mdat"))), "duplicate moov atom");
}

TEST(TopLevel, AStreamedFileIsNotReadPastTheStartOfItsMedia) {
  const Bytes beginning = join(moov(), box("mdat", zeros(20)));
  MemorySource source(join(beginning, moov()));
  Movie movie;
  movie.parse(source, ScanRange::upToMediaData, kPlayback, source.size());
  EXPECT_EQ(source.position, beginning.size() - 20);
  EXPECT_EQ(movie.lastTopLevelType(), fourCC("mdat"));
  EXPECT_EQ(movie.scannedEnd(), beginning.size());
}

TEST(TopLevel, ALastBoxThatIsCutShortIsSkippedPastTheEndOfTheFile) {
  EXPECT_THROWS_MESSAGE(ParsedMovie(join(moov(), boxClaiming(30, "free", zeros(21)))),
                        "attempting to skip past end of file");
  EXPECT_THROWS_MESSAGE(parseStreaming(join(moov(), boxClaiming(30, "free", zeros(21)))),
                        "attempting to skip past end of file");
  EXPECT_THROWS_MESSAGE(ParsedMovie(join(moov(), boxClaiming(30, "mdat", zeros(21)))),
                        "attempting to skip past end of file");
}

TEST(TopLevel, AStreamedFileMayEndInsideItsMedia) {
  EXPECT_NO_THROW(parseStreaming(join(moov(), boxClaiming(30, "mdat", zeros(3)))));
}

TEST(TopLevel, MediaToTheEndOfTheFileIsInvalidInAStreamedFileToo) {
  EXPECT_THROWS_MESSAGE(parseStreaming(join(moov(), boxClaiming(0, "mdat", zeros(20)))),
                        kInvalidHeader);
}

TEST(TopLevel, AFewBytesOrUnprintableTypesAfterTheLastBoxEndTheWalkQuietly) {
  for (size_t stray = 0; stray < 8; ++stray) {
    EXPECT_EQ(ParsedMovie(join(moov(), repeat(0x41, stray))).scannedEnd(), moov().size());
  }
  EXPECT_EQ(ParsedMovie(join(moov(), zeros(64))).scannedEnd(), moov().size());
}

TEST(TopLevel, APrintableTypeWithATooSmallSizeAtTheEndIsInvalid) {
  EXPECT_THROWS_MESSAGE(ParsedMovie(join(moov(), boxClaiming(0, "free"))), kInvalidHeader);
  EXPECT_THROWS_MESSAGE(ParsedMovie(join(moov(), boxClaiming(7, "free"))), kInvalidHeader);
}

TEST(TopLevel, RemembersPlaceAndSizeOfTheMovieBoxAndTheEndOfTheScan) {
  const Bytes before = join(ftyp(), largeBox("free", zeros(9)));
  const Bytes movieBox = largeBox("moov", mvhd());
  const ParsedMovie movie(join(before, movieBox, box("mdat", zeros(5)), box("skip")));
  EXPECT_EQ(movie.moovOffset(), before.size());
  EXPECT_EQ(movie.moovSize(), movieBox.size());
  EXPECT_EQ(movie.lastTopLevelType(), fourCC("skip"));
  EXPECT_EQ(movie.scannedEnd(), before.size() + movieBox.size() + 13 + 8);
}

TEST(TopLevel, MediaIsSkippedAndNeverRead) {
  MemorySource source(join(box("mdat", zeros(100000)), moov()));
  Movie movie;
  movie.parse(source, ScanRange::wholeFile, kPlayback, source.size());
  EXPECT_LT(source.largestRead, 1000u);
  EXPECT_EQ(movie.moovOffset(), 100008u);
}

TEST(TopLevel, UserDataOutsideTheMovieIsSkipped) {
  const Bytes userData = join(chpl({{0, "A"}, {10, "B"}}), metaWith(ilstText("\xA9nam", "Song")));
  const ParsedMovie movie(join(moov(), box("udta", userData), metaWith(ilstText("\xA9nam", "S"))));
  EXPECT_EQ(movie.chapterCount(), 1u);
  EXPECT_EQ(describe(movie.tags()), "");
  const ParsedMovie inside(moov({.udta = userData}));
  EXPECT_EQ(inside.chapterCount(), 2u);
  EXPECT_EQ(describe(inside.tags()), "title=Song");
}

TEST(TopLevel, UserDataInsideATrackIsSkipped) {
  const Bytes track = box("trak", box("udta", chpl({{0, "A"}, {10, "B"}})));
  EXPECT_EQ(ParsedMovie(moov({.tracks = {track}})).chapterCount(), 1u);
}

// ---- movie header

TEST(MovieHeader, ATimescaleOrDurationOfZeroIsInvalid) {
  EXPECT_THROWS_MESSAGE(ParsedMovie(moov({.mvhd = mvhd({.timescale = 0})})), kNoHeader);
  EXPECT_THROWS_MESSAGE(ParsedMovie(moov({.mvhd = mvhd({.duration = 0})})), kNoHeader);
  EXPECT_THROWS_MESSAGE(ParsedMovie(moov({.mvhd = {}, .tracks = {trak()}})), kNoHeader);
}

TEST(Deliberate, D205_AVersionOneMovieHeaderIsReadWith32BitTimes) {
  // The modification time of the 64-bit layout lies where the 32-bit one has timescale and
  // duration.
  const auto header = [](uint64_t modificationTime) {
    return moov({.mvhd = box("mvhd", full(1), u64(1), u64(modificationTime), u32(600), u64(6000),
                             zeros(80))});
  };
  EXPECT_THROWS_MESSAGE(ParsedMovie(header(2000)), kNoHeader);
  EXPECT_EQ(ParsedMovie(header(uint64_t{50} << 32 | 2000)).duration(), 400'000'000u);
}

TEST(Deliberate, D211_ASecondMovieHeaderReplacesTheFirst) {
  const ParsedMovie movie(moov({.mvhd = join(mvhd({.timescale = 10, .duration = 20}),
                                             mvhd({.timescale = 100, .duration = 500}))}));
  EXPECT_EQ(movie.duration(), 50'000'000u);
  EXPECT_THROWS_MESSAGE(ParsedMovie(moov({.mvhd = join(mvhd(), mvhd({.timescale = 0}))})),
                        kNoHeader);
}

TEST(MovieHeader, MustBeWhole) {
  const Bytes whole = mvhd();
  for (size_t length = 8; length < whole.size(); ++length) {
    const Bytes payload(whole.begin() + 8, whole.begin() + static_cast<ptrdiff_t>(length));
    const bool inSkippedTimes = payload.size() >= 4 && payload.size() < 12;
    EXPECT_THROWS_MESSAGE(ParsedMovie(moov({.mvhd = box("mvhd", payload)})),
                          inSkippedTimes ? "attempting to skip past end of atom" : kPastAtom);
  }
  EXPECT_NO_THROW(ParsedMovie(moov({.mvhd = mvhd()})));
}

TEST(MovieHeader, MayBeLongerThanItsFields) {
  const Bytes header = box("mvhd", full(0), zeros(8), u32(10), u32(20), zeros(80), zeros(7));
  EXPECT_EQ(ParsedMovie(moov({.mvhd = header})).duration(), 20'000'000u);
}

// ---- media header

TEST(MediaHeader, VersionZeroHas32BitTimes) {
  const TrackSummary summary = summaryWith(mdhd({.timescale = 44100, .duration = 0xfffffffe}));
  EXPECT_EQ(summary.timescale, 44100u);
  EXPECT_EQ(summary.duration(), 0xfffffffeu);
}

TEST(MediaHeader, A32BitDurationOfAllOnesIsAllOnesIn64Bits) {
  EXPECT_EQ(summaryWith(mdhd({.duration = 0xffffffff})).duration(), ~uint64_t{0});
}

TEST(Deliberate, D206_OnlyVersionAndFlagsOf00000001Have64BitTimes) {
  const TrackSummary longTimes = summaryWith(mdhdLong(
      {.timescale = 90000, .duration = 0x123456789, .versionAndFlags = raw({0, 0, 0, 1})}));
  EXPECT_EQ(longTimes.timescale, 90000u);
  EXPECT_EQ(longTimes.duration(), 0x123456789u);
}

TEST(Deliberate, D206_AVersionOneHeaderIsReadWith32BitTimes) {
  for (const Bytes& word : {raw({1, 0, 0, 0}), raw({1, 0, 0, 1}), raw({0, 0, 0, 2}),
                            raw({0, 0, 0, 0}), raw({0, 1, 0, 0})}) {
    const TrackSummary summary =
        summaryWith(mdhd({.timescale = 8000, .duration = 77, .versionAndFlags = word}));
    EXPECT_EQ(summary.timescale, 8000u);
    EXPECT_EQ(summary.duration(), 77u);
  }
}

TEST(MediaHeader, A64BitDurationOfAllOnesStays) {
  const Bytes header = mdhdLong({.duration = ~uint64_t{0}, .versionAndFlags = raw({0, 0, 0, 1})});
  EXPECT_EQ(summaryWith(header).duration(), ~uint64_t{0});
}

TEST(MediaHeader, MustBeWhole) {
  // The 32-bit times are read, the 64-bit ones are skipped.
  for (const bool longTimes : {false, true}) {
    const Bytes whole = longTimes ? mdhdLong({.versionAndFlags = raw({0, 0, 0, 1})}) : mdhd();
    for (size_t length = 8; length < whole.size(); ++length) {
      const Bytes payload(whole.begin() + 8, whole.begin() + static_cast<ptrdiff_t>(length));
      const bool inSkippedTimes = longTimes && payload.size() >= 4 && payload.size() < 20;
      EXPECT_THROWS_MESSAGE(summaryWith(box("mdhd", payload)),
                            inSkippedTimes ? "attempting to skip past end of atom" : kPastAtom);
    }
  }
}

// ---- tracks

TEST(Tracks, EveryTrakBoxYieldsOneInFileOrder) {
  const ParsedMovie movie(
      moov({.tracks = {trak({.stsd = stsd(otherEntry())}), box("trak"),
                       trak({.stsd = stsd(avc1())}), trak({.stsd = stsd(alac())})}}),
      0);
  ASSERT_EQ(movie.trackCount(), 4u);
  EXPECT_EQ(movie.codecKind(0), CodecKind::other);
  EXPECT_EQ(movie.codecKind(1), CodecKind::none);
  EXPECT_EQ(movie.codecKind(2), CodecKind::avc1);
  EXPECT_EQ(movie.codecKind(3), CodecKind::alac);
}

TEST(Tracks, TheTrackHeaderAndTheHandlerReferenceAreNotRead) {
  const ParsedMovie movie(moov({.tracks = {trak({.tkhd = box("tkhd"), .hdlr = box("hdlr")})}}));
  EXPECT_EQ(movie.codecKind(0), CodecKind::mp4a);
}

TEST(Tracks, UnknownBoxesAreSkippedAtEveryLevel) {
  const Bytes unknown = box("xxxx", repeat(0xff, 11));
  const Bytes tables = box("stbl", unknown, stsd(mp4a()), unknown);
  const Bytes media = box("mdia", unknown, mdhd({.timescale = 5}), box("minf", unknown, tables));
  const ParsedMovie movie(join(unknown, moov({.tracks = {unknown, box("trak", unknown, media)},
                                              .udta = join(unknown, chpl({{0, "A"}, {1, "B"}}))})));
  TrackSummary summary;
  movie.summary(0, summary);
  EXPECT_EQ(summary.timescale, 5u);
  EXPECT_EQ(movie.codecKind(0), CodecKind::mp4a);
  EXPECT_EQ(movie.chapterCount(), 2u);
}

/// The summary of the only track of a movie, whose 'trak' box has the given children.
template <class... Children>
TrackSummary summaryOfTrack(const Children&... children) {
  const ParsedMovie movie(moov({.tracks = {box("trak", children...)}}));
  EXPECT_EQ(movie.trackCount(), 1u);
  TrackSummary summary;
  movie.summary(0, summary);
  return summary;
}

TEST(Tracks, ASecondMediaHeaderReplacesTheFirst) {
  const TrackSummary summary =
      summaryOfTrack(box("mdia", mdhd({.timescale = 10, .duration = 0xffffffff}),
                         mdhd({.timescale = 20, .duration = 7})));
  EXPECT_EQ(summary.timescale, 20u);
  EXPECT_EQ(summary.duration(), 7u);
}

TEST(Tracks, ASecondMediaBoxGoesOnFillingTheSameTrack) {
  const TrackSummary summary = summaryOfTrack(
      box("mdia", mdhd({.timescale = 10}), box("minf", box("stbl", stsd(mp4a())))),
      box("mdia", mdhd({.timescale = 20}), box("minf", box("stbl", stts({{3, 1}})))));
  EXPECT_EQ(summary.timescale, 20u);
  EXPECT_EQ(summary.channelCount, 2u);
  EXPECT_EQ(summary.sampleCount, 3u);
}

TEST(Tracks, ASecondMediaInformationBoxGoesOnFillingTheSameTrack) {
  const TrackSummary summary = summaryOfTrack(box("mdia", box("minf", box("stbl", stsd(mp4a()))),
                                                  box("minf", box("stbl", stts({{3, 1}})))));
  EXPECT_EQ(summary.channelCount, 2u);
  EXPECT_EQ(summary.sampleCount, 3u);
}

TEST(Tracks, ASecondSampleTableGoesOnFillingTheSameTrack) {
  const auto withTables = [](const Bytes& first, const Bytes& second) {
    return summaryOfTrack(box("mdia", box("minf", box("stbl", first), box("stbl", second))));
  };
  const TrackSummary summary = withTables(stsd(mp4a()), stts({{3, 1}}));
  EXPECT_EQ(summary.channelCount, 2u);
  EXPECT_EQ(summary.sampleCount, 3u);
  // The first one's description decides over the second one's tables,
  EXPECT_EQ(withTables(stsd(otherEntry()), stts({{3, 1}})).sampleCount, 0u);
  // and what may come once may come once in both together.
  EXPECT_THROWS_MESSAGE(withTables(stts({{3, 1}}), stts({{4, 1}})), "duplicate stts data");
}

TEST(Tracks, ABrokenChildIsReportedAtEveryLevel) {
  const Bytes stray = repeat(0x41, 3);
  EXPECT_THROWS_MESSAGE(ParsedMovie(box("moov", mvhd(), stray)), kInvalidHeader);
  EXPECT_THROWS_MESSAGE(ParsedMovie(box("moov", mvhd(), box("trak", stray))), kInvalidHeader);
  EXPECT_THROWS_MESSAGE(ParsedMovie(box("moov", mvhd(), box("trak", box("mdia", stray)))),
                        kInvalidHeader);
  EXPECT_THROWS_MESSAGE(
      ParsedMovie(box("moov", mvhd(), box("trak", box("mdia", box("minf", stray))))),
      kInvalidHeader);
  EXPECT_THROWS_MESSAGE(
      ParsedMovie(box("moov", mvhd(), box("trak", box("mdia", box("minf", box("stbl", stray)))))),
      kInvalidHeader);
  EXPECT_THROWS_MESSAGE(ParsedMovie(moov({.udta = stray})), kInvalidHeader);
  EXPECT_THROWS_MESSAGE(ParsedMovie(box("moov", boxClaiming(9, "trak"))),
                        "atom size bigger than expected");
}

// ---- the gates of the sample table

/// A track whose tables after 'stsd' are too short, so that a parse that reads one fails.
Bytes trackWithBroken(const char* table, const Bytes& descriptions) {
  return trak({.stsd = descriptions, .stts = box(table, full(0))});
}

bool reads(const char* table, const Bytes& descriptions, ParseOptions options) {
  try {
    const ParsedMovie movie(moov({.tracks = {trackWithBroken(table, descriptions)}}), options);
    return false;
  } catch (const exception& error) {
    EXPECT_STREQ(error.message(), kPastAtom);
    return true;
  }
}

TEST(SampleTableGate, AudioTablesAreReadOnlyWhenAudioIsWanted) {
  for (const Bytes& descriptions : {stsd(mp4a()), stsd(alac())}) {
    EXPECT_TRUE(reads("stts", descriptions, kWantAudio));
    EXPECT_FALSE(reads("stts", descriptions, 0x37 & ~kWantAudio));
  }
}

TEST(SampleTableGate, VideoTablesAreReadOnlyWhenVideoIsWanted) {
  for (const Bytes& descriptions : {stsd(mp4v()), stsd(avc1())}) {
    EXPECT_TRUE(reads("stts", descriptions, kWantVideo));
    EXPECT_FALSE(reads("stts", descriptions, 0x37 & ~kWantVideo));
  }
}

TEST(SampleTableGate, TablesOfOtherKindsAreNeverRead) {
  EXPECT_FALSE(reads("stts", stsd(otherEntry()), kPlayback));
  EXPECT_FALSE(reads("stts", stsd(), kPlayback));
  // A second description can't make such a track wanted either.
  EXPECT_FALSE(reads("stsd", stsd(otherEntry()), kPlayback));
}

TEST(SampleTableGate, ASecondDescriptionOfAWantedTrackDecidesOverTheTablesAfterIt) {
  const auto tablesAround = [](const Bytes& second) {
    return join(stsd(mp4a()), stts({{7, 1}}), second);
  };
  EXPECT_TRUE(reads("ctts", tablesAround({}), kPlayback));
  EXPECT_FALSE(reads("ctts", tablesAround(stsd(otherEntry())), kPlayback));
  EXPECT_FALSE(reads("ctts", tablesAround(stsd(avc1())), 0x37 & ~kWantVideo));
  EXPECT_TRUE(reads("ctts", tablesAround(stsd(avc1())), kPlayback));

  const ParsedMovie movie(moov({.tracks = {trak({.stsd = tablesAround(stsd(otherEntry()))})}}));
  TrackSummary summary;
  movie.summary(0, summary);
  EXPECT_EQ(movie.codecKind(0), CodecKind::other);
  EXPECT_EQ(summary.sampleCount, 7u);
}

TEST(Deliberate, D208_TablesBeforeTheDescriptionAreReadWhateverIsWanted) {
  for (const ParseOptions options : {ParseOptions{0}, kPlayback}) {
    EXPECT_TRUE(reads("stts", {}, options));
    EXPECT_TRUE(reads("ctts", {}, options));
  }
  // The count of the unwanted track is known, as its times come before the description.
  const Bytes tables = box("stbl", stts({{7, 1}}), stsd(avc1()));
  const ParsedMovie movie(moov({.tracks = {box("trak", box("mdia", mdhd(), box("minf", tables)))}}),
                          kWantAudio);
  TrackSummary summary;
  movie.summary(0, summary);
  EXPECT_EQ(summary.sampleCount, 7u);
}

TEST(SampleTableGate, SizesMapOffsetsAndSyncSamplesNeedTheirOption) {
  for (const char* table : {"stsz", "stsc", "stco", "co64", "stss"}) {
    for (const Bytes& descriptions : {stsd(mp4a()), stsd(avc1()), Bytes{}}) {
      EXPECT_TRUE(reads(table, descriptions, kPlayback)) << table;
      EXPECT_FALSE(reads(table, descriptions, kInformation)) << table;
    }
  }
}

TEST(SampleTableGate, TimesAreReadWithoutTheOption) {
  EXPECT_TRUE(reads("stts", stsd(mp4a()), kInformation));
  EXPECT_TRUE(reads("stts", stsd(avc1()), kInformation));
}

TEST(SampleTableGate, CompositionOffsetsOfVideoNeedTheOptionAndThoseOfAudioDoNot) {
  EXPECT_TRUE(reads("ctts", stsd(mp4a()), kInformation));
  EXPECT_TRUE(reads("ctts", stsd(alac()), kInformation));
  EXPECT_FALSE(reads("ctts", stsd(avc1()), kInformation));
  EXPECT_FALSE(reads("ctts", stsd(mp4v()), kInformation));
  EXPECT_TRUE(reads("ctts", stsd(avc1()), kPlayback));
  EXPECT_TRUE(reads("ctts", {}, kInformation));
}

TEST(SampleTableGate, CompactSizesAreIgnored) {
  EXPECT_FALSE(reads("stz2", stsd(mp4a()), kPlayback));
}

TEST(SampleTableGate, WithoutTheOptionLookupsSeeEmptyTables) {
  const BuiltMovie file = movieFile({.tracks = {aacTrack()}});
  const ParsedMovie movie(file.bytes, kInformation);
  SampleCursor cursor;
  EXPECT_THROWS_MESSAGE(movie.open(cursor, 0), "frame out of range");
  TrackSummary summary;
  movie.summary(0, summary);
  EXPECT_EQ(summary.sampleCount, 20u);
}

}  // namespace
}  // namespace atomkit
