#include "atomkit/meta/tags/chapter_list.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/atomkit/box_reading.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/movie_builder.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;
using testing::AnyOf;

using Marks = std::vector<std::pair<uint64_t, std::string>>;

Marks listedMarks(const ChapterMarks& marks) {
  Marks all;
  for (uint32_t i = 0; i < marks.count(); ++i) {
    all.emplace_back(marks[i].start, marks[i].title.text());
  }
  return all;
}

void readChpl(const Bytes& bytes, ChapterMarks& marks) {
  readBox(bytes, [&](AtomReader& reader, uint64_t) { readChapterList(marks, reader); });
}

/// 'chpl' with 32-bit starts.
Bytes chplShort(const std::vector<Mark>& marks) {
  Bytes entries;
  for (const Mark& mark : marks) {
    append(entries, u32(static_cast<uint32_t>(mark.start)),
           u8(static_cast<uint8_t>(mark.title.size())), text(mark.title));
  }
  return box("chpl", u8(0), zeros(4), u32(static_cast<uint32_t>(marks.size())), entries);
}

std::vector<Mark> manyMarks(uint32_t count) {
  std::vector<Mark> marks;
  for (uint32_t i = 0; i < count; ++i) marks.push_back({i * uint64_t{10}, std::to_string(i)});
  return marks;
}

TEST(ChapterList, VersionZeroHas32BitStarts) {
  ChapterMarks marks;
  readChpl(chplShort({{0, "One"}, {0xfffffffe, "Two"}}), marks);
  EXPECT_EQ(listedMarks(marks), (Marks{{0, "One"}, {0xfffffffe, "Two"}}));
}

TEST(ChapterList, VersionOneHas64BitStarts) {
  ChapterMarks marks;
  readChpl(chpl({{0, "One"}, {0x123456789abcdef0, "Two"}}), marks);
  EXPECT_EQ(listedMarks(marks), (Marks{{0, "One"}, {0x123456789abcdef0, "Two"}}));
}

TEST(ChapterList, FlagsAndReservedByteAreNotLookedAt) {
  ChapterMarks marks;
  readChpl(box("chpl", u8(1), raw({1, 2, 3, 0xff}), u32(1), u64(5), u8(1), text("x")), marks);
  EXPECT_EQ(listedMarks(marks), (Marks{{5, "x"}}));
}

TEST(ChapterList, VersionTwoIsSkippedAfterItsFirstFiveBytes) {
  ChapterMarks marks;
  readChpl(box("chpl", u8(2), zeros(4), u32(0xffffffff)), marks);
  EXPECT_EQ(marks.count(), 0u);
  MemorySource source(join(u8(255), zeros(4), u32(1)));
  HostStreamAdapter stream(source, source.size());
  AtomReader reader(stream, 9);
  readChapterList(marks, reader);
  EXPECT_EQ(reader.remaining(), 4u);
}

TEST(ChapterList, TitleLengthZeroGivesAnEmptyTitle) {
  ChapterMarks marks;
  readChpl(chpl({{7, ""}, {8, "x"}}), marks);
  ASSERT_EQ(marks.count(), 2u);
  EXPECT_TRUE(marks[0].title.empty());
  EXPECT_EQ(listedMarks(marks), (Marks{{7, ""}, {8, "x"}}));
}

TEST(ChapterList, ChaptersWithoutTitlesTakeFiveOrNineBytesEach) {
  std::vector<Mark> untitled;
  Marks expected;
  for (uint32_t i = 0; i < kMaxChapters; ++i) {
    untitled.push_back({i * uint64_t{3}, ""});
    expected.emplace_back(i * uint64_t{3}, "");
  }
  const Bytes narrow = chplShort(untitled);
  EXPECT_EQ(narrow.size(), 8 + 9 + 5 * kMaxChapters);
  for (const Bytes& exact : {narrow, chpl(untitled)}) {
    ChapterMarks marks;
    readChpl(exact, marks);
    EXPECT_EQ(listedMarks(marks), expected);
  }
}

TEST(ChapterList, TitleMayHave255BytesOfAnyEncoding) {
  ChapterMarks marks;
  const std::string longTitle(255, '\xe9');
  readChpl(chpl({{0, longTitle}, {1, "\xc3\xa9"}}), marks);
  EXPECT_EQ(listedMarks(marks), (Marks{{0, longTitle}, {1, "\xc3\xa9"}}));
}

TEST(ChapterList, TitleEndsAtItsFirstZeroByte) {
  ChapterMarks marks;
  readChpl(chpl({{0, std::string("ab\0cd", 5)}, {1, "next"}}), marks);
  EXPECT_EQ(listedMarks(marks), (Marks{{0, "ab"}, {1, "next"}}));
}

TEST(ChapterList, CountOf1024IsRead) {
  ChapterMarks marks;
  readChpl(chpl(manyMarks(1024)), marks);
  ASSERT_EQ(marks.count(), 1024u);
  EXPECT_EQ(marks[1023].start, 10230u);
  EXPECT_STREQ(marks[1023].title.text(), "1023");
}

TEST(ChapterList, CountOf1025FailsBeforeAnythingIsStored) {
  ChapterMarks marks;
  readChpl(chpl({{7, "kept"}}), marks);
  EXPECT_THROWS_MESSAGE(readChpl(chpl(manyMarks(1025)), marks), "invalid chapter count");
  EXPECT_EQ(listedMarks(marks), (Marks{{7, "kept"}}));
  EXPECT_THROWS_MESSAGE(readChpl(box("chpl", u8(0), zeros(4), u32(0xffffffff)), marks),
                        "invalid chapter count");
}

TEST(ChapterList, CountOfZeroLeavesTheListAsItWas) {
  ChapterMarks marks;
  readChpl(chpl({{7, "kept"}}), marks);
  readChpl(chpl({}), marks);
  EXPECT_EQ(listedMarks(marks), (Marks{{7, "kept"}}));
}

TEST(ChapterList, SecondListReplacesTheFirst) {
  ChapterMarks marks;
  readChpl(chpl({{1, "a"}, {2, "b"}, {3, "c"}}), marks);
  const SharedString first = marks[0].title;
  readChpl(chpl({{4, "d"}, {5, "e"}}), marks);
  EXPECT_EQ(listedMarks(marks), (Marks{{4, "d"}, {5, "e"}}));
  readChpl(chplShort({{6, "f"}, {7, "g"}}), marks);
  EXPECT_EQ(listedMarks(marks), (Marks{{6, "f"}, {7, "g"}}));
  EXPECT_STREQ(first.text(), "a") << "a title that was handed out stays";
}

TEST(ChapterList, BytesAfterTheLastChapterAreLeft) {
  ChapterMarks marks;
  readChpl(box("chpl", u8(0), zeros(4), u32(1), u32(3), u8(1), text("x"), repeat(0xee, 20)), marks);
  EXPECT_EQ(listedMarks(marks), (Marks{{3, "x"}}));
}

TEST(ChapterList, CountThatTheBoxCannotHoldTakesNoMemory) {
  const Bytes shortOne = box("chpl", u8(0), zeros(4), u32(1024), zeros(1024 * 5 - 1));
  const Bytes longOne = box("chpl", u8(1), zeros(4), u32(1024), zeros(1024 * 9 - 1));
  for (const Bytes& liar : {shortOne, longOne}) {
    FailingAllocation counted;
    ChapterMarks marks;
    EXPECT_THROWS_MESSAGE(readChpl(liar, marks), "attempting to read past end of atom");
    EXPECT_EQ(counted.allocations(), 0u);
  }
}

TEST(ChapterList, TitleThatRunsPastTheBoxIsAnError) {
  ChapterMarks marks;
  EXPECT_THROWS_MESSAGE(
      readChpl(box("chpl", u8(1), zeros(4), u32(1), u64(0), u8(4), text("abc")), marks),
      "attempting to read past end of atom");
}

TEST(ChapterList, BoxCutAtAnyLengthIsAnErrorOfItsEnd) {
  const Bytes payload = join(u8(1), zeros(4), u32(2), u64(1), u8(2), text("ab"), u64(2), u8(0));
  for (size_t size = 0; size < payload.size(); ++size) {
    ChapterMarks marks;
    const Bytes cut(payload.begin(), payload.begin() + ptrdiff_t(size));
    EXPECT_THAT(messageOf([&] { readChpl(box("chpl", cut), marks); }),
                AnyOf("attempting to read past end of atom", "attempting to skip past end of atom"))
        << size;
  }
}

TEST(ChapterList, FileCutAtAnyLengthIsAnErrorOfItsEnd) {
  const Bytes good = chpl({{1, "ab"}, {2, ""}, {3, "c"}});
  for (size_t size = 8; size < good.size(); ++size) {
    for (const bool lengthKnown : {false, true}) {
      MemorySource source(Bytes(good.begin(), good.begin() + ptrdiff_t(size)));
      ChapterMarks marks;
      EXPECT_THAT(
          messageOf([&] {
            readBox(source, lengthKnown ? size : kUnknownLength,
                    [&](AtomReader& reader, uint64_t) { readChapterList(marks, reader); });
          }),
          AnyOf("attempting to read past end of file", "attempting to skip past end of file"))
          << size;
    }
  }
}

TEST(ChapterList, SourceThatDeliversSingleBytesCountsAsEnded) {
  OneByteSource source(join(u8(1), zeros(4), u32(1), u64(5), u8(1), text("x")));
  HostStreamAdapter stream(source, kUnknownLength);
  AtomReader reader(stream, 19);
  ChapterMarks marks;
  EXPECT_THROWS_MESSAGE(readChapterList(marks, reader), "attempting to read past end of file");
}

TEST(ChapterList, EveryFailedAllocationIsReportedAndLeaksNothing) {
  const Bytes good = chpl({{1, "ab"}, {2, ""}, {3, "c"}});
  for (uint64_t failAt = 0;; ++failAt) {
    FailingAllocation failing(failAt);
    const std::string_view message = messageOf([&] {
      ChapterMarks marks;
      readChpl(good, marks);
    });
    EXPECT_EQ(failing.blocksHeld(), 0u);
    if (!failing.failed()) {
      EXPECT_EQ(message, "");
      EXPECT_EQ(failAt, 4u) << "the list, and each title while it is read";
      break;
    }
    EXPECT_THAT(message, AnyOf("out of memory", "out of memory when resizing array"));
  }
}

}  // namespace
}  // namespace atomkit
