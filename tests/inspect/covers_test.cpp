// velainspect covers: pictures are found, named by their content, and saved without harm.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "inspect/picture.h"
#include "tests/inspect/scratch_movie.h"
#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"

namespace {

using namespace boxes;
using inspecting::ScratchMovie;
using testing::HasSubstr;
namespace fs = std::filesystem;

const Bytes kJpeg = join(raw({0xff, 0xd8, 0xff, 0xe0}), repeat(7, 100'000));
const Bytes kPng = join(raw({0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'}), zeros(9));

/// Two pictures in one item, the second of which claims to be a PNG, and one in the tagging box.
Bytes movieOfThreePictures() {
  return movieFile({.tracks = {aacTrack({})},
                    .udta = join(metaWith(box("covr", data(kPng, 14), data(kJpeg, 14))),
                                 ztTags(ztFields({}), box("covr", text("GIF89a picture"))))})
      .bytes;
}

Bytes bytesOf(const fs::path& file) {
  const std::string text = media::readText(file);
  return {text.begin(), text.end()};
}

std::string kindOf(const Bytes& bytes) {
  return inspect::pictureKind({reinterpret_cast<const char*>(bytes.data()), bytes.size()}).name;
}

TEST(PictureKind, FollowsFromTheFirstBytes) {
  EXPECT_EQ(kindOf(kJpeg), "JPEG");
  EXPECT_EQ(kindOf(kPng), "PNG");
  EXPECT_EQ(kindOf(text("GIF87a")), "GIF");
  EXPECT_EQ(kindOf(text("BM12")), "BMP");
  EXPECT_EQ(kindOf(text("RIFF1234WEBPVP8 ")), "WebP");
  EXPECT_EQ(kindOf(join(raw({'I', 'I', '*', 0}), zeros(4))), "TIFF");
  EXPECT_EQ(kindOf(text("<svg onload=1>")), "unknown");
  EXPECT_EQ(kindOf(raw({0xff, 0xd8})), "unknown");
  EXPECT_EQ(kindOf({}), "unknown");
}

TEST(InspectCovers, ListEveryPictureByItsContent) {
  const auto pictures = ScratchMovie(movieOfThreePictures()).json("covers")["pictures"];
  ASSERT_EQ(pictures.size(), 3u);
  EXPECT_EQ(pictures[0]["kind"], "PNG");
  EXPECT_EQ(pictures[1]["kind"], "JPEG");
  EXPECT_EQ(pictures[1]["path"], "/moov/udta/meta/ilst/covr/data[1]");
  EXPECT_EQ(pictures[1]["bytes"], kJpeg.size());
  EXPECT_EQ(pictures[2]["kind"], "GIF");
  EXPECT_EQ(pictures[2]["place"], "tagging_box");
  EXPECT_EQ(pictures[2]["saved"], nullptr);
}

TEST(InspectCovers, AreShownWithTheirPlaces) {
  const ScratchMovie movie(movieOfThreePictures());
  const auto pictures = movie.json("covers")["pictures"];
  const auto place = [&](size_t i) {
    return std::to_string(pictures[i]["offset"].get<uint64_t>());
  };
  EXPECT_EQ(movie.run("covers").out,
            "  1  PNG, 17 bytes, /moov/udta/meta/ilst/covr/data at " + place(0) +
                "\n  2  JPEG, 100004 bytes, /moov/udta/meta/ilst/covr/data[1] at " + place(1) +
                "\n  3  GIF, 14 bytes, " + pictures[2]["path"].get<std::string>() + " at " +
                place(2) + "\n");
}

TEST(InspectCovers, AreSavedByteForByte) {
  const ScratchMovie movie(movieOfThreePictures(), "my song.m4a");
  const fs::path folder = movie.folder() / "made on demand";
  const auto pictures = movie.json("covers", {"--save", folder.string()})["pictures"];
  EXPECT_EQ(pictures[0]["saved"], (folder / "my song.cover-1.png").string());
  EXPECT_EQ(bytesOf(folder / "my song.cover-1.png"), kPng);
  EXPECT_EQ(bytesOf(folder / "my song.cover-2.jpg"), kJpeg);
  EXPECT_EQ(bytesOf(folder / "my song.tags-cover-3.gif"), text("GIF89a picture"));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 3) << "nothing else is left";
}

TEST(InspectCovers, ReplaceNoFile) {
  const ScratchMovie movie(movieOfThreePictures());
  const fs::path mine = movie.folder() / "made.cover-2.jpg";
  std::ofstream(mine) << "mine";
  const auto result = movie.run("covers", {"--save", movie.folder().string()});
  EXPECT_EQ(result.status, 74);
  EXPECT_THAT(result.err, HasSubstr("made.cover-2.jpg exists, and nothing is replaced."));
  EXPECT_EQ(media::readText(mine), "mine");
}

#ifndef _WIN32
TEST(InspectCovers, FollowNoLinkThatHasTheNameOfAPicture) {
  const ScratchMovie movie(movieOfThreePictures());
  const fs::path target = movie.folder() / "target";
  fs::create_symlink(target, movie.folder() / "made.cover-1.png");
  EXPECT_EQ(movie.run("covers", {"--save", movie.folder().string()}).status, 74);
  EXPECT_FALSE(fs::exists(target));
}

TEST(InspectCovers, OfAFileWithALongNameAreSavedUnderItsBeginning) {
  std::string name;
  while (name.size() < 240) name += "\u00e9";
  const ScratchMovie movie(movieOfThreePictures(), name + ".m4a");
  const auto pictures = movie.json("covers", {"--save", movie.folder().string()})["pictures"];
  const std::string saved = fs::path(pictures[0]["saved"].get<std::string>()).filename().string();
  EXPECT_EQ(saved, name.substr(0, 200) + ".cover-1.png");
}
#endif

TEST(InspectCovers, MakeNoFolderForAFileWithoutPictures) {
  const ScratchMovie movie(movieFile({.tracks = {aacTrack({})}}).bytes);
  const fs::path folder = movie.folder() / "wanted";
  EXPECT_EQ(movie.run("covers", {"--save", folder.string()}).out, "No pictures in the file.\n");
  EXPECT_FALSE(fs::exists(folder));
}

TEST(InspectCovers, ThatTheFileCutsShortAreSaidToBe) {
  const Bytes liar = join(u32(1000), text("data"), full(0, 13), u32(0), kPng);
  const auto pictures =
      ScratchMovie(movieFile({.tracks = {aacTrack({})}, .udta = metaWith(box("covr", liar))}).bytes)
          .json("covers")["pictures"];
  ASSERT_EQ(pictures.size(), 1u);
  EXPECT_EQ(pictures[0]["cut_short"], true);
  EXPECT_EQ(pictures[0]["bytes"], kPng.size());
}

}  // namespace
