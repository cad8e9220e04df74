// Text at the edges of the reference host.
#include "host/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "host/failure.h"

namespace {

using testing::ElementsAre;

constexpr uint64_t kSecond = vela::kHostUnitsPerSecond;

TEST(HostText, ConvertsUtf16OfEveryLengthBothWays) {
  const std::u16string wide = u"a é € 𝄞";
  const std::string narrow = "a \xc3\xa9 \xe2\x82\xac \xf0\x9d\x84\x9e";
  EXPECT_EQ(velahost::toUtf8(wide), narrow);
  EXPECT_EQ(velahost::toUtf16(narrow), wide);
}

TEST(HostText, ReplacesASurrogateWithoutItsPartner) {
  EXPECT_EQ(velahost::toUtf8(u"x\xd834"), "x\xef\xbf\xbd");
  EXPECT_EQ(velahost::toUtf8(u"\xdd1ex"), "\xef\xbf\xbdx");
}

TEST(HostText, ReplacesBytesThatAreNoCharacter) {
  EXPECT_EQ(velahost::toUtf16("\xff"
                              "a"),
            u"\xfffd"
            u"a");
  EXPECT_EQ(velahost::toUtf16("\xc0\xaf"), u"\xfffd\xfffd") << "an overlong form";
  EXPECT_EQ(velahost::toUtf16("\xed\xa0\x80"), u"\xfffd\xfffd\xfffd") << "half a pair";
  EXPECT_EQ(velahost::toUtf16("\xe2\x82"), u"\xfffd\xfffd") << "cut short";
}

TEST(HostText, TakesTextByCountOrUpToTheNul) {
  const char16_t text[] = u"ab\0cd";
  EXPECT_EQ(velahost::takeText(text, vela::kUntilNul), u"ab");
  EXPECT_EQ(velahost::takeText(text, 1), u"a");
  EXPECT_EQ(velahost::takeText(text, 5), std::u16string(text, 5));
  EXPECT_EQ(velahost::takeText(nullptr, vela::kUntilNul), u"");
}

TEST(HostText, CountsCharactersNotBytes) { EXPECT_EQ(velahost::columns("Größe"), 5u); }

TEST(HostText, ShowsControlCharactersAsEscapes) {
  EXPECT_EQ(velahost::printable("\x01 \x1b[31m\x7f"), "\\x01 \\x1b[31m\\x7f");
  EXPECT_EQ(velahost::printable("one\r\ntwo\tthree"), "one\\x0d\\x0atwo\\x09three");
  EXPECT_EQ(velahost::printable(velahost::toUtf8(u"a\u0080b\u0085c\u009b31m")),
            "a\\u0080b\\u0085c\\u009b31m")
      << "C1 controls";
}

TEST(HostText, ShowsCharactersThatReorderOrBreakLinesAsEscapes) {
  for (const char16_t character :
       u"\u061c\u200e\u200f\u2028\u2029\u202a\u202b\u202c\u202d\u202e\u2066\u2067\u2068\u2069") {
    if (character == 0) continue;
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
    EXPECT_EQ(velahost::printable(velahost::toUtf8(std::u16string(1, character))), escape);
  }
}

TEST(HostText, LeavesAllOtherCharactersAsTheyAre) {
  const std::string text = "a\u00a0\u200d\u2027\u202f\u2065\u206a אב العربية 𝄞 \\";
  EXPECT_EQ(velahost::printable(text), text);
}

TEST(HostText, ShowsBytesThatAreNotUtf8AsEscapes) {
  EXPECT_EQ(velahost::printable("caf\xe9.mp4"), "caf\\xe9.mp4");
  EXPECT_EQ(velahost::printable("\xe2\x82"), "\\xe2\\x82");
}

TEST(HostText, SplitsLinesAtEveryKindOfLineBreak) {
  EXPECT_THAT(velahost::printableLines("one\ntwo\r\nthree\rfour\x02\n"),
              ElementsAre("one", "two", "three", "four\\x02", ""));
  EXPECT_THAT(velahost::printableLines(""), ElementsAre(""));
}

TEST(HostText, WritesClockTimesRoundedToMilliseconds) {
  EXPECT_EQ(velahost::clockTime(0), "0:00:00.000");
  EXPECT_EQ(velahost::clockTime(kSecond * 3661 + kSecond / 2), "1:01:01.500");
  EXPECT_EQ(velahost::clockTime(kSecond - 1), "0:00:01.000");
  EXPECT_EQ(velahost::clockTime(kSecond * 360000), "100:00:00.000");
  EXPECT_EQ(velahost::clockTime(vela::kUnknown64), "unknown");
  EXPECT_EQ(velahost::clockTime(vela::kUnknown64 - 1), "305419896:36:16.000");
}

TEST(HostText, WritesSecondsWithTheDecimalsThatAreAskedFor) {
  constexpr int64_t kSigned = kSecond;
  EXPECT_EQ(velahost::secondsText(0, 6), "0.000000");
  EXPECT_EQ(velahost::secondsText(kSigned / 4, 6), "0.250000");
  EXPECT_EQ(velahost::secondsText(kSigned / 4, 0), "0");
  EXPECT_EQ(velahost::secondsText(kSigned * 100 - 1, 6), "100.000000");
  EXPECT_EQ(velahost::secondsText(1, 9), "0.000000060");
  EXPECT_EQ(velahost::secondsText(INT64_MAX, 3), "549755813888.000");
}

TEST(HostText, WritesSecondsBeforeTheStartWithASign) {
  constexpr int64_t kSigned = kSecond;
  EXPECT_EQ(velahost::secondsText(-kSigned / 2, 3), "-0.500");
  EXPECT_EQ(velahost::secondsText(-kSigned * 12 - kSigned / 2, 6), "-12.500000");
  EXPECT_EQ(velahost::secondsText(INT64_MIN, 3), "-549755813888.000");
  EXPECT_EQ(velahost::secondsText(-1, 3), "0.000") << "what rounds to zero has no sign";
}

TEST(HostText, ReadsTimesAsSecondsAndAsClockTimes) {
  EXPECT_EQ(velahost::hostUnitsFromTime("0"), 0u);
  EXPECT_EQ(velahost::hostUnitsFromTime("1.5"), kSecond * 3 / 2);
  EXPECT_EQ(velahost::hostUnitsFromTime("90"), kSecond * 90);
  EXPECT_EQ(velahost::hostUnitsFromTime("1:30"), kSecond * 90);
  EXPECT_EQ(velahost::hostUnitsFromTime("0:01:30.5"), kSecond * 181 / 2);
  EXPECT_EQ(velahost::hostUnitsFromTime("100:00:00"), kSecond * 360000);
  EXPECT_EQ(velahost::hostUnitsFromTime("90:05.25"), kSecond * 21621 / 4);
}

TEST(HostText, ReadsFractionsOfTimesToTheNearestHostUnit) {
  EXPECT_EQ(velahost::hostUnitsFromTime("0.00000006"), 1u);
  EXPECT_EQ(velahost::hostUnitsFromTime("0.00000002"), 0u);
  EXPECT_EQ(velahost::hostUnitsFromTime("0.50000000000000000000000000001"), kSecond / 2);
}

TEST(HostText, ReadsNoTimesBeyondWhatASignedValueHolds) {
  EXPECT_EQ(velahost::hostUnitsFromTime("549755813887"), 549755813887 * kSecond);
  EXPECT_EQ(velahost::hostUnitsFromTime("549755813887.9999999999"), uint64_t{INT64_MAX});
  EXPECT_THROW(velahost::hostUnitsFromTime("549755813888"), velahost::Failure);
  EXPECT_THROW(velahost::hostUnitsFromTime("99999999999:00:00"), velahost::Failure);
  EXPECT_THROW(velahost::hostUnitsFromTime("18446744073709551617"), velahost::Failure);
}

TEST(HostText, RefusesTextThatIsNotATime) {
  for (const char* const text :
       {"",        ".",       "1.",      ".5",     "-1",     "+1",   "nan",  "inf",
        "1e3",     "0x10",    " 1",      "1 ",     "1:",     ":30",  "1:60", "1:030",
        "1:60:00", "1:00:60", "0:0:0:0", "1:30,5", "1.5:30", "1..5", "1.5.5"}) {
    EXPECT_THROW(velahost::hostUnitsFromTime(text), velahost::Failure) << text;
  }
}

TEST(HostText, WritesIdentifiersInRegistryNotation) {
  EXPECT_EQ(velahost::guidText(vela::kMediaAac), "{E15B839C-8D8B-495A-B6F6-E39757B140AB}");
  EXPECT_EQ(velahost::mediaName(vela::kMediaH264), "H.264");
  EXPECT_EQ(velahost::mediaName(vela::kModuleClassId), "{7C3B2FA4-91B7-4D6D-9F33-9A98864D3A75}");
}

TEST(ResultSentence, StandsForEveryCode) {
  for (const uint32_t code : {0u, 1u, 2u, 3u, 5u, 6u}) {
    EXPECT_THAT(velahost::resultSentence(velahost::Place::reading, vela::TIOResult{code}),
                testing::HasSubstr("(result " + std::to_string(code) + ")"));
    EXPECT_EQ(velahost::exitStatus(vela::TIOResult{code}), static_cast<int>(code));
  }
  EXPECT_THAT(velahost::resultSentence(velahost::Place::reading, velahost::kReadFailed),
              testing::HasSubstr("0x80000001"));
  EXPECT_THAT(velahost::resultSentence(velahost::Place::reading, vela::TIOResult{4711}),
              testing::HasSubstr("0x00001267"));
  EXPECT_EQ(velahost::exitStatus(velahost::kReadFailed), 7);
  EXPECT_EQ(velahost::exitStatus(vela::TIOResult{4711}), 7);
}

}  // namespace
