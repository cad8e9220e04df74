// Why a file is refused, and what is lost of one that opens; held against the plug-in itself.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>

#include "host/command_line.h"
#include "inspect/losses.h"
#include "inspect/movie_map.h"
#include "inspect/opening.h"
#include "tests/inspect/scratch_movie.h"
#include "tests/support/movie_builder.h"

namespace {

using namespace boxes;
using inspecting::ScratchMovie;
using nlohmann::json;
using testing::HasSubstr;
using testing::StartsWith;

json whyOf(const ScratchMovie& movie) {
  const auto result = movie.run("why", {"--json"});
  return json::parse(result.out);
}

json refusalOf(const Bytes& bytes) {
  const json document = whyOf(ScratchMovie(bytes));
  EXPECT_FALSE(document["opens"]);
  EXPECT_NE(document["refusal"]["meaning"], "");
  return document["refusal"];
}

Bytes fileWith(const MediaTrack& track) { return movieFile({.tracks = {track}}).bytes; }

TEST(Why, NamesTheByteAndTheBoxOfABrokenConfiguration) {
  MediaTrack film = avcTrack();
  film.boxes.stsd = stsd(avc1({.child = box("avcC", raw({1, 0x42, 0xc0, 0x0a, 0xff, 0x01}))}));
  const Bytes bytes = movieFile({.tracks = {aacTrack(), film}}).bytes;
  const json refusal = refusalOf(bytes);
  const std::string pattern = "avcC";
  const auto found = std::search(bytes.begin(), bytes.end(), pattern.begin(), pattern.end());
  const auto box = static_cast<uint64_t>(found - bytes.begin()) - 4;
  EXPECT_EQ(refusal["message"], "invalid avcC chunk (2)");
  EXPECT_EQ(refusal["path"], "/moov/trak[1]/mdia/minf/stbl/stsd/avc1/avcC");
  EXPECT_EQ(refusal["box_offset"], box);
  EXPECT_EQ(refusal["offset"], box + 8 + 6) << "the sixth byte of the payload has been read";
  const auto text = ScratchMovie(bytes).run("why");
  EXPECT_EQ(text.status, 5);
  EXPECT_THAT(text.out, HasSubstr(": refused: invalid avcC chunk (2), after byte " +
                                  std::to_string(box + 14) +
                                  ", in /moov/trak[1]/mdia/minf/stbl/stsd/avc1/avcC at " +
                                  std::to_string(box) + "\n"));
}

TEST(Why, NamesTheBoxOfEveryRule) {
  MediaTrack sync = avcTrack();
  sync.boxes.stss = stss({5, 3});
  MediaTrack times = aacTrack();
  times.boxes.stts = join(stts({{20, 1024}}), stts({{20, 1024}}));
  MediaTrack liar = aacTrack();
  liar.boxes.stts = box("stts", full(0), u32(1000), u32(20), u32(1024));
  MediaTrack tooBig = aacTrack();
  tooBig.boxes.stts = boxClaiming(0x10000, "stts", full(0), u32(0));
  MediaTrack descriptor = aacTrack();
  descriptor.boxes.stsd = stsd(mp4a({.child = box("esds", full(0), raw({3, 5}))}));
  std::vector<Mark> marks(1025);
  const struct {
    Bytes bytes;
    std::string message;
    std::string path;
  } cases[] = {
      {fileWith(sync), "invalid stss data", "/moov/trak/mdia/minf/stbl/stss"},
      {fileWith(times), "duplicate stts data", "/moov/trak/mdia/minf/stbl/stts[1]"},
      {fileWith(liar), "attempting to read past end of atom", "/moov/trak/mdia/minf/stbl/stts"},
      {fileWith(tooBig), "atom size bigger than expected", "/moov/trak/mdia/minf/stbl/stts"},
      {fileWith(descriptor), "invalid esds atom (1)", "/moov/trak/mdia/minf/stbl/stsd/mp4a/esds"},
      {movieFile({.tracks = {aacTrack()}, .udta = chpl(marks)}).bytes, "invalid chapter count",
       "/moov/udta/chpl"},
      {join(fileWith(aacTrack()), box("moov", mvhd())), "duplicate moov atom", "/moov[1]"},
      {join(fileWith(aacTrack()), boxClaiming(99, "mdat")), "attempting to skip past end of file",
       "/mdat[1]"},
      {join(fileWith(aacTrack()), boxClaiming(0, "mdat", zeros(40))), "invalid box/atom header",
       "/mdat[1]"},
  };
  for (const auto& one : cases) {
    const json refusal = refusalOf(one.bytes);
    EXPECT_EQ(refusal["message"], one.message);
    EXPECT_EQ(refusal["path"], one.path) << one.message;
  }
}

TEST(Why, SaysThatAFileWithoutAMovieIsNoMovie) {
  EXPECT_THAT(refusalOf(text("This is no film."))["meaning"].get<std::string>(),
              StartsWith("There is no movie box and no media data"));
  EXPECT_THAT(refusalOf(box("mdat", zeros(99)))["meaning"].get<std::string>(),
              StartsWith("There is media data, but no movie box"));
  EXPECT_EQ(refusalOf({})["meaning"], "The file is empty.");
  EXPECT_THAT(refusalOf(join(box("moov", mvhd({.duration = 0})), box("moof")))["meaning"]
                  .get<std::string>(),
              HasSubstr("the movie is in 1 fragment"));
}

TEST(Why, NamesTheKindsOfTracksThatAreNotPlayed) {
  MediaTrack sound = aacTrack({.objectType = 0xa5});
  MediaTrack picture = avcTrack();
  picture.boxes.stsd = stsd(videoEntry("hvc1", {}));
  const json refusal = refusalOf(movieFile({.tracks = {sound, picture}}).bytes);
  EXPECT_EQ(refusal["message"], "no track that can be played");
  EXPECT_EQ(refusal["path"], nullptr);
  EXPECT_THAT(refusal["meaning"].get<std::string>(),
              HasSubstr("track 0: mp4a of object type 0xa5, track 1: hvc1"));
}

TEST(Why, TellsWhenTagsCanBeReadAlthoughPlayingIsRefused) {
  MediaTrack sync = avcTrack();
  sync.boxes.stss = stss({5, 3});
  EXPECT_TRUE(refusalOf(fileWith(sync))["describable"]);
  EXPECT_FALSE(refusalOf(text("This is no film."))["describable"]);
}

json lossesOf(const Bytes& bytes) {
  const json document = whyOf(ScratchMovie(bytes));
  EXPECT_TRUE(document["opens"]) << document.dump();
  return document["losses"];
}

/// The count of the loss with a code; -1 when it is not told.
int64_t countOf(const json& losses, const std::string& code) {
  for (const json& loss : losses) {
    if (loss["code"] == code) return loss["count"];
  }
  return -1;
}

TEST(Losses, AreLookedForInNoMoreSamplesThanTheFileHasBytes) {
  // A thousand chunks in the same place, with a thousand samples each.
  MediaTrack claims = aacTrack();
  claims.boxes.stsz = stszConstant(1, 1'000'000);
  claims.boxes.stts = stts({{1'000'000, 1024}});
  claims.boxes.stsc = stsc({{1, 1000}});
  claims.boxes.stco = stco(std::vector<uint64_t>(1000, 100));
  claims.boxes.duration = uint64_t{1'000'000} * 1024;
  const ScratchMovie movie(movieFile({.tracks = {claims}}).bytes);
  inspect::File file(movie.file());
  inspect::Opening opening;
  inspect::open(file, opening);
  int polls = 0;
  inspect::findLosses(file, opening, inspect::readMovieMap(file), [&] { ++polls; });
  EXPECT_EQ(polls, 1) << "one for 65,536 samples";
}

TEST(Losses, AreNoneForAFileThatIsDeliveredWhole) {
  EXPECT_EQ(lossesOf(movieFile({.tracks = {avcTrack(), aacTrack({.samples = 30})}}).bytes).size(),
            0u);
}

TEST(Losses, CountTracksThatAreNotTaken) {
  const json losses = lossesOf(movieFile({.tracks = {aacTrack(), aacTrack({.samples = 7})}}).bytes);
  EXPECT_EQ(countOf(losses, "track_not_taken"), 7);
  EXPECT_EQ(losses[0]["message"],
            "Track 1 is not taken: audio comes from track 0 alone; 7 samples not delivered");
}

TEST(Losses, CountNegativeOffsetsAndTheSamplesThatTheyCost) {
  MediaTrack film = avcTrack({.samples = 9});
  film.boxes.ctts = ctts({{4, 0}, {3, -1000}, {2, 0}});
  const json losses = lossesOf(fileWith(film));
  EXPECT_EQ(countOf(losses, "negative_offsets"), 3);
  EXPECT_EQ(countOf(losses, "late_samples"), 5);
}

TEST(Losses, CountSamplesThatCantBeRead) {
  MediaTrack sound = aacTrack();
  sound.boxes.stco = stco({100, 0x70000000, 0x70000000, 0x70000000, 0x70000000});
  EXPECT_EQ(countOf(lossesOf(fileWith(sound)), "unreadable"), 16);
  MediaTrack empty = aacTrack();
  empty.boxes.stsz =
      stsz({24, 25, 0, 24, 25, 26, 24, 25, 26, 24, 25, 26, 24, 25, 26, 24, 25, 26, 24, 25});
  EXPECT_EQ(countOf(lossesOf(fileWith(empty)), "unreadable"), 18);
}

TEST(Losses, CountWhatTheTagsLose) {
  const json losses = lossesOf(
      movieFile({.tracks = {aacTrack()},
                 .udta = join(chpl({{0, "One"}, {2'000'000, "Two"}}),
                              metaWith(ilstText("\xa9nam", "Book"), ilstText("aART", "x"),
                                       ilstText("desc", "y"), ilstNamed("mood", "calm"),
                                       box("covr", box("data", full(0), u32(0), zeros(20)))))})
          .bytes);
  EXPECT_EQ(countOf(losses, "tags_unknown"), 2);
  EXPECT_EQ(countOf(losses, "chapter_titles_hidden"), 2);
  EXPECT_EQ(countOf(losses, "covers"), 1);
}

TEST(Losses, NameTheRuleThatDropsTheTags) {
  const json losses =
      lossesOf(movieFile({.tracks = {aacTrack()},
                          .udta = metaWith(ilstText("\xa9nam", "Book"), boxClaiming(9000,
                                                                                    "\xa9"
                                                                                    "ART"))})
                   .bytes);
  ASSERT_EQ(countOf(losses, "tags_dropped"), 1);
  EXPECT_THAT(losses[0]["message"].get<std::string>(),
              HasSubstr("atom size bigger than expected, after byte"));
  EXPECT_THAT(losses[0]["message"].get<std::string>(), HasSubstr("in /moov/udta/meta/ilst/©ART"));
}

TEST(Losses, TellOfTaggingBoxesThatHideOrDiscard) {
  const Bytes items = metaWith(ilstText("\xa9nam", "Book"));
  const Bytes tagging = ztTags(ztFields({{"title", {"Other"}}}));
  EXPECT_EQ(
      countOf(lossesOf(movieFile({.tracks = {aacTrack()}, .udta = join(tagging, items)}).bytes),
              "tags_hidden"),
      1);
  EXPECT_EQ(
      countOf(lossesOf(movieFile({.tracks = {aacTrack()}, .udta = join(tagging, tagging)}).bytes),
              "tags_dropped"),
      2);
}

/// What velahost gets of a file, by its own way through the plug-in.
struct Delivered {
  int status;
  std::map<std::string, int64_t> packets;
};

Delivered deliveredOf(const std::filesystem::path& file) {
  std::ostringstream out;
  std::ostringstream err;
  const int status = velahost::runCommandLine(
      {"packets", "--json", file.string(), "--plugin", media::pluginFile().string()}, out, err,
      cli::Terminal::no);
  Delivered delivered{status, {}};
  std::istringstream lines(out.str());
  for (std::string line; std::getline(lines, line);) {
    const json document = json::parse(line);
    if (document["type"] == "packet") ++delivered.packets[document["stream"].get<std::string>()];
  }
  return delivered;
}

int64_t samplesOf(const std::filesystem::path& file, int64_t track) {
  const auto result = inspecting::run(
      {"samples", file.string(), "--json", "--track", std::to_string(track), "--range", "0:0"});
  std::istringstream lines(result.out);
  std::string line;
  std::getline(lines, line);
  std::getline(lines, line);
  return json::parse(line)["samples"];
}

class EveryFile : public testing::TestWithParam<media::File> {};

// The two programs come to their results in different ways: one plays, the other reads tables.
TEST_P(EveryFile, IsJudgedAsThePluginJudgesIt) {
  SKIP_WITHOUT_CORPUS(GetParam());
  const std::filesystem::path file = GetParam().path();
  const auto result = inspecting::run({"why", file.string(), "--json"});
  const json why = json::parse(result.out);
  const Delivered delivered = deliveredOf(file);
  EXPECT_EQ(result.status, why["opens"] ? 0 : 5);
  if (!why["opens"]) {
    EXPECT_EQ(delivered.status, 5);
    EXPECT_TRUE(delivered.packets.empty());
    return;
  }
  bool unreadable = false;
  std::map<int64_t, int64_t> lost;
  for (const json& loss : why["losses"]) {
    const std::string code = loss["code"];
    if (code == "unreadable" || code == "cannot_start") unreadable = true;
    if (code == "unreadable" || code == "late_samples" || code == "start_skipped") {
      lost[loss["track"]] += loss["count"].get<int64_t>();
    }
  }
  EXPECT_EQ(delivered.status != 0, unreadable) << why.dump();
  if (delivered.status != 0) return;  // what fails in one stream ends the other
  for (const std::string kind : {"audio", "video"}) {
    const json track = why[kind + "_track"];
    const int64_t expected =
        track.is_null() ? 0 : samplesOf(file, track) - lost[track.get<int64_t>()];
    EXPECT_EQ(delivered.packets.contains(kind) ? delivered.packets.at(kind) : 0, expected)
        << kind << " " << why.dump();
  }
}

std::vector<media::File> everyFile() {
  std::vector<media::File> files;
  for (const char* name :
       {"sample.mp4", "audiobook.m4a", "text.m4a", "asp-mp3.mp4", "mp3-only.mp4", "h264-only.mp4",
        "negative-offsets.mp4", "corrupt/avcc-reserved-bits.mp4", "corrupt/cut-in-media-data.mp4",
        "corrupt/unknown-sound.m4a", "corrupt/child-too-big.mp4", "corrupt/sync-samples-fall.mp4",
        "corrupt/chunks-overlap.mp4"}) {
    files.push_back({media::File::Origin::own, name});
  }
  for (const auto& row : media::readTable(media::dataFolder() / "golden/files.tsv")) {
    files.push_back({media::File::Origin::corpus, row.at(0)});
  }
  return files;
}

INSTANTIATE_TEST_SUITE_P(Inspect, EveryFile, testing::ValuesIn(everyFile()), media::caseName);

}  // namespace
