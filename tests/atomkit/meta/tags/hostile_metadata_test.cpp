// Metadata that is as expensive to read as a file can make it: time and memory must stay in
// proportion to the bytes of the file.
#include <gtest/gtest.h>

#include <ctime>
#include <string>
#include <vector>

#include "atomkit/meta/tags/item_list.h"
#include "atomkit/meta/tags/tagging_box.h"
#include "tests/atomkit/box_reading.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"

namespace atomkit {
namespace {

using namespace boxes;

constexpr ParseOptions kWantBoth = kWantTextTags | kWantCoverArt;

/// Processor time. Far more than an unoptimised build with sanitizers needs, far less than work
/// that grows with the square of the count would take.
constexpr double kSecondsAllowed = 5;

template <class Run>
double secondsOf(Run run) {
  const std::clock_t start = std::clock();
  run();
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}

/// piece(0) to piece(count - 1), joined.
template <class Piece>
Bytes series(uint32_t count, Piece piece) {
  Bytes all;
  for (uint32_t i = 0; i < count; ++i) {
    const Bytes one = piece(i);
    all.insert(all.end(), one.begin(), one.end());
  }
  return all;
}

struct Cost {
  double seconds;
  uint64_t allocations;
  uint64_t largestBlock;
};

template <class Target, class Read>
Cost costOf(const Bytes& bytes, Target& target, Read read) {
  FailingAllocation counted;
  Cost cost{};
  cost.seconds = secondsOf([&] {
    readBox(bytes,
            [&](AtomReader& reader, uint64_t size) { read(kWantBoth, target, reader, size); });
  });
  cost.allocations = counted.allocations();
  cost.largestBlock = counted.largestBlock();
  return cost;
}

// Names in order are the worst case of a search tree that is not balanced.
TEST(HostileMetadata, ManyFreeFormItemsOfNamesInOrder) {
  constexpr uint32_t kItems = 40000;
  const auto rising = [](uint32_t i) { return std::to_string(100000 + i); };
  const auto falling = [](uint32_t i) { return std::to_string(200000 - i); };
  const std::vector<std::string (*)(uint32_t)> orders = {rising, falling};
  for (const auto nameOf : orders) {
    const Bytes bytes = metaWith(series(
        kItems, [&](uint32_t i) { return box("----", itemName(nameOf(i)), data(text("v"))); }));
    ItemListTags target;
    const Cost cost = costOf(bytes, target, readMetadata);
    EXPECT_EQ(target.tags.entryCount(), kItems);
    EXPECT_LT(cost.seconds, kSecondsAllowed);
    EXPECT_LT(cost.allocations, kItems * 7);
    EXPECT_LT(cost.largestBlock, bytes.size() * 2);
  }
}

TEST(HostileMetadata, ManyValuesOfOneTag) {
  constexpr uint32_t kItems = 40000;  // a megabyte of one-byte values
  const Bytes bytes =
      metaWith(series(kItems, [](uint32_t) { return ilstText(itemType("ART"), "x"); }));
  ItemListTags target;
  const Cost cost = costOf(bytes, target, readMetadata);
  EXPECT_EQ(target.tags.entryCount(), 1u);
  EXPECT_EQ(target.tags.valueCount(0), kItems);
  EXPECT_LT(cost.seconds, kSecondsAllowed);
  EXPECT_LT(cost.allocations, kItems * 3);
  EXPECT_LT(cost.largestBlock, bytes.size() * 2);
}

TEST(HostileMetadata, ManyReplacementsOfOneTag) {
  constexpr uint32_t kItems = 30000;
  const Bytes bytes =
      metaWith(series(kItems, [](uint32_t) { return ilstText(itemType("too"), "x"); }));
  ItemListTags target;
  const Cost cost = costOf(bytes, target, readMetadata);
  EXPECT_EQ(target.tags.valueCount(0), 1u);
  EXPECT_LT(cost.seconds, kSecondsAllowed);
  EXPECT_LT(cost.largestBlock, 1000u);
}

TEST(HostileMetadata, ManyItemsOfOneByte) {
  const Bytes bytes =
      metaWith(series(110000, [](uint32_t) { return box(itemType("nam"), u8('x')); }));
  ItemListTags target;
  const Cost cost = costOf(bytes, target, readMetadata);
  EXPECT_FALSE(target.seen) << "one byte is not a box";
  EXPECT_EQ(cost.allocations, 0u);
}

TEST(HostileMetadata, ManyItemsOfNothing) {
  const Bytes bytes = metaWith(series(110000, [](uint32_t) { return box(itemType("nam")); }));
  ItemListTags target;
  const Cost cost = costOf(bytes, target, readMetadata);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(target.tags.entryCount(), 0u);
  EXPECT_EQ(cost.allocations, 0u);
  EXPECT_LT(cost.seconds, kSecondsAllowed);
}

TEST(HostileMetadata, ManyFields) {
  constexpr uint32_t kLists = 300;
  const Bytes bytes = ztTags(series(kLists, [](uint32_t i) {
    return ztFields(std::vector<ZtField>(256, ZtField{.name = std::to_string(i)}));
  }));
  TaggingBox target;
  const Cost cost = costOf(bytes, target, readTaggingBox);
  EXPECT_EQ(target.fields.entryCount(), kLists * 256);
  EXPECT_LT(cost.seconds, kSecondsAllowed);
  EXPECT_LT(cost.allocations, kLists * 256 * 3);
  EXPECT_LT(cost.largestBlock, bytes.size() * 8);
}

TEST(HostileMetadata, TheMostValuesThatOneFieldListCanHold) {
  const Bytes bytes = ztTags(ztFields(std::vector<ZtField>(
      256, ZtField{.name = "n", .values = std::vector<std::string>(256, "v"), .type = 1})));
  TaggingBox target;
  const Cost cost = costOf(bytes, target, readTaggingBox);
  EXPECT_EQ(target.fields.entryCount(), 256u);
  EXPECT_EQ(target.fields.valueCount(255), 256u);
  EXPECT_LT(cost.seconds, kSecondsAllowed);
}

TEST(HostileMetadata, ManySegments) {
  constexpr uint32_t kSegments = 30000;
  const Bytes bytes = ztTags(series(kSegments, [](uint32_t i) { return tseg(tshd(i % 1001)); }));
  TaggingBox target;
  const Cost cost = costOf(bytes, target, readTaggingBox);
  EXPECT_EQ(target.segments.count(), kSegments);
  EXPECT_LT(cost.seconds, kSecondsAllowed);
  EXPECT_EQ(cost.allocations, kSegments);
}

TEST(HostileMetadata, AThousandChaptersThatBeginAsCopiesOfManyTags) {
  constexpr uint32_t kTags = 20000;
  constexpr uint32_t kChapters = 1024;
  TagStore file;
  for (uint32_t i = 0; i < kTags; ++i) {
    file.set(("n" + std::to_string(i)).c_str(), SharedString::copyOf("v"), TagFlag::extensible);
  }
  FailingAllocation counted;
  std::vector<TagStore> chapters(kChapters);
  const double seconds = secondsOf([&] {
    for (uint32_t i = 0; i < kChapters; ++i) {
      chapters[i].copyFrom(file);
      chapters[i].set("title", SharedString::copyOf("t"), TagFlag::extensible);
      TagStore own;
      own.set(("n" + std::to_string(i)).c_str(), SharedString::copyOf("own"), TagFlag::single);
      chapters[i].merge(own);
    }
  });
  EXPECT_EQ(chapters[7].entryCount(), kTags + 1);
  EXPECT_STREQ(chapters[7].value(7, 0).text(), "own");
  EXPECT_STREQ(chapters[7].value(8, 0).text(), "v");
  EXPECT_LT(counted.largestBlock(), 1000u) << "no chapter has a list of all tags of its own";
  EXPECT_LT(counted.blocksHeld(), kChapters * 13);
  EXPECT_LT(seconds, kSecondsAllowed);
}

TEST(HostileMetadata, BoxesNestedDeeplyAreNotFollowed) {
  Bytes nested;
  constexpr uint32_t kDepth = 20000;
  for (uint32_t depth = kDepth; depth > 0; --depth) {
    const Bytes one = join(u32(depth * 8), text("ilst"));
    nested.insert(nested.end(), one.begin(), one.end());
  }
  const Bytes bytes = box("meta", full(0), nested);
  ItemListTags target;
  const Cost cost = costOf(bytes, target, readMetadata);
  EXPECT_TRUE(target.seen);
  EXPECT_EQ(target.tags.entryCount(), 0u);
  EXPECT_EQ(cost.allocations, 0u);
}

}  // namespace
}  // namespace atomkit
