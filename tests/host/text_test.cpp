// Text at the edges of the reference host.
#include "host/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

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

TEST(HostText, CountsCharactersNotBytes) {
  EXPECT_EQ(velahost::columns("Gr\xc3\xb6\xc3\x9f"
                              "e"),
            5u);
}

TEST(HostText, SplitsLinesAndShowsControlCharacters) {
  EXPECT_THAT(velahost::printableLines("one\ntwo\r\nthree\rfour"),
              ElementsAre("one", "two", "three", "four"));
  EXPECT_THAT(velahost::printableLines("\x01 \x1b[31m\x7f"), ElementsAre("\\x01 \\x1b[31m\\x7f"));
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

TEST(HostText, WritesSecondsWithSixDecimals) {
  EXPECT_EQ(velahost::secondsText(0),
            "0."
            "00000"
            "0");
  EXPECT_EQ(velahost::secondsText(kSecond / 4),
            "0."
            "25000"
            "0");
  EXPECT_EQ(velahost::secondsText(kSecond * 100 - 1),
            "100."
            "00000"
            "0");
}

TEST(HostText, TurnsSecondsIntoHostUnitsWithinBounds) {
  EXPECT_EQ(velahost::hostUnitsFromSeconds(0), 0u);
  EXPECT_EQ(velahost::hostUnitsFromSeconds(1.5), kSecond * 3 / 2);
  EXPECT_EQ(velahost::hostUnitsFromSeconds(549755813888.0), uint64_t{1} << 63);
  EXPECT_THROW(velahost::hostUnitsFromSeconds(-0.001), velahost::Failure);
  EXPECT_THROW(velahost::hostUnitsFromSeconds(549755813889.0), velahost::Failure);
}

TEST(HostText, WritesIdentifiersInRegistryNotation) {
  EXPECT_EQ(velahost::guidText(vela::kMediaAac),
            "{E15B8"
            "39C-"
            "8D8B-"
            "495A-"
            "B6F6-"
            "E39757"
            "B140AB"
            "}");
  EXPECT_EQ(velahost::mediaName(vela::kMediaH264),
            "H."
            "264");
  EXPECT_EQ(velahost::mediaName(vela::kModuleClassId),
            "{7C3B2"
            "FA4-"
            "91B7-"
            "4D6D-"
            "9F33-"
            "9A9886"
            "4D3A75"
            "}");
}

TEST(ResultSentence, StandsForEveryCode) {
  for (const uint32_t code : {0u, 1u, 2u, 3u, 5u, 6u}) {
    EXPECT_THAT(velahost::resultSentence(velahost::Place::reading, vela::TIOResult{code}),
                testing::HasSubstr("(result " + std::to_string(code) + ")"));
    EXPECT_EQ(velahost::exitStatus(vela::TIOResult{code}), static_cast<int>(code));
  }
  EXPECT_THAT(velahost::resultSentence(velahost::Place::reading, velahost::kReadFailed), testing::HasSubstr("0x"
                                                                                  "80"
                                                                                  "00"
                                                                                  "00"
                                                                                  "0"
                                                                                  "1"));
  EXPECT_THAT(velahost::resultSentence(velahost::Place::reading, vela::TIOResult{4711}), testing::HasSubstr("0x"
                                                                                  "00"
                                                                                  "00"
                                                                                  "12"
                                                                                  "6"
                                                                                  "7"));
  EXPECT_EQ(velahost::exitStatus(velahost::kReadFailed), 7);
  EXPECT_EQ(velahost::exitStatus(vela::TIOResult{4711}), 7);
}

}  // namespace
