// Progress on terminals, and when text is coloured.
#include "cli/console.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sstream>
#include <string>

#include "cli/progress.h"

namespace {

using namespace std::chrono_literals;
using cli::Color;
using cli::Console;
using cli::Emphasis;
using cli::Progress;
using cli::Terminal;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

/// What is drawn when the first half of the work took ten seconds.
std::string halfDone(const Console& console, Progress::Unit unit) {
  auto now = std::chrono::steady_clock::time_point();
  std::ostringstream out;
  Progress progress(out, console, 200000000, unit, [&now] { return now; });
  now += 10s;
  progress.reach(100000000);
  return out.str();
}

TEST(Progress, TellsTheRateAndTheTimeLeft) {
  EXPECT_THAT(halfDone(Terminal::yes, Progress::Unit::bytes),
              HasSubstr("50 %  10.0 MB/s  0:10 left"));
  const std::string other = halfDone(Terminal::yes, Progress::Unit::other);
  EXPECT_THAT(other, HasSubstr("50 %  0:10 left"));
}

TEST(Progress, WritesNothingWhereThereIsNoTerminal) {
  EXPECT_EQ(halfDone(Terminal::no, Progress::Unit::bytes), "");
}

TEST(Progress, StaysWithinTheTerminal) {
  for (const size_t columns : {40u, 55u, 80u, 200u}) {
    Console console(Terminal::yes);
    console.columns = columns;
    const std::string drawn = halfDone(console, Progress::Unit::bytes);
    EXPECT_EQ(drawn.size(), columns) << "the return and all columns but the last";
    EXPECT_THAT(drawn, HasSubstr("50 %"));
  }
}

TEST(Progress, KeepsItsEstimateToItselfAtFirst) {
  std::ostringstream out;
  auto now = std::chrono::steady_clock::time_point();
  {
    Progress progress(out, Terminal::yes, 100, Progress::Unit::bytes, [&now] { return now; });
    now += 100ms;
    progress.reach(1);
    EXPECT_THAT(out.str(), Not(HasSubstr("left")));
  }
  EXPECT_THAT(out.str(), EndsWith("\r")) << "the bar is taken away in the end";
}

TEST(Emphasis, IsForTerminalsUnlessAskedOtherwise) {
  EXPECT_EQ(Emphasis(Color::automatic, Terminal::yes, false).bold("x"), "\x1b[1mx\x1b[0m");
  EXPECT_EQ(Emphasis(Color::automatic, Terminal::no, false).bold("x"), "x");
  EXPECT_EQ(Emphasis(Color::automatic, Terminal::yes, true).bold("x"), "x") << "NO_COLOR";
  EXPECT_EQ(Emphasis(Color::always, Terminal::no, true).bold("x"), "\x1b[1mx\x1b[0m");
  EXPECT_EQ(Emphasis(Color::never, Terminal::yes, false).bold("x"), "x");
  EXPECT_EQ(Emphasis(Color::always, Terminal::no, false).bold(""), "");
}

}  // namespace
