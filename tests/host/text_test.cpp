// Text at the edges of the reference host.
#include "host/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "host/failure.h"

namespace {

constexpr uint64_t kSecond = vela::kHostUnitsPerSecond;

TEST(HostText, TakesTextByCountOrUpToTheNul) {
  const char16_t text[] = u"ab\0cd";
  EXPECT_EQ(velahost::takeText(text, vela::kUntilNul), u"ab");
  EXPECT_EQ(velahost::takeText(text, 1), u"a");
  EXPECT_EQ(velahost::takeText(text, 5), std::u16string(text, 5));
  EXPECT_EQ(velahost::takeText(nullptr, vela::kUntilNul), u"");
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
