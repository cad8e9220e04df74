// What a description costs: no text is converted, and no name tested, more often than needed.
#include <algorithm>
#include <ctime>

#include "tests/frontend/open_session.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/memory_host.h"
#include "tests/support/tag_boxes.h"

using namespace boxes;
using vela::TIOResult;

namespace {

constexpr uint64_t kMillisecond = 10000;  // in 100 ns

/// Five seconds of audio with this many marks, which have no names.
Bytes chapteredFile(uint32_t chapters, const Bytes& tags) {
  std::vector<Mark> marks;
  for (uint32_t i = 0; i < chapters; ++i) marks.push_back({i * kMillisecond, ""});
  return movieFile({.tracks = {aacTrack({.samples = 50, .delta = 4800})},
                    .udta = join(chpl(marks), tags)})
      .bytes;
}

/// Allocations that listing the chapters takes; each conversion of a title needs some.
uint64_t allocationsOfTheList(OpenSession& open) {
  memory_host::Info info;
  const FailingHalAllocation memory;
  EXPECT_EQ(open.session.describeItem(0, info, nullptr), TIOResult::success);
  EXPECT_EQ(info.chaptersLeft, 0u);
  return memory.allocations();
}

/// A field that gives the file, or a chapter, its title.
ZtField titled(const std::string& title) { return {"title", {title}}; }

/// What the clock of the coarsest system may be off by, in seconds.
constexpr double kClockStep = 0.02;
/// Descriptions in one measurement, so that it lasts long beside a step of the clock.
constexpr int kRounds = 40;

/// Processor time of describing item 1 kRounds times, in seconds; the least of several tries.
double costOfTheFirstItem(const Bytes& file) {
  OpenSession open(file);
  open.stream.expectedToken = nullptr;
  memory_host::Info info;
  double least = 1e9;
  for (int i = 0; i < 5; ++i) {
    const std::clock_t start = std::clock();
    for (int round = 0; round < kRounds; ++round) {
      EXPECT_EQ(open.session.describeItem(1, info, nullptr), TIOResult::success);
    }
    least = std::min(least, static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC);
  }
  return least;
}

/// 64 fields of 256 empty values, with names of 21 bytes that begin as given, and one of which the
/// first chapter replaces.
Bytes manyValues(const std::string& nameStart) {
  std::vector<ZtField> fields;
  for (uint32_t i = 0; i < 64; ++i) {
    const std::string number = std::to_string(100 + i);
    const std::string fill(21 - nameStart.size() - number.size(), '_');
    fields.push_back({nameStart + fill + number, std::vector<std::string>(256)});
  }
  return chapteredFile(2, ztTags(ztFields(fields), ztSegment(0, {{fields[0].name, {"v"}}})));
}

}  // namespace

TEST(DescriptionCost, ATitleThatAllChaptersShareIsConvertedOnce) {
  const Bytes tags = metaWith(ilstText(itemType("nam"), std::string(5000, 't')));
  OpenSession two(chapteredFile(2, tags));
  OpenSession many(chapteredFile(900, tags));
  two.stream.expectedToken = many.stream.expectedToken = nullptr;
  const uint64_t once = allocationsOfTheList(two);
  EXPECT_GT(once, 0u);
  EXPECT_EQ(allocationsOfTheList(many), once);
}

TEST(DescriptionCost, ASharedTitleIsConvertedOnceAmongChaptersThatHaveTheirOwn) {
  // Every second chapter has a title of its own, which takes one allocation.
  constexpr uint32_t kChapters = 400;
  Bytes boxes = ztFields({titled(std::string(5000, 't'))});
  for (uint32_t i = 1; i < kChapters; i += 2) {
    append(boxes, ztSegment(i, {titled("own " + std::to_string(i))}));
  }
  OpenSession shared(chapteredFile(2, ztTags(ztFields({titled(std::string(5000, 't'))}))));
  OpenSession open(chapteredFile(kChapters, ztTags(boxes)));
  shared.stream.expectedToken = open.stream.expectedToken = nullptr;
  EXPECT_EQ(allocationsOfTheList(open), allocationsOfTheList(shared) + kChapters / 2);

  ASSERT_EQ(open.session.describeItem(0, open.info, nullptr), TIOResult::success);
  ASSERT_EQ(open.info.chapters.size(), kChapters);
  for (uint32_t i = 0; i < kChapters; ++i) {
    const std::string expected = i % 2 ? "own " + std::to_string(i) : std::string(5000, 't');
    EXPECT_EQ(open.info.chapters[i].title, std::u16string(expected.begin(), expected.end())) << i;
  }
}

TEST(DescriptionCost, AFileTitleThatNoChapterHasIsNotConverted) {
  const Bytes own = join(ztSegment(0, {titled("One")}), ztSegment(1, {titled("Two")}));
  OpenSession open(chapteredFile(2, ztTags(ztFields({titled(std::string(5000, 't'))}), own)));
  open.stream.expectedToken = nullptr;
  EXPECT_EQ(allocationsOfTheList(open), 2u);
}

// Looking each value up by the name of its entry, and folding that name through the whole case
// table, costs ten times as much.
TEST(DescriptionCost, NamesThatAreNearlyThoseOfReplayGainCostNoMoreThanOthers) {
  const double other = costOfTheFirstItem(manyValues("x"));
  const double nearly = costOfTheFirstItem(manyValues("replaygain_track_g"));
  EXPECT_LT(nearly, 3 * other + kClockStep) << other;
}
