// The words of velahost, compared with committed texts. scripts/update_golden.sh rewrites them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "host/command_line.h"
#include "tests/host/media.h"

namespace {

struct CommandRun {
  int status;
  std::string out;
  std::string err;
};

/// Runs a command line against the built plug-in, in the folder of the media, so that the texts
/// hold no folder names.
CommandRun run(std::vector<std::string> arguments,
               velahost::Terminal terminal = velahost::Terminal::no) {
  std::filesystem::current_path(media::dataFolder());
  arguments.insert(arguments.end(), {"--plugin", media::pluginFile().string()});
  std::ostringstream out;
  std::ostringstream err;
  const int status = velahost::runCommandLine(std::move(arguments), out, err, terminal);
  return {status, out.str(), err.str()};
}

/// What a committed text shows: "x.<name>.txt" is the output of the arguments.
struct Shown {
  std::string name;
  std::vector<std::string> arguments;
};

void PrintTo(const Shown& shown, std::ostream* out) { *out << shown.name; }

class CommittedText : public testing::TestWithParam<Shown> {};

TEST_P(CommittedText, IsWhatTheCommandPrints) {
  const CommandRun result = run(GetParam().arguments);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.err, "");
  const auto file = media::dataFolder() / ("x." + GetParam().name + ".txt");
  EXPECT_EQ(result.out, media::readText(file)) << "scripts/update_golden.sh rewrites " << file;
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
  std::ostringstream out;
  std::ostringstream err;
  EXPECT_EQ(velahost::runCommandLine({"info", "sample.mp4", "--plugin", "/no/such/library.so"}, out,
                                     err, velahost::Terminal::no),
            69);
  EXPECT_THAT(err.str(), testing::StartsWith("velahost: The plug-in /no/such/library.so can't be "
                                             "loaded"));
}

TEST(ExitStatus, Is74ForAnOutputThatCantBeWritten) {
  const media::ScratchFolder scratch;
  const auto out = scratch / "no such folder/out";
  EXPECT_EQ(run({"extract", "sample.mp4", "--audio", out.string()}).status, 74);
}

TEST(Progress, IsDrawnOnATerminalOnly) {
  const media::ScratchFolder scratch;
  const std::vector<std::string> extract = {"extract", "sample.mp4", "--audio",
                                            (scratch / "out").string(), "--force"};
  EXPECT_EQ(run(extract).err, "");
  const CommandRun onTerminal = run(extract, velahost::Terminal::yes);
  EXPECT_THAT(onTerminal.err, testing::HasSubstr("##"));
  EXPECT_THAT(onTerminal.err, testing::EndsWith("\r")) << "the bar is taken away in the end";
}

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

}  // namespace
