#include "hal/text/number_text.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <limits>
#include <string>

#include "tests/support/hal_streams.h"
#include "tests/support/seeded_random.h"

namespace {

constexpr uint32_t kUntilNul = 0xFFFFFFFF;
constexpr uint32_t kAll = VString::KAll;
constexpr int64_t kLeast = std::numeric_limits<int64_t>::min();
constexpr int64_t kGreatest = std::numeric_limits<int64_t>::max();
constexpr uint64_t kGreatestUnsigned = std::numeric_limits<uint64_t>::max();

std::u16string wide(const std::string& text) { return {text.begin(), text.end()}; }

uint64_t word64(SeededRandom& random) { return uint64_t{random.word()} << 32 | random.word(); }

// Values of every magnitude, and the extremes.
std::vector<uint64_t> interestingValues() {
  std::vector<uint64_t> values = {0, kGreatestUnsigned, static_cast<uint64_t>(kGreatest),
                                  static_cast<uint64_t>(kLeast)};
  for (uint64_t power = 1, i = 0; i < 20; ++i, power *= 10) {
    values.insert(values.end(), {power - 1, power, power + 1});
  }
  for (int bit = 0; bit < 64; ++bit) values.push_back(uint64_t{1} << bit);
  SeededRandom random(2104);
  for (int i = 0; i < 500; ++i) values.push_back(word64(random) >> random.below(64));
  return values;
}

int64_t scaled(const char16_t* text, uint32_t scale, uint32_t maximum = kUntilNul) {
  return VNumberText::GParseScaledSigned(text, maximum, scale);
}
float parsedFloat(const char16_t* text, int32_t maximum = -1) {
  return VNumberText::GParseFloat(text, maximum);
}

}  // namespace

TEST(PowerOfTen, WrapsIn32Bits) {
  uint32_t expected = 1;
  for (uint32_t exponent = 0; exponent < 40; ++exponent, expected *= 10) {
    EXPECT_EQ(VNumberText::GPowerOfTen(exponent), expected);
  }
  EXPECT_EQ(VNumberText::GPowerOfTen(0), 1u);
  EXPECT_EQ(VNumberText::GPowerOfTen(9), 1000000000u);
  EXPECT_EQ(VNumberText::GPowerOfTen(10), 1410065408u);
  EXPECT_EQ(VNumberText::GPowerOfTen(31), 0x80000000u);
  EXPECT_EQ(VNumberText::GPowerOfTen(32), 0u);
  EXPECT_EQ(VNumberText::GPowerOfTen(0xFFFFFFFF), 0u);
}

TEST(ParseDigits, StopsAtTheFirstNonDigit) {
  const VNumberText::Digits digits = VNumberText::GParseDigits(u"1234x5", kUntilNul);
  EXPECT_EQ(digits.m_value, 1234u);
  EXPECT_EQ(digits.m_count, 4u);
  EXPECT_EQ(VNumberText::GParseDigits(u"x1", kUntilNul).m_count, 0u);
  EXPECT_EQ(VNumberText::GParseDigits(u"", kUntilNul).m_count, 0u);
  EXPECT_EQ(VNumberText::GParseDigits(u"-1", kUntilNul).m_count, 0u);
}

TEST(ParseDigits, StopsAtTheMaximum) {
  const VNumberText::Digits digits = VNumberText::GParseDigits(u"123456", 3);
  EXPECT_EQ(digits.m_value, 123u);
  EXPECT_EQ(digits.m_count, 3u);
  EXPECT_EQ(VNumberText::GParseDigits(nullptr, 0).m_count, 0u);
}

TEST(ParseDigits, WrapsIn64Bits) {
  EXPECT_EQ(VNumberText::GParseDigits(u"18446744073709551615", kUntilNul).m_value,
            kGreatestUnsigned);
  const VNumberText::Digits wrapped = VNumberText::GParseDigits(u"18446744073709551617", kUntilNul);
  EXPECT_EQ(wrapped.m_value, 1u);
  EXPECT_EQ(wrapped.m_count, 20u);
}

TEST(ParseScaled, TakesPointOrComma) {
  EXPECT_EQ(scaled(u"1.5", 1000), 1500);
  EXPECT_EQ(scaled(u"-2,25", 100), -225);
  EXPECT_EQ(scaled(u"+7.25", 4), 29);
  EXPECT_EQ(scaled(u"12", 10), 120);
}

TEST(ParseScaled, CutsTheFractionDown) {
  EXPECT_EQ(scaled(u"1.999", 100), 199);
  EXPECT_EQ(scaled(u"-1.999", 100), -199) << "toward zero";
  EXPECT_EQ(scaled(u"0.3", 8388608), 2516582);
}

TEST(ParseScaled, GivesZeroForAnEmptyText) {
  EXPECT_EQ(scaled(u"", 1000), 0);
  EXPECT_EQ(scaled(u"5", 1000, 0), 0);
  EXPECT_EQ(scaled(nullptr, 1000, 0), 0);
  EXPECT_EQ(scaled(u"-", 1000), 0);
  EXPECT_EQ(scaled(u"+", 1000), 0);
  EXPECT_EQ(scaled(u".", 1000), 0);
  EXPECT_EQ(scaled(u"abc", 1000), 0);
}

TEST(ParseScaled, LeavesWhatFollowsAlone) {
  EXPECT_EQ(scaled(u"-6.48 dB", 10000), -64800);
  EXPECT_EQ(scaled(u"1.5.5", 10), 15);
  EXPECT_EQ(scaled(u"1.,5", 10), 10);
  EXPECT_EQ(scaled(u"1e3", 10), 10);
}

TEST(ParseScaled, NeedsNoDigitOnEitherSideOfTheSeparator) {
  EXPECT_EQ(scaled(u".5", 10), 5);
  EXPECT_EQ(scaled(u"-.5", 10), -5);
  EXPECT_EQ(scaled(u"5.", 10), 50);
}

TEST(ParseScaled, TakesOneSignAndNoSpace) {
  EXPECT_EQ(scaled(u"--5", 10), 0);
  EXPECT_EQ(scaled(u"-+5", 10), 0);
  EXPECT_EQ(scaled(u" 5", 10), 0);
}

TEST(ParseScaled, IsBounded) {
  EXPECT_EQ(scaled(u"-12.34", 100, 6), -1234);
  EXPECT_EQ(scaled(u"-12.34", 100, 5), -1230);
  EXPECT_EQ(scaled(u"-12.34", 100, 4), -1200);
  EXPECT_EQ(scaled(u"-12.34", 100, 2), -100);
  EXPECT_EQ(scaled(u"-12.34", 100, 1), 0);
}

TEST(ParseScaled, UnsignedFormTakesNoSign) {
  EXPECT_EQ(VNumberText::GParseScaled(u"1.5", kUntilNul, 1000), 1500u);
  EXPECT_EQ(VNumberText::GParseScaled(u"-1.5", kUntilNul, 1000), 0u);
  EXPECT_EQ(VNumberText::GParseScaled(u"+1.5", kUntilNul, 1000), 0u);
  EXPECT_EQ(VNumberText::GParseScaled(u"", kUntilNul, 1000), 0u);
}

TEST(ParseScaled, WrapsIn64Bits) {
  EXPECT_EQ(VNumberText::GParseScaled(u"18446744073709551615", kUntilNul, 0xFFFFFFFF),
            kGreatestUnsigned * 0xFFFFFFFFu);
  EXPECT_EQ(scaled(u"-9223372036854775808", 1), kLeast);
  EXPECT_EQ(scaled(u"9223372036854775808", 1), kLeast);
  EXPECT_EQ(scaled(u"-18446744073709551615", 1), 1);
}

TEST(Deliberate, D113_TheFractionIsTakenIn32Bits) {
  EXPECT_EQ(scaled(u"0.999999999", 1000000000), 999999999) << "nine digits fit";
  // Ten digits: both the fraction and its power of ten wrap.
  EXPECT_EQ(scaled(u"0.5000000000", 1000), int64_t{5000000000u & 0xFFFFFFFFu} * 1000 / 1410065408);
  EXPECT_EQ(scaled(u"3.00000000000000000000000000000001", 1000), 3000)
      << "32 digits: the power is 0 and the fraction adds nothing";
  EXPECT_EQ(scaled(u"3.9999999999999999999999999999999999999", 1000), 3000);
}

TEST(ParseScaled, AgreesWithPlainArithmetic) {
  SeededRandom random(2105);
  for (int round = 0; round < 5000; ++round) {
    const uint32_t scale = random.word() >> random.below(32);
    const uint32_t integer = random.word() >> random.below(32);
    const uint32_t digits = random.below(9) + 1;
    const uint32_t power = VNumberText::GPowerOfTen(digits);
    const uint32_t fraction = random.below(power);
    char text[64];
    std::snprintf(text, sizeof(text), "-%" PRIu32 "%c%0*" PRIu32, integer,
                  random.oneIn(2) ? '.' : ',', static_cast<int>(digits), fraction);
    const uint64_t magnitude = uint64_t{integer} * scale + uint64_t{fraction} * scale / power;
    EXPECT_EQ(scaled(wide(text).c_str(), scale), static_cast<int64_t>(0 - magnitude)) << text;
  }
}

TEST(ParseFloat, TakesSpacesSignAndSeparator) {
  EXPECT_EQ(parsedFloat(u"  -1,5"), -1.5f);
  EXPECT_EQ(parsedFloat(u"+2.5"), 2.5f);
  EXPECT_EQ(parsedFloat(u"2.25"), 225.0f * VNumberText::GPower(10.0f, -2));
  EXPECT_EQ(parsedFloat(u"7"), 7.0f);
  EXPECT_EQ(parsedFloat(u".5"), 0.5f);
  EXPECT_EQ(parsedFloat(u""), 0.0f);
  EXPECT_EQ(parsedFloat(u"abc"), 0.0f);
  EXPECT_EQ(parsedFloat(u"\t1"), 0.0f) << "a tab is not a space";
}

TEST(ParseFloat, TakesOneSign) {
  EXPECT_EQ(parsedFloat(u"--1"), 0.0f);
  EXPECT_EQ(parsedFloat(u"+-1"), 0.0f);
  EXPECT_EQ(parsedFloat(u"- 1"), 0.0f);
}

TEST(ParseFloat, StopsAtASecondSeparator) {
  EXPECT_EQ(parsedFloat(u"1.5.5"), 1.5f);
  EXPECT_EQ(parsedFloat(u"1.5,5"), 1.5f);
  EXPECT_EQ(parsedFloat(u"1..5"), 1.0f);
}

TEST(ParseFloat, KeepsTheMantissaIn32Bits) {
  EXPECT_EQ(parsedFloat(u"4294967297"), 1.0f);
  EXPECT_EQ(parsedFloat(u"2147483648"), -2147483648.0f);
  EXPECT_EQ(parsedFloat(u"-2147483648"), -2147483648.0f);
  EXPECT_EQ(parsedFloat(u"-4294967295"), 1.0f);
}

TEST(ParseFloat, LooksAt127UnitsAtMost) {
  const std::u16string zeros(126, u'0');
  EXPECT_EQ(parsedFloat((zeros + u"12").c_str()), 1.0f);
  EXPECT_EQ(parsedFloat((zeros + u"12").c_str(), 500), 1.0f);
  EXPECT_EQ(parsedFloat((zeros + u"12").c_str(), std::numeric_limits<int32_t>::min()), 1.0f);
  EXPECT_EQ(parsedFloat((zeros + u"12").c_str(), 127), 1.0f);
  EXPECT_EQ(parsedFloat(u"123", 2), 12.0f);
  EXPECT_EQ(parsedFloat(u"123", 0), 0.0f);
}

TEST(ParseFloat, MultipliesWithASinglePrecisionPower) {
  EXPECT_EQ(parsedFloat(u"0.1"), 1.0f * 0.1f);
  EXPECT_EQ(parsedFloat(u"3.14159"), 314159.0f * VNumberText::GPower(10.0f, -5));
  const std::u16string small = u"0." + std::u16string(60, u'0') + u"1";
  EXPECT_EQ(parsedFloat(small.c_str()), VNumberText::GPower(10.0f, -61));
  EXPECT_EQ(parsedFloat(small.c_str()), 0.0f) << "below the least float";
}

TEST(Power, SquaresAndMultipliesInSinglePrecision) {
  EXPECT_EQ(VNumberText::GPower(10.0f, 0), 1.0f);
  EXPECT_EQ(VNumberText::GPower(10.0f, 3), 1000.0f);
  EXPECT_EQ(VNumberText::GPower(2.0f, -3), 0.125f);
  EXPECT_EQ(VNumberText::GPower(-2.0f, 3), -8.0f);
  EXPECT_EQ(VNumberText::GPower(0.0f, 5), 0.0f);
  EXPECT_EQ(VNumberText::GPower(0.0f, -5), 0.0f);
  EXPECT_EQ(VNumberText::GPower(0.0f, 0), 1.0f);
  EXPECT_EQ(VNumberText::GPower(1.0f, std::numeric_limits<int32_t>::min()), 1.0f);
  const auto tenth = static_cast<float>(1.0 / 10.0);
  EXPECT_EQ(VNumberText::GPower(10.0f, -1), tenth);
  EXPECT_EQ(VNumberText::GPower(10.0f, -2), tenth * tenth);
  EXPECT_EQ(VNumberText::GPower(10.0f, -3), tenth * (tenth * tenth));
  EXPECT_TRUE(std::isinf(VNumberText::GPower(10.0f, 39)));
}

TEST(Power, RoundsTheReciprocalFirstAndThenEveryProduct) {
  EXPECT_EQ(VNumberText::GPower(10.0f, -4), 0x1.a36e32p-14f) << "the nearest float ends in 2e";
  EXPECT_EQ(VNumberText::GPower(10.0f, -5), 0x1.4f8b5cp-17f);
  EXPECT_EQ(VNumberText::GPower(10.0f, -6), 0x1.0c6f7ep-20f);
  EXPECT_EQ(VNumberText::GPower(10.0f, -8), 0x1.5798f4p-27f);
  EXPECT_EQ(parsedFloat(u"0.0001"), 0x1.a36e32p-14f);
}

TEST(Deliberate, D102_TheIntegerParseAlwaysGivesZero) {
  for (const char16_t* text :
       {u"", u"0", u"1", u"123", u"-5", u"+7", u"-", u"x", u"999999999999"}) {
    EXPECT_EQ(VNumberText::GParseUnsigned(text, kUntilNul), 0u);
    EXPECT_EQ(VNumberText::GParseSigned(text, kUntilNul), 0);
    EXPECT_EQ(VNumberText::GParseSigned(text, 1), 0);
  }
}

TEST(Deliberate, D102_AnExponentHasNoEffectOnAFloat) {
  EXPECT_EQ(parsedFloat(u"2.5e3"), 2.5f);
  EXPECT_EQ(parsedFloat(u"2.5E-3"), 2.5f);
  EXPECT_EQ(parsedFloat(u"2.5e"), 2.5f);
}

TEST(FormatUnsigned, WritesToTheEndOfTheScratch) {
  char16_t scratch[VNumberText::KDecimalUnits];
  EXPECT_EQ(std::u16string(VNumberText::GFormatUnsigned(0, scratch)), u"0");
  EXPECT_EQ(VNumberText::GFormatUnsigned(0, scratch), scratch + 30);
  EXPECT_EQ(scratch[31], 0);
  EXPECT_EQ(std::u16string(VNumberText::GFormatUnsigned(kGreatestUnsigned, scratch)),
            u"18446744073709551615");
  EXPECT_EQ(VNumberText::GFormatUnsigned(kGreatestUnsigned, scratch), scratch + 11);
}

TEST(FormatUnsigned, CopiesWhatFitsAndReturnsTheDigitCount) {
  for (uint32_t room = 0; room <= 6; ++room) {
    char16_t target[8] = u"-------";
    EXPECT_EQ(VNumberText::GFormatUnsigned(1234, target, room), 4u);
    const std::u16string written(target, 7);
    const std::u16string expected = std::u16string(u"1234\0", 5).substr(0, room);
    EXPECT_EQ(written, expected + std::u16string(7 - expected.size(), u'-')) << room;
  }
}

TEST(FormatSigned, PutsTheSignFirst) {
  for (uint32_t room = 1; room <= 7; ++room) {
    char16_t target[8] = u"_______";
    EXPECT_EQ(VNumberText::GFormatSigned(-1234, target, room), 5u);
    const std::u16string expected = std::u16string(u"-1234\0", 6).substr(0, room);
    EXPECT_EQ(std::u16string(target, 7), expected + std::u16string(7 - expected.size(), u'_'))
        << room;
  }
  char16_t target[8] = u"_______";
  EXPECT_EQ(VNumberText::GFormatSigned(77, target, 8), 2u);
  EXPECT_EQ(std::u16string(target), u"77");
}

TEST(FormatSigned, WritesNothingWithoutRoom) {
  EXPECT_EQ(VNumberText::GFormatSigned(-1, nullptr, 0), 0u);
  EXPECT_EQ(VNumberText::GFormatSigned(12, nullptr, 0), 2u);
}

TEST(NumberText, FormatsAndParsesBackEveryMagnitude) {
  for (const uint64_t value : interestingValues()) {
    char16_t target[32];
    const uint32_t digits = VNumberText::GFormatUnsigned(value, target, 32);
    char expected[32];
    std::snprintf(expected, sizeof(expected), "%" PRIu64, value);
    EXPECT_EQ(std::u16string(target), wide(expected));
    EXPECT_EQ(digits, std::u16string(target).size());
    const VNumberText::Digits back = VNumberText::GParseDigits(target, kUntilNul);
    EXPECT_EQ(back.m_value, value);
    EXPECT_EQ(back.m_count, digits);

    const auto signedValue = static_cast<int64_t>(value);
    const uint32_t length = VNumberText::GFormatSigned(signedValue, target, 32);
    std::snprintf(expected, sizeof(expected), "%" PRId64, signedValue);
    EXPECT_EQ(std::u16string(target), wide(expected));
    EXPECT_EQ(length, std::u16string(target).size());
    EXPECT_EQ(scaled(target, 1), signedValue);
  }
}

TEST(FormatHexadecimal, WritesAtLeastTheMinimumOfDigits) {
  const auto hexadecimal = [](uint64_t value, uint32_t minimum) {
    char16_t scratch[VNumberText::KHexadecimalUnits];
    const uint32_t first = VNumberText::GFormatHexadecimal(value, minimum, scratch);
    return std::u16string(scratch + first);
  };
  EXPECT_EQ(hexadecimal(0, 0), u"0");
  EXPECT_EQ(hexadecimal(0, 1), u"0");
  EXPECT_EQ(hexadecimal(0x1F, 4), u"001F");
  EXPECT_EQ(hexadecimal(0x12345, 4), u"12345");
  EXPECT_EQ(hexadecimal(1, 16), u"0000000000000001");
  EXPECT_EQ(hexadecimal(1, 17), u"0000000000000001");
  EXPECT_EQ(hexadecimal(1, kUntilNul), u"0000000000000001");
  EXPECT_EQ(hexadecimal(0xFEDCBA9876543210, 0), u"FEDCBA9876543210");
  for (const uint64_t value : interestingValues()) {
    char expected[32];
    std::snprintf(expected, sizeof(expected), "%05" PRIX64, value);
    EXPECT_EQ(hexadecimal(value, 5), wide(expected));
  }
}

TEST(FormatHexadecimal, ReturnsTheIndexOfTheFirstDigit) {
  char16_t scratch[VNumberText::KHexadecimalUnits];
  EXPECT_EQ(VNumberText::GFormatHexadecimal(0x1F, 0, scratch), 14u);
  EXPECT_EQ(VNumberText::GFormatHexadecimal(0x1F, 99, scratch), 0u);
  EXPECT_EQ(scratch[16], 0);
}

TEST(NumberWriters, SetHexadecimalFromScratch) {
  RecordingString string(u"old");
  VNumberText::GWriteHexadecimal(string, 0xAB, 4);
  EXPECT_EQ(string.calls, (std::vector<RecordingString::Call>{{u"00AB", kAll, 0}}));
}

TEST(NumberWriters, WriteDecimalsAtTheStart) {
  RecordingString string(u"n=12");
  VNumberText::GWriteUnsigned(string, kGreatestUnsigned, 2);
  EXPECT_EQ(string.content, u"n=18446744073709551615");
  VNumberText::GWriteSigned(string, kLeast, kAll);
  EXPECT_EQ(string.content, u"n=18446744073709551615-9223372036854775808");
  VNumberText::GWriteSigned(string, kGreatest, 0);
  const std::vector<RecordingString::Call> expected = {{u"18446744073709551615", kAll, 2},
                                                       {u"-9223372036854775808", kAll, kAll},
                                                       {u"9223372036854775807", kAll, 0}};
  EXPECT_EQ(string.calls, expected);
}

TEST(NumberWriters, SetSignedWritesTheSignThenTheDigits) {
  RecordingString string(u"old text");
  VNumberText::GSetSigned(string, kLeast);
  EXPECT_EQ(string.content, u"-9223372036854775808");
  EXPECT_EQ(string.calls, (std::vector<RecordingString::Call>{{u"-", kAll, 0},
                                                              {u"9223372036854775808", kAll, 1}}));
  string.calls.clear();
  VNumberText::GSetSigned(string, 0);
  EXPECT_EQ(string.calls, (std::vector<RecordingString::Call>{{u"0", kAll, 0}}));
  VNumberText::GSetSigned(string, kGreatest);
  EXPECT_EQ(string.content, u"9223372036854775807");
}

TEST(ClockText, WritesHoursMinutesAndSecondsInThreeWrites) {
  RecordingString string(u"at xxx");
  VNumberText::GWriteClock(string, 12 * 3600 + 34 * 60 + 56, 3);
  EXPECT_EQ(string.content, u"at 12:34:56");
  const std::vector<RecordingString::Call> expected = {
      {u"12", 2, 3}, {u":34", 3, kAll}, {u":56", 3, kAll}};
  EXPECT_EQ(string.calls, expected);
}

TEST(ClockText, CoversADayAndMore) {
  for (uint32_t seconds = 0; seconds < 360000; seconds += 7) {
    RecordingString string;
    VNumberText::GWriteClock(string, seconds, 0);
    char expected[32];
    std::snprintf(expected, sizeof(expected), "%02" PRIu32 ":%02" PRIu32 ":%02" PRIu32,
                  seconds / 3600, seconds % 3600 / 60, seconds % 60);
    ASSERT_EQ(string.content, wide(expected));
  }
}

TEST(Deliberate, D112_AHundredHoursBeginBeyondTheNine) {
  RecordingString string;
  VNumberText::GWriteClock(string, 100 * 3600, 0);
  EXPECT_EQ(string.content, u":0:00:00");
  VNumberText::GWriteClock(string, 119 * 3600 + 59, 0);
  EXPECT_EQ(string.content, u";9:00:59");
}
