// velainspect tags: what the boxes hold beside what the plug-in tells.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>

#include "inspect/tag_rows.h"
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

/// The tag of that item in the output of --json.
nlohmann::json tagOf(const nlohmann::json& document, const std::string& item) {
  for (const auto& tag : document["tags"]) {
    if (tag["item"] == item) return tag;
  }
  ADD_FAILURE() << "no tag " << item << " in " << document;
  return {};
}

std::vector<std::string> valuesOf(const nlohmann::json& tag) {
  std::vector<std::string> values;
  for (const auto& value : tag["values"]) values.push_back(value["text"]);
  return values;
}

using Texts = std::vector<std::string>;

TEST(InspectTags, TellWhereATagLiesAndUnderWhichNameThePlugInTellsIt) {
  const auto document = movieWith(metaWith(ilstText(itemType("ART"), "Reader"))).json("tags");
  const auto tag = tagOf(document, "©ART");
  EXPECT_EQ(valuesOf(tag), Texts{"Reader"});
  EXPECT_EQ(tag["path"], "/moov/udta/meta/ilst/©ART");
  EXPECT_EQ(tag["told_as"], nlohmann::json::array({"artist"}));
  EXPECT_EQ(document["plugin"]["tags"][0]["name"], "artist");
  EXPECT_EQ(document["plugin"]["tags"][0]["values"], nlohmann::json::array({"Reader"}));
}

TEST(InspectTags, ShowItemsThatThePlugInHasNoNameFor) {
  const auto document = movieWith(metaWith(ilstText("aART", "Album Artist"))).json("tags");
  EXPECT_EQ(valuesOf(tagOf(document, "aART")), Texts{"Album Artist"});
  EXPECT_TRUE(tagOf(document, "aART")["told_as"].empty());
}

TEST(InspectTags, ShowEveryValueOfAnItemThoughThePlugInTakesTheLast) {
  const Bytes item = box(itemType("cmt"), data(text("one")), data(text("two")));
  const auto document = movieWith(metaWith(item)).json("tags");
  EXPECT_EQ(valuesOf(tagOf(document, "©cmt")), (Texts{"one", "two"}));
  EXPECT_EQ(document["plugin"]["tags"][0]["values"], nlohmann::json::array({"two"}));
}

TEST(InspectTags, PutNumbersPicturesAndBytesIntoWords) {
  const auto document =
      movieWith(metaWith(numberPair("trkn", 3, 12), gnre(18), tmpo(120),
                         box("cpil", data(u8(1), 21)), box("temp", data(u16(0xfffe), 21)),
                         covr(raw({0xff, 0xd8, 0xff, 0xe0})),
                         box("blob", data(raw({0, 1, 2, 3, 4, 5, 6, 7, 8, 9}), 0)),
                         box("wide", data(raw({0x30, 0x42, 0, 0x41}), 2))))
          .json("tags");
  EXPECT_EQ(valuesOf(tagOf(document, "trkn")), Texts{"3 of 12"});
  EXPECT_EQ(valuesOf(tagOf(document, "gnre")), Texts{"18 (Rock)"});
  EXPECT_EQ(valuesOf(tagOf(document, "tmpo")), Texts{"120"});
  EXPECT_EQ(valuesOf(tagOf(document, "cpil")), Texts{"1"});
  EXPECT_EQ(valuesOf(tagOf(document, "temp")), Texts{"-2"});
  EXPECT_EQ(valuesOf(tagOf(document, "covr")), Texts{"JPEG picture, 4 bytes"});
  EXPECT_EQ(valuesOf(tagOf(document, "blob")), Texts{"00 01 02 03 04 05 06 07 08 09 (10 bytes)"});
  EXPECT_EQ(valuesOf(tagOf(document, "wide")), Texts{"\u3042A"});
  EXPECT_EQ(tagOf(document, "trkn")["told_as"], nlohmann::json::array({"track", "totaltracks"}));
}

TEST(InspectTags, NameFreeFormItemsByTheirMeaningAndName) {
  const auto document = movieWith(metaWith(ilstNamed("MOOD", "calm"))).json("tags");
  EXPECT_EQ(tagOf(document, "----:org.example:MOOD")["told_as"], nlohmann::json::array({"MOOD"}));
}

TEST(InspectTags, ShowTheTaggingBoxAndTheListThatItHides) {
  const ScratchMovie movie =
      movieWith(join(metaWith(ilstText(itemType("nam"), "Hidden")),
                     ztTags(ztFields({{"Title", {"Shown"}}}), ztSegment(0, {{"mood", {"dark"}}}))));
  const auto document = movie.json("tags");
  EXPECT_TRUE(tagOf(document, "©nam")["told_as"].empty());
  EXPECT_EQ(tagOf(document, "Title")["told_as"], nlohmann::json::array({"Title"}));
  EXPECT_EQ(tagOf(document, "Title")["place"], "tagging_box");
  EXPECT_EQ(tagOf(document, "mood")["chapter"], 0);
  EXPECT_THAT(movie.run("tags").out, HasSubstr("mood of chapter 1, /moov/udta/tags/tseg/meta at"));
}

TEST(InspectTags, ShowTextsOfQuickTimeAnd3gpUserData) {
  const Bytes quickTime = box(itemType("nam"), u16(4), u16(0), text("Film"));
  const Bytes threeGp = box("dscp", full(0), u16(0x15c7), text("About"), u8(0));
  const Bytes marked = box("auth", full(0), u16(0x15c7), raw({0xfe, 0xff, 0x30, 0x42}));
  const auto document = movieWith(join(quickTime, threeGp, marked)).json("tags");
  EXPECT_EQ(valuesOf(tagOf(document, "©nam")), Texts{"Film"});
  EXPECT_EQ(valuesOf(tagOf(document, "dscp")), Texts{"About"});
  EXPECT_EQ(valuesOf(tagOf(document, "auth")), Texts{"\u3042"});
  EXPECT_EQ(tagOf(document, "dscp")["place"], "user_data");
}

TEST(InspectTags, ShowItemsThatAreNamedByKeys) {
  const auto key = [](std::string_view name) {
    return join(u32(static_cast<uint32_t>(8 + name.size())), text("mdta"), text(name));
  };
  const Bytes keyed = join(u32(8 + 16 + 2), u32(2), data(text("13")));
  const Bytes meta =
      box("meta", box("hdlr", full(0), zeros(20)),
          box("keys", full(0), u32(2), key("com.a"), key("com.b")), box("ilst", keyed));
  const auto document = movieWith(meta).json("tags");
  EXPECT_EQ(valuesOf(tagOf(document, "com.b")), Texts{"13"});
  EXPECT_TRUE(tagOf(document, "com.b")["told_as"].empty());
}

TEST(InspectTags, OfAFileThatIsRefusedAreShownWithTheReason) {
  const ScratchMovie movie(
      join(ftyp(), moov({.udta = metaWith(ilstText(itemType("nam"), "Song"))})));
  const auto document = movie.json("tags");
  EXPECT_EQ(valuesOf(tagOf(document, "©nam")), Texts{"Song"});
  EXPECT_EQ(document["plugin"]["opens"], false);
  const auto text = movie.run("tags");
  EXPECT_EQ(text.status, 0);
  EXPECT_THAT(text.out, HasSubstr("The plug-in tells nothing: "));
  EXPECT_THAT(text.out, Not(HasSubstr("not told")))
      << "nothing is said of a plug-in that is silent";
}

TEST(InspectTags, OfAFileThatCanNotSteerTheTerminal) {
  const auto out =
      movieWith(metaWith(ilstText(itemType("nam"), "a\x1b[31m\u202eb"), ilstNamed("\x1b[2J", "x")))
          .run("tags")
          .out;
  EXPECT_THAT(out, HasSubstr("a\\x1b[31m\\u202eb"));
  EXPECT_THAT(out, Not(HasSubstr("\x1b")));
}

// Comparing each name with all others would take half a minute.
TEST(InspectTags, OfManyNamesFindTheirRowsInAMoment) {
  constexpr size_t kNames = 40'000;
  std::vector<inspect::RawTag> raw(kNames);
  velahost::FileReport report;
  for (size_t i = 0; i < kNames; ++i) {
    raw[i].item = raw[i].name = "name" + std::to_string(i);
    raw[i].values = {{"value"}};
    const std::string told = "NAME" + std::to_string(i);
    report.whole.tags.push_back({std::u16string(told.begin(), told.end()), u"value"});
  }
  const std::clock_t start = std::clock();
  const std::vector<inspect::TagRow> rows = inspect::tagRows(raw, &report);
  EXPECT_LT((std::clock() - start) / CLOCKS_PER_SEC, 5);
  ASSERT_EQ(rows.size(), kNames);
  EXPECT_EQ(rows.back().told.at(0).name, "NAME39999");
}

TEST(InspectTags, WithoutAPlugInSaysSoAndShowsTheFile) {
  const auto result = movieWith(metaWith(ilstText(itemType("nam"), "Song")))
                          .run("tags", {"--plugin", "/nowhere/no.so"});
  EXPECT_EQ(result.status, 69);
  EXPECT_THAT(result.out, HasSubstr("Song"));
  EXPECT_THAT(result.out, HasSubstr("The plug-in tells nothing: The plug-in /nowhere/no.so"));
}

TEST(InspectTags, SurviveEveryCutOfTheirBoxes) {
  const Bytes whole =
      movieFile(
          {.tracks = {aacTrack({.samples = 1})},
           .udta = join(metaWith(ilstText(itemType("nam"), "Song"), numberPair("trkn", 1, 2)),
                        ztTags(ztFields({{"Title", {"Shown"}}}), ztSegment(0, {{"a", {"b"}}})),
                        chpl({{0, "One"}}))})
          .bytes;
  const Bytes type = text("udta");
  const auto userData = std::search(whole.begin(), whole.end(), type.begin(), type.end());
  ASSERT_NE(userData, whole.end());
  constexpr size_t kTrackBytesBetweenCuts = 41;  // in the boxes before, which hold no tags
  for (size_t length = 0; length < whole.size();
       length +=
       length < static_cast<size_t>(userData - whole.begin()) ? kTrackBytesBetweenCuts : 1) {
    const ScratchMovie cut(Bytes(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length)));
    for (const char* const command : {"tags", "chapters", "covers"}) {
      const auto result = cut.run(command);
      EXPECT_EQ(result.status, 0) << command << " of " << length << " bytes: " << result.err;
    }
  }
}

}  // namespace
