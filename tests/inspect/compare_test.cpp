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

}  // namespace
