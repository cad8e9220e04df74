// Each fault is told of a file that has it, and of none that has not.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "inspect/file_check.h"
#include "tests/inspect/scratch_movie.h"
#include "tests/support/movie_builder.h"

namespace {

using namespace boxes;
using inspecting::ScratchMovie;
using nlohmann::json;

struct Checked {
  int status;
  json document;

  /// The count of the finding with a code; -1 when there is none.
  int64_t count(const std::string& code) const {
    for (const json& finding : document["findings"]) {
      if (finding["code"] == code) return finding["count"];
    }
    return -1;
  }
};

Checked checked(const Bytes& bytes) {
  const ScratchMovie movie(bytes);
  const auto result = movie.run("check", {"--json"});
  return {result.status, json::parse(result.out)};
}

Checked checked(const MediaTrack& track,
                const Bytes& header = mvhd({.timescale = 1000, .duration = 480})) {
  return checked(movieFile({.tracks = {track}, .mvhd = header}).bytes);
}

/// 12 pictures, 480 ms.
MediaTrack film() { return avcTrack({.samples = 12}); }

TEST(Check, FindsNothingInASoundFile) {
  const Checked result = checked(film());
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.document["findings"], json::array());
  EXPECT_EQ(result.document["interleaving"]["packets"], 12);
  EXPECT_EQ(result.document["interleaving"]["jumps"], 0);
}

TEST(Check, FindsChunksPastTheFile) {
  MediaTrack track = film();
  track.boxes.stco = stco({0x7fffff00, 0x7fffff00, 0x7fffff00, 0x7fffff00, 0x7fffff00, 0x7fffff00});
  const Checked result = checked(track);
  EXPECT_EQ(result.status, 12);
  EXPECT_EQ(result.count("outside_file"), 6);
}

TEST(Check, FindsChunksOutsideOfTheMediaData) {
  MediaTrack track = film();
  track.boxes.stco = stco({8, 8, 8, 8, 8, 8});
  const Checked result = checked(track);
  EXPECT_EQ(result.status, 12);
  EXPECT_EQ(result.count("outside_media_data"), 6);
  EXPECT_EQ(result.count("overlap"), 5);
}

TEST(Check, TellsSharedChunksFromOverlappingOnes) {
  const BuiltMovie one = movieFile({.tracks = {film(), film()}});
  std::vector<uint64_t> chunks;
  for (size_t i = 0; i < one.offsets[0].size(); i += 2) chunks.push_back(one.offsets[0][i]);
  MediaTrack twin = film();
  twin.boxes.stco = stco(chunks);
  const Checked shared = checked(movieFile({.tracks = {film(), twin}}).bytes);
  EXPECT_EQ(shared.count("shared"), 6);
  EXPECT_EQ(shared.count("overlap"), -1);
  for (uint64_t& chunk : chunks) chunk += 1;
  twin.boxes.stco = stco(chunks);
  const Checked overlapping = checked(movieFile({.tracks = {film(), twin}}).bytes);
  EXPECT_EQ(overlapping.count("overlap"), 6);
  EXPECT_EQ(overlapping.status, 12);
}

TEST(Check, FindsHoles) {
  MediaTrack track = film();
  const Checked result = checked(join(movieFile({.tracks = {track}}).bytes, box("mdat", zeros(7))));
  EXPECT_EQ(result.count("holes"), 1);
  EXPECT_THAT(result.document.dump(), testing::HasSubstr("7 bytes in all"));
}

TEST(Check, FindsChunksOutOfOrder) {
  const BuiltMovie built = movieFile({.tracks = {film()}});
  MediaTrack track = film();
  std::vector<uint64_t> chunks;
  for (size_t i = 0; i < 12; i += 2) chunks.push_back(built.offsets[0][i]);
  std::swap(chunks[1], chunks[3]);
  track.boxes.stco = stco(chunks);
  const Checked result = checked(track);
  EXPECT_EQ(result.count("chunk_order"), 2);
}

TEST(Check, FindsSyncSamplesPastTheTrack) {
  MediaTrack track = film();
  track.boxes.stss = stss({1, 6, 13, 14});
  const Checked result = checked(track);
  EXPECT_EQ(result.count("sync_beyond"), 2);
  EXPECT_EQ(result.status, 12);
}

TEST(Check, FindsSyncSamplesThatDoNotRise) {
  MediaTrack track = film();
  track.boxes.stss = stss({6, 6, 1});
  const Checked result = checked(track);
  EXPECT_EQ(result.count("sync_order"), 2);
  EXPECT_EQ(result.count("refused"), 1);
  EXPECT_EQ(result.document["interleaving"], nullptr);
}

TEST(Check, FindsDurationsThatDisagree) {
  MediaTrack track = film();
  track.boxes.duration = 50000;
  Checked result = checked(track, mvhd({.timescale = 1000, .duration = 2000}));
  EXPECT_EQ(result.count("durations_differ"), 1);
  EXPECT_EQ(result.status, 11);
  EXPECT_THAT(result.document.dump(),
              testing::HasSubstr("'mdhd' tells 2.000 s, but 'stts' adds up to 0.480 s"));
  result = checked(film(), mvhd({.timescale = 1000, .duration = 9000}));
  EXPECT_EQ(result.status, 11);
  EXPECT_THAT(result.document.dump(),
              testing::HasSubstr("'mvhd' tells 9.000 s, but the longest track lasts 0.480 s"));
}

TEST(Check, FindsCountsThatDisagree) {
  MediaTrack fewer = film();
  fewer.boxes.stsz = stsz({40, 41, 42});
  EXPECT_EQ(checked(fewer).count("counts_differ"), 9);
  EXPECT_EQ(checked(fewer).status, 12);
  MediaTrack offsets = film();
  offsets.boxes.ctts = ctts({{5, 0}});
  EXPECT_EQ(checked(offsets).count("counts_differ"), 7);
  EXPECT_EQ(checked(offsets).status, 11);
  MediaTrack chunks = film();
  chunks.boxes.stsc = stsc({{1, 1}});
  EXPECT_EQ(checked(chunks).count("no_chunk"), 6);
  MediaTrack spare = film();
  spare.boxes.stsc = stsc({{1, 6}});
  EXPECT_EQ(checked(spare).count("chunks_unused"), 4);
}

TEST(Check, FindsSumsThatWrap) {
  MediaTrack counts = film();
  counts.boxes.stts = stts({{0xffffffff, 1}, {0xffffffff, 1}});
  counts.boxes.stsz = stszConstant(1, 12);
  EXPECT_EQ(checked(counts).count("wrap"), 8589934590);
  MediaTrack ticks = film();
  ticks.boxes.stts = stts({{0xffffffff, 0xffffffff}});
  ticks.boxes.stsz = stszConstant(1, 12);
  EXPECT_EQ(checked(ticks).count("wrap"), 1);
}

TEST(Check, FindsTablesThatAreCut) {
  MediaTrack track = film();
  track.boxes.stco = box("stco", full(0), u32(900), u32(8));
  EXPECT_EQ(checked(track).count("table_cut"), 899);
}

TEST(Check, FindsMapsOutOfOrder) {
  MediaTrack track = film();
  track.boxes.stsc = stsc({{2, 2}, {2, 1}});
  EXPECT_EQ(checked(track).count("map_order"), 2);
  track.boxes.stsc = stsc({{1, 2}, {5, 0}});
  EXPECT_EQ(checked(track).count("map_empty"), 1);
}

TEST(Check, FindsTracksThatLieFarApart) {
  // All pictures, then all sound, three seconds of each.
  MediaTrack pictures = avcTrack({.samples = 75, .samplesPerChunk = 75});
  MediaTrack sound = aacTrack({.samples = 141, .samplesPerChunk = 141});
  const Checked result = checked(
      movieFile({.tracks = {pictures, sound}, .mvhd = mvhd({.timescale = 1000, .duration = 3008})})
          .bytes);
  EXPECT_EQ(result.status, 11);
  const json& measured = result.document["interleaving"];
  EXPECT_EQ(result.count("interleaving"), measured["jumps"]);
  EXPECT_EQ(measured["packets"], 216);
  EXPECT_NEAR(measured["largest_lead_seconds"].get<double>(), 2.96, 0.01);
  EXPECT_GT(measured["jumps"], 1);
  // In turns, nothing is far and nothing jumps.
  pictures.samplesPerChunk = 5;
  sound.samplesPerChunk = 9;
  const Checked mixed = checked(
      movieFile({.tracks = {pictures, sound}, .mvhd = mvhd({.timescale = 1000, .duration = 3008})})
          .bytes);
  EXPECT_EQ(mixed.status, 0);
  EXPECT_EQ(mixed.document["interleaving"]["jumps"], 0);
}

TEST(Check, GivesTheGravestOfSeveralFiles) {
  EXPECT_EQ(inspecting::run({"check", "sample.mp4", "corrupt/chunks-overlap.mp4", "audiobook.m4a"})
                .status,
            12);
  EXPECT_EQ(
      inspecting::run({"check", "sample.mp4", "corrupt/chunks-overlap.mp4", "no-such-file"}).status,
      3);
}

TEST(InspectCheck, FollowsNoMoreSamplesThanTheFileHasBytes) {
  MediaTrack claims = aacTrack();
  claims.boxes.stsz = stszConstant(1, 1'000'000);
  claims.boxes.stts = stts({{1'000'000, 1}});
  claims.boxes.stsc = stsc({{1, 1'000'000}});
  const ScratchMovie movie(movieFile({.tracks = {claims}}).bytes);
  inspect::File file(movie.file());
  EXPECT_EQ(inspect::checkFile(file, [] {}).interleaving->packets, file.size());
}

}  // namespace
