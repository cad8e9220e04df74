#include "platform/case_mapping.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <clocale>
#include <ctime>
#include <cwctype>
#include <limits>
#include <string>

#include "platform/platform.h"

namespace {

std::u16string lowered(std::u16string text) {
  for (char16_t& unit : text) unit = platform::lowerUnit(unit);
  return text;
}
std::u16string raised(std::u16string text) {
  for (char16_t& unit : text) unit = platform::upperUnit(unit);
  return text;
}

}  // namespace

TEST(CaseMapping, MapsEveryAsciiLetterAndNothingElseOfAscii) {
  for (char16_t unit = 0; unit < 128; ++unit) {
    const bool isUpper = unit >= u'A' && unit <= u'Z';
    const bool isLower = unit >= u'a' && unit <= u'z';
    EXPECT_EQ(platform::lowerUnit(unit), isUpper ? unit + 32 : unit);
    EXPECT_EQ(platform::upperUnit(unit), isLower ? unit - 32 : unit);
  }
}

TEST(CaseMapping, MapsLettersOfEachScript) {
  const std::u16string upper = u"ÀÖØÞĀŐŸŽƁƎǄǍȀΑΩΆЀАЯҐӀԱỘＡＺ";
  const std::u16string lower = u"àöøþāőÿžɓǝǆǎȁαωάѐаяґӏաộａｚ";
  EXPECT_EQ(lowered(upper), lower);
  EXPECT_EQ(raised(lower), upper);
}

TEST(CaseMapping, MapsOneWayWhereThePartnerHasANearerOne) {
  EXPECT_EQ(platform::lowerUnit(u'\u212B'), u'\u00E5') << "the Angstrom sign";
  EXPECT_EQ(platform::upperUnit(u'\u212B'), u'\u212B');
  EXPECT_EQ(platform::upperUnit(u'\u00E5'), u'\u00C5');
  EXPECT_EQ(platform::upperUnit(u'\u1E9B'), u'\u1E60') << "long s with dot above";
  EXPECT_EQ(platform::lowerUnit(u'\u1E9B'), u'\u1E9B');
  EXPECT_EQ(platform::lowerUnit(u'\u1E60'), u'\u1E61');
}

TEST(CaseMapping, LeavesSignsBetweenTheLettersAlone) {
  const std::u16string signs = u"×÷ßªº¿¡ĸŉƻǀ٠日\uFFFD\uFFFF";
  EXPECT_EQ(lowered(signs), signs);
  EXPECT_EQ(raised(signs), signs);
  for (char16_t half = 0xD800; half < 0xE000; ++half) {
    EXPECT_EQ(platform::lowerUnit(half), half);
    EXPECT_EQ(platform::upperUnit(half), half);
  }
}

TEST(CaseMapping, GivesAnAsciiLetterAsciiPartnersOnly) {
  for (uint32_t unit = 128; unit < 0x10000; ++unit) {
    EXPECT_GE(platform::lowerUnit(static_cast<char16_t>(unit)), 128) << std::hex << unit;
    EXPECT_GE(platform::upperUnit(static_cast<char16_t>(unit)), 128) << std::hex << unit;
  }
}

TEST(CaseMapping, IsStableAfterOneStepAndReversible) {
  const std::u16string titleCase = u"ǅǈǋǲ";  // between the cases
  const std::u16string sharedPartner = u"ϴẞ\u212B\u00B5ς\u1E9B";
  for (uint32_t i = 0; i < 0x10000; ++i) {
    const auto unit = static_cast<char16_t>(i);
    const char16_t lower = platform::lowerUnit(unit);
    EXPECT_EQ(platform::lowerUnit(lower), lower) << std::hex << i;
    const char16_t upper = platform::upperUnit(unit);
    EXPECT_EQ(platform::upperUnit(upper), upper) << std::hex << i;
    const bool isReversible =
        titleCase.find(unit) == titleCase.npos && sharedPartner.find(unit) == sharedPartner.npos;
    if (lower != unit) {
      EXPECT_EQ(platform::upperUnit(lower) == unit, isReversible) << std::hex << i;
    }
    if (upper != unit) {
      EXPECT_EQ(platform::lowerUnit(upper) == unit, isReversible) << std::hex << i;
    }
  }
}

TEST(CaseMapping, AgreesWithTheSystemOnLatinGreekAndCyrillic) {
  const std::string before = std::setlocale(LC_CTYPE, nullptr);
  if (!std::setlocale(LC_CTYPE, "C.UTF-8")) GTEST_SKIP() << "no locale to compare with";
  for (uint32_t i = 0; i < 0x530; ++i) {
    const auto expected = static_cast<uint32_t>(std::towlower(static_cast<wint_t>(i)));
    const bool isMapped = expected >= 0x80 || i < 0x80;
    const bool isFar = expected >= 0x530;  // partner in a block that is not covered
    if (!isMapped || isFar) continue;
    EXPECT_EQ(platform::lowerUnit(static_cast<char16_t>(i)), expected) << std::hex << i;
  }
  std::setlocale(LC_CTYPE, before.c_str());
}

// A walk over the ranges takes the same time for every unit that none of them holds.
TEST(CaseMapping, OfAsciiDoesNotWalkOverTheRangesOfOtherScripts) {
  const auto cost = [](char16_t first) {
    std::clock_t least = std::numeric_limits<std::clock_t>::max();
    for (int i = 0; i < 5; ++i) {
      const std::clock_t start = std::clock();
      uint32_t sum = 0;
      for (uint32_t k = 0; k < 20000; ++k) {
        const auto unit = static_cast<char16_t>(first + k % 64);
        sum += uint32_t{platform::lowerFromTable(unit)} + platform::upperFromTable(unit);
      }
      EXPECT_GT(sum, 0u);
      least = std::min(least, std::clock() - start);
    }
    return least;
  };
  EXPECT_LT(cost(u'@'), cost(u'\u4E00') / 3);
}

TEST(CompareIgnoringCase, OrdersByTheLowerCaseUnits) {
  EXPECT_EQ(platform::compareIgnoringCase(u"", u""), 0);
  EXPECT_EQ(platform::compareIgnoringCase(u"Straße ÄÖ", u"sTRAßE äö"), 0);
  EXPECT_LT(platform::compareIgnoringCase(u"ab", u"ABC"), 0);
  EXPECT_GT(platform::compareIgnoringCase(u"ABC", u"ab"), 0);
  EXPECT_LT(platform::compareIgnoringCase(u"A", u"b"), 0);
  EXPECT_GT(platform::compareIgnoringCase(u"b", u"A"), 0);
  EXPECT_LT(platform::compareIgnoringCase(u"z", u"\uFFFF"), 0) << "units are unsigned";
}
