// Changed files stay files: most of what the fuzzers try gets past the first box.
#include "fuzz/mutator/box_mutator.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <random>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"

namespace {

using namespace boxes;

constexpr size_t kRoom = 65536;
constexpr int kCopies = 1000;

Bytes film() {
  return movieFile({.tracks = {aacTrack(), avcTrack()},
                    .udta = join(chpl({{0, "One"}, {5, "Two"}}),
                                 metaWith(ilstText("\xa9nam", "A title")))})
      .bytes;
}

uint32_t wordAt(const Bytes& bytes, size_t at) {
  return uint32_t{bytes[at]} << 24 | uint32_t{bytes[at + 1]} << 16 | uint32_t{bytes[at + 2]} << 8 |
         bytes[at + 3];
}

bool isContainer(const std::string& type) {
  static const std::set<std::string> containers = {"moov", "trak", "mdia", "minf",
                                                   "stbl", "udta", "ilst"};
  return containers.contains(type);
}

/// Calls `see(type, begin, end)` for each box of a range. @return whether boxes fill all containers
bool walk(const Bytes& bytes, size_t from, size_t end,
          const std::function<void(const std::string&, size_t, size_t)>& see) {
  bool whole = true;
  while (from < end) {
    if (end - from < 8) return false;
    size_t size = wordAt(bytes, from);
    const std::string type(bytes.begin() + static_cast<std::ptrdiff_t>(from + 4),
                           bytes.begin() + static_cast<std::ptrdiff_t>(from + 8));
    size_t header = 8;
    if (size == 1 && end - from >= 16) {
      header = 16;
      size = wordAt(bytes, from + 12);
    }
    if (size < header || size > end - from) return false;
    see(type, from + header, from + size);
    if (isContainer(type)) whole = walk(bytes, from + header, from + size, see) && whole;
    from += size;
  }
  return whole;
}

bool holdsWholeBoxes(const Bytes& bytes) {
  return walk(bytes, 0, bytes.size(), [](const std::string&, size_t, size_t) {});
}

/// Whether the first chunk of every track lies in media data.
bool chunksLieInMedia(const Bytes& bytes) {
  std::vector<std::pair<size_t, size_t>> media;
  std::vector<size_t> chunks;
  walk(bytes, 0, bytes.size(), [&](const std::string& type, size_t begin, size_t end) {
    if (type == "mdat") media.emplace_back(begin, end);
    if (type == "stco" && end - begin >= 12) chunks.push_back(wordAt(bytes, begin + 8));
  });
  return !chunks.empty() && std::all_of(chunks.begin(), chunks.end(), [&](size_t chunk) {
    return std::any_of(media.begin(), media.end(), [chunk](const auto& range) {
      return chunk >= range.first && chunk < range.second;
    });
  });
}

TEST(BoxTree, IsWrittenAsItWasRead) {
  const Bytes file = film();
  EXPECT_EQ(fuzz::writeBoxTree(fuzz::readBoxTree(file.data(), file.size())), file);
  Bytes cut = file;
  cut.resize(file.size() - 100);
  EXPECT_EQ(fuzz::writeBoxTree(fuzz::readBoxTree(cut.data(), cut.size())), cut);
}

TEST(BoxMutator, KeepsMostFilesWholeAndTheirChunksInTheMedia) {
  const Bytes file = film();
  ASSERT_TRUE(holdsWholeBoxes(file));
  ASSERT_TRUE(chunksLieInMedia(file));
  int changed = 0;
  int whole = 0;
  int inMedia = 0;
  for (int i = 0; i < kCopies; ++i) {
    std::mt19937 random(static_cast<uint32_t>(i));
    const fuzz::ChangeBytes some = [&](uint8_t* bytes, size_t count, size_t) {
      return fuzz::changeSomeBytes(random, bytes, count);
    };
    const Bytes copy = fuzz::mutateBoxes(file.data(), file.size(), kRoom, random, some);
    EXPECT_LE(copy.size(), kRoom);
    changed += copy != file;
    whole += holdsWholeBoxes(copy);
    inMedia += chunksLieInMedia(copy);
  }
  std::printf("of %d copies %d are changed, %d whole, %d with chunks in the media\n", kCopies,
              changed, whole, inMedia);
  EXPECT_GT(changed, kCopies * 8 / 10);
  EXPECT_GT(whole, kCopies * 8 / 10);
  EXPECT_GT(inMedia, kCopies * 8 / 10);
}

TEST(BoxMutator, KeepsToItsRoom) {
  const Bytes file = film();
  for (uint32_t seed = 0; seed < 200; ++seed) {
    std::mt19937 random(seed);
    const fuzz::ChangeBytes none = [](uint8_t*, size_t count, size_t) { return count; };
    EXPECT_LE(fuzz::mutateBoxes(file.data(), file.size(), file.size(), random, none).size(),
              file.size());
  }
}

}  // namespace
