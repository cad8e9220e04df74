// The sentence and the exit status of every failure, as the program gives them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "host/host_objects.h"
#include "host/splitter_file.h"
#include "tests/programs/child.h"
#include "tests/programs/media.h"
#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"

namespace {

namespace fs = std::filesystem;

/// Files that fail in every way, each named without its folder.
class Failures : public testing::Test {
 protected:
  fs::path at(const std::string& name) const { return folder_ / name; }

  void write(const std::string& name, const std::string& bytes) const {
    std::ofstream(at(name), std::ios::binary) << bytes;
  }

  /// A committed film with bytes changed: `with` at a distance after the first `after`.
  void writeChanged(const std::string& name, const std::string& original, const std::string& after,
                    size_t distance, const std::string& with) const {
    std::string bytes = media::readText(media::dataFolder() / original);
    const size_t found = bytes.find(after);
    ASSERT_NE(found, std::string::npos);
    write(name, bytes.replace(found + after.size() + distance, with.size(), with));
  }

  media::ProgramResult run(std::vector<std::string> arguments) const {
    return runHost(std::move(arguments), {.folder = at(""), .obeysPermissions = true});
  }

  void expectFailure(const std::vector<std::string>& arguments, int status,
                     const std::string& sentence) const {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const media::ProgramResult result = run(arguments);
    EXPECT_EQ(result.status, status);
    EXPECT_THAT(result.output,
                testing::EndsWith("velahost: " + arguments[1] + ": " + sentence + "\n"));
  }

  media::ScratchFolder folder_;
};

TEST_F(Failures, OfTheFileSystemAreToldApart) {
  fs::create_directory(at("folder"));
  fs::create_directory(at("closed"));
  write("closed/film.mp4", "");
  fs::permissions(at("closed"), fs::perms::none);
  write("secret.mp4", "");
  fs::permissions(at("secret.mp4"), fs::perms::none);
  write("empty.mp4", "");
  fs::create_symlink("loop.mp4", at("loop.mp4"));
  const std::string unreadable = "There is no permission to read the file (result 3).";
  for (const char* command : {"info", "packets"}) {
    expectFailure({command, "missing.mp4"}, 3, "There is no such file (result 3).");
    expectFailure({command, "folder"}, 3, "It is a folder, not a file (result 3).");
    expectFailure({command, "secret.mp4"}, 3, unreadable);
    expectFailure({command, "closed/film.mp4"}, 3, unreadable);
    expectFailure({command, "empty.mp4"}, 5, "The file is empty (result 5).");
    expectFailure({command, "loop.mp4"}, 3,
                  "The file can't be opened: Too many levels of symbolic links (result 3).");
    // Its first byte can't be read, whoever asks.
    expectFailure({command, "/proc/self/mem"}, 7,
                  "The file could not be read at byte 0: Input/output error (result 0x80000001).");
  }
  fs::permissions(at("closed"), fs::perms::owner_all);
}

TEST_F(Failures, OfANameThatIsNotTextSaySo) {
  const std::string name = "film\xff.mp4";
  write(name, "");
  const media::ProgramResult result = run({"packets", name});
  EXPECT_EQ(result.status, 3);
  EXPECT_THAT(result.output,
              testing::EndsWith("The file's name is not text in UTF-8, and only text can name a "
                                "source (result 3).\n"));
}

TEST_F(Failures, OfDamagedFilesSayWhatWasTried) {
  write("text.mp4", "This is no film.");
  for (const char* command : {"info", "packets"}) {
    expectFailure({command, "text.mp4"}, 5,
                  "The file is not MP4, is damaged or cut short, or has no AAC, MP3, MPEG-4 Visual "
                  "or H.264 track (result 5).");
  }
  fs::copy_file(media::dataFolder() / "h264-only.mp4", at("mute.mp4"));
  fs::copy_file(media::dataFolder() / "mp3-only.mp4", at("blind.mp4"));
  expectFailure({"packets", "mute.mp4", "--stream", "audio"}, 5,
                "The item has no audio that can be played (result 5).");
  expectFailure({"packets", "blind.mp4", "--stream", "video"}, 5,
                "The item has no video that can be played (result 5).");
  const std::string noEntries(4, '\0');
  writeChanged("timeless.mp4", "mp3-only.mp4", "stts", 4, noEntries);
  expectFailure({"packets", "timeless.mp4"}, 5,
                "The item can't be started: its packet tables are empty or damaged (result 5).");
  const std::string hours("\x10\0\0\0", 4);  // the duration that the media header claims
  writeChanged("short.mp4", "mp3-only.mp4", "mdhd", 16, hours);
  expectFailure({"seek", "short.mp4", "--to", "60"}, 5,
                "The item can't be played from there: a stream has no packet at that time, or its "
                "packet tables are damaged (result 5).");
  const std::string farAway(4, '\x7f');
  writeChanged("outside.mp4", "h264-only.mp4", "stco", 8, farAway);
  expectFailure({"packets", "outside.mp4"}, 1,
                "Reading stopped after 0 packets: the next video packet lies outside the file, "
                "which may be cut short (result 1).");
}

/// Reads of a file that fail from one byte on.
struct FailingFile {
  static constexpr size_t kGoodBytes = 20000;

  explicit FailingFile(const fs::path& file) : source(std::fopen(file.c_str(), "rb")) {}

  static ssize_t read(void* self, char* buffer, size_t count) {
    std::FILE* const source = static_cast<FailingFile*>(self)->source;
    const auto at = static_cast<size_t>(std::ftell(source));
    if (at + count > kGoodBytes) {
      errno = EIO;
      return -1;
    }
    return static_cast<ssize_t>(std::fread(buffer, 1, count, source));
  }
  static int seek(void* self, off64_t* position, int origin) {
    std::FILE* const source = static_cast<FailingFile*>(self)->source;
    if (fseeko(source, *position, origin) != 0) return -1;
    *position = ftello(source);
    return 0;
  }
  static int close(void* self) { return std::fclose(static_cast<FailingFile*>(self)->source); }

  std::FILE* source;
};

TEST_F(Failures, OfItemsWhoseTagsWouldFillMemoryAreToldWithThem) {
  using namespace boxes;
  std::vector<Mark> marks;
  for (uint64_t i = 0; i < 1000; ++i) marks.push_back({i * 100, ""});
  Bytes titles;
  for (int i = 0; i < 600; ++i) {
    const std::string title = std::string(200, 'x') + std::to_string(i);
    append(titles, box("\xa9nam", box("data", full(0, 1), u32(0), text(title))));
  }
  const Bytes book =
      movieFile({.tracks = {aacTrack()}, .udta = join(chpl(marks), metaWith(titles))}).bytes;
  write("book.m4a", std::string(book.begin(), book.end()));
  const media::ProgramResult result = run({"info", "book.m4a", "--json"});
  EXPECT_EQ(result.status, 6);
  EXPECT_LT(result.output.size(), 8u << 20);
  const auto report = nlohmann::json::parse(result.output.substr(0, result.output.rfind('}') + 1));
  const auto& items = report["items"];
  ASSERT_EQ(items.size(), 1000u);
  EXPECT_FALSE(items[0].contains("error")) << items[0];
  ASSERT_TRUE(items[999].contains("error"));
  EXPECT_EQ(
      items[999]["error"]["message"],
      "The tags of the items before it take all the memory that a file of this size may have.");
}

TEST(FailingRead, IsToldWithItsByteAndTheSystemsReason) {
  FailingFile file(media::dataFolder() / "sample.mp4");
  velahost::FileContext context;
  const velahost::Reference<velahost::FileStream> stream(new velahost::FileStream(
      fopencookie(&file, "rb", {FailingFile::read, nullptr, FailingFile::seek, FailingFile::close}),
      &context.calls));
  char bytes[64];
  uint32_t done = 0;
  EXPECT_EQ(stream->seek(19990, 0, nullptr), vela::TIOResult::success);
  EXPECT_EQ(stream->read(bytes, 10, &done, nullptr), vela::TIOResult::success);
  EXPECT_EQ(stream->read(bytes, 10, &done, nullptr), velahost::kReadFailed);
  const velahost::Failure failure(velahost::Place::reading, velahost::kReadFailed);
  EXPECT_STREQ(context.explained(failure).what(),
               "The file could not be read at byte 20000: Input/output error (result 0x80000001).");
  EXPECT_EQ(context.explained(failure).status(), 7);
  EXPECT_EQ(context.explained(failure).place(), velahost::Place::reading);
  EXPECT_EQ(stream->seek(0, 0, nullptr), vela::TIOResult::success);
  EXPECT_EQ(stream->read(bytes, 64, &done, nullptr), vela::TIOResult::success)
      << "what can be read is read";
  EXPECT_EQ(done, 64u);
}

TEST(Failure, IsExplainedByTheFileSystemOnlyWhereThatIsItsCause) {
  velahost::FileContext context;
  context.openFailure = std::make_error_code(std::errc::is_a_directory);
  for (const velahost::Place place : {velahost::Place::starting, velahost::Place::reading}) {
    const velahost::Failure failure(place, vela::TIOResult::failed);
    EXPECT_STREQ(context.explained(failure).what(), failure.what());
  }
  context.calls.bytesRead = 1;
  const velahost::Failure failure(velahost::Place::opening, vela::TIOResult::failed);
  EXPECT_STREQ(context.explained(failure).what(), failure.what()) << "the file is not empty";
}

TEST_F(Failures, OfThePluginNameTheLibraryAndTheReason) {
  const auto with = [this](const std::string& library) {
    return media::runProgram("cd '" + at("").string() + "' && '" + media::hostProgram().string() +
                             "' info film.mp4 --plugin '" + library + "'");
  };
  const media::ProgramResult missing = with("./missing.so");
  EXPECT_EQ(missing.status, 69);
  EXPECT_THAT(missing.output,
              testing::StartsWith("velahost: The plug-in ./missing.so can't be loaded: "));
  write("text.so", "no library");
  const media::ProgramResult text = with("./text.so");
  EXPECT_EQ(text.status, 69);
  EXPECT_THAT(text.output,
              testing::StartsWith("velahost: The plug-in ./text.so can't be loaded: "));

  const std::string other = VELA_LIBRARY_WITHOUT_ENTRY;
  const media::ProgramResult unrelated = with(other);
  EXPECT_EQ(unrelated.status, 69);
  EXPECT_EQ(unrelated.output,
            "velahost: The plug-in " + other + " can't be used: it does not export VelaEntry.\n");
}

}  // namespace
