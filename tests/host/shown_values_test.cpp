// How velahost shows times and text that a file can choose freely.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "host/item_report.h"
#include "tests/host/command_run.h"
#include "tests/support/movie_builder.h"

namespace {

using namespace boxes;
using command::CommandRun;
using command::run;
using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

/// A file of the given content, which lives as long as the test.
class BuiltFile {
 public:
  explicit BuiltFile(const BuiltMovie& movie, const std::string& name = "built.mp4")
      : path_(scratch_ / name) {
    std::ofstream(path_, std::ios::binary)
        .write(reinterpret_cast<const char*>(movie.bytes.data()),
               static_cast<std::streamsize>(movie.bytes.size()));
  }
  std::string path() const { return path_.string(); }

 private:
  media::ScratchFolder scratch_;
  std::filesystem::path path_;
};

std::vector<json> jsonLines(const std::string& text) {
  std::vector<json> values;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) values.push_back(json::parse(line));
  return values;
}

/// Two seconds of film with key frames at 0 s and at 1 s, whose first chapter begins at 1.5 s.
BuiltMovie filmWithAChapterBetweenKeyFrames() {
  const MediaTrack video =
      avcTrack({.samples = 50, .timescale = 2500, .delta = 100, .syncEvery = 25});
  return movieFile({.tracks = {aacTrack({.samples = 90}), video},
                    .mvhd = mvhd({.timescale = 1000, .duration = 2000}),
                    .udta = chpl({{15'000'000, "Late"}})});
}

TEST(TimeBeforeTheItem, IsNegativeInTheTextOfASeek) {
  const BuiltFile film(filmWithAChapterBetweenKeyFrames());
  const CommandRun seek = run({"seek", film.path(), "--item", "1", "--to", "0"});
  EXPECT_EQ(seek.status, 0) << seek.err;
  EXPECT_THAT(seek.out, HasSubstr("key frame at -0.500 s (-8388608 host units),\n"
                                  "        0.500 s before the target"));
}

TEST(TimeBeforeTheItem, IsNegativeInTheJsonOfASeek) {
  const BuiltFile film(filmWithAChapterBetweenKeyFrames());
  const json seek =
      json::parse(run({"seek", film.path(), "--item", "1", "--to", "0", "--json"}).out);
  EXPECT_EQ(seek["video"]["packet"]["time"], -0.5);
  EXPECT_EQ(seek["video"]["packet"]["time_ts"], "-8388608");
}

TEST(TimeBeforeTheItem, IsNegativeInTheListOfPackets) {
  const BuiltFile film(filmWithAChapterBetweenKeyFrames());
  const CommandRun packets = run({"packets", film.path(), "--item", "1", "--stream", "video"});
  EXPECT_THAT(packets.out, HasSubstr("\nvideo        0     -0.500000 "));
  EXPECT_THAT(packets.out, HasSubstr("\nvideo        1     -0.460000 "));
  const auto lines =
      jsonLines(run({"packets", film.path(), "--item", "1", "--stream", "video", "--json"}).out);
  EXPECT_EQ(lines.at(1)["time"], -0.5);
  EXPECT_EQ(lines.at(1)["time_ts"], "-8388608");
}

TEST(AudioPacket, BeginsWhereTheOneBeforeItEnded) {
  const auto lines =
      jsonLines(run({"packets", "audiobook.m4a", "--item", "2", "--from", "1.25", "--json"}).out);
  int64_t end = 20971520;
  uint64_t frames = 0;
  for (size_t i = 1; i + 1 < lines.size(); ++i) {
    EXPECT_EQ(lines[i]["index"], i - 1);
    EXPECT_EQ(std::stoll(lines[i]["time_ts"].get<std::string>()), end);
    end += std::stoll(lines[i]["duration_ts"].get<std::string>());
    frames += lines[i]["frames"].get<uint64_t>();
    EXPECT_EQ(lines[i]["duration_ts"] == "0", i <= 10) << "pre-roll is not heard";
  }
  EXPECT_EQ(end, 20971520 + static_cast<int64_t>((frames * 16777216 + 11025) / 22050))
      << "no rounding adds up";
}

/// A song whose only tag is a free-form one.
BuiltMovie songWithTag(const std::string& name, const std::string& value) {
  return movieFile({.tracks = {aacTrack()}, .udta = metaWith(ilstNamed(name, value))});
}

TEST(ControlCharacters, OfTagsAndTheirNamesAppearEscaped) {
  const BuiltFile song(songWithTag("na\x1b[2Jme\n!",
                                   "red \x1b[31m, \xc2\x9b"
                                   "1m, \xe2\x80\xae"
                                   "desrever"));
  const CommandRun info = run({"info", song.path()});
  EXPECT_EQ(info.status, 0) << info.err;
  EXPECT_THAT(info.out,
              HasSubstr("\n  na\\x1b[2Jme\\x0a!  red \\x1b[31m, \\u009b1m, \\u202edesrever\n"));
}

TEST(ControlCharacters, OfChapterTitlesAppearEscaped) {
  const BuiltFile book(movieFile(
      {.tracks = {aacTrack()}, .udta = chpl({{0, "One\nTwo\xe2\x80\xa8Three\xe2\x81\xa6"}})}));
  EXPECT_THAT(run({"info", book.path()}).out,
              HasSubstr("0:00:00.000  One\\x0aTwo\\u2028Three\\u2066\n"));
}

#ifndef _WIN32  // which has no such names
TEST(ControlCharacters, OfFileNamesAppearEscaped) {
  const BuiltFile song(songWithTag("name", "value"), "a\x1b[1m\xe2\x80\xae.m4a");
  EXPECT_THAT(run({"info", song.path()}).out, HasSubstr("/a\\x1b[1m\\u202e.m4a\n"));
  EXPECT_THAT(run({"info", "gone\x1b.mp4"}).err, HasSubstr("gone\\x1b.mp4: "));
  EXPECT_THAT(run({"pl\x1b"}).err, HasSubstr("\"pl\\x1b\""));
}
#endif

TEST(SharedTags, AreToldOnceForABookOfManyChapters) {
  std::vector<Mark> marks;
  for (uint64_t i = 0; i < 30; ++i) marks.push_back({i * 100'000, "Part " + std::to_string(i)});
  const BuiltFile book(
      movieFile({.tracks = {aacTrack()},
                 .udta = join(metaWith(ilstNamed("reader", "Nobody"),
                                       ilstNamed("replaygain_track_gain", "-3 dB")),
                              chpl(marks))}));
  const std::string text = run({"info", book.path()}).out;
  EXPECT_EQ(text.find("Nobody"), text.rfind("Nobody"));
  EXPECT_EQ(text.find("-3.00 dB"), text.rfind("-3.00 dB"));
  EXPECT_THAT(text, HasSubstr("Tags        the same in all 30 items\n  reader      Nobody\n"));

  const json info = json::parse(run({"info", book.path(), "--json"}).out);
  EXPECT_EQ(info["tags"], json::parse(R"({"reader": ["Nobody"]})"));
  EXPECT_EQ(info["replay_gain"], json::parse(R"({"track_gain": -3.0})"));
  ASSERT_EQ(info["items"].size(), 30u);
  EXPECT_EQ(info["items"][7]["tags"], json::parse(R"({"title": ["Part 7"], "track": ["8"]})"));
  EXPECT_EQ(info["items"][7]["replay_gain"], json::object());
}

velahost::ItemReport itemWith(std::vector<velahost::Tag> tags) {
  velahost::ItemReport item;
  item.info.tags = std::move(tags);
  return item;
}

TEST(SharedTags, HaveTheSameValuesInTheSameOrderEverywhere) {
  velahost::FileReport report;
  report.items.push_back(itemWith({{u"a", u"1"}, {u"b", u"1"}, {u"b", u"2"}, {u"c", u"x"}}));
  report.items.push_back(itemWith({{u"b", u"1"}, {u"b", u"3"}, {u"c", u"x"}, {u"d", u"y"}}));
  velahost::shareCommonTags(report);
  ASSERT_EQ(report.whole.tags.size(), 1u);
  EXPECT_EQ(report.whole.tags[0].name, u"c");
  EXPECT_EQ(report.items[0].info.tags.size(), 3u);
  EXPECT_EQ(report.items[1].info.tags.size(), 3u);
}

TEST(SharedTags, DoNotDependOnItemsThatCantBeDescribed) {
  velahost::FileReport report;
  report.items.push_back(itemWith({}));
  report.items.back().failure.emplace(velahost::Place::describing, vela::TIOResult::failed);
  report.items.push_back(itemWith({{u"a", u"1"}}));
  velahost::shareCommonTags(report);
  EXPECT_EQ(report.whole.tags.size(), 1u);
  EXPECT_TRUE(report.items[1].info.tags.empty());
}

TEST(SharedTags, LeaveReplayGainThatDiffersWithItsItem) {
  velahost::FileReport report;
  for (const int32_t gain : {10000, 20000}) {
    velahost::ItemReport item;
    item.info.flags = vela::kTrackGainPresent | vela::kAlbumGainPresent;
    item.info.trackGain = gain;
    item.info.albumGain = 5000;
    report.items.push_back(item);
  }
  velahost::shareCommonTags(report);
  EXPECT_EQ(report.whole.flags, vela::kAlbumGainPresent);
  EXPECT_EQ(report.whole.albumGain, 5000);
  for (const auto& item : report.items) EXPECT_EQ(item.info.flags, vela::kTrackGainPresent);
}

TEST(JsonFailure, IsAnObjectOnStandardOutputBesideTheSentence) {
  const CommandRun gone = run({"packets", "nothing-here.mp4", "--json"});
  EXPECT_EQ(gone.status, 3);
  const json document = json::parse(gone.out);
  EXPECT_EQ(document["type"], "error");
  EXPECT_EQ(document["file"], "nothing-here.mp4");
  EXPECT_EQ(document["error"]["code"], 3);
  EXPECT_EQ(document["error"]["result"], 3);
  EXPECT_EQ(document["error"]["place"], "opening");
  EXPECT_EQ("velahost: nothing-here.mp4: " + document["error"]["message"].get<std::string>() + "\n",
            gone.err);
}

TEST(JsonFailure, OfTheCommandLineHasNoFileAndNoResult) {
  const CommandRun wrong = run({"play", "--json"});
  EXPECT_EQ(wrong.status, 64);
  const json document = json::parse(wrong.out);
  EXPECT_EQ(document["file"], nullptr);
  EXPECT_EQ(document["error"]["code"], 64);
  EXPECT_EQ(document["error"]["result"], nullptr);
  EXPECT_EQ(document["error"]["place"], "command_line");
  EXPECT_NE(wrong.err, "");
}

TEST(JsonFailure, EndsAListOfPackets) {
  MediaTrack video = avcTrack({.samples = 6});
  video.samples[4].clear();  // a sample of no bytes can't be read
  const BuiltFile film(movieFile({.tracks = {video}}));
  const CommandRun packets = run({"packets", film.path(), "--json"});
  EXPECT_EQ(packets.status, 5);
  const auto lines = jsonLines(packets.out);
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines.front()["type"], "packets");
  EXPECT_EQ(lines[4]["type"], "packet");
  EXPECT_EQ(lines.back()["type"], "error");
  EXPECT_EQ(lines.back()["error"]["place"], "reading");
}

TEST(JsonFailure, OfOneItemStandsInThatItemAndInTheDocument) {
  const BuiltFile book(
      movieFile({.tracks = {aacTrack({.samples = 94})},
                 .mvhd = mvhd({.timescale = 1000, .duration = 2000}),
                 .udta = chpl({{0, "One"}, {15'000'000, "Two"}, {10'000'000, "Three"}})}));
  const CommandRun info = run({"info", book.path(), "--json"});
  EXPECT_EQ(info.status, 5);
  const json document = json::parse(info.out);
  EXPECT_EQ(document["type"], "info");
  EXPECT_EQ(document["error"]["place"], "describing");
  EXPECT_FALSE(document["items"][0].contains("error"));
  EXPECT_TRUE(document["items"][1].contains("error"));
  EXPECT_EQ(document["items"][1]["duration"], nullptr);
  EXPECT_EQ(document["items"][1]["start"], 1.5);
}

}  // namespace
