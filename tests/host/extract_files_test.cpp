// What `velahost extract` does to files: it makes those asked for, and harms no other.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <fstream>
#include <string>

#include "tests/programs/child.h"
#include "tests/programs/media.h"

namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr char kUnfinished[] = ".part";

/// A folder with a film in it, where extract is run.
class ExtractFiles : public testing::Test {
 protected:
  using Contents = std::map<std::string, std::string>;

  ExtractFiles() { fs::copy_file(media::dataFolder() / "sample.mp4", folder_ / "film.mp4"); }

  fs::path at(const std::string& name) const { return folder_ / name; }

  void write(const std::string& name, const std::string& text) const {
    std::ofstream(at(name), std::ios::binary) << text;
  }

  /// Runs `velahost extract` in the folder.
  media::ProgramResult extract(std::vector<std::string> arguments,
                               Surroundings surroundings = {}) const {
    arguments.insert(arguments.begin(), "extract");
    surroundings.folder = at("");
    return runHost(std::move(arguments), surroundings);
  }

  /// Runs it and expects a failure that leaves the folder as it was.
  void expectRefused(const std::vector<std::string>& arguments, int status,
                     const std::string& words) const {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const Contents before = contents(at(""));
    const media::ProgramResult result = extract(arguments);
    EXPECT_EQ(result.status, status) << result.output;
    EXPECT_THAT(result.output, HasSubstr(words));
    EXPECT_EQ(contents(at("")), before);
  }

  /// What a stream of the film becomes when nothing goes wrong.
  std::string whole(const std::string& option) const {
    const media::ScratchFolder elsewhere;
    const media::ProgramResult result = extract({"film.mp4", option, (elsewhere / "out").string()});
    EXPECT_EQ(result.status, 0) << result.output;
    return media::readText(elsewhere / "out");
  }

  media::ScratchFolder folder_;
};

TEST_F(ExtractFiles, MakesTheFilesAskedForAndNoOther) {
  EXPECT_EQ(extract({"film.mp4", "--audio", "a.aac", "--video", "v.h264"}).status, 0);
  const Contents after = contents(at(""));
  EXPECT_EQ(after.size(), 3u);
  EXPECT_EQ(after.at("a.aac"), whole("--audio"));
  EXPECT_EQ(after.at("v.h264"), whole("--video"));
}

TEST_F(ExtractFiles, RefusesTheInputAsOutputUnderAnyName) {
  fs::create_symlink("film.mp4", at("link.mp4"));
  fs::create_hard_link(at("film.mp4"), at("twin.mp4"));
  const std::string full = at("film.mp4").string();
  for (const std::string& name : {std::string("film.mp4"), std::string("./film.mp4"), full,
                                  std::string("link.mp4"), std::string("twin.mp4")}) {
    for (const char* option : {"--audio", "--video"}) {
      const std::string words = name + " is the input itself";
      expectRefused({"film.mp4", option, name}, 64, words);
      expectRefused({"film.mp4", option, name, "--force"}, 64, words);
      expectRefused({"film.mp4", option, name, "--force", "--keep-partial"}, 64, words);
    }
  }
  expectRefused({"link.mp4", "--audio", "film.mp4", "--force"}, 64, "is the input itself");
}

TEST_F(ExtractFiles, RefusesOneFileForBothStreamsUnderAnyNames) {
  const std::string words = "can't take both audio and video";
  expectRefused({"film.mp4", "--audio", "out", "--video", "out"}, 64, words);
  expectRefused({"film.mp4", "--audio", "out", "--video", "./out"}, 64, words);
  expectRefused({"film.mp4", "--audio", "out", "--video", at("out").string()}, 64, words);
  write("out", "old");
  fs::create_hard_link(at("out"), at("twin"));
  expectRefused({"film.mp4", "--audio", "out", "--video", "twin", "--force"}, 64, words);
}

TEST_F(ExtractFiles, ReplacesAnExistingFileWithForceOnly) {
  write("out", "old");
  fs::permissions(at("out"), fs::perms::owner_read | fs::perms::owner_write);
  expectRefused({"film.mp4", "--audio", "out"}, 74, "The output out exists; --force replaces it.");
  EXPECT_EQ(extract({"film.mp4", "--audio", "out", "--force"}).status, 0);
  EXPECT_EQ(media::readText(at("out")), whole("--audio"));
  EXPECT_EQ(fs::status(at("out")).permissions(), fs::perms::owner_read | fs::perms::owner_write)
      << "the new file is no more open than the one that it replaced";
  EXPECT_EQ(contents(at("")).size(), 2u);
}

TEST_F(ExtractFiles, ReplacesOneNameOfAFileAndLeavesTheOthers) {
  write("out", "old");
  fs::create_hard_link(at("out"), at("twin"));
  EXPECT_EQ(extract({"film.mp4", "--audio", "out", "--force"}).status, 0);
  EXPECT_EQ(media::readText(at("twin")), "old");
}

TEST_F(ExtractFiles, LeavesWhatIsNotARegularFileAlone) {
  write("other", "other");
  fs::create_symlink("other", at("link"));
  fs::create_symlink("missing", at("dangling"));
  fs::create_directory(at("folder"));
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  const int socket = ::socket(AF_UNIX, SOCK_STREAM, 0);
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  at("socket").string().copy(address.sun_path, sizeof address.sun_path - 1);
  ASSERT_EQ(bind(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY);
  const std::string device = terminal >= 0 ? ptsname(terminal) : "";

  for (const char* option : {"--audio", "--video"}) {
    expectRefused({"film.mp4", option, "link", "--force"}, 74, "link is a symbolic link");
    expectRefused({"film.mp4", option, "dangling", "--force"}, 74, "dangling is a symbolic link");
    expectRefused({"film.mp4", option, "folder", "--force"}, 74, "folder is a folder");
    expectRefused({"film.mp4", option, "folder/", "--force"}, 74, "folder/ is a folder");
    expectRefused({"film.mp4", option, "pipe", "--force"}, 74, "pipe is not a regular file");
    expectRefused({"film.mp4", option, "socket", "--force"}, 74, "socket is not a regular file");
    if (!device.empty()) {
      expectRefused({"film.mp4", option, device, "--force"}, 74, "is not a regular file");
      EXPECT_TRUE(fs::exists(device));
    }
  }
  close(socket);
  if (terminal >= 0) close(terminal);
}

TEST_F(ExtractFiles, CreatesNothingWhenNothingCanBeExtracted) {
  write("old", "old");
  write("text.mp4", "no movie");
  fs::copy_file(media::dataFolder() / "h264-only.mp4", at("mute.mp4"));
  expectRefused({"text.mp4", "--audio", "old", "--force"}, 5, "text.mp4: ");
  expectRefused({"missing.mp4", "--audio", "new"}, 3, "missing.mp4: There is no such file");
  expectRefused({"mute.mp4", "--audio", "old", "--force"}, 5, "has no audio");
  expectRefused({"mute.mp4", "--audio", "old", "--video", "new", "--force"}, 65, "has no audio");
  expectRefused({"film.mp4", "--audio", "no/such/folder/out"}, 74,
                "The output no/such/folder/out can't be written: its folder does not exist.");
  expectRefused({"film.mp4", "--audio", "film.mp4/out"}, 74, "film.mp4/out can't be written");
}

TEST_F(ExtractFiles, RemovesWhatItCouldNotWriteToTheEnd) {
  write("old", "old");
  const Contents before = contents(at(""));
  // The first limit is met while packets are written, the second when the last bytes are.
  const std::string audio = whole("--audio");
  for (const uint64_t limit : {uint64_t{4096}, uint64_t{audio.size() - 1}}) {
    const media::ProgramResult result =
        extract({"film.mp4", "--audio", "old", "--force"}, {.largestFile = limit});
    EXPECT_EQ(result.status, 74);
    EXPECT_EQ(result.output,
              "velahost: film.mp4: The output old can't be written: File too large.\n");
    EXPECT_EQ(contents(at("")), before);
  }
}

TEST_F(ExtractFiles, KeepsThePartThatCouldBeWrittenWhenAsked) {
  const std::string audio = whole("--audio");
  for (const uint64_t limit : {uint64_t{4096}, uint64_t{audio.size() - 1}}) {
    const media::ProgramResult result = extract(
        {"film.mp4", "--audio", "out", "--keep-partial", "--force"}, {.largestFile = limit});
    EXPECT_EQ(result.status, 74);
    EXPECT_THAT(result.output, HasSubstr("File too large. The output out has the "));
    EXPECT_EQ(media::readText(at("out")), audio.substr(0, limit));
    EXPECT_EQ(contents(at("")).size(), 2u);
  }
}

TEST_F(ExtractFiles, KeepsNoPartWithoutForceInPlaceOfAFile) {
  write("out", "old");
  expectRefused({"film.mp4", "--audio", "out", "--keep-partial"}, 74, "exists; --force");
}

TEST_F(ExtractFiles, SaysInTheEndThatAStreamEndedEarly) {
  fs::copy_file(media::dataFolder() / "negative-offsets.mp4", at("early.mp4"));
  const std::string words = "velahost: early.mp4: video ended at 0.240 s of 1.023 s\n";
  const media::ProgramResult extracted =
      extract({"early.mp4", "--audio", "a.aac", "--video", "v.h264"});
  EXPECT_EQ(extracted.status, 0);
  EXPECT_THAT(extracted.output, testing::EndsWith(words));
  EXPECT_THAT(extracted.output, testing::Not(HasSubstr("audio ended")));
  const media::ProgramResult listed = runHost({"packets", "early.mp4"}, {.folder = at("")});
  EXPECT_EQ(listed.status, 0);
  EXPECT_THAT(listed.output, testing::EndsWith(words));
  const media::ProgramResult json =
      runHost({"packets", "early.mp4", "--summary", "--json"}, {.folder = at("")});
  EXPECT_THAT(json.output, HasSubstr(R"("duration":1.02322,"duration_ts":"17166782")"));
  EXPECT_THAT(json.output,
              HasSubstr(R"("ended_at":0.24,"ended_at_ts":"4026532","ended_early":true)"));
  EXPECT_THAT(json.output, testing::Not(HasSubstr("velahost: "))) << "the object says it";
}

/// The film through a pipe with a name, so that a test can hold extract in the middle of its work.
class ExtractFromAPipe : public ExtractFiles {
 protected:
  ExtractFromAPipe() {
    alarm(300);  // a program that waits for ever fails the test
    if (mkfifo(at("pipe").c_str(), 0600) != 0) ADD_FAILURE() << "no pipe";
    film_ = media::readText(at("film.mp4"));
  }
  ~ExtractFromAPipe() override {
    closePipe();
    alarm(0);
  }

  /// Starts the program, feeds it the first half of the film, and waits until it writes.
  void start(std::vector<std::string> arguments, Surroundings surroundings = {}) {
    arguments.insert(arguments.begin(), {"extract", "pipe"});
    surroundings.folder = at("");
    child_.emplace(std::move(arguments), surroundings);
    pipe_ = open(at("pipe").c_str(), O_WRONLY | O_CLOEXEC);
    feed(0, film_.size() / 2);
    waitForFile(at(""), kUnfinished);
  }

  void feed(size_t from, size_t to) const {
    while (from < to) {
      const ssize_t done = ::write(pipe_, film_.data() + from, to - from);
      ASSERT_GT(done, 0);
      from += static_cast<size_t>(done);
    }
  }

  void feedTheRest() {
    feed(film_.size() / 2, film_.size());
    closePipe();
  }

  void closePipe() {
    if (pipe_ >= 0) close(pipe_);
    pipe_ = -1;
  }

  std::string film_;
  std::optional<Child> child_;
  int pipe_ = -1;
};

TEST_F(ExtractFromAPipe, GivesTheOutputItsNameInTheEndOnly) {
  start({"--audio", "out"});
  EXPECT_FALSE(fs::exists(at("out")));
  feedTheRest();
  EXPECT_EQ(child_->wait().status, 0);
  EXPECT_EQ(media::readText(at("out")), whole("--audio"));
}

TEST_F(ExtractFromAPipe, RemovesItsFilesWhenASignalEndsIt) {
  write("old", "old");
  const Contents before = contents(at(""));
  for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
    start({"--audio", "old", "--video", "new", "--force"});
    child_->signal(signal);
    const media::ProgramResult result = child_->wait();  // the pipe is open, and gives no more
    closePipe();
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.output, "velahost: pipe: The operation was cancelled (result 2).\n");
    EXPECT_EQ(contents(at("")), before);
  }
}

TEST_F(ExtractFromAPipe, KeepsThePartBeforeASignalWhenAsked) {
  start({"--audio", "out", "--keep-partial"});
  child_->signal(SIGINT);
  EXPECT_EQ(child_->wait().status, 2);
  const std::string part = media::readText(at("out"));
  EXPECT_FALSE(part.empty());
  EXPECT_EQ(part, whole("--audio").substr(0, part.size()));
}

TEST_F(ExtractFromAPipe, GoesOnThroughASignalThatIsIgnored) {
  start({"--audio", "out"}, {.ignoredSignal = SIGHUP});
  child_->signal(SIGHUP);
  feedTheRest();
  EXPECT_EQ(child_->wait().status, 0);
}

TEST_F(ExtractFromAPipe, ReplacesNoFileThatCameMeanwhile) {
  start({"--audio", "out"});
  write("out", "newer");
  feedTheRest();
  const media::ProgramResult result = child_->wait();
  EXPECT_EQ(result.status, 74);
  EXPECT_THAT(result.output, HasSubstr("The output out exists"));
  EXPECT_EQ(media::readText(at("out")), "newer");
  EXPECT_EQ(contents(at("")).size(), 3u) << "film, pipe and the newer file";
}

TEST_F(ExtractFromAPipe, ReplacesNoLinkThatCameMeanwhileEvenWithForce) {
  write("other", "other");
  start({"--audio", "out", "--force"});
  fs::create_symlink("other", at("out"));
  feedTheRest();
  EXPECT_EQ(child_->wait().status, 74);
  EXPECT_TRUE(fs::is_symlink(at("out")));
  EXPECT_EQ(media::readText(at("other")), "other");
}

TEST_F(ExtractFromAPipe, TellsAfterHowManyPacketsTheInputBroke) {
  const Contents before = contents(at(""));
  start({"--audio", "out"});
  closePipe();
  media::ProgramResult result = child_->wait();
  EXPECT_EQ(result.status, 5);
  EXPECT_THAT(result.output, testing::MatchesRegex(
                                 "velahost: pipe: Reading stopped after [0-9]+ packets: the next "
                                 "audio packet is damaged or cut short .result 5.\\.\n"));
  EXPECT_EQ(contents(at("")), before);

  start({"--audio", "out", "--keep-partial"});
  closePipe();
  result = child_->wait();
  EXPECT_EQ(result.status, 5);
  const std::string part = media::readText(at("out"));
  EXPECT_FALSE(part.empty());
  EXPECT_EQ(part, whole("--audio").substr(0, part.size()));
}

}  // namespace
