#include "atomkit/meta/tags/decimal_text.h"

#include <gtest/gtest.h>

#include <cstdio>

namespace atomkit {
namespace {

TEST(DecimalText, WritesZeroAndTheLargestNumber) {
  EXPECT_STREQ(makeDecimalText(0).text(), "0");
  EXPECT_STREQ(makeDecimalText(4294967295).text(), "4294967295");
}

TEST(DecimalText, FillsUpWithLeadingZerosAndAddsTheSuffix) {
  EXPECT_STREQ(makeDecimalText(120, 5, " BPM").text(), "00120 BPM");
  EXPECT_STREQ(makeDecimalText(65535, 5, " BPM").text(), "65535 BPM");
  EXPECT_STREQ(makeDecimalText(0, 5).text(), "00000");
}

TEST(DecimalText, NeverCutsANumberThatHasMoreDigits) {
  EXPECT_STREQ(makeDecimalText(123456, 5).text(), "123456");
}

TEST(DecimalText, KeepsToTheRoomThatItHas) {
  EXPECT_STREQ(makeDecimalText(7, 99, "0123456789abcdefgh").text(), "00000000070123456789abcde");
}

TEST(DecimalText, AgreesWithPrintfForEveryLengthOfNumber) {
  for (uint32_t value = 1; value != 0; value = value > UINT32_MAX / 3 ? 0 : value * 3) {
    char expected[16];
    std::snprintf(expected, sizeof expected, "%.5u", value);
    EXPECT_STREQ(makeDecimalText(value, 5).text(), expected);
  }
}

}  // namespace
}  // namespace atomkit
