// What cannot be read or written: a sentence, the documented status, and nothing else.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "tests/inspect/scratch_movie.h"
#include "tests/programs/child.h"
#include "tests/support/movie_builder.h"

namespace {

using namespace boxes;
using testing::HasSubstr;
namespace fs = std::filesystem;

/// A command line for each command that reads a file.
std::vector<std::vector<std::string>> commandsOver(const std::string& file) {
  return {{"why", file},
          {"tree", file},
          {"tree", file, "--json"},
          {"samples", file},
          {"samples", file, "--runs"},
          {"check", file},
          {"compare", file, file}};
}

class Failures : public testing::Test {
 protected:
  void write(const std::string& name, const Bytes& bytes) const {
    std::ofstream(folder_ / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  media::ProgramResult run(std::vector<std::string> arguments, Surroundings with = {}) const {
    with.folder = folder_ / "";
    return runInspector(std::move(arguments), with);
  }
  void expectForAll(const std::string& file, int status, const std::string& sentence) const {
    for (const auto& arguments : commandsOver(file)) {
      SCOPED_TRACE(testing::PrintToString(arguments));
      const auto result = run(arguments, {.obeysPermissions = true});
      EXPECT_EQ(result.status, status) << result.output;
      EXPECT_THAT(result.output, HasSubstr(sentence + "\n"));
    }
  }

  media::ScratchFolder folder_;
};

TEST_F(Failures, OfTheFileSystemAreToldApart) {
  fs::create_directory(folder_ / "folder");
  write("secret.mp4", {});
  fs::permissions(folder_ / "secret.mp4", fs::perms::none);
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  expectForAll("missing.mp4", 3, "velainspect: missing.mp4: There is no such file.");
  expectForAll("folder", 3, "velainspect: folder: It is a folder, not a file.");
  expectForAll("secret.mp4", 3,
               "velainspect: secret.mp4: There is no permission to read the file.");
  const std::string noFile = "It is a device or a pipe; only files can be read at any place.";
  expectForAll("pipe", 3, "velainspect: pipe: " + noFile);
  expectForAll("/dev/zero", 3, "velainspect: /dev/zero: " + noFile);
  // Its first byte can't be read, whoever asks.
  EXPECT_EQ(run({"why", "/proc/self/mem"}).status, 7);
}

TEST_F(Failures, AreAlsoJsonOnStandardOutput) {
  const auto result = inspecting::run({"check", "no-such-file", "--json"});
  const auto document = nlohmann::json::parse(result.out);
  EXPECT_EQ(document["type"], "error");
  EXPECT_EQ(document["file"], "no-such-file");
  EXPECT_EQ(document["error"]["code"], 3);
  const auto usage = inspecting::run({"check", "--json"});
  EXPECT_EQ(usage.status, 64);
  EXPECT_EQ(nlohmann::json::parse(usage.out)["error"]["code"], 64);
}

TEST_F(Failures, OfOneFileLeaveTheOthers) {
  const auto result = inspecting::run({"why", "no-such-file", "mp3-only.mp4"});
  EXPECT_EQ(result.status, 3);
  EXPECT_THAT(result.out, testing::StartsWith("mp3-only.mp4: opens\n"));
}

TEST_F(Failures, NoneForANameThatIsNotText) {
  write("film\xff.mp4", movieFile({.tracks = {aacTrack()}}).bytes);
  const auto text = run({"why", "film\xff.mp4"});
  EXPECT_EQ(text.status, 0);
  EXPECT_THAT(text.output, testing::StartsWith("film\\xff.mp4: opens\n"));
  const auto json = run({"check", "film\xff.mp4", "--json"});
  EXPECT_EQ(nlohmann::json::parse(json.output)["file"], "film\xef\xbf\xbd.mp4");
}

TEST_F(Failures, TextOfAFileCantSteerTheTerminal) {
  write("film.mp4",
        movieFile({.tracks = {aacTrack()},
                   .udta = metaWith(ilstText("\xa9nam", "\x1b[31mred"), ilstText("\x1b[3m", "x"))})
            .bytes);
  for (const auto& arguments : commandsOver("film.mp4")) {
    EXPECT_EQ(run(arguments).output.find('\x1b'), std::string::npos) << arguments[0];
  }
}

TEST_F(Failures, OfAFullDiskAreTold) {
  write("film.mp4", movieFile({.tracks = {aacTrack()}}).bytes);
  for (const auto& arguments : commandsOver("film.mp4")) {
    const auto result = run(arguments, {.output = "/dev/full"});
    EXPECT_EQ(result.status, 74) << arguments[0];
    EXPECT_EQ(result.output,
              "velainspect: The output can't be written: No space left on device.\n");
  }
  EXPECT_EQ(run({"--help"}, {.output = "/dev/full"}).status, 74);
}

TEST_F(Failures, OfAClosedPipeAreSilentAndEndTheCommand) {
  const std::string inspector = "'" + media::inspectorProgram().string() + "'";
  // The reader goes at a time of its own; sooner or later a run finds the pipe closed.
  for (const std::string command : {"tree sample.mp4", "samples asp-mp3.mp4", "why sample.mp4"}) {
    const auto result = media::runProgram("{ cd '" + media::dataFolder().string() +
                                          "'; { s=0; while [ $s -eq 0 ]; do '" +
                                          media::inspectorProgram().string() + "' " + command +
                                          "; s=$?; done; echo status $s >&2; } | true; }");
    EXPECT_EQ(result.output, "status 74\n") << command;
  }
}

TEST_F(Failures, LeaveTheFileAsItIs) {
  const Bytes bytes = movieFile({.tracks = {avcTrack(), aacTrack()}}).bytes;
  write("film.mp4", bytes);
  const auto before = contents(folder_ / "");
  for (const auto& arguments : commandsOver("film.mp4")) run(arguments);
  EXPECT_EQ(contents(folder_ / ""), before);
}

// Every length of a file is one that a download may have stopped at.
TEST_F(Failures, NoneIsWithoutASentenceWhereverAFileIsCut) {
  const Bytes whole = movieFile({.tracks = {avcTrack({.samples = 3}), aacTrack({.samples = 3})},
                                 .udta = metaWith(ilstText("\xa9nam", "A"))})
                          .bytes;
  for (size_t length = 0; length < whole.size(); length += 17) {
    const inspecting::ScratchMovie movie(
        Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
    for (const auto& arguments : commandsOver(movie.file().string())) {
      const auto result = inspecting::run(arguments);
      SCOPED_TRACE(arguments[0] + " at " + std::to_string(length));
      EXPECT_THAT(result.status, testing::AnyOf(0, 5, 11, 12));
      EXPECT_NE(result.out + result.err, "");
    }
  }
}

/// A file of 60 GB whose media data is a hole, with the movie box after it.
void makeHuge(const fs::path& file) {
  constexpr uint64_t kMediaBytes = 60'000'000'000;
  MediaTrack track = aacTrack({.samples = 1000});
  track.boxes.stsz = stszConstant(50'000'000, 1000);
  track.boxes.stsc = stsc({{1, 1000}});
  track.boxes.stco = co64({40});
  const Bytes movie =
      moov({.mvhd = mvhd({.timescale = 1000, .duration = 21333}), .tracks = {trak(track.boxes)}});
  std::ofstream out(file, std::ios::binary);
  const Bytes start = join(ftyp(), u32(1), text("mdat"), u64(kMediaBytes));
  out.write(reinterpret_cast<const char*>(start.data()),
            static_cast<std::streamsize>(start.size()));
  out.seekp(static_cast<std::streamoff>(start.size() - 16 + kMediaBytes));
  out.write(reinterpret_cast<const char*>(movie.data()),
            static_cast<std::streamsize>(movie.size()));
  ASSERT_TRUE(out.good());
}

TEST_F(Failures, AHugeFileCostsNeitherMemoryNorTime) {
  makeHuge(folder_ / "huge.mp4");
  if (fs::file_size(folder_ / "huge.mp4") < 60'000'000'000) GTEST_SKIP() << "no such large files";
#if defined(__SANITIZE_ADDRESS__)
  const std::optional<uint64_t> limit;  // whose shadow takes terabytes of addresses
#else
  const std::optional<uint64_t> limit = 128 << 20;
#endif
  for (auto arguments : commandsOver("huge.mp4")) {
    if (arguments[0] == "compare") continue;  // which reads all media
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto result = run(arguments, {.largestMemory = limit});
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_LT(result.output.size(), 200'000u);
  }
  const auto why = run({"why", "huge.mp4"}, {.largestMemory = limit});
  EXPECT_THAT(why.output, HasSubstr("huge.mp4: opens\n"));
}

// Tables that claim billions of samples must not be walked to their end, nor kept.
TEST_F(Failures, ClaimsOfBillionsOfSamplesCostNoMemory) {
  MediaTrack track = aacTrack({.samples = 4});
  track.boxes.stts = stts({{0xfffffff0, 1}});
  track.boxes.stsz = stszConstant(1, 0xfffffff0);
  track.boxes.stsc = stsc({{1, 0xfffffff0}});
  write("claims.mp4", movieFile({.tracks = {track}}).bytes);
#if defined(__SANITIZE_ADDRESS__)
  const std::optional<uint64_t> limit;
#else
  const std::optional<uint64_t> limit = 128 << 20;
#endif
  for (const std::string command : {"why", "tree"}) {
    EXPECT_EQ(run({command, "claims.mp4"}, {.largestMemory = limit}).status, 0);
  }
  EXPECT_EQ(run({"samples", "claims.mp4", "--range", "5:9"}, {.largestMemory = limit}).status, 0);
}

}  // namespace
