#include "hal/text/wide_text.h"

#include <gtest/gtest.h>

#include <string>

#include "hal/memory/memory.h"
#include "tests/support/hal_allocator.h"
#include "tests/support/hal_streams.h"
#include "tests/support/seeded_random.h"

namespace {

constexpr uint32_t kUntilNul = VWideText::KUntilNul;

std::u16string titleOf(const std::u16string& path, uint32_t maximum = kUntilNul) {
  RecordingString title(u"old");
  VWideText::GFileTitle(path.c_str(), maximum, title);
  EXPECT_EQ(title.calls.size(), 1u);
  EXPECT_EQ(title.calls[0].count, title.content.size()) << "one counted write";
  EXPECT_EQ(title.calls[0].start, 0u);
  return title.content;
}

}  // namespace

TEST(NarrowText, FoldsAsciiLettersOnly) {
  for (int c = -128; c < 128; ++c) {
    const auto character = static_cast<char>(c);
    const bool isUpper = character >= 'A' && character <= 'Z';
    EXPECT_EQ(VNarrowText::GFold(character), static_cast<char>(isUpper ? c + 32 : c));
  }
}

TEST(NarrowText, ComparesFoldedCharactersAndReturnsTheirDifference) {
  EXPECT_EQ(VNarrowText::GCompareIgnoringCase("", ""), 0);
  EXPECT_EQ(VNarrowText::GCompareIgnoringCase("Title", "tITLE"), 0);
  EXPECT_EQ(VNarrowText::GCompareIgnoringCase("a", "C"), -2);
  EXPECT_EQ(VNarrowText::GCompareIgnoringCase("Ca", "cB"), -1);
  EXPECT_EQ(VNarrowText::GCompareIgnoringCase("abc", "ab"), 'c');
  EXPECT_EQ(VNarrowText::GCompareIgnoringCase("ab", "abc"), -'c');
  EXPECT_EQ(VNarrowText::GCompareIgnoringCase("_", "A"), '_' - 'a');
}

TEST(NarrowText, ComparesSignedCharacters) {
  EXPECT_EQ(VNarrowText::GCompareIgnoringCase("\x80", "\x7F"), -128 - 127);
  EXPECT_EQ(VNarrowText::GCompareIgnoringCase("\xFF", ""), -1);
}

TEST(WideText, TellsDigits) {
  for (uint32_t unit = 0; unit < 0x10000; ++unit) {
    uint32_t value = 77;
    const bool isDigit = unit >= '0' && unit <= '9';
    ASSERT_EQ(VWideText::GIsDigit(static_cast<char16_t>(unit), &value), isDigit);
    ASSERT_EQ(value, isDigit ? unit - '0' : 77);
  }
}

TEST(WideText, TellsSeparators) {
  for (uint32_t unit = 0; unit < 0x10000; ++unit) {
    const bool isSeparator = unit == '/' || unit == ':' || unit == '\\' || unit == '|';
    ASSERT_EQ(VWideText::GIsSeparator(static_cast<char16_t>(unit)), isSeparator);
  }
}

TEST(WideText, MapsCaseByThePlatform) {
  EXPECT_EQ(VWideText::GToLower(u'Ä'), u'ä');
  EXPECT_EQ(VWideText::GToUpper(u'ä'), u'Ä');
  EXPECT_EQ(VWideText::GPlatformCompareIgnoringCase(u"ÄB", u"äb"), 0);
  EXPECT_LT(VWideText::GPlatformCompareIgnoringCase(u"Äb", u"äC"), 0);
  EXPECT_GT(VWideText::GPlatformCompareIgnoringCase(u"äc", u"Äb"), 0);
}

TEST(WideText, LengthEndsAtTheNulOrTheMaximum) {
  EXPECT_EQ(VWideText::GLength(u"abc", 0), 0u);
  EXPECT_EQ(VWideText::GLength(u"abc", 2), 2u);
  EXPECT_EQ(VWideText::GLength(u"abc", 3), 3u);
  EXPECT_EQ(VWideText::GLength(u"abc", 4), 3u);
  EXPECT_EQ(VWideText::GLength(u"abc", kUntilNul), 3u);
  EXPECT_EQ(VWideText::GLength(u"", kUntilNul), 0u);
  EXPECT_EQ(VWideText::GLength(u"ab\0cd", 5), 2u);
  EXPECT_EQ(VWideText::GLength(nullptr, 0), 0u);
}

TEST(WideText, ReadsNoUnitAtTheMaximum) {
  const auto text = std::make_unique<char16_t[]>(3);
  text[0] = text[1] = text[2] = u'x';
  EXPECT_EQ(VWideText::GLength(text.get(), 3), 3u) << "the sanitizer watches the end";
}

TEST(WideText, OrdersAPrefixFirst) {
  EXPECT_EQ(VWideText::GCompare(u"ab", u"abc"), -1);
  EXPECT_EQ(VWideText::GCompare(u"abc", u"ab"), 1);
  EXPECT_EQ(VWideText::GCompare(u"abc", u"abc"), 0);
  EXPECT_EQ(VWideText::GCompare(u"", u""), 0);
  EXPECT_EQ(VWideText::GCompare(u"", u"a"), -1);
}

TEST(WideText, ComparesUnsignedUnits) {
  EXPECT_EQ(VWideText::GCompare(u"a", u"\uFFFF"), -1);
  EXPECT_EQ(VWideText::GCompare(u"\u8000", u"\u7FFF"), 1);
  EXPECT_EQ(VWideText::GCompare(u"B", u"a"), -1) << "ordinal";
}

TEST(WideText, ComparesNoFurtherThanTheMaxima) {
  EXPECT_EQ(VWideText::GCompare(u"abX", 2, u"abY", 2), 0);
  EXPECT_EQ(VWideText::GCompare(u"abX", 2, u"abY", 3), -1);
  EXPECT_EQ(VWideText::GCompare(u"abX", kUntilNul, u"abY", 2), 1);
  EXPECT_EQ(VWideText::GCompare(u"a\0x", 3, u"a\0y", 3), 0) << "a NUL ends both";
}

TEST(WideText, ComparesIgnoringCase) {
  EXPECT_EQ(VWideText::GCompareIgnoringCase(u"ABC", u"abc"), 0);
  EXPECT_EQ(VWideText::GCompareIgnoringCase(u"ÄÖ", u"äö"), 0);
  EXPECT_EQ(VWideText::GCompareIgnoringCase(u"aB", u"Ac"), -1);
  EXPECT_EQ(VWideText::GCompareIgnoringCase(u"_", u"A"), -1) << "mapped to lower case, not upper";
  EXPECT_EQ(VWideText::GCompareIgnoringCase(u"ABx", 2, u"aby", 2), 0);
  EXPECT_EQ(VWideText::GCompareIgnoringCase(u"ABC", u"ab"), 1);
}

TEST(WideText, ComparisonAgreesWithAPlainString) {
  SeededRandom random(2102);
  for (int round = 0; round < 2000; ++round) {
    std::u16string left(random.below(5), 0);
    std::u16string right(random.below(5), 0);
    for (char16_t& unit : left) unit = static_cast<char16_t>(1 + random.below(3) * 0x7FFF);
    for (char16_t& unit : right) unit = static_cast<char16_t>(1 + random.below(3) * 0x7FFF);
    const int order = left.compare(right);
    EXPECT_EQ(VWideText::GCompare(left.c_str(), right.c_str()), order < 0 ? -1 : order > 0);
  }
}

TEST(WideText, FindsTheFirstAndTheLast) {
  EXPECT_EQ(VWideText::GFindFirst(u"abcabc", kUntilNul, u'b'), 1);
  EXPECT_EQ(VWideText::GFindLast(u"abcabc", kUntilNul, u'b'), 4);
  EXPECT_EQ(VWideText::GFindLast(u"abcabc", 4, u'b'), 1);
  EXPECT_EQ(VWideText::GFindFirst(u"abcabc", 1, u'b'), -1);
  EXPECT_EQ(VWideText::GFindFirst(u"abc", kUntilNul, u'x'), -1);
  EXPECT_EQ(VWideText::GFindLast(u"abc", kUntilNul, u'x'), -1);
  EXPECT_EQ(VWideText::GFindFirst(u"a", kUntilNul, u'a'), 0);
  EXPECT_EQ(VWideText::GFindLast(u"a", kUntilNul, u'a'), 0);
}

TEST(WideText, FindsNothingInAnEmptyText) {
  EXPECT_EQ(VWideText::GFindFirst(u"", kUntilNul, u'a'), -1);
  EXPECT_EQ(VWideText::GFindLast(u"", kUntilNul, u'a'), -1);
  EXPECT_EQ(VWideText::GFindFirst(u"", kUntilNul, 0), -1) << "the NUL is not part of the text";
  EXPECT_EQ(VWideText::GFindFirst(u"a", 0, u'a'), -1);
}

TEST(WideText, TellsWildcards) {
  EXPECT_FALSE(VWideText::GHasWildcards(u"name.mp4", kUntilNul));
  EXPECT_TRUE(VWideText::GHasWildcards(u"*.mp4", kUntilNul));
  EXPECT_TRUE(VWideText::GHasWildcards(u"a?c", kUntilNul));
  EXPECT_FALSE(VWideText::GHasWildcards(u"ab?", 2));
  EXPECT_FALSE(VWideText::GHasWildcards(u"", kUntilNul));
}

TEST(WideText, NarrowsWithAQuestionMarkForWhatDoesNotFit) {
  char target[8] = "-------";
  VWideText::GNarrow(u"a\u007F\u0080\u20ACz", kUntilNul, target);
  EXPECT_STREQ(target, "a\x7F??z");
  EXPECT_EQ(target[6], '-') << "length + 1 bytes";
  VWideText::GNarrow(u"abc", 1, target);
  EXPECT_STREQ(target, "a");
  VWideText::GNarrow(u"abc", 0, target);
  EXPECT_STREQ(target, "");
}

TEST(WideText, DuplicatesTheBoundedText) {
  FailingHalAllocation allocation;
  char16_t* copy = VWideText::GDuplicate(u"abcdef", 3);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(std::u16string(copy), u"abc");
  EXPECT_EQ(allocation.lastSize(), 4 * sizeof(char16_t));
  VMemory::GDeleteArray(copy);
  copy = VWideText::GDuplicate(u"", kUntilNul);
  ASSERT_NE(copy, nullptr);
  EXPECT_EQ(*copy, 0);
  VMemory::GDeleteArray(copy);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(WideText, DuplicateIsNullWithoutMemory) {
  FailingHalAllocation allocation(0);
  EXPECT_EQ(VWideText::GDuplicate(u"abc", kUntilNul), nullptr);
  EXPECT_EQ(allocation.blocksHeld(), 0u);
}

TEST(WideText, CopiesTheBoundedTextAndTerminatesIt) {
  char16_t target[6] = u"-----";
  VWideText::GCopy(target, u"abcdef", 3);
  EXPECT_EQ(std::u16string(target), u"abc");
  EXPECT_EQ(target[4], u'-');
  VWideText::GCopy(target, u"xy", kUntilNul);
  EXPECT_EQ(std::u16string(target), u"xy");
  VWideText::GCopy(target, nullptr, 0);
  EXPECT_EQ(std::u16string(target), u"");
}

TEST(WideText, FindsTheFileNameAfterTheLastSeparator) {
  EXPECT_EQ(VWideText::GFileNamePosition(u"name.ext", kUntilNul), 0u);
  EXPECT_EQ(VWideText::GFileNamePosition(u"", kUntilNul), 0u);
  EXPECT_EQ(VWideText::GFileNamePosition(u"C:\\dir\\name.ext", kUntilNul), 7u);
  EXPECT_EQ(VWideText::GFileNamePosition(u"a/b", kUntilNul), 2u);
  EXPECT_EQ(VWideText::GFileNamePosition(u"a:b", kUntilNul), 2u);
  EXPECT_EQ(VWideText::GFileNamePosition(u"a|b", kUntilNul), 2u);
  EXPECT_EQ(VWideText::GFileNamePosition(u"dir/", kUntilNul), 4u);
  EXPECT_EQ(VWideText::GFileNamePosition(u"a/b/c", 3), 2u) << "bounded";
}

TEST(WideText, FileTitleHasNoDirectoryQueryOrExtension) {
  EXPECT_EQ(titleOf(u"C:\\dir\\name.ext?x"), u"name");
  EXPECT_EQ(titleOf(u"name"), u"name");
  EXPECT_EQ(titleOf(u"name.tar.gz"), u"name.tar");
  EXPECT_EQ(titleOf(u"dir.d/name"), u"name");
  EXPECT_EQ(titleOf(u"name?a.b?c.d"), u"name") << "the first question mark";
  EXPECT_EQ(titleOf(u"a.b?c.d"), u"a");
  EXPECT_EQ(titleOf(u".hidden"), u"");
  EXPECT_EQ(titleOf(u"dir/"), u"");
  EXPECT_EQ(titleOf(u""), u"");
  EXPECT_EQ(titleOf(u"name.ext?x/y.z"), u"y") << "a separator in the query counts";
  EXPECT_EQ(titleOf(u"dir/name.ext", 8), u"name");
}
