// Text at the edges of the programs.
#include "cli/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::ElementsAre;

TEST(ProgramText, ConvertsUtf16OfEveryLengthBothWays) {
  const std::u16string wide = u"a é € 𝄞";
  const std::string narrow = "a \xc3\xa9 \xe2\x82\xac \xf0\x9d\x84\x9e";
  EXPECT_EQ(cli::toUtf8(wide), narrow);
  EXPECT_EQ(cli::toUtf16(narrow), wide);
}

TEST(ProgramText, ReplacesASurrogateWithoutItsPartner) {
  EXPECT_EQ(cli::toUtf8(u"x\xd834"), "x\xef\xbf\xbd");
  EXPECT_EQ(cli::toUtf8(u"\xdd1ex"), "\xef\xbf\xbdx");
}

TEST(ProgramText, ReplacesBytesThatAreNoCharacter) {
  EXPECT_EQ(cli::toUtf16("\xff"
                         "a"),
            u"\xfffd"
            u"a");
  EXPECT_EQ(cli::toUtf16("\xc0\xaf"), u"\xfffd\xfffd") << "an overlong form";
  EXPECT_EQ(cli::toUtf16("\xed\xa0\x80"), u"\xfffd\xfffd\xfffd") << "half a pair";
  EXPECT_EQ(cli::toUtf16("\xe2\x82"), u"\xfffd\xfffd") << "cut short";
}

TEST(ProgramText, CountsCharactersNotBytes) { EXPECT_EQ(cli::columns("Größe"), 5u); }

TEST(ProgramText, ShowsControlCharactersAsEscapes) {
  EXPECT_EQ(cli::printable("\x01 \x1b[31m\x7f"), "\\x01 \\x1b[31m\\x7f");
  EXPECT_EQ(cli::printable("one\r\ntwo\tthree"), "one\\x0d\\x0atwo\\x09three");
  EXPECT_EQ(cli::printable(cli::toUtf8(u"a\u0080b\u0085c\u009b31m")), "a\\u0080b\\u0085c\\u009b31m")
      << "C1 controls";
}

TEST(ProgramText, ShowsCharactersThatReorderOrBreakLinesAsEscapes) {
  for (const char16_t character :
       u"\u061c\u200e\u200f\u2028\u2029\u202a\u202b\u202c\u202d\u202e\u2066\u2067\u2068\u2069") {
    if (character == 0) continue;
    char escape[8];
    std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(character));
    EXPECT_EQ(cli::printable(cli::toUtf8(std::u16string(1, character))), escape);
  }
}

TEST(ProgramText, LeavesAllOtherCharactersAsTheyAre) {
  const std::string text = "a\u00a0\u200d\u2027\u202f\u2065\u206a אב العربية 𝄞 \\";
  EXPECT_EQ(cli::printable(text), text);
}

TEST(ProgramText, ShowsBytesThatAreNotUtf8AsEscapes) {
  EXPECT_EQ(cli::printable("caf\xe9.mp4"), "caf\\xe9.mp4");
  EXPECT_EQ(cli::printable("\xe2\x82"), "\\xe2\\x82");
}

TEST(ProgramText, SplitsLinesAtEveryKindOfLineBreak) {
  EXPECT_THAT(cli::printableLines("one\ntwo\r\nthree\rfour\x02\n"),
              ElementsAre("one", "two", "three", "four\\x02", ""));
  EXPECT_THAT(cli::printableLines(""), ElementsAre(""));
}

}  // namespace
