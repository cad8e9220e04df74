// Two files hold the same, or where they first differ.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/inspect/scratch_movie.h"
#include "tests/support/movie_builder.h"

namespace {

using namespace boxes;
using inspecting::ScratchMovie;
using nlohmann::json;
using testing::HasSubstr;

json compared(const Bytes& left, const Bytes& right) {
  const ScratchMovie first(left);
  const ScratchMovie second(right, "second.m4a");
  const auto result =
      inspecting::run({"compare", first.file().string(), second.file().string(), "--json"});
  const json document = json::parse(result.out);
  EXPECT_EQ(result.status, document["same"] ? 0 : 10) << result.err;
  return document;
}

/// The first difference of a subject; empty when it is the same.
std::string difference(const json& document, const std::string& subject) {
  for (const json& one : document["subjects"]) {
    if (one["subject"] == subject) return one["same"] ? "" : one["message"].get<std::string>();
  }
  return "not compared";
}

Bytes bookWith(const Bytes& udta, const MediaTrack& track = aacTrack()) {
  return movieFile({.tracks = {track}, .udta = udta}).bytes;
}

TEST(Compare, PassesOverWherePacketsLie) {
  const std::vector<MediaTrack> tracks = {avcTrack(), aacTrack()};
  std::vector<MediaTrack> otherChunks = {avcTrack({.samplesPerChunk = 5}),
                                         aacTrack({.samplesPerChunk = 1})};
  const json document =
      compared(movieFile({.tracks = tracks}).bytes,
               join(box("free", zeros(99)),
                    movieFile({.tracks = otherChunks, .order = BoxOrder::mediaFirst}).bytes));
  EXPECT_FALSE(document["same"]) << "the offsets of the second file are 107 bytes too low";
  const json moved =
      compared(movieFile({.tracks = tracks}).bytes,
               movieFile({.tracks = otherChunks, .order = BoxOrder::mediaFirst}).bytes);
  EXPECT_TRUE(moved["same"]) << moved.dump();
}

TEST(Compare, NamesTheFirstByteThatDiffers) {
  MediaTrack changed = aacTrack();
  changed.samples[7][5] ^= 1;
  const json document = compared(bookWith({}), bookWith({}, changed));
  EXPECT_EQ(difference(document, "packets"), "track 0, sample 7, byte 5");
  EXPECT_EQ(difference(document, "times"), "");
}

TEST(Compare, NamesTheFirstTimeThatDiffers) {
  MediaTrack shorter = aacTrack();
  shorter.boxes.stts = stts({{19, 1024}, {1, 512}});
  const json document = compared(bookWith({}), bookWith({}, shorter));
  EXPECT_EQ(difference(document, "times"), "track 0, sample 19, ticks long: 1024 and 512");
  EXPECT_EQ(difference(document, "packets"), "");
  MediaTrack later = avcTrack();
  later.boxes.ctts = ctts({{3, 0}, {1, 9}});
  EXPECT_EQ(difference(compared(movieFile({.tracks = {avcTrack()}}).bytes,
                                movieFile({.tracks = {later}}).bytes),
                       "times"),
            "track 0, sample 3, composition offset: 0 and 9");
}

TEST(Compare, NamesTheNumbersThatDiffer) {
  EXPECT_EQ(difference(compared(bookWith({}), bookWith({}, aacTrack({.samples = 21}))), "packets"),
            "track 0: 20 packets and 21");
  EXPECT_EQ(
      difference(compared(bookWith({}), movieFile({.tracks = {aacTrack(), avcTrack()}}).bytes),
                 "tracks"),
      "number of tracks: 1 and 2");
  EXPECT_EQ(difference(compared(bookWith({}), bookWith({}, avcTrack())), "tracks"),
            "track 0, kind: mp4a and avc1");
}

TEST(Compare, NamesTheTagThatDiffers) {
  const Bytes one = metaWith(ilstText("\xa9nam", "One"));
  EXPECT_EQ(
      difference(compared(bookWith(one), bookWith(metaWith(ilstText("\xa9nam", "Two")))), "tags"),
      "\"title\": \"One\" and \"Two\"");
  EXPECT_EQ(difference(compared(bookWith(one), bookWith({})), "tags"),
            "\"title\" only in the first");
  EXPECT_EQ(difference(compared(bookWith({}), bookWith(one)), "tags"),
            "\"title\" only in the second");
}

TEST(Compare, NamesTheChapterAndThePictureThatDiffer) {
  EXPECT_EQ(difference(compared(bookWith(chpl({{0, "A"}, {100, "B"}})),
                                bookWith(chpl({{0, "A"}, {200, "B"}}))),
                       "chapters"),
            "chapter 1, start in 100 ns: 100 and 200");
  const auto cover = [](uint8_t byte) {
    return metaWith(box("covr", box("data", full(0), u32(0), repeat(byte, 5000))));
  };
  EXPECT_EQ(difference(compared(bookWith(cover(1)), bookWith(cover(2))), "covers"),
            "picture 0, another one");
}

TEST(Compare, ComparesPacketsOfFilesThatAreRefused) {
  const auto same = inspecting::run(
      {"compare", "corrupt/avcc-reserved-bits.mp4", "corrupt/avcc-reserved-bits.mp4"});
  EXPECT_EQ(same.status, 0) << same.out;
  EXPECT_THAT(same.out, HasSubstr("not compared: both files are refused"));
  EXPECT_EQ(inspecting::run({"compare", "corrupt/avcc-reserved-bits.mp4", "sample.mp4"}).status,
            10);
}

TEST(Compare, NeedsBothFiles) {
  const auto result = inspecting::run({"compare", "sample.mp4", "no-such-file"});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(result.err, "velainspect: no-such-file: There is no such file.\n");
}

/// A book whose only track claims thousands of millions of samples of this many bytes.
Bytes bookThatClaims(uint32_t sampleBytes, uint32_t secondDuration = 1) {
  constexpr uint32_t kSamples = 4000000000;
  MediaTrack sound = aacTrack({.samplesPerChunk = 1});
  sound.boxes.stsz = stszConstant(sampleBytes, kSamples);
  // Each chunk holds one sample, and those past the last chunk lie there, too.
  sound.boxes.stts = stts({{1, 1}, {1, secondDuration}, {kSamples - 2, 1}});
  return bookWith({}, sound);
}

TEST(Compare, EndsWhateverTheTablesClaim) {
  for (const uint32_t bytes : {1u, 20u}) {
    SCOPED_TRACE(bytes);
    const Bytes book = bookThatClaims(bytes);
    const json document = compared(book, book);
    EXPECT_FALSE(document["same"]);
    const uint64_t last = (65536 + 4 * book.size()) / bytes;
    const std::string text =
        "track 0, sample " + std::to_string(last) +
        ", and all that follow are left out: the tables claim more than the file holds";
    for (const json& one : document["subjects"]) {
      const bool ofSamples = one["subject"] == "packets" || one["subject"] == "times";
      EXPECT_EQ(one["same"], !ofSamples) << one;
      EXPECT_EQ(one["complete"], !ofSamples) << one;
      if (ofSamples) {
        EXPECT_EQ(one["message"], text);
      }
    }
  }
}

TEST(Compare, SaysWhereItStoppedThoughOtherTracksFollow) {
  MediaTrack claims = aacTrack();
  claims.boxes.stsz = stszConstant(1, 4000000000);
  claims.boxes.stts = stts({{4000000000, 1}});
  const Bytes book = movieFile({.tracks = {claims, avcTrack()}}).bytes;
  const json document = compared(book, book);
  const std::string first = "track 0, sample " + std::to_string(65536 + 4 * book.size()) + ", and";
  EXPECT_THAT(difference(document, "packets"), testing::StartsWith(first));
  EXPECT_THAT(difference(document, "times"), testing::StartsWith(first));
}

/// A book of which the last `missing` bytes, all of them media, were lost.
Bytes cutBook(size_t missing, const MediaTrack& track = aacTrack()) {
  Bytes book = bookWith({}, track);
  book.resize(book.size() - missing);
  return book;
}

TEST(Compare, GoesOnWithTheTimesPastTheEndOfTheFiles) {
  MediaTrack shorter = aacTrack();
  shorter.boxes.stts = stts({{19, 1024}, {1, 512}});
  const json document = compared(cutBook(250), cutBook(250, shorter));
  EXPECT_EQ(difference(document, "times"), "track 0, sample 19, ticks long: 1024 and 512");
  EXPECT_EQ(difference(document, "packets"), "");
  EXPECT_TRUE(compared(cutBook(250), cutBook(250))["same"]);
}

TEST(Compare, GoesOnWithTheTimesPastTheSizes) {
  MediaTrack track = aacTrack();
  track.boxes.stsz = stsz({24, 25, 26});
  MediaTrack shorter = track;
  shorter.boxes.stts = stts({{19, 1024}, {1, 512}});
  EXPECT_EQ(difference(compared(bookWith({}, track), bookWith({}, shorter)), "times"),
            "track 0, sample 19, ticks long: 1024 and 512");
  MediaTrack longer = aacTrack();
  longer.boxes.stsz = stsz({24, 25, 26, 24});
  EXPECT_EQ(difference(compared(bookWith({}, track), bookWith({}, longer)), "packets"),
            "track 0, sample 3, only one has a size");
}

TEST(Compare, EndsWhateverTagsAllChaptersShare) {
  std::vector<Mark> marks;
  for (uint64_t i = 0; i < 1000; ++i) marks.push_back({i, ""});
  Bytes fields;
  for (int i = 0; i < 600; ++i) {
    append(fields, box("\xa9nam", box("data", full(0, 1), u32(0), text("T" + std::to_string(i)))));
  }
  const Bytes book = bookWith(join(chpl(marks), metaWith(fields)));
  const json document = compared(book, book);
  EXPECT_FALSE(document["same"]);
  EXPECT_THAT(difference(document, "chapters"),
              testing::AllOf(testing::StartsWith("chapter "),
                             HasSubstr(" and those after it are left out: ")));
  EXPECT_EQ(difference(document, "tags"), "");
}

TEST(Compare, TellsADifferenceBeforeThePlaceWhereItStopped) {
  const json document = compared(bookThatClaims(1), bookThatClaims(1, 9));
  EXPECT_EQ(difference(document, "times"), "track 0, sample 1, ticks long: 1 and 9");
  EXPECT_THAT(difference(document, "packets"), HasSubstr("are left out"));
}

TEST(Compare, SaysInWordsThatItDidNotComeToTheEnd) {
  const ScratchMovie first(bookThatClaims(1));
  const ScratchMovie second(bookThatClaims(1), "second.m4a");
  const auto result = inspecting::run({"compare", first.file().string(), second.file().string()});
  EXPECT_EQ(result.status, 10);
  EXPECT_THAT(result.out, testing::StartsWith("The files were not compared to their ends.\n"));
  EXPECT_THAT(result.out, HasSubstr("  packets        not known: track 0, sample "));
}

}  // namespace
