// The samples that are read straight from a file's tables, held against the library's own lookups.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "inspect/opening.h"
#include "inspect/sample_reader.h"
#include "tests/inspect/scratch_movie.h"
#include "tests/support/movie_builder.h"

namespace {

using namespace boxes;
using inspect::Sample;
using inspecting::ScratchMovie;
using testing::HasSubstr;

/// Asks the library for every sample anew, and compares.
void expectTheLibrarysSamples(inspect::File& file) {
  inspect::Opening opening;
  inspect::open(file, opening);
  const inspect::MovieMap map = inspect::readMovieMap(file);
  if (opening.refusal && opening.refusal->position) return;  // the library has no tables then
  ASSERT_EQ(map.tracks.size(), opening.movie.trackCount());
  for (const inspect::TrackMap& track : map.tracks) {
    const atomkit::CodecKind kind = opening.movie.codecKind(track.number);
    if (!isAudio(kind) && !isVideo(kind)) continue;  // whose tables the library passes over
    atomkit::TrackSummary summary;
    opening.movie.summary(track.number, summary);
    EXPECT_EQ(summary.sampleCount, static_cast<uint32_t>(track.sampleCount));
    inspect::SampleReader reader(file, track);
    Sample sample;
    uint32_t count = 0;
    for (; reader.next(sample); ++count) {
      ASSERT_EQ(sample.number, count);
      if (!sample.hasSize) return;
      if (count > 500 && count % 997 != 0) continue;  // each lookup walks the tables
      SCOPED_TRACE(count);
      atomkit::SampleCursor cursor;
      cursor.track = track.number;
      atomkit::SampleInfo info;
      try {
        opening.movie.reposition(cursor, count);
        opening.movie.sampleInfo(cursor, info);
      } catch (const atomkit::exception&) {
        // The sum of a chunk's sizes needs the size of the sample after them, too.
        EXPECT_EQ(uint64_t{count} + 1, track.sizes.count);
        continue;
      }
      EXPECT_EQ(sample.decodeTime, cursor.decodeTime);
      EXPECT_EQ(sample.duration, info.duration);
      EXPECT_EQ(sample.compositionOffset, info.compositionOffset);
      EXPECT_EQ(sample.size, info.size);
      EXPECT_EQ(sample.offset, info.fileOffset);
    }
    EXPECT_EQ(count, reader.count());
  }
}

class SamplesOfFile : public testing::TestWithParam<media::File> {};

TEST_P(SamplesOfFile, AreThoseOfTheLibrary) {
  SKIP_WITHOUT_CORPUS(GetParam());
  inspect::File file(GetParam().path());
  expectTheLibrarysSamples(file);
}

std::vector<media::File> everyFile() {
  std::vector<media::File> files;
  for (const char* name : {"sample.mp4", "audiobook.m4a", "text.m4a", "asp-mp3.mp4", "mp3-only.mp4",
                           "h264-only.mp4", "negative-offsets.mp4", "corrupt/chunks-overlap.mp4"}) {
    files.push_back({media::File::Origin::own, name});
  }
  for (const auto& row : media::readTable(media::dataFolder() / "golden/files.tsv")) {
    files.push_back({media::File::Origin::corpus, row.at(0)});
  }
  return files;
}

INSTANTIATE_TEST_SUITE_P(Inspect, SamplesOfFile, testing::ValuesIn(everyFile()), media::caseName);

TEST(SampleReader, FollowsOddTablesAsTheLibraryDoes) {
  const std::vector<Bytes> maps = {stsc({{1, 3}, {3, 1}, {4, 5}}),
                                   stsc({{1, 1}, {2, 0}, {3, 2}}),
                                   stsc({{2, 4}}),
                                   stsc({{1, 7}, {1, 2}}),
                                   stsc({{1, 100}}),
                                   stsc({}),
                                   stsc({{5, 2}, {3, 1}, {9, 1}})};
  for (size_t i = 0; i < maps.size(); ++i) {
    SCOPED_TRACE(i);
    MediaTrack film = avcTrack({.samples = 12});
    film.boxes.stsc = maps[i];
    film.boxes.ctts = ctts({{2, 10}, {0, 7}, {3, -4}, {1, 0}});
    film.boxes.stts = stts({{2, 100}, {0, 9}, {7, 50}, {3, 0}});
    const ScratchMovie movie(movieFile({.tracks = {film}}).bytes);
    inspect::File file(movie.file());
    expectTheLibrarysSamples(file);
  }
}

TEST(SampleReader, PassesOverTablesThatStandInTheWrongPlace) {
  const Bytes tables = box("stbl", stszConstant(7, 12), stts({{99, 1}}));
  MediaTrack film = avcTrack();
  film.boxes.stco = join(stco({100, 200, 300, 400, 500, 600}),
                         box("mdia", mdhd({.timescale = 7}), box("minf", tables)));
  const ScratchMovie movie(movieFile({.tracks = {film}}).bytes);
  inspect::File file(movie.file());
  expectTheLibrarysSamples(file);
  EXPECT_EQ(inspect::readMovieMap(file).tracks.at(0).timescale, 25000u);
}

TEST(SampleReader, LeavesOutTheSizesThatAreNotThere) {
  MediaTrack sound = aacTrack({.samples = 20});
  sound.boxes.stsz = stsz({24, 25, 26});
  const ScratchMovie movie(movieFile({.tracks = {sound}}).bytes);
  const std::string out = movie.run("samples").out;
  EXPECT_THAT(out, HasSubstr("       3  and those after it have no size: 17 samples\n"));
}

TEST(Samples, ShowTheRangeThatIsAskedFor) {
  const auto numbers = [](const std::string& range) {
    const auto result = inspecting::run({"samples", "mp3-only.mp4", "--json", "--range", range});
    EXPECT_EQ(result.status, 0) << result.err;
    std::vector<int> all;
    std::istringstream lines(result.out);
    for (std::string line; std::getline(lines, line);) {
      const auto document = nlohmann::json::parse(line);
      if (document["type"] == "sample") all.push_back(document["sample"]);
    }
    return all;
  };
  EXPECT_THAT(numbers("3:6"), testing::ElementsAre(3, 4, 5));
  EXPECT_THAT(numbers(":2"), testing::ElementsAre(0, 1));
  EXPECT_THAT(numbers("115:"), testing::ElementsAre(115, 116));
  EXPECT_THAT(numbers("6:3"), testing::IsEmpty());
  EXPECT_THAT(numbers("9000:"), testing::IsEmpty());
}

TEST(Samples, AreNeverMoreThanTheFileHasBytesUnlessTheRangeHasAnEnd) {
  MediaTrack sound = aacTrack();
  sound.boxes.stsz = stszConstant(1, 4000000000);
  sound.boxes.stts = stts({{4000000000, 1}});
  const ScratchMovie movie(movieFile({.tracks = {sound, sound}}).bytes);
  const auto bytes = static_cast<size_t>(std::filesystem::file_size(movie.file()));
  ASSERT_LT(bytes, 9000u);
  const auto lines = [](const std::string& text) {
    return static_cast<size_t>(std::count(text.begin(), text.end(), '\n'));
  };
  const std::string out = movie.run("samples").out;
  EXPECT_EQ(lines(out), bytes + 2 * 3) << "two headings and the note for each track";
  EXPECT_THAT(out, HasSubstr(fmt::format(
                       "\n{:>8}  and those after it are left out, as the file claims more samples "
                       "than it has bytes: {} samples. --range with an end lists them.\n",
                       bytes, 4000000000 - bytes)));
  EXPECT_THAT(out, HasSubstr("\n       0  and those after it are left out"))
      << "the budget is that of the file, not of a track";
  EXPECT_THAT(
      movie.run("samples", {"--json", "--range", "3:"}).out,
      HasSubstr(fmt::format(R"({{"type":"left_out","track":0,"first_sample":{},"samples":{}}})",
                            bytes + 3, 4000000000 - bytes - 3)));
  EXPECT_EQ(lines(movie.run("samples", {"--track", "1", "--range", "2:20000"}).out), 19998u + 2);
}

TEST(Samples, RefuseRangesAndTracksThatMakeNoSense) {
  for (const char* range : {"3", "a:b", "-1:3", "1:2:3", ":-", "99999999999999999999:"}) {
    EXPECT_EQ(inspecting::run({"samples", "sample.mp4", "--range", range}).status, 64) << range;
  }
  const auto result = inspecting::run({"samples", "sample.mp4", "--track", "3"});
  EXPECT_EQ(result.status, 64);
  EXPECT_EQ(result.err,
            "velainspect: sample.mp4: There is no track 3. The file has 3 tracks, counted from "
            "0.\n");
  EXPECT_EQ(inspecting::run({"samples", "x.help.txt"}).status, 5) << "no tracks at all";
}

TEST(Samples, AreListedOfAFileThatIsRefused) {
  const auto result =
      inspecting::run({"samples", "corrupt/avcc-reserved-bits.mp4", "--track", "0"});
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.out, inspecting::run({"samples", "sample.mp4", "--track", "0"}).out);
}

TEST(Samples, ShowTheRunsOfTheTables) {
  MediaTrack film = avcTrack({.samples = 12, .syncEvery = 6});
  film.boxes.ctts = ctts({{4, 2000}, {8, -1000}});
  const ScratchMovie movie(movieFile({.tracks = {film}}).bytes);
  const std::string out = movie.run("samples", {"--runs"}).out;
  EXPECT_THAT(out, HasSubstr("  stts  0 to 11               1000 ticks each\n"));
  EXPECT_THAT(out, HasSubstr("  ctts  4 to 11               shown -1000 ticks later\n"));
  EXPECT_THAT(out, HasSubstr("  stss  6                     sync\n"));
  EXPECT_THAT(out, HasSubstr("  stsc  0 to 5                chunks of 2 samples, description 1\n"));
}

}  // namespace
