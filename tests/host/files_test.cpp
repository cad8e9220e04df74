// What becomes of every file of the corpus, good or bad, when the reference host plays it.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "host/command_line.h"
#include "tests/host/golden_packets.h"
#include "tests/programs/media.h"

namespace {

using golden::Outcome;
using golden::outcomes;

struct CommandRun {
  int status;
  std::string out;
  std::string err;
  double seconds;
};

CommandRun run(const std::string& command, const std::string& file) {
  std::ostringstream out;
  std::ostringstream err;
  const auto start = std::chrono::steady_clock::now();
  const int status = velahost::runCommandLine(
      {command, file, "--plugin", media::pluginFile().string()}, out, err, cli::Terminal::no);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  return {status, out.str(), err.str(), taken.count()};
}

size_t linesStarting(const std::string& text, const std::string& word) {
  size_t count = 0;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) count += line.starts_with(word);
  return count;
}

/// Whether pictures are missing for more than half a second: two films with negative composition
/// offsets, and one with a single picture.
bool endsEarly(const std::string& name) {
  return name == "gen-h264-aac-negative-cts-offsets.mp4" ||
         name == "h264-x264cli-negative-ctts.mp4" || name == "h264-camera-core-media.mp4";
}

class CorpusFile : public testing::TestWithParam<Outcome> {};

TEST_P(CorpusFile, EndsInItsResultInTime) {
  const media::File file{media::File::Origin::corpus, GetParam().name};
  SKIP_WITHOUT_CORPUS(file);
  const CommandRun info = run("info", file.path().string());
  const CommandRun play = run("packets", file.path().string());
  EXPECT_EQ(info.status, GetParam().info) << info.err;
  EXPECT_EQ(play.status, GetParam().play) << play.err;
  EXPECT_EQ(linesStarting(play.out, "audio"), GetParam().audioPackets);
  EXPECT_EQ(linesStarting(play.out, "video"), GetParam().videoPackets);
  EXPECT_EQ(info.status == 0, info.err.empty()) << "a failure, and only that, has a sentence";
  if (play.status != 0) {
    EXPECT_NE(play.err, "");
  } else {
    EXPECT_EQ(play.err.find(": video ended at ") != std::string::npos, endsEarly(GetParam().name))
        << play.err;
    EXPECT_EQ(linesStarting(play.err, ""), endsEarly(GetParam().name) ? 1u : 0u) << play.err;
  }
  if (!GetParam().clean) {
    EXPECT_LT(info.seconds, 1.0);
    EXPECT_LT(play.seconds, 1.0);
  }
}

std::string outcomeName(const testing::TestParamInfo<Outcome>& outcome) {
  return media::caseName({{media::File::Origin::corpus, outcome.param.name}, outcome.index});
}

INSTANTIATE_TEST_SUITE_P(Corpus, CorpusFile, testing::ValuesIn(outcomes()), outcomeName);

TEST(CorpusTable, NamesEveryFileOfTheCorpus) {
  if (!media::corpusFolder()) GTEST_SKIP() << "skipped: VELA_CORPUS is not set";
  const std::vector<Outcome> known = outcomes();
  for (const auto& entry : std::filesystem::directory_iterator(*media::corpusFolder())) {
    const std::string name = entry.path().filename().string();
    if (name == "MANIFEST.tsv") continue;
    EXPECT_TRUE(std::any_of(known.begin(), known.end(), [&](const Outcome& outcome) {
      return outcome.name == name;
    })) << name;
  }
}

// Nothing is left out unnoticed: a row that goes, or a clean file without lines, fails here.
TEST(CorpusTable, HasAllItsRowsAndAPacketLineForEveryStreamOfACleanFile) {
  const std::vector<golden::StreamLine> lines = golden::streamLines();
  const auto hasLine = [&](const Outcome& outcome, const std::string& kind) {
    return std::any_of(lines.begin(), lines.end(), [&](const golden::StreamLine& line) {
      return line.file.origin == media::File::Origin::corpus && line.file.name == outcome.name &&
             line.kind == kind;
    });
  };
  size_t clean = 0;
  for (const Outcome& outcome : outcomes()) {
    SCOPED_TRACE(outcome.name);
    clean += outcome.clean;
    EXPECT_EQ(hasLine(outcome, "audio"), outcome.clean && outcome.audioPackets > 0);
    EXPECT_EQ(hasLine(outcome, "video"), outcome.clean && outcome.videoPackets > 0);
  }
  EXPECT_EQ(outcomes().size(), 60u);
  EXPECT_EQ(clean, 37u);
  EXPECT_EQ(lines.size(), 61u);
}

#ifndef _WIN32  // which has no setenv(), and other absolute paths
TEST(CorpusFolder, CountsARelativePathFromTheRootOfTheRepository) {
  const char* const given = std::getenv("VELA_CORPUS");
  const std::string before = given ? given : "";
  setenv("VELA_CORPUS", "tests/data", 1);
  EXPECT_TRUE(std::filesystem::equivalent(media::corpusFolder().value(), media::dataFolder()));
  setenv("VELA_CORPUS", "/absolute", 1);
  EXPECT_EQ(media::corpusFolder().value(), "/absolute");
  setenv("VELA_CORPUS", before.c_str(), 1);
}
#endif

}  // namespace
