// The words of velainspect, compared with committed texts. scripts/update_golden.sh rewrites them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "cli/text.h"
#include "tests/inspect/command_run.h"

namespace {

using inspecting::CommandRun;
using inspecting::run;

std::filesystem::path goldenFolder() { return media::dataFolder() / "golden/inspect"; }

/// What a committed text shows: "<name>.txt" is the output of the arguments.
struct Shown {
  std::string name;
  int status;
  std::vector<std::string> arguments;

  std::filesystem::path file() const { return goldenFolder() / (name + ".txt"); }
};

void PrintTo(const Shown& shown, std::ostream* out) { *out << shown.name; }

class CommittedText : public testing::TestWithParam<Shown> {};

TEST_P(CommittedText, IsWhatTheCommandPrints) {
  const CommandRun result = run(GetParam().arguments);
  EXPECT_EQ(result.status, GetParam().status) << result.err;
  EXPECT_EQ(result.err, "") << "what a command finds is on standard output";
  EXPECT_EQ(result.out, media::readText(GetParam().file()))
      << "scripts/update_golden.sh rewrites " << GetParam().file();
}

/// The rows of commands.tsv: a name, the exit status, and arguments separated by blanks.
std::vector<Shown> shownCommands() {
  std::vector<Shown> all;
  for (const auto& row : media::readTable(goldenFolder() / "commands.tsv")) {
    std::istringstream arguments(row.at(2));
    all.push_back(
        {row.at(0), std::stoi(row.at(1)), {std::istream_iterator<std::string>(arguments), {}}});
  }
  return all;
}

std::string shownName(const testing::TestParamInfo<Shown>& shown) {
  std::string name = shown.param.name;
  std::replace(name.begin(), name.end(), '-', '_');
  return name;
}

INSTANTIATE_TEST_SUITE_P(Inspect, CommittedText, testing::ValuesIn(shownCommands()), shownName);

TEST(CommittedInspectTexts, AllHaveACommand) {
  const std::vector<Shown> known = shownCommands();
  for (const auto& entry : std::filesystem::directory_iterator(goldenFolder())) {
    const std::string file = entry.path().filename().string();
    if (!file.ends_with(".txt")) continue;
    EXPECT_TRUE(std::any_of(known.begin(), known.end(), [&](const Shown& shown) {
      return file == shown.name + ".txt";
    })) << file;
  }
}

TEST(CommittedInspectTexts, OfTheHelpFitIntoEightyColumns) {
  for (const Shown& shown : shownCommands()) {
    if (!shown.name.starts_with("help")) continue;
    std::istringstream lines(media::readText(shown.file()));
    for (std::string line; std::getline(lines, line);) EXPECT_LE(cli::columns(line), 80u) << line;
  }
}

TEST(CommittedInspectTexts, OfTheHelpShowEveryCommand) {
  const std::vector<Shown> known = shownCommands();
  std::istringstream lines(run({"--help"}).out);
  std::string line;
  while (std::getline(lines, line) && !line.starts_with("Subcommands:")) continue;
  size_t commands = 0;
  while (std::getline(lines, line) && line.starts_with("  ")) {
    if (line[2] == ' ') continue;  // a help that takes several lines
    const std::string name = line.substr(2, line.find(' ', 2) - 2);
    EXPECT_TRUE(std::any_of(known.begin(), known.end(), [&](const Shown& shown) {
      return shown.name == "help-" + name;
    })) << name;
    ++commands;
  }
  EXPECT_GT(commands, 0u);
}

TEST(InspectVersion, IsThatOfTheProject) {
  EXPECT_EQ(run({"--version"}).out, std::string("velainspect ") + VELA_VERSION + "\n");
}

}  // namespace
