// The words of velahost, compared with committed texts. scripts/update_golden.sh rewrites them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "cli/text.h"
#include "tests/host/command_run.h"

namespace {

using command::CommandRun;
using command::run;

/// What a committed text shows: "x.<name>.txt" is the output of the arguments.
struct Shown {
  std::string name;
  std::vector<std::string> arguments;

  std::filesystem::path file() const { return media::dataFolder() / ("x." + name + ".txt"); }
};

void PrintTo(const Shown& shown, std::ostream* out) { *out << shown.name; }

class CommittedText : public testing::TestWithParam<Shown> {};

TEST_P(CommittedText, IsWhatTheCommandPrints) {
  const CommandRun result = run(GetParam().arguments);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out, media::readText(GetParam().file()))
      << "scripts/update_golden.sh rewrites " << GetParam().file();
}

/// The rows of tests/data/commands.tsv: a name, and arguments separated by blanks.
std::vector<Shown> shownCommands() {
  std::vector<Shown> all;
  for (const auto& row : media::readTable(media::dataFolder() / "commands.tsv")) {
    std::istringstream arguments(row.at(1));
    all.push_back({row.at(0), {std::istream_iterator<std::string>(arguments), {}}});
  }
  return all;
}

std::string shownName(const testing::TestParamInfo<Shown>& shown) {
  std::string name = shown.param.name;
  for (char& c : name) {
    if (c == '-') c = '_';
  }
  return name;
}

INSTANTIATE_TEST_SUITE_P(Host, CommittedText, testing::ValuesIn(shownCommands()), shownName);

TEST_P(CommittedText, FitsIntoEightyColumns) {
  if (std::count(GetParam().arguments.begin(), GetParam().arguments.end(), "--json") != 0) return;
  std::istringstream lines(media::readText(GetParam().file()));
  for (std::string line; std::getline(lines, line);) EXPECT_LE(cli::columns(line), 80u) << line;
}

TEST(CommittedTexts, AllHaveACommand) {
  const std::vector<Shown> known = shownCommands();
  for (const auto& entry : std::filesystem::directory_iterator(media::dataFolder())) {
    const std::string file = entry.path().filename().string();
    if (!file.starts_with("x.")) continue;
    EXPECT_TRUE(std::any_of(known.begin(), known.end(), [&](const Shown& shown) {
      return file == "x." + shown.name + ".txt";
    })) << file;
  }
}

TEST(ExitStatus, Is64ForCommandLinesThatMakeNoSense) {
  EXPECT_EQ(run({}).status, 64);
  EXPECT_EQ(run({"info"}).status, 64);
  EXPECT_EQ(run({"play", "sample.mp4"}).status, 64);
  EXPECT_EQ(run({"info", "sample.mp4", "--cover", "x"}).status, 64);
  EXPECT_EQ(run({"packets", "sample.mp4", "--stream", "subtitles"}).status, 64);
  EXPECT_EQ(run({"packets", "sample.mp4", "--from", "-1"}).status, 64);
  EXPECT_EQ(run({"packets", "sample.mp4", "--from", "nan"}).status, 64);
  EXPECT_EQ(run({"packets", "sample.mp4", "--from", "1:60"}).status, 64);
  EXPECT_EQ(run({"seek", "sample.mp4"}).status, 64);
  EXPECT_EQ(run({"extract", "sample.mp4"}).status, 64);
}

TEST(ExitStatus, Is65ForAStreamThatTheFileDoesNotHold) {
  const media::ScratchFolder scratch;
  const auto out = scratch / "out";
  EXPECT_EQ(run({"extract", "h264-only.mp4", "--audio", out.string()}).status, 5)
      << "an item can't be started without any stream";
  EXPECT_EQ(
      run({"extract", "h264-only.mp4", "--audio", out.string(), "--video", out.string() + "v"})
          .status,
      65);
  EXPECT_FALSE(std::filesystem::exists(out));
}

TEST(ExitStatus, Is69WithoutAPlugin) {
  const CommandRun result =
      command::runAsGiven({"info", "--plugin", "/no/such/library.so", "f.mp4"});
  EXPECT_EQ(result.status, 69);
  EXPECT_THAT(result.err, testing::StartsWith("velahost: The plug-in /no/such/library.so can't be "
                                              "loaded"));
}

TEST(ExitStatus, Is74ForAnOutputThatCantBeWritten) {
  const media::ScratchFolder scratch;
  const auto out = scratch / "no such folder/out";
  EXPECT_EQ(run({"extract", "sample.mp4", "--audio", out.string()}).status, 74);
}

TEST(WrongUsage, NamesTheCommandThatDoesNotExist) {
  for (const std::string wrong : {"play", "sample.mp4", "-"}) {
    const std::string sentence = "velahost: There is no command \"" + wrong +
                                 "\". The commands are info, packets, extract and seek.\n";
    EXPECT_EQ(run({wrong, "sample.mp4"}).err, sentence);
    EXPECT_EQ(command::runAsGiven({wrong, "info", "--cover"}).err, sentence);
  }
  EXPECT_EQ(run({}).err, "velahost: Name a command: info, packets, extract or seek.\n");
}

TEST(WrongUsage, NamesTheOptionThatDoesNotExist) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{"info", "sample.mp4", "--cover", "x"}, {"--cover", "info"}}) {
    EXPECT_EQ(run(arguments).err,
              "velahost: There is no option --cover. Run with --help for more information.\n");
  }
}

TEST(WrongUsage, NamesTheItemThatTheFileDoesNotHaveAndThoseThatItHas) {
  const CommandRun film = run({"packets", "sample.mp4", "--item", "99"});
  EXPECT_EQ(film.status, 64);
  EXPECT_EQ(film.out, "");
  EXPECT_EQ(
      film.err,
      "velahost: sample.mp4: There is no item 99. The items are 0 (the whole file) and 1 (its "
      "first chapter).\n");
  const CommandRun book = run({"seek", "audiobook.m4a", "--to", "0", "--item", "5"});
  EXPECT_EQ(book.status, 64);
  EXPECT_EQ(
      book.err,
      "velahost: audiobook.m4a: There is no item 5. The items are 0 (the whole file) and 1 to "
      "4 (its chapters).\n");
  EXPECT_EQ(run({"seek", "audiobook.m4a", "--to", "0", "--item", "4"}).status, 0);
  EXPECT_EQ(run({"packets", "sample.mp4", "--item", "1", "--summary"}).status, 0);
}

TEST(Version, IsThatOfTheProject) {
  EXPECT_EQ(run({"--version"}).out, std::string("velahost ") + VELA_VERSION + "\n");
}

TEST(Progress, IsDrawnOnATerminalOnly) {
  const media::ScratchFolder scratch;
  const std::vector<std::string> extract = {"extract", "sample.mp4", "--audio",
                                            (scratch / "out").string(), "--force"};
  EXPECT_EQ(run(extract).err, "");
  const CommandRun onTerminal = run(extract, cli::Terminal::yes);
  EXPECT_THAT(onTerminal.err, testing::HasSubstr("##"));
  EXPECT_THAT(onTerminal.err, testing::EndsWith("\r")) << "the bar is taken away in the end";
}

#ifndef _WIN32  // whose shell is another one

TEST(Program, FindsThePluginOfItsBuild) {
  const media::ProgramResult result = media::runProgram(
      "env -u VELA_PLUGIN '" + media::hostProgram().string() + "' packets --summary '" +
      (media::dataFolder() / "sample.mp4").string() + "'");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, media::readText(media::dataFolder() / "x.packets-summary.txt"));
}

TEST(Program, TakesThePluginThatTheEnvironmentNames) {
  const media::ProgramResult result = media::runProgram(
      "VELA_PLUGIN=/no/such/library.so '" + media::hostProgram().string() + "' info sample.mp4");
  EXPECT_EQ(result.status, 69);
  EXPECT_THAT(result.output, testing::HasSubstr("/no/such/library.so"));
}

TEST(Program, ReadsFromAPipeWhenTheMovieBoxComesFirst) {
  const media::ProgramResult result =
      media::runProgram("cat '" + (media::dataFolder() / "sample.mp4").string() + "' | '" +
                        media::hostProgram().string() + "' packets --summary /dev/stdin");
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(result.output, media::readText(media::dataFolder() / "x.packets-summary.txt"));
}

#endif

}  // namespace
