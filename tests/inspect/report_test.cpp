// velainspect report: the file it writes, and the numbers of its plots. What the page looks
// like is looked at in a browser, by page_test.py.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <numeric>
#include <vector>

#include "inspect/report_data.h"
#include "inspect/report_series.h"
#include "tests/inspect/scratch_movie.h"
#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"

namespace {

using namespace boxes;
using inspecting::ScratchMovie;
using testing::HasSubstr;
using testing::Not;
namespace fs = std::filesystem;

constexpr std::string_view kDataStart = R"(<script type="application/json" id="data">)";

/// The data that stands in the page about a movie.
nlohmann::json dataOf(const std::string& page) {
  const size_t start = page.find(kDataStart) + kDataStart.size();
  return nlohmann::json::parse(page.substr(start, page.find("</script>", start) - start));
}

nlohmann::json reportOf(const ScratchMovie& movie) {
  const fs::path page = movie.folder() / "page.html";
  const auto result = movie.run("report", {"-o", page.string()});
  EXPECT_EQ(result.status, 0) << result.err;
  return dataOf(media::readText(page));
}

inspect::TrackSeries seriesOf(const Bytes& bytes) {
  const ScratchMovie movie(bytes);
  inspect::File file(movie.file());
  const inspect::MovieMap map = inspect::readMovieMap(file);
  return inspect::readTrackSeries(file, map.tracks.at(0), [] {});
}

TEST(InspectReport, HoldsTextOfTheFileThatEndsNoScript) {
  const std::string title = "</script><script>alert(1)</script>";
  const ScratchMovie movie(
      movieFile({.tracks = {aacTrack({})}, .udta = metaWith(ilstText(itemType("nam"), title))})
          .bytes);
  const fs::path page = movie.folder() / "page.html";
  ASSERT_EQ(movie.run("report", {"-o", page.string()}).status, 0);
  const std::string text = media::readText(page);
  EXPECT_THAT(text, Not(HasSubstr("alert(1)</script>")));
  EXPECT_EQ(dataOf(text)["tags"][0]["raw"], title);
  EXPECT_THAT(text, HasSubstr("default-src 'none'"));
  EXPECT_THAT(text, HasSubstr("Copyright (c) 2022 Leon Sorokin"))
      << "the plotting library's licence";
}

TEST(InspectReport, ReplacesAPageOnlyWhenForced) {
  const ScratchMovie movie(movieFile({.tracks = {aacTrack({})}}).bytes);
  const fs::path page = movie.folder() / "page.html";
  std::ofstream(page) << "mine";
  EXPECT_EQ(movie.run("report", {"-o", page.string()}).status, 74);
  EXPECT_EQ(media::readText(page), "mine");
  EXPECT_EQ(movie.run("report", {"-o", page.string(), "--force"}).status, 0);
  EXPECT_THAT(media::readText(page), HasSubstr("<!DOCTYPE html>"));
}

TEST(InspectReport, RefusesTheFileItselfAsItsPage) {
  const Bytes bytes = movieFile({.tracks = {aacTrack({})}}).bytes;
  const ScratchMovie movie(bytes);
  EXPECT_EQ(movie.run("report", {"-o", movie.file().string(), "--force"}).status, 64);
  EXPECT_EQ(fs::file_size(movie.file()), bytes.size());
}

TEST(InspectReport, LeavesNothingWhereItsPageCanNotBe) {
  const ScratchMovie movie(movieFile({.tracks = {aacTrack({})}}).bytes);
  EXPECT_EQ(movie.run("report", {"-o", (movie.folder() / "no/page.html").string()}).status, 74);
  EXPECT_EQ(std::distance(fs::directory_iterator(movie.folder()), {}), 1);
}

TEST(InspectReport, OfARefusedFileNamesTheRule) {
  const auto data = reportOf(ScratchMovie(join(ftyp(), moov({}))));
  EXPECT_EQ(data["outcome"]["plays"], false);
  EXPECT_THAT(data["outcome"]["sentence"].get<std::string>(),
              HasSubstr("The plug-in refuses the file: "));
  EXPECT_EQ(data["boxes"][0]["type"], "ftyp");
}

TEST(InspectReport, HoldsPicturesAsLongAsThereIsRoom) {
  const Bytes png = join(raw({0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}), zeros(9));
  const Bytes large = join(raw({0xff, 0xd8, 0xff}), zeros(1'600'000));
  const auto covers =
      reportOf(ScratchMovie(movieFile({.tracks = {aacTrack({})},
                                       .udta = metaWith(box("covr", data(large, 13), data(png, 14),
                                                            data(text("<svg/>"), 14)))})
                                .bytes))["covers"];
  EXPECT_TRUE(covers[0]["image"].is_null());
  EXPECT_THAT(covers[0]["left_out"].get<std::string>(), HasSubstr("Too large"));
  EXPECT_EQ(covers[1]["image"], "data:image/png;base64,iVBORw0KGgoAAAAAAAAAAAA=");
  EXPECT_TRUE(covers[2]["image"].is_null()) << "a drawing may hold scripts";
}

TEST(TrackSeries, AddUpToTheTrack) {
  const auto series = seriesOf(movieFile({.tracks = {aacTrack({.samples = 100})}}).bytes);
  EXPECT_EQ(series.samples, 100u);
  const double seconds = 100 * 1024 / 48000.0;
  EXPECT_NEAR(series.duration, seconds, 1e-9);
  ASSERT_EQ(series.bitRate.kilobits.size(), 3u) << "two seconds and a bit";
  double bits = 0;
  for (size_t i = 0; i < 3; ++i) {
    bits += series.bitRate.kilobits[i] * 1000 * std::min(1.0, seconds - static_cast<double>(i));
  }
  EXPECT_NEAR(bits, 8.0 * static_cast<double>(series.bytes), 20);
  EXPECT_EQ(series.sizes.samplesPerPoint, 1u);
  EXPECT_EQ(std::accumulate(series.sizes.largest.begin(), series.sizes.largest.end(), uint64_t{0}),
            series.bytes);
  EXPECT_TRUE(series.sizes.keyTime.empty()) << "every sample is a key frame";
}

TEST(TrackSeries, OfAFilmMarkItsKeyFrames) {
  MediaTrack track = avcTrack({.samples = 12});
  track.boxes.stss = stss({1, 7});
  const auto series = seriesOf(movieFile({.tracks = {track}}).bytes);
  EXPECT_EQ(series.keyFrames, 2u);
  EXPECT_EQ(series.sizes.keySize,
            (std::vector<uint32_t>{series.sizes.largest[0], series.sizes.largest[6]}));
}

TEST(TrackSeries, OfALongTrackHaveFewPointsThatHideNoExtreme) {
  constexpr uint32_t kSamples = 100'000;
  std::vector<uint32_t> sizes(kSamples, 10);
  sizes[54'321] = 999;
  sizes[77'777] = 1;
  const Bytes track = trak({.timescale = 48000,
                            .duration = uint64_t{kSamples} * 1024,
                            .stsd = stsd(mp4a()),
                            .stts = stts({{kSamples, 1024}}),
                            .stsz = stsz(sizes),
                            .stsc = stsc({{1, kSamples}}),
                            .stco = stco({8})});
  const auto series = seriesOf(join(ftyp(), moov({.tracks = {track}})));
  EXPECT_EQ(series.sizes.samplesPerPoint, 25u);
  EXPECT_EQ(series.sizes.time.size(), 4000u);
  EXPECT_EQ(*std::max_element(series.sizes.largest.begin(), series.sizes.largest.end()), 999u);
  EXPECT_EQ(*std::min_element(series.sizes.smallest.begin(), series.sizes.smallest.end()), 1u);
}

TEST(TrackSeries, OfATableThatClaimsThousandsOfMillionsEndSoon) {
  const Bytes track = trak({.timescale = 1,
                            .stsd = stsd(mp4a()),
                            .stts = stts({{0xffffffff, 0xffffffff}}),
                            .stsz = stszConstant(4, 0xffffffff),
                            .stsc = stsc({{1, 0xffffffff}}),
                            .stco = stco({8})});
  const ScratchMovie movie(join(ftyp(), moov({.tracks = {track}})));
  inspect::File file(movie.file());
  const inspect::MovieMap map = inspect::readMovieMap(file);
  const auto series = inspect::readTrackSeries(
      file, map.tracks.at(0), [] {}, 50'000);
  EXPECT_EQ(series.samples, 50'000u);
  EXPECT_EQ(series.leftOut, 0xffffffffu - 50'000);
  EXPECT_LE(series.bitRate.kilobits.size(), inspect::kMostBitRates);
  EXPECT_LE(series.sizes.time.size(), inspect::kMostPoints);
}

TEST(InspectReport, LooksAtNoMoreSamplesOfAllTracksThanTheFileHasBytes) {
  MediaTrack claims = aacTrack();
  claims.boxes.stsz = stszConstant(1, 40'000);
  claims.boxes.stts = stts({{40'000, 1}});
  Bytes bytes = movieFile({.tracks = {claims, claims, claims}}).bytes;
  append(bytes, box("free", zeros(50'000 - 8 - bytes.size())));
  const ScratchMovie movie(bytes);
  inspect::File file(movie.file());
  const auto data = inspect::reportData(file, {}, [] {});
  std::vector<uint64_t> looked;
  std::vector<uint64_t> leftOut;
  for (const auto& track : data["tracks"]) {
    looked.push_back(track["samples"]);
    leftOut.push_back(track["samples_left_out"]);
  }
  EXPECT_EQ(looked, (std::vector<uint64_t>{40'000, 10'000, 0}));
  EXPECT_EQ(leftOut, (std::vector<uint64_t>{0, 30'000, 40'000}));
}

}  // namespace
