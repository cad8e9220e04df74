#include "atomkit/core/containers/owned_string.h"

#include <gtest/gtest.h>

#include "atomkit/core/containers/memory.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

TEST(OwnedString, KeepsACopyThatEndsWithAZeroByte) {
  FailingAllocation memory;
  char original[] = "abc";
  OwnedString text;
  text.assign(original);
  original[0] = 'x';
  EXPECT_STREQ(text.text(), "abc");
  EXPECT_EQ(text.length(), 3u);
  EXPECT_EQ(memory.largestBlock(), 4u);
}

TEST(OwnedString, IsEmptyUntilItHoldsAByte) {
  OwnedString text;
  EXPECT_TRUE(text.empty());
  text.assign("x");
  EXPECT_FALSE(text.empty());
  text.clear();
  EXPECT_TRUE(text.empty());
}

TEST(OwnedString, TheEmptyTextOwnsNoMemoryAndHasLengthZero) {
  FailingAllocation memory;
  OwnedString text;
  EXPECT_EQ(text.length(), 0u);
  text.assign("");
  text.assign(nullptr);
  EXPECT_EQ(memory.allocations(), 0u);
  text.assign("x");
  text.assign("");
  EXPECT_EQ(memory.blocksHeld(), 0u);
  EXPECT_STREQ(text.text(), "");
  EXPECT_TRUE(text.empty());
}

TEST(OwnedString, AssigningItsOwnStorageChangesNothing) {
  FailingAllocation memory;
  OwnedString text;
  text.assign("same");
  const char* storage = text.text();
  text.assign(storage);
  EXPECT_EQ(text.text(), storage);
  EXPECT_EQ(memory.allocations(), 1u);
}

TEST(OwnedString, AFailedAssignmentIsOutOfMemoryAndLeavesItEmpty) {
  FailingAllocation memory(1);
  OwnedString text;
  text.assign("old");
  EXPECT_THROWS_MESSAGE(text.assign("new"), "out of memory");
  EXPECT_TRUE(text.empty());
  EXPECT_EQ(memory.blocksHeld(), 0u);
}

TEST(CompareIgnoringCase, FindsAKeyWrittenInCapitals) {
  EXPECT_EQ(compareIgnoringCase("TITLE", "title"), 0);
  EXPECT_EQ(compareIgnoringCase("tItLe", "TiTlE"), 0);
  EXPECT_EQ(compareIgnoringCase("", ""), 0);
}

TEST(CompareIgnoringCase, BytesAbove0x7fCompareAsTheyAre) {
  // The same letter in capital and small form, in Latin-1.
  EXPECT_EQ(compareIgnoringCase("\xC4", "\xE4"), -1);
  EXPECT_EQ(compareIgnoringCase("\xE4", "\xC4"), 1);
  EXPECT_EQ(compareIgnoringCase("\xE4", "\xE4"), 0);
}

TEST(CompareIgnoringCase, TheFirstDifferenceDecidesUnsigned) {
  EXPECT_EQ(compareIgnoringCase("abc", "abd"), -1);
  EXPECT_EQ(compareIgnoringCase("abd", "ABC"), 1);
  EXPECT_EQ(compareIgnoringCase("ab", "abc"), -1);
  EXPECT_EQ(compareIgnoringCase("abc", "ab"), 1);
  EXPECT_EQ(compareIgnoringCase("\x80", "z"), 1);
  EXPECT_EQ(compareIgnoringCase("", "\xFF"), -1);
}

TEST(CompareIgnoringCase, OnlyAToZAreFolded) {
  for (int byte = 1; byte < 256; ++byte) {
    const bool capital = byte >= 'A' && byte <= 'Z';
    const char left[] = {static_cast<char>(byte), 0};
    const char right[] = {static_cast<char>(byte ^ 0x20), 0};
    const bool small = byte >= 'a' && byte <= 'z';
    EXPECT_EQ(compareIgnoringCase(left, right) == 0, capital || small) << byte;
  }
}

TEST(ComparePrefixIgnoringCase, AcceptsAnyMixOfCaseAndTheWholePrefixOnly) {
  EXPECT_EQ(comparePrefixIgnoringCase("replaygain_track_gain", "replaygain_"), 0);
  EXPECT_EQ(comparePrefixIgnoringCase("ReplayGain_", "replaygain_"), 0);
  EXPECT_EQ(comparePrefixIgnoringCase("REPLAYGAIN_X", "replaygain_"), 0);
  EXPECT_EQ(comparePrefixIgnoringCase("replaygain", "replaygain_"), -1);
  EXPECT_EQ(comparePrefixIgnoringCase("", "replaygain_"), -1);
  EXPECT_EQ(comparePrefixIgnoringCase("title", "replaygain_"), 1);
}

TEST(ComparePrefixIgnoringCase, TheEmptyPrefixBeginsEveryText) {
  EXPECT_EQ(comparePrefixIgnoringCase("", ""), 0);
  EXPECT_EQ(comparePrefixIgnoringCase("x", ""), 0);
}

}  // namespace
}  // namespace atomkit
