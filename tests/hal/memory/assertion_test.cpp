#include "hal/memory/assertion.h"

#include <gtest/gtest.h>

#include "tests/support/assertion_capture.h"

TEST(Assertion, SaysNothingWhileTheConditionHolds) {
  AssertionCapture capture;
  VASSERT_AT("stdhelpers", 1, 1 + 1 == 2);
  EXPECT_TRUE(capture.reports().empty());
  EXPECT_EQ(capture.breaks(), 0);
}

TEST(Assertion, WritesSourceLineAndConditionBetweenLineEnds) {
  AssertionCapture capture;
  const int align = 12;
  VASSERT_AT("stdhelpers", 1483, (align & 8) == 0);
  ASSERT_EQ(capture.reports().size(), 1u);
  EXPECT_EQ(capture.reports()[0],
            u"\r\n*** ASSERTION FAILED in stdhelpers(1483):\r\n(align & 8) == 0\r\n");
  EXPECT_EQ(capture.reports()[0], AssertionCapture::report("stdhelpers", 1483, "(align & 8) == 0"));
}

TEST(Assertion, WritesTheGivenTextInPlaceOfTheCondition) {
  AssertionCapture capture;
  const bool holds = false;
  VASSERT_TEXT_AT("stdinterfaces_inline", 19, holds, "0");
  ASSERT_EQ(capture.reports().size(), 1u);
  EXPECT_EQ(capture.reports()[0],
            u"\r\n*** ASSERTION FAILED in stdinterfaces_inline(19):\r\n0\r\n");
}

TEST(Assertion, BreaksOnceAfterTheReportAndCarriesOn) {
  AssertionCapture capture;
  int steps = 0;
  VASSERT_AT("stdhelpers", 2, steps != 0);
  ++steps;
  EXPECT_EQ(steps, 1);
  EXPECT_EQ(capture.reports().size(), 1u);
  EXPECT_EQ(capture.breaksAtReport(), 0) << "the report comes first";
  EXPECT_EQ(capture.breaks(), 1);
}

TEST(Assertion, EvaluatesItsConditionOnce) {
  AssertionCapture capture;
  int evaluations = 0;
  VASSERT_AT("stdhelpers", 3, ++evaluations == 0);
  EXPECT_EQ(evaluations, 1);
}

TEST(Assertion, IsOneStatement) {
  AssertionCapture capture;
  const bool holds = false;
  bool reachedElse = false;
  if (holds)
    VASSERT_AT("stdhelpers", 4, holds);
  else
    reachedElse = true;
  EXPECT_TRUE(reachedElse);
  EXPECT_TRUE(capture.reports().empty());
}

#ifndef _WIN32  // whose reports go to a debugger
TEST(Assertion, GoesToStandardErrorAndOnWithoutDebuggerOrHandler) {
  struct sigaction standard = {};
  struct sigaction before = {};
  standard.sa_handler = SIG_DFL;
  ::sigaction(SIGTRAP, &standard, &before);
  testing::internal::CaptureStderr();
  const bool holds = false;
  VASSERT_TEXT_AT("stdhelpers", 5, holds, "holds");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "\r\n*** ASSERTION FAILED in stdhelpers(5):\r\nholds\r\n");
  ::sigaction(SIGTRAP, &before, nullptr);
}
#endif
