#include "hal/text/string_pattern.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "tests/support/seeded_random.h"

namespace {

using Mode = VPattern::ListMode;
constexpr uint32_t kUntilNul = 0xFFFFFFFF;

bool matches(const char16_t* name, const char16_t* pattern, Mode mode = Mode::KSingle) {
  return VPattern::GMatches(name, kUntilNul, pattern, kUntilNul, mode);
}
bool matchesList(const char16_t* name, const char16_t* list, Mode mode = Mode::KList) {
  return VPattern::GMatchesList(name, kUntilNul, list, kUntilNul, mode);
}

}  // namespace

TEST(Pattern, MatchesUnitsWithoutRegardToCase) {
  EXPECT_TRUE(matches(u"abc", u"abc"));
  EXPECT_TRUE(matches(u"aBÄ", u"AbÄ"));
  EXPECT_FALSE(matches(u"abc", u"abd"));
  EXPECT_FALSE(matches(u"abc", u"ab"));
  EXPECT_FALSE(matches(u"ab", u"abc"));
  EXPECT_TRUE(matches(u"", u""));
}

TEST(Pattern, ComparesTheLowerCaseOfBothUnits) {
  EXPECT_FALSE(matches(u"ς", u"σ")) << "they share their upper case only";
#ifndef _WIN32  // where the system maps, which leaves this letter alone
  EXPECT_TRUE(matches(u"ϴ", u"θ")) << "they share their lower case only";
  EXPECT_TRUE(matches(u"θ", u"ϴ"));
#endif
}

TEST(Pattern, QuestionMarkStandsForOneUnit) {
  EXPECT_TRUE(matches(u"abc", u"a?c"));
  EXPECT_FALSE(matches(u"ac", u"a?c"));
  EXPECT_FALSE(matches(u"", u"?"));
  EXPECT_TRUE(matches(u"?", u"?"));
  EXPECT_FALSE(matches(u"ab", u"a??"));
}

TEST(Pattern, StarStandsForAnyUnitsBeforeAFixedText) {
  EXPECT_TRUE(matches(u"file.mp4", u"*.mp4"));
  EXPECT_TRUE(matches(u".mp4", u"*.mp4"));
  EXPECT_TRUE(matches(u"a.mp4.mp4", u"*.mp4"));
  EXPECT_FALSE(matches(u"file.mp3", u"*.mp4"));
  EXPECT_FALSE(matches(u"mp4", u"*.mp4"));
  EXPECT_TRUE(matches(u"abXcd", u"a*c?"));
  EXPECT_TRUE(matches(u"abab", u"*ab"));
}

TEST(Deliberate, D101_AStarAtTheEndMatchesNoFurtherUnit) {
  EXPECT_TRUE(matches(u"a", u"a*"));
  EXPECT_FALSE(matches(u"ab", u"a*"));
  EXPECT_TRUE(matches(u"", u"*"));
  EXPECT_FALSE(matches(u"a", u"*"));
  EXPECT_FALSE(matches(u"abc", u"*"));
  EXPECT_TRUE(matches(u"", u"**"));
  EXPECT_FALSE(matches(u"a", u"**"));
  EXPECT_TRUE(matches(u"aba", u"*a*")) << "the second star is reached at the end";
  EXPECT_FALSE(matches(u"ab", u"*a*"));
}

TEST(Pattern, SemicolonEndsThePatternInListModeOnly) {
  EXPECT_TRUE(matches(u"ab", u"ab;cd", Mode::KList));
  EXPECT_FALSE(matches(u"ab", u"ab;cd", Mode::KSingle));
  EXPECT_TRUE(matches(u"ab;cd", u"ab;cd", Mode::KSingle));
  EXPECT_FALSE(matches(u"ab;cd", u"ab;cd", Mode::KList));
  EXPECT_TRUE(matches(u"x.mp4", u"*.mp4;*.m4a", Mode::KList));
  EXPECT_FALSE(matches(u"x.m4a", u"*.mp4;*.m4a", Mode::KList)) << "one pattern, not the list";
}

TEST(Pattern, IsBoundedLikeEveryText) {
  EXPECT_TRUE(VPattern::GMatches(u"abXX", 2, u"abYY", 2, Mode::KSingle));
  EXPECT_FALSE(VPattern::GMatches(u"abX", 3, u"abY", 2, Mode::KSingle));
  EXPECT_TRUE(VPattern::GMatches(u"ab\0X", 4, u"ab\0Y", 4, Mode::KSingle));
  EXPECT_TRUE(VPattern::GMatches(u"aXX", 1, u"a*", 2, Mode::KSingle))
      << "the bound is the end of the name for a star too";
  EXPECT_TRUE(VPattern::GMatches(nullptr, 0, nullptr, 0, Mode::KSingle));
}

TEST(PatternList, TriesEachPatternInTurn) {
  EXPECT_TRUE(matchesList(u"FILE.M4A", u"*.mp4;*.m4a"));
  EXPECT_TRUE(matchesList(u"FILE.MP4", u"*.mp4;*.m4a"));
  EXPECT_FALSE(matchesList(u"FILE.M4B", u"*.mp4;*.m4a"));
  EXPECT_TRUE(matchesList(u"c", u"a;b;c"));
}

TEST(PatternList, EmptyListMatchesNothing) {
  EXPECT_FALSE(matchesList(u"", u""));
  EXPECT_FALSE(matchesList(u"a", u""));
  EXPECT_FALSE(VPattern::GMatchesList(u"a", kUntilNul, u"a", 0, Mode::KList));
}

TEST(PatternList, WithoutListModeIsOnePattern) {
  EXPECT_TRUE(matchesList(u"", u"", Mode::KSingle));
  EXPECT_TRUE(matchesList(u"a;b", u"a;b", Mode::KSingle));
  EXPECT_FALSE(matchesList(u"b", u"a;b", Mode::KSingle));
}

TEST(PatternList, PassesOverSemicolonsAndThenSpaces) {
  EXPECT_TRUE(matchesList(u"b", u"a;;;   b"));
  EXPECT_FALSE(matchesList(u"", u"a;;b")) << "there is no empty pattern between two semicolons";
  EXPECT_TRUE(matchesList(u"b", u"a; b"));
  EXPECT_FALSE(matchesList(u"b", u"a ;b ")) << "spaces belong to a pattern elsewhere";
  EXPECT_TRUE(matchesList(u"b ", u"a;b "));
  EXPECT_FALSE(matchesList(u"b", u" b")) << "spaces before the first pattern are not skipped";
  EXPECT_FALSE(matchesList(u"", u"a;")) << "there is no empty pattern at the end";
  EXPECT_FALSE(matchesList(u"", u"a;  ")) << "nor after spaces";
}

TEST(PatternList, AnEmptyFirstPatternMatchesTheEmptyName) {
  EXPECT_TRUE(matchesList(u"", u";a"));
  EXPECT_TRUE(matchesList(u"a", u";a"));
  EXPECT_TRUE(matchesList(u"", u"a; ;b")) << "and so does one of spaces only before a ';'";
}

TEST(PatternFileName, LooksAtTheFileNameOnly) {
  const auto fileMatches = [](const char16_t* path, const char16_t* list, Mode mode) {
    return VPattern::GMatchesFileName(path, kUntilNul, list, kUntilNul, mode);
  };
  EXPECT_TRUE(fileMatches(u"C:\\dir\\name.mp4", u"name.*4;n*.mp4", Mode::KList));
  EXPECT_TRUE(fileMatches(u"/a/b.m4a", u"?.mp4;?.m4a", Mode::KList));
  EXPECT_FALSE(fileMatches(u"/a/b.m4a", u"/a/b.m4a", Mode::KList));
  EXPECT_TRUE(fileMatches(u"name.mp4", u"*.mp4", Mode::KSingle));
  EXPECT_TRUE(fileMatches(u"dir/", u"", Mode::KSingle));
  EXPECT_TRUE(VPattern::GMatchesFileName(u"a/bcX/", 4, u"bcY", 2, Mode::KList));
}

namespace {

// The rule written down as sets: the places in `name` reached after each pattern unit.
bool modelMatches(const std::u16string& name, const std::u16string& pattern) {
  std::set<size_t> places = {0};
  for (const char16_t unit : pattern) {
    std::set<size_t> next;
    for (const size_t place : places) {
      if (unit == u'*') {
        next.insert(place);
        for (size_t later = place + 1; later < name.size(); ++later) next.insert(later);
      } else if (place < name.size() && (unit == u'?' || unit == name[place])) {
        next.insert(place + 1);
      }
    }
    places = next;
  }
  return places.contains(name.size());
}

}  // namespace

TEST(Pattern, AgreesWithASetOfPlaces) {
  SeededRandom random(2103);
  int matched = 0;
  for (int round = 0; round < 20000; ++round) {
    std::u16string name(random.below(8), 0);
    std::u16string pattern(random.below(7), 0);
    for (char16_t& unit : name) unit = u"ab"[random.below(2)];
    for (char16_t& unit : pattern) unit = u"ab?**"[random.below(5)];
    const bool expected = modelMatches(name, pattern);
    matched += expected;
    ASSERT_EQ(matches(name.c_str(), pattern.c_str()), expected) << round;
  }
  EXPECT_GT(matched, 1000);
}
