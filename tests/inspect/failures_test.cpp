// What cannot be read or written: a sentence, the documented status, and nothing else.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <thread>

#include "tests/inspect/scratch_movie.h"
#include "tests/programs/child.h"
#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"

namespace {

using namespace boxes;
using testing::HasSubstr;
namespace fs = std::filesystem;

using CommandLine = std::vector<std::string>;

/// A command line for each command that prints what a file holds.
std::vector<CommandLine> commandsOver(const std::string& file) {
  return {{"why", file},
          {"tree", file},
          {"tree", file, "--json"},
          {"samples", file},
          {"samples", file, "--runs"},
          {"check", file},
          {"compare", file, file},
          {"chapters", file},
          {"tags", file},
          {"covers", file}};
}

/// The same, and those that print a line a file or write a page.
std::vector<CommandLine> allCommandsOver(const std::string& file, const std::string& page) {
  std::vector<CommandLine> all = commandsOver(file);
  all.push_back({"scan", file});
  all.push_back({"report", file, "-o", page, "--force"});
  return all;
}

/// A film with everything that a command may print, and a picture larger than small files may be.
Bytes film() {
  static const Bytes bytes =
      movieFile(
          {.tracks = {avcTrack(), aacTrack()},
           .udta =
               join(metaWith(ilstText(itemType("nam"), "Song"),
                             box("covr", data(raw({0x89, 'P', 'N', 'G', '\r', '\n', 26, '\n'}), 14),
                                 data(join(raw({0xff, 0xd8, 0xff}), zeros(100'000)), 13))),
                    chpl({{0, "One"}, {1, "Two"}}))})
          .bytes;
  return bytes;
}

class Failures : public testing::Test {
 protected:
  Failures() { inspecting::askBuiltPlugin(); }

  void write(const std::string& name, const Bytes& bytes) const {
    std::ofstream(folder_ / name, std::ios::binary)
        .write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
  }
  media::ProgramResult run(std::vector<std::string> arguments, Surroundings with = {}) const {
    with.folder = folder_ / "";
    return runInspector(std::move(arguments), with);
  }
  /// What each command says of a file that it can't read, and that it writes nothing.
  void expectUnreadable(const std::string& name, const std::string& sentence) const {
    const fs::path file = folder_ / name;
    const fs::path page = folder_ / "page.html";
    std::vector<CommandLine> commands = commandsOver(file.string());
    commands.push_back({"report", file.string(), "-o", page.string()});
    for (const CommandLine& arguments : commands) {
      SCOPED_TRACE(testing::PrintToString(arguments));
      const auto result = inspecting::run(arguments);
      EXPECT_EQ(result.status, 3);
      EXPECT_THAT(result.err,
                  testing::StartsWith("velainspect: " + file.string() + ": " + sentence + "\n"));
    }
    EXPECT_FALSE(fs::exists(page));
  }

  media::ScratchFolder folder_;
};

TEST_F(Failures, OfTheFileSystemAreToldApart) {
  fs::create_directory(folder_ / "folder");
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  fs::create_symlink("/dev/zero", folder_ / "zero");
  fs::create_symlink("round", folder_ / "round");
  const std::string noFile = "It is a device or a pipe; only files can be read at any place.";
  expectUnreadable("missing.mp4", "There is no such file.");
  expectUnreadable("folder", "It is a folder, not a file.");
  expectUnreadable("pipe", noFile);
  expectUnreadable("zero", noFile);
  expectUnreadable("round", "The file can't be opened: Too many levels of symbolic links.");
  // Its first byte can't be read, whoever asks.
  EXPECT_EQ(run({"why", "/proc/self/mem"}).status, 7);
}

TEST_F(Failures, OfPermissionsAreToldAndPassedOverByAScan) {
  fs::create_directories(folder_ / "films/secret");
  write("films/secret.mp4", film());
  write("films/film.mp4", film());
  fs::permissions(folder_ / "films/secret", fs::perms::none);
  fs::permissions(folder_ / "films/secret.mp4", fs::perms::none);
  for (const CommandLine& arguments : allCommandsOver("films/secret.mp4", "page.html")) {
    if (arguments[0] == "scan") continue;
    EXPECT_THAT(run(arguments, {.obeysPermissions = true}).output,
                testing::EndsWith("velainspect: films/secret.mp4: There is no permission to read "
                                  "the file.\n"));
  }
  const auto scan = run({"scan", "films", "--recursive", "--sorted"}, {.obeysPermissions = true});
  EXPECT_EQ(scan.status, 3);
  EXPECT_THAT(scan.output, HasSubstr(R"("file":"films/film.mp4","outcome":"plays")"));
  EXPECT_THAT(scan.output, HasSubstr(R"("file":"films/secret.mp4","outcome":"unreadable",)"
                                     R"("reason":"There is no permission to read the file.")"));
  EXPECT_THAT(scan.output, HasSubstr(R"("file":"films/secret","outcome":"unreadable",)"
                                     R"("reason":"The folder can't be read: Permission denied.")"));
  fs::permissions(folder_ / "films/secret", fs::perms::owner_all);
}

TEST_F(Failures, OfAListOfNamesAreNotTakenForItsEnd) {
  const auto folder = run({"scan", "--files-from", "."});
  EXPECT_EQ(folder.status, 7);
  EXPECT_EQ(folder.output, "velainspect: The list . can't be read.\n");
  EXPECT_EQ(run({"scan", "--files-from", "/proc/self/mem"}).status, 7);
  const auto missing = run({"scan", "--files-from", "missing"});
  EXPECT_EQ(missing.status, 3);
  EXPECT_EQ(missing.output, "velainspect: The list missing can't be opened.\n");
  const auto empty = run({"scan", "--files-from", "/dev/null"});
  EXPECT_EQ(empty.status, 0) << empty.output;
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
  for (const std::string command : {"check", "tags", "chapters", "covers"}) {
    const auto json = run({command, "film\xff.mp4", "--json"});
    EXPECT_EQ(nlohmann::json::parse(json.output)["file"], "film\xef\xbf\xbd.mp4") << command;
  }
}

TEST_F(Failures, KeepNoNameThatIsNotTextFromBeingWritten) {
  write("film\xff.mp4", film());
  const auto report = run({"report", "film\xff.mp4", "-o", "page\xff.html"});
  EXPECT_EQ(report.status, 3) << "the plug-in takes names that are text";
  EXPECT_THAT(report.output,
              HasSubstr("velainspect: film\\xff.mp4: The file's name is not text in UTF-8"));
  const auto covers = run({"covers", "film\xff.mp4", "--save", "pictures\xff"});
  EXPECT_EQ(covers.status, 0);
  EXPECT_THAT(covers.output, HasSubstr("saved as pictures\\xff/film\\xff.cover-1.png\n"));
  EXPECT_TRUE(fs::exists(folder_ / "page\xff.html"));
  EXPECT_TRUE(fs::exists(folder_ / "pictures\xff/film\xff.cover-1.png"));
  EXPECT_TRUE(fs::exists(folder_ / "pictures\xff/film\xff.cover-2.jpg"));
}

TEST_F(Failures, TextOfAFileCantSteerTheTerminal) {
  write("film.mp4",
        movieFile({.tracks = {aacTrack()},
                   .udta = metaWith(ilstText("\xa9nam", "\x1b[31mred"), ilstText("\x1b[3m", "x"))})
            .bytes);
  for (const CommandLine& arguments :
       allCommandsOver((folder_ / "film.mp4").string(), (folder_ / "page.html").string())) {
    const auto result = inspecting::run(arguments);
    EXPECT_EQ((result.out + result.err).find('\x1b'), std::string::npos) << arguments[0];
  }
}

TEST_F(Failures, OfAFullDiskAreTold) {
  write("film.mp4", film());
  for (const CommandLine& arguments : allCommandsOver("film.mp4", "-")) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto result = run(arguments, {.output = "/dev/full"});
    EXPECT_EQ(result.status, 74);
    EXPECT_THAT(result.output, testing::EndsWith("can't be written: No space left on device.\n"));
  }
  EXPECT_EQ(run({"--help"}, {.output = "/dev/full"}).status, 74);
}

TEST_F(Failures, OfAFullDiskLeaveNoHalfFileAndReplaceNone) {
  write("film.mp4", film());
  write("mine.html", text("mine"));
  fs::create_directory(folder_ / "pictures");
  const Surroundings fullDisk{.largestFile = 4096};
  const auto before = contents(folder_ / "");
  for (const std::string page : {"page.html", "mine.html"}) {
    const auto result = run({"report", "film.mp4", "-o", page, "--force"}, fullDisk);
    EXPECT_EQ(result.status, 74);
    EXPECT_EQ(result.output,
              "velainspect: The output " + page + " can't be written: File too large.\n");
  }
  EXPECT_EQ(contents(folder_ / ""), before);
  const auto covers = run({"covers", "film.mp4", "--save", "pictures"}, fullDisk);
  EXPECT_EQ(covers.status, 74);
  EXPECT_EQ(
      covers.output,
      "velainspect: The output pictures/film.cover-2.jpg can't be written: File too large.\n");
  EXPECT_EQ(contents(folder_ / "pictures").size(), 1u) << "the picture before it is whole";
  EXPECT_EQ(fs::file_size(folder_ / "pictures/film.cover-1.png"), 8u);
}

TEST_F(Failures, OfAPageThatCantBeWrittenHarmNothing) {
  write("film.mp4", film());
  fs::create_directories(folder_ / "sub");
  fs::create_directories(folder_ / "locked");
  fs::permissions(folder_ / "locked", fs::perms::owner_read | fs::perms::owner_exec);
  fs::create_symlink("target", folder_ / "link");
  fs::create_hard_link(folder_ / "film.mp4", folder_ / "same.mp4");
  ASSERT_EQ(mkfifo((folder_ / "pipe").c_str(), 0600), 0);
  const auto before = contents(folder_ / "");
  const std::pair<std::string, int> pages[] = {
      {"sub", 74},      {"locked/page.html", 74}, {"link", 74},
      {"pipe", 74},     {"none/page.html", 74},   {"/dev/null", 74},
      {"same.mp4", 64}, {"film.mp4", 64}};
  for (const auto& [page, status] : pages) {
    const auto result =
        run({"report", "film.mp4", "-o", page, "--force"}, {.obeysPermissions = true});
    EXPECT_EQ(result.status, status) << page;
    EXPECT_NE(result.output, "") << page;
  }
  for (const std::string folder : {"film.mp4", "locked", "pipe", "link", "none/deep"}) {
    const auto result = run({"covers", "film.mp4", "--save", folder}, {.obeysPermissions = true});
    EXPECT_EQ(result.status, 74) << folder;
    EXPECT_NE(result.output, "") << folder;
  }
  EXPECT_EQ(contents(folder_ / ""), before);
  EXPECT_TRUE(fs::is_empty(folder_ / "locked"));
  EXPECT_TRUE(fs::is_empty(folder_ / "sub"));
}

TEST_F(Failures, OfAClosedPipeAreSilentAndEndTheCommand) {
  write("film.mp4", film());
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  close(ends[0]);
  for (const CommandLine& arguments : allCommandsOver("film.mp4", "page.html")) {
    const auto result = run(arguments, {.outputPipe = ends[1]});
    const bool prints = arguments[0] != "report";
    EXPECT_EQ(result.status, prints ? 74 : 0) << arguments[0];
    EXPECT_EQ(result.output, "") << arguments[0];
  }
  close(ends[1]);
}

TEST_F(Failures, LeaveTheFileAsItIs) {
  write("film.mp4", film());
  const auto before = contents(folder_ / "");
  const std::string name = (folder_ / "film.mp4").string();
  for (const CommandLine& arguments : allCommandsOver(name, (folder_ / "page.html").string())) {
    inspecting::run(arguments);
  }
  fs::remove(folder_ / "page.html");
  EXPECT_EQ(contents(folder_ / ""), before);
}

// Every length of a file is one that a download may have stopped at.
TEST_F(Failures, NoneIsWithoutASentenceWhereverAFileIsCut) {
  const Bytes whole = movieFile({.tracks = {avcTrack({.samples = 3}), aacTrack({.samples = 3})},
                                 .udta = metaWith(ilstText("\xa9nam", "A"))})
                          .bytes;
  for (size_t length = 0; length < whole.size(); length += 29) {
    const inspecting::ScratchMovie movie(
        Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
    const std::string page = (movie.folder() / "page.html").string();
    for (const CommandLine& arguments : allCommandsOver(movie.file().string(), page)) {
      const auto result = inspecting::run(arguments);
      if (arguments[0] == "report") {
        EXPECT_EQ(result.status, 0) << length;
        EXPECT_THAT(media::readText(page), testing::EndsWith("</html>\n")) << length;
        continue;
      }
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
  for (const CommandLine& arguments : allCommandsOver("huge.mp4", "page.html")) {
    if (arguments[0] == "compare") continue;  // which reads all media
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto result = run(arguments, {.largestMemory = limit});
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_LT(result.output.size(), 200'000u);
  }
  const auto why = run({"why", "huge.mp4"}, {.largestMemory = limit});
  EXPECT_THAT(why.output, HasSubstr("huge.mp4: opens\n"));
  EXPECT_LT(fs::file_size(folder_ / "page.html"), 200'000u);
}

/// Interrupts this process again and again until the object goes.
class Interrupting {
 public:
  Interrupting() : before_(std::signal(SIGINT, [](int) {})) {}  // which the first ones may meet
  ~Interrupting() {
    thread_.request_stop();
    thread_.join();
    std::signal(SIGINT, before_);
  }

 private:
  using Handler = void (*)(int);

  Handler before_;
  std::jthread thread_{[](const std::stop_token& stop) {
    while (!stop.stop_requested()) {
      kill(getpid(), SIGINT);
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
  }};
};

TEST_F(Failures, NoneIsAnInterruptionWhichLeavesNoHalfFile) {
  makeHuge(folder_ / "huge.mp4");
  MediaTrack track = aacTrack({.samples = 4});
  track.boxes.stts = stts({{0xfffffff0, 1}});
  track.boxes.stsz = stszConstant(1, 0xfffffff0);
  track.boxes.stsc = stsc({{1, 0xfffffff0}});
  write("claims.mp4", movieFile({.tracks = {track}}).bytes);
  // Zeros that take no room on the disk: a smaller file has fewer samples that are followed.
  fs::resize_file(folder_ / "claims.mp4", uint64_t{1} << 30);
  write("film.mp4", film());
  const auto name = [&](const std::string& file) { return (folder_ / file).string(); };
  const Interrupting interrupting;
  for (const CommandLine& arguments :
       {CommandLine{"compare", name("huge.mp4"), name("huge.mp4")},
        CommandLine{"report", name("claims.mp4"), "-o", name("page.html")},
        CommandLine{"check", name("claims.mp4")},
        CommandLine{"samples", name("claims.mp4"), "--range", ":4000000000"}}) {
    const auto result = inspecting::run(arguments);
    EXPECT_EQ(result.status, 2) << arguments[0];
    EXPECT_EQ(result.err, "velainspect: Stopped by a signal.\n") << arguments[0];
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_ / ""), {}), 3);
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
