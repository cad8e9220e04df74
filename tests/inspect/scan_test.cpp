// velainspect scan: a line for every file, whatever else lies in the folders.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <sstream>

#include "inspect/file_finder.h"
#include "tests/inspect/command_run.h"
#include "tests/support/movie_builder.h"

#ifndef _WIN32
#include <sys/stat.h>
#endif

namespace {

using namespace boxes;
using inspecting::CommandRun;
using testing::ElementsAre;
using testing::HasSubstr;
namespace fs = std::filesystem;

void write(const fs::path& file, const Bytes& bytes) {
  fs::create_directories(file.parent_path());
  std::ofstream out(file, std::ios::binary);
  out.write(reinterpret_cast<const char*>(bytes.data()),
            static_cast<std::streamsize>(bytes.size()));
  ASSERT_TRUE(out.good());
}

Bytes song() {
  static const Bytes bytes =
      movieFile({.tracks = {aacTrack({.samples = 4})}, .udta = chpl({{0, "One"}, {1, "Two"}})})
          .bytes;
  return bytes;
}

std::vector<nlohmann::json> linesOf(const CommandRun& result) {
  std::vector<nlohmann::json> lines;
  std::istringstream in(result.out);
  for (std::string line; std::getline(in, line);) lines.push_back(nlohmann::json::parse(line));
  return lines;
}

/// The names in the lines, without the folder.
std::vector<std::string> namesOf(const CommandRun& result, const fs::path& folder) {
  std::vector<std::string> names;
  for (const auto& line : linesOf(result)) {
    names.push_back(
        fs::path(line["file"].get<std::string>()).lexically_relative(folder).generic_string());
  }
  return names;
}

/// Outcome by name.
std::map<std::string, std::string> outcomesOf(const CommandRun& result) {
  std::map<std::string, std::string> outcomes;
  for (const auto& line : linesOf(result)) {
    outcomes[fs::path(line["file"].get<std::string>()).filename().string()] = line["outcome"];
  }
  return outcomes;
}

CommandRun scan(const fs::path& folder, std::vector<std::string> options = {}) {
  options.insert(options.begin(), {"scan", folder.string()});
  return inspecting::run(std::move(options));
}

class InspectScan : public testing::Test {
 protected:
  media::ScratchFolder scratch_;
  fs::path folder_ = (scratch_ / "f").lexically_normal();
};

TEST_F(InspectScan, TellsWhatAFileThatOpensHolds) {
  write(folder_ / "a.m4a", song());
  const CommandRun result = scan(folder_);
  ASSERT_EQ(result.status, 0) << result.err;
  const auto line = linesOf(result).at(0);
  EXPECT_EQ(line["outcome"], "plays");
  EXPECT_EQ(line["bytes"], song().size());
  EXPECT_EQ(line["tracks"], 1);
  EXPECT_EQ(line["chapters"], 2);
  EXPECT_EQ(line["tags"], 0);
  EXPECT_EQ(line["audio"]["codec"], "AAC");
  EXPECT_EQ(line["audio"]["sample_rate"], 48000);
  EXPECT_EQ(line["audio"]["samples"], 4);
  EXPECT_TRUE(line["video"].is_null());
  EXPECT_GT(line["duration"], 0.0);
  EXPECT_GE(line["time"], 0.0);
  EXPECT_EQ(result.err, "1 file: 1 opened, 0 refused; 0 unreadable, 0 passed over\n");
}

TEST(CommittedScan, IsWhatScanTellsOfOurOwnFiles) {
  // The time taken is different each time, and comes last.
  std::string told;
  std::istringstream lines(inspecting::run({"scan", ".", "--sorted"}).out);
  for (std::string line; std::getline(lines, line);) {
    const std::string otherSeparator = R"("file":".\\)";  // of Windows, escaped
    if (const size_t at = line.find(otherSeparator); at != std::string::npos) {
      line.replace(at, otherSeparator.size(), R"("file":"./)");
    }
    told += line.substr(0, line.rfind(",\"time\":")) + "}\n";
  }
  EXPECT_EQ(told, media::readText(media::dataFolder() / "golden/inspect/scan.jsonl"))
      << "scripts/update_golden.sh rewrites it";
}

TEST_F(InspectScan, TellsWhyAFileIsRefusedAndWhere) {
  write(folder_ / "bad.mp4", join(ftyp(), text("\x00\x00\x00\x04moov")));
  const CommandRun result = scan(folder_);
  EXPECT_EQ(result.status, 0) << "a refused file is an answer";
  const auto line = linesOf(result).at(0);
  EXPECT_EQ(line["outcome"], "refused");
  EXPECT_FALSE(line["reason"].get<std::string>().empty());
  EXPECT_TRUE(line.contains("offset"));
}

TEST_F(InspectScan, LooksAtNamesOfMediaFilesOnlyUnlessAskedForAll) {
  for (const char* const name : {"a.MP4", "b.m4B", "c.mov", "d.txt", "e"}) {
    write(folder_ / name, song());
  }
  const CommandRun some = scan(folder_, {"--sorted"});
  EXPECT_THAT(namesOf(some, folder_), ElementsAre("a.MP4", "b.m4B", "c.mov"));
  EXPECT_THAT(some.err, HasSubstr("; 2 files of other names not looked at"));
  EXPECT_EQ(linesOf(scan(folder_, {"--all-names"})).size(), 5u);
  EXPECT_EQ(linesOf(scan(folder_ / "e")).size(), 1u) << "a file that is named itself";
}

TEST_F(InspectScan, EntersSubfoldersOnlyWhenAskedTo) {
  write(folder_ / "a.mp4", song());
  write(folder_ / "deep/er/b.mp4", song());
  const CommandRun flat = scan(folder_);
  EXPECT_THAT(namesOf(flat, folder_), ElementsAre("a.mp4"));
  EXPECT_THAT(flat.err, HasSubstr("; 1 subfolder not entered without --recursive"));
  EXPECT_THAT(namesOf(scan(folder_, {"--recursive", "--sorted"}), folder_),
              ElementsAre("a.mp4", "deep/er/b.mp4"));
}

TEST_F(InspectScan, SortsByNameWithFilesBeforeSubfolders) {
  for (const char* const name : {"b/2.mp4", "b/1.mp4", "a/3.mp4", "c.mp4", "B.mp4", "a.mp4"}) {
    write(folder_ / name, song());
  }
  const CommandRun sorted = scan(folder_, {"--recursive", "--sorted", "--jobs", "3"});
  EXPECT_THAT(namesOf(sorted, folder_),
              ElementsAre("B.mp4", "a.mp4", "c.mp4", "a/3.mp4", "b/1.mp4", "b/2.mp4"));
}

TEST_F(InspectScan, GivesTheSameLinesWhateverTheNumberOfJobs) {
  for (int i = 0; i < 300; ++i) write(folder_ / (std::to_string(i) + ".mp4"), song());
  const auto names = namesOf(scan(folder_, {"--sorted", "--jobs", "1"}), folder_);
  EXPECT_EQ(names.size(), 300u);
  EXPECT_EQ(namesOf(scan(folder_, {"--sorted", "--jobs", "4"}), folder_), names);
}

TEST_F(InspectScan, GoesOnAfterANameThatNothingHas) {
  write(folder_ / "a.mp4", song());
  const CommandRun result =
      inspecting::run({"scan", (folder_ / "none").string(), folder_.string()});
  EXPECT_EQ(result.status, 3);
  EXPECT_EQ(outcomesOf(result),
            (std::map<std::string, std::string>{{"none", "unreadable"}, {"a.mp4", "plays"}}));
}

TEST_F(InspectScan, TakesNamesFromAList) {
  write(folder_ / "a b.mp4", song());
  write(folder_ / "c.mp4", song());
  const fs::path list = folder_ / "list";
  std::ofstream(list, std::ios::binary) << (folder_ / "c.mp4").string() << "\r\n\n"
                                        << (folder_ / "a b.mp4").string();
  const auto fromLines = inspecting::run({"scan", "--files-from", list.string()});
  EXPECT_THAT(namesOf(fromLines, folder_), ElementsAre("c.mp4", "a b.mp4"));
  std::ofstream(list, std::ios::binary) << (folder_ / "c.mp4").string() << '\0';
  const auto fromZeros = inspecting::run({"scan", "--files-from", list.string(), "--null"});
  EXPECT_THAT(namesOf(fromZeros, folder_), ElementsAre("c.mp4"));
}

TEST_F(InspectScan, WithoutAFolderIsWrongUsage) {
  EXPECT_EQ(inspecting::run({"scan"}).status, 64);
  EXPECT_EQ(inspecting::run({"scan", "--jobs", "0", "."}).status, 64);
  EXPECT_EQ(inspecting::run({"scan", "--files-from", (folder_ / "none").string()}).status, 3);
}

#ifndef _WIN32
TEST_F(InspectScan, NeverGoesInCircles) {
  write(folder_ / "in/a.mp4", song());
  fs::create_directory_symlink(folder_, folder_ / "in/round.mp4");
  fs::create_symlink("self.mp4", folder_ / "self.mp4");
  fs::create_symlink("nothing", folder_ / "lost.mp4");
  fs::create_symlink("in/a.mp4", folder_ / "link.mp4");
  const CommandRun result = scan(folder_, {"--recursive"});
  EXPECT_EQ(outcomesOf(result), (std::map<std::string, std::string>{{"a.mp4", "plays"},
                                                                    {"link.mp4", "plays"},
                                                                    {"lost.mp4", "passed_over"},
                                                                    {"round.mp4", "passed_over"},
                                                                    {"self.mp4", "unreadable"}}));
}

TEST_F(InspectScan, PassesOverPipesWithoutWaitingForThem) {
  write(folder_ / "a.mp4", song());
  ASSERT_EQ(mkfifo((folder_ / "pipe.mp4").c_str(), 0600), 0);
  const CommandRun result = scan(folder_);
  EXPECT_EQ(result.status, 0);
  EXPECT_EQ(outcomesOf(result),
            (std::map<std::string, std::string>{{"a.mp4", "plays"}, {"pipe.mp4", "passed_over"}}));
  EXPECT_EQ(inspecting::run({"scan", "/dev/null"}).status, 0);
}

TEST_F(InspectScan, KeepsTheBytesOfANameThatIsNotUtf8) {
  write(folder_ / "\xff.mp4", song());
  const auto line = linesOf(scan(folder_)).at(0);
  EXPECT_EQ(line["outcome"], "plays");
  EXPECT_THAT(line["file_hex"].get<std::string>(), testing::EndsWith("ff2e6d7034"));
}
#endif

TEST(FileFinder, SortsAFolderOfMoreNamesThanItHolds) {
  const media::ScratchFolder scratch;
  const fs::path folder = scratch / "f";
  std::vector<std::string> expected;
  for (int i = 100; i < 195; ++i) expected.push_back("f" + std::to_string(i) + ".mp4");
  for (int i = 100; i < 195; ++i) expected.push_back("d" + std::to_string(i) + "/b.mp4");
  for (const std::string& name : expected) write(folder / name, text("x"));
  bool given = false;
  inspect::FileFinder finder(
      [&]() -> std::optional<fs::path> {
        if (std::exchange(given, true)) return std::nullopt;
        return folder;
      },
      {.recursive = true, .sorted = true, .filesAtATime = 10, .subfoldersAtATime = 7});
  inspect::FoundFile found;
  std::vector<std::string> names;
  while (finder.next(found))
    names.push_back(found.name.lexically_relative(folder).generic_string());
  EXPECT_EQ(names, expected);
}

}  // namespace
