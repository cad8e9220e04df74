// velainspect chapters: the lists in the file beside what the plug-in tells.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/inspect/scratch_movie.h"
#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"

namespace {

using namespace boxes;
using inspecting::ScratchMovie;
using testing::HasSubstr;
using testing::Not;

ScratchMovie movieWith(const Bytes& userData) {
  return ScratchMovie(movieFile({.tracks = {aacTrack({})}, .udta = userData}).bytes);
}

TEST(InspectChapters, OfBothVersionsOfTheListAreRead) {
  const Bytes shortList = box("chpl", u8(0), zeros(4), u32(1), u32(25'000'000), u8(3), text("Two"));
  for (const Bytes& list : {shortList, chpl({{25'000'000, "Two"}})}) {
    const auto document = movieWith(list).json("chapters");
    const auto chapter = document["lists"][0]["chapters"][0];
    EXPECT_EQ(chapter["start"], 2.5);
    EXPECT_EQ(chapter["start_100ns"], "25000000");
    EXPECT_EQ(chapter["title"], "Two");
    EXPECT_EQ(document["lists"][0]["read_by_plugin"], true);
    EXPECT_EQ(document["plugin"]["chapters"][0]["start"], 2.5);
  }
}

TEST(InspectChapters, ShowTitlesThatTheFilesTitleHides) {
  const ScratchMovie movie = movieWith(
      join(chpl({{0, "One"}, {1'000'000, "Two"}}), metaWith(ilstText(itemType("nam"), "Book"))));
  const auto document = movie.json("chapters");
  EXPECT_EQ(document["lists"][0]["chapters"][1]["title"], "Two");
  EXPECT_EQ(document["plugin"]["chapters"][1]["title"], "Book");
  EXPECT_THAT(movie.run("chapters").out,
              HasSubstr("   2  0:00:00.100  Two * 0:00:00.100  Book\n"
                        "      * told otherwise than it is in the file\n"));
}

TEST(InspectChapters, AreTakenFromTheLastListAsThePlugInDoes) {
  const auto document = movieWith(join(chpl({{0, "Old"}}), chpl({{0, "New"}}))).json("chapters");
  ASSERT_EQ(document["lists"].size(), 2u);
  EXPECT_EQ(document["lists"][0]["read_by_plugin"], false);
  EXPECT_EQ(document["lists"][1]["read_by_plugin"], true);
  EXPECT_EQ(document["plugin"]["chapters"][0]["title"], "New");
}

TEST(InspectChapters, OfAListOfAnUnknownVersionAreNotThePlugIns) {
  const Bytes list = box("chpl", u8(2), zeros(4), u32(1), u64(0), u8(1), text("X"));
  const auto document = movieWith(list).json("chapters");
  EXPECT_EQ(document["lists"][0]["read_by_plugin"], false);
}

TEST(InspectChapters, OfAListThatIsCutAreShownAsFarAsTheyGo) {
  const Bytes list = box("chpl", u8(1), zeros(4), u32(3), u64(0), u8(3), text("One"), u64(1));
  const auto document = movieWith(list).json("chapters");
  EXPECT_EQ(document["lists"][0]["cut_short"], true);
  EXPECT_EQ(document["lists"][0]["chapters"].size(), 1u);
  EXPECT_EQ(document["plugin"]["opens"], false);
}

Bytes tkhdOf(uint32_t id) { return box("tkhd", full(0, 7), zeros(8), u32(id), zeros(68)); }

/// A book whose sound names a track of titles.
ScratchMovie movieWithChapterTrack(MediaTrack titles) {
  MediaTrack audio = aacTrack({});
  audio.boxes.tkhd = join(tkhdOf(1), box("tref", box("chap", u32(2))));
  titles.boxes.tkhd = tkhdOf(2);
  titles.boxes.timescale = 10;
  titles.boxes.stsd = stsd(otherEntry());
  return ScratchMovie(movieFile({.tracks = {audio, titles}}).bytes);
}

TEST(InspectChapters, OfAChapterTrackAreShownThoughThePlugInReadsNone) {
  MediaTrack titles;
  titles.boxes.stts = stts({{1, 15}, {1, 5}});
  titles.samples = {join(u16(3), text("One")), join(u16(4), raw({0xfe, 0xff, 0x30, 0x42}))};
  const ScratchMovie movie = movieWithChapterTrack(titles);
  const auto lists = movie.json("chapters")["lists"];
  ASSERT_EQ(lists.size(), 1u);
  EXPECT_EQ(lists[0]["kind"], "track");
  EXPECT_EQ(lists[0]["path"], "/moov/trak[1]");
  EXPECT_EQ(lists[0]["read_by_plugin"], false);
  EXPECT_EQ(lists[0]["cut_short"], false);
  EXPECT_EQ(lists[0]["chapters"][0]["title"], "One");
  EXPECT_EQ(lists[0]["chapters"][1]["title"], "\u3042");
  EXPECT_EQ(lists[0]["chapters"][1]["start"], 1.5);
  EXPECT_THAT(
      movie.run("chapters").out,
      HasSubstr("/moov/trak[1], a chapter track: 2 chapters\n      not read by the plug-in\n"));
}

TEST(InspectChapters, OfAChapterTrackWhoseTitlesShareTheirBytesAreNoMoreThanTheFileHolds) {
  constexpr uint16_t kLength = 5000;
  MediaTrack titles;
  titles.samples = {join(u16(kLength), repeat('x', kLength))};
  titles.boxes.stts = stts({{60000, 1}});
  titles.boxes.stsz = stszConstant(kLength + 2, 60000);
  titles.boxes.stsc = stsc({{1, 1}});
  const ScratchMovie movie = movieWithChapterTrack(titles);
  const auto bytes = std::filesystem::file_size(movie.file());
  const auto lists = movie.json("chapters")["lists"];
  ASSERT_EQ(lists.size(), 1u);
  EXPECT_EQ(lists[0]["cut_short"], true);
  EXPECT_EQ(lists[0]["chapters"].size(), bytes * 3 / 2 / (kLength + 16));
}

TEST(InspectChapters, OfAChapterTrackWithoutTitlesAreNoMoreThanTheFileHolds) {
  MediaTrack titles;
  titles.samples = {u16(0)};
  titles.boxes.stts = stts({{60000, 1}});
  titles.boxes.stsz = stszConstant(2, 60000);
  titles.boxes.stsc = stsc({{1, 1}});
  const ScratchMovie movie = movieWithChapterTrack(titles);
  const auto lists = movie.json("chapters")["lists"];
  EXPECT_EQ(lists[0]["cut_short"], true);
  EXPECT_LT(lists[0]["chapters"].size(), std::filesystem::file_size(movie.file()) / 10);
}

TEST(InspectChapters, WithoutAListAreOneOfTheWholeFile) {
  const ScratchMovie movie = movieWith({});
  EXPECT_EQ(movie.run("chapters").out,
            "No chapters in the file.\n"
            "The plug-in makes one of the whole file: 0:00:00.000  no title\n");
}

}  // namespace
