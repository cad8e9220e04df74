// Files that play, cut by `velahost extract`: their names, and that nothing else is harmed whatever
// the input, the titles and the disk are like. tests/host/CMakeLists.txt has ffmpeg judge the cuts.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <fstream>
#include <set>
#include <string>

#include "host/file_names.h"
#include "host/key_pictures.h"
#include "host/mp4_writer.h"
#include "host/range_reader.h"
#include "tests/programs/child.h"
#include "tests/programs/media.h"
#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using velahost::chapterFileName;

TEST(ChapterFileName, HasTheNumberAndTheTitle) {
  EXPECT_EQ(chapterFileName(1, 9, "Opening", ".m4a"), "01 Opening.m4a");
  EXPECT_EQ(chapterFileName(7, 1024, "第三章", ".mp4"), "0007 第三章.mp4");
  EXPECT_EQ(chapterFileName(12, 12, "", ".m4a"), "12.m4a");
}

TEST(ChapterFileName, LeadsNowhereElse) {
  EXPECT_EQ(chapterFileName(1, 1, "../../etc/passwd", ".m4a"), "01 .._.._etc_passwd.m4a");
  EXPECT_EQ(chapterFileName(1, 1, "C:\\x*?\"<>|", ".m4a"), "01 C__x______.m4a");
}

TEST(ChapterFileName, HasNoCharacterThatSteersATerminalOrIsNoText) {
  EXPECT_EQ(chapterFileName(1, 1, "a\x1b[2Jb\r\nc\x7f", ".m4a"), "01 a_[2Jb__c_.m4a");
  EXPECT_EQ(chapterFileName(1, 1,
                            "a\xe2\x80\xae"
                            "b",
                            ".m4a"),
            "01 a_b.m4a")
      << "right to left";
  EXPECT_EQ(chapterFileName(1, 1, "bad \xff\xc3 bytes", ".m4a"), "01 bad __ bytes.m4a");
}

TEST(ChapterFileName, HasNoBlankOrPointWhereASystemWouldDropIt) {
  EXPECT_EQ(chapterFileName(1, 1, "The end...", ".m4a"), "01 The end.m4a");
  EXPECT_EQ(chapterFileName(1, 1, "  one ", ".m4a"), "01 one.m4a");
  EXPECT_EQ(chapterFileName(1, 1, "...", ".m4a"), "01.m4a");
}

TEST(ChapterFileName, FitsEveryFileSystemAndEndsWithAWholeCharacter) {
  for (const char* const character : {"x", "ß", "終", "\xf0\x9f\x8e\xb5"}) {
    std::string title;
    while (title.size() < 65536) title += character;
    const std::string name = chapterFileName(3, 10, title, ".m4a");
    EXPECT_LE(name.size(), 120u);
    EXPECT_GT(name.size(), 110u);
    EXPECT_EQ((name.size() - 7) % std::string(character).size(), 0u);
  }
}

TEST(KeyPictures, OfH264AreIdrPicturesAndRecoveryPoints) {
  const auto isKey = [](const std::vector<uint8_t>& packet) {
    return velahost::isKeyPicture(vela::kMediaH264, packet);
  };
  EXPECT_TRUE(isKey({0, 0, 0, 2, 0x09, 0xf0, 0, 0, 0, 2, 0x65, 0x88}));
  EXPECT_TRUE(isKey({0, 0, 0, 4, 0x06, 6, 1, 0x80, 0, 0, 0, 2, 0x41, 0x9a}));
  EXPECT_FALSE(isKey({0, 0, 0, 4, 0x06, 5, 1, 0x80, 0, 0, 0, 2, 0x41, 0x9a}));
  EXPECT_FALSE(isKey({0, 0, 0, 2, 0x41, 0x9a}));
  EXPECT_FALSE(isKey({0, 0, 0, 9, 0x65, 0x88})) << "the unit is longer than its packet";
  EXPECT_FALSE(isKey({}));
}

TEST(KeyPictures, OfMpeg4AreIntraCoded) {
  const auto isKey = [](const std::vector<uint8_t>& packet) {
    return velahost::isKeyPicture(vela::kMediaMpeg4Visual, packet);
  };
  EXPECT_TRUE(isKey({0, 0, 1, 0xb3, 0, 0, 1, 0xb6, 0x10}));
  EXPECT_FALSE(isKey({0, 0, 1, 0xb6, 0x50}));
  EXPECT_FALSE(isKey({0, 0, 1, 0xb6}));
}

TEST(RangeTimes, AreRoundedToTheNearestTick) {
  const int64_t second = vela::kHostUnitsPerSecond;
  EXPECT_EQ(velahost::ticksOf(second, 44100), 44100);
  EXPECT_EQ(velahost::ticksOf(second / 2, 3), 2) << "halves up";
  EXPECT_EQ(velahost::ticksOf(-second, 90000), -90000);
  EXPECT_EQ(velahost::ticksOf(second * 400000000 + 1, 90000), 36000000000000);
}

/// A folder with a book of five chapters in it, where extract is run.
class CutFiles : public testing::Test {
 protected:
  using Contents = std::map<std::string, std::string>;

  CutFiles() {
    fs::copy_file(media::dataFolder() / "chapters.m4a", at("book.m4a"));
    fs::copy_file(media::dataFolder() / "sample.mp4", at("film.mp4"));
  }
  void SetUp() override {
    if (!velahost::canWriteMp4()) GTEST_SKIP() << "skipped: built without libavformat";
  }

  fs::path at(const std::string& name) const { return folder_ / name; }

  void write(const std::string& name, const std::string& bytes) const {
    std::ofstream(at(name), std::ios::binary) << bytes;
  }

  media::ProgramResult extract(std::vector<std::string> arguments,
                               Surroundings surroundings = {}) const {
    arguments.insert(arguments.begin(), "extract");
    surroundings.folder = at("");
    return runHost(std::move(arguments), surroundings);
  }

  void expectRefused(const std::vector<std::string>& arguments, int status,
                     const std::string& words) const {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const Contents before = contents(at(""));
    const media::ProgramResult result = extract(arguments);
    EXPECT_EQ(result.status, status) << result.output;
    EXPECT_THAT(result.output, HasSubstr(words));
    EXPECT_EQ(contents(at("")), before);
  }

  std::vector<std::string> namesIn(const std::string& folder) const {
    std::vector<std::string> names;
    for (const auto& [name, bytes] : contents(at(folder))) names.push_back(name);
    return names;
  }

  media::ScratchFolder folder_;
};

TEST_F(CutFiles, MakesAFileForEachChapterWhateverItsTitle) {
  EXPECT_EQ(extract({"book.m4a", "--chapters", "out"}).status, 0);
  EXPECT_THAT(namesIn("out"), ElementsAre("01 Same.m4a", "02 Same.m4a", "03 .._Up_ _and_ away_.m4a",
                                          "04.m4a", "05.m4a"));
  EXPECT_EQ(extract({"film.mp4", "--chapters", "out"}).status, 0);
  EXPECT_THAT(namesIn("out"), testing::Contains("02 Mittelteil – größer.mp4"));
}

TEST_F(CutFiles, NamesAndTagsAreThoseOfTheChapter) {
  EXPECT_EQ(extract({"book.m4a", "--item", "3", "--output", "part.m4a"}).status, 0);
  const media::ProgramResult told = runHost({"info", "part.m4a"}, {.folder = at("")});
  EXPECT_THAT(told.output, HasSubstr("../Up: \"and\" away?"));
  EXPECT_THAT(told.output, HasSubstr("Chapters    1\n"));
}

TEST_F(CutFiles, WritesTheSameBytesToStandardOutput) {
  EXPECT_EQ(extract({"book.m4a", "--item", "2", "-o", "part.m4a"}).status, 0);
  const int file = open(at("stdout").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  const media::ProgramResult piped =
      extract({"book.m4a", "--item", "2", "-o", "-"}, {.outputPipe = file});
  close(file);
  EXPECT_EQ(piped.status, 0);
  EXPECT_THAT(piped.output, StartsWith("standard output\n")) << "the report goes to the other one";
  EXPECT_EQ(media::readText(at("stdout")), media::readText(at("part.m4a")));
}

TEST_F(CutFiles, EndsWith74WhenAPipeIsClosedOrADiskIsFull) {
  for (const std::vector<std::string>& output :
       std::vector<std::vector<std::string>>{{"-o", "-"}, {"--audio", "-"}}) {
    std::vector<std::string> arguments = {"book.m4a"};
    arguments.insert(arguments.end(), output.begin(), output.end());
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    close(ends[0]);
    const media::ProgramResult closed = extract(arguments, {.outputPipe = ends[1]});
    close(ends[1]);
    EXPECT_EQ(closed.status, 74);
    EXPECT_THAT(closed.output, HasSubstr("Standard output can't be written: Broken pipe."));

    const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
    const media::ProgramResult noSpace = extract(arguments, {.outputPipe = full});
    close(full);
    EXPECT_EQ(noSpace.status, 74);
    EXPECT_THAT(noSpace.output, HasSubstr("No space left on device"));
  }
  EXPECT_EQ(contents(at("")).size(), 2u);
}

TEST_F(CutFiles, KeepsWholeChaptersAndNoHalfOneWhenTheDiskIsFull) {
  ASSERT_EQ(extract({"book.m4a", "--chapters", "out"}).status, 0);
  const Contents whole = contents(at("out"));
  const uint64_t first = whole.at("01 Same.m4a").size();
  ASSERT_LT(first, whole.at("02 Same.m4a").size());
  const media::ProgramResult result =
      extract({"book.m4a", "--chapters", "full"}, {.largestFile = first});
  EXPECT_EQ(result.status, 74);
  EXPECT_THAT(result.output, HasSubstr("File too large. 1 of 5 chapters was written."));
  EXPECT_EQ(contents(at("full")), (Contents{{"01 Same.m4a", whole.at("01 Same.m4a")}}));

  for (const uint64_t limit : {uint64_t{0}, uint64_t{100}, first - 1}) {
    EXPECT_EQ(extract({"book.m4a", "--chapters", "none"}, {.largestFile = limit}).status, 74);
    EXPECT_FALSE(fs::exists(at("none"))) << "a folder that was made for nothing is taken away";
  }
}

TEST_F(CutFiles, ReplacesAnExistingFileWithForceOnly) {
  fs::create_directory(at("out"));
  write("out/04.m4a", "old");
  const media::ProgramResult refused = extract({"book.m4a", "--chapters", "out"});
  EXPECT_EQ(refused.status, 74);
  EXPECT_THAT(refused.output, HasSubstr("out/04.m4a exists; --force replaces it"));
  EXPECT_EQ(contents(at("out")), (Contents{{"04.m4a", "old"}})) << "looked at before any is made";
  EXPECT_EQ(extract({"book.m4a", "--chapters", "out", "--force"}).status, 0);
  EXPECT_NE(media::readText(at("out/04.m4a")), "old");
}

TEST_F(CutFiles, LeavesLinksFoldersPipesAndDevicesAlone) {
  write("other", "other");
  fs::create_symlink("other", at("link"));
  fs::create_directory(at("folder"));
  ASSERT_EQ(mkfifo(at("pipe").c_str(), 0600), 0);
  expectRefused({"book.m4a", "-o", "link", "--force"}, 74, "link is a symbolic link");
  expectRefused({"book.m4a", "-o", "folder", "--force"}, 74, "folder is a folder");
  expectRefused({"book.m4a", "-o", "pipe", "--force"}, 74, "pipe is not a regular file");
  expectRefused({"book.m4a", "-o", "/dev/null", "--force"}, 74, "is not a regular file");
  expectRefused({"book.m4a", "--chapters", "other"}, 74, "other can't be made: it is not a folder");
  expectRefused({"book.m4a", "--chapters", "no/such"}, 74, "no/such can't be made: No such file");
}

TEST_F(CutFiles, RefusesTheInputAsOutput) {
  expectRefused({"book.m4a", "-o", "./book.m4a", "--force"}, 64, "is the input itself");
  fs::create_hard_link(at("book.m4a"), at("01 Same.m4a"));
  expectRefused({"01 Same.m4a", "--chapters", ".", "--force"}, 64, "is the input itself");
}

TEST_F(CutFiles, SaysWhatIsWrongWithACommandLine) {
  expectRefused({"book.m4a"}, 64, "Name an output: ");
  expectRefused({"book.m4a", "-o", "a", "--audio", "b"}, 64, "exclude each other");
  expectRefused({"book.m4a", "-o", "a", "--chapters", "b"}, 64, "exclude each other");
  expectRefused({"book.m4a", "--audio", "a", "--format", "mp3"}, 64, "a bare stream has one form");
  expectRefused({"book.m4a", "-o", "-", "--json"}, 64, "can't take both the stream and JSON");
  expectRefused({"book.m4a", "-o", "a", "--keep-partial"}, 64, "--keep-partial goes with --audio");
  expectRefused({"book.m4a", "-o", "a", "--item", "6"}, 64, "There is no item 6.");
  expectRefused({"book.m4a", "--chapters", "a", "--item", "6"}, 64, "There is no item 6.");
  expectRefused({"book.m4a", "film.mp4", "-o", "a"}, 64, "One output can't take several files");
  expectRefused({"book.m4a", "-o", "a", "--format", "mp3"}, 65, "The file's audio is AAC");
  expectRefused({"film.mp4", "-o", "a.mp3"}, 65, "The file's audio is AAC");
}

TEST_F(CutFiles, GivesEachOfSeveralFilesAFolderAndGoesOnAfterOneThatFails) {
  write("text.m4a", "no movie");
  const media::ProgramResult result =
      extract({"text.m4a", "missing.m4a", "book.m4a", "--chapters", "out"});
  EXPECT_EQ(result.status, 5) << "that of the first that failed";
  EXPECT_THAT(result.output, HasSubstr("velahost: text.m4a: "));
  EXPECT_THAT(result.output, HasSubstr("velahost: missing.m4a: There is no such file"));
  EXPECT_EQ(namesIn("out/book").size(), 5u);
  EXPECT_THAT(namesIn("out"), ElementsAre("book"));
}

TEST_F(CutFiles, CutsNothingHalfOfAFileThatIsCutShortOrDamaged) {
  const std::string book = media::readText(at("book.m4a"));
  const auto check = [&](const std::string& bytes, const std::string& what) {
    SCOPED_TRACE(what);
    write("bad.m4a", bytes);
    for (const char* const form : {"mp4", "adts"}) {
      const media::ProgramResult result =
          extract({"bad.m4a", "--chapters", "out", "--format", form});
      EXPECT_THAT(result.status, testing::AnyOf(0, 1, 3, 5, 65)) << result.output;
      if (result.status != 0) {
        EXPECT_THAT(result.output, HasSubstr("velahost: bad.m4a: "));
      }
      if (!fs::exists(at("out"))) continue;
      for (const std::string& name : namesIn("out")) {
        EXPECT_THAT(name, testing::MatchesRegex("0[1-5].*\\.(m4a|aac)"));
      }
      fs::remove_all(at("out"));
    }
  };
  check("", "empty");
  for (size_t eighth = 1; eighth < 8; ++eighth) {
    check(book.substr(0, book.size() * eighth / 8), "cut at eighth " + std::to_string(eighth));
  }
  for (size_t i = 0; i < 24; ++i) {
    std::string damaged = book;
    const size_t place = book.size() - 1 - i * 97;  // the movie box is at the end
    damaged[place] = static_cast<char>(damaged[place] ^ 0x5a);
    check(damaged, "byte " + std::to_string(place) + " changed");
  }
}

TEST_F(CutFiles, TakesATitleOf64KiB) {
  using namespace boxes;
  const std::string title(65536, 'T');
  const Bytes file = movieFile({.tracks = {aacTrack({.samples = 40})},
                                .udta = box("meta", full(0), box("hdlr", full(0), zeros(20), u8(0)),
                                            box("ilst", ilstText(itemType("nam"), title))),
                                .order = BoxOrder::movieFirst})
                         .bytes;
  write("long.m4a", std::string(file.begin(), file.end()));
  const media::ProgramResult result = extract({"long.m4a", "--chapters", "out"});
  EXPECT_EQ(result.status, 0) << result.output;
  ASSERT_EQ(namesIn("out").size(), 1u);
  EXPECT_EQ(namesIn("out")[0], "01 " + std::string(113, 'T') + ".m4a");
  EXPECT_THAT(media::readText(at("out/" + namesIn("out")[0])), HasSubstr(title))
      << "the title itself is whole";
}

TEST_F(CutFiles, TakesTitlesThatAreNoFileNames) {
  using namespace boxes;
  const Bytes file = movieFile({.tracks = {aacTrack({.samples = 200})},
                                .udta = chpl({{0, "/"},
                                              {5'000'000, "../../up"},
                                              {10'000'000, "a\x1b[2J\r\nb\x7f"},
                                              {15'000'000, "CON"},
                                              {20'000'000, std::string(255, 'x')},
                                              {25'000'000, "same"},
                                              {30'000'000, "same"}}),
                                .order = BoxOrder::movieFirst})
                         .bytes;
  write("titles.m4a", std::string(file.begin(), file.end()));
  const media::ProgramResult result = extract({"titles.m4a", "--chapters", "out"});
  EXPECT_EQ(result.status, 0) << result.output;
  EXPECT_THAT(namesIn("out"),
              ElementsAre("01 _.m4a", "02 .._.._up.m4a", "03 a_[2J__b_.m4a", "04 CON.m4a",
                          "05 " + std::string(113, 'x') + ".m4a", "06 same.m4a", "07 same.m4a"));
  EXPECT_EQ(result.output.find('\x1b'), result.output.npos);
}

TEST_F(CutFiles, CutsWhatLiesBeyond4GiBInAFileOfAnySize) {
  using namespace boxes;
  constexpr uint64_t kFar = uint64_t{5} << 30;
  // The movie is written once with offsets of 64 bits, and its media once more far away.
  MovieFileFields fields{.tracks = {aacTrack({.samples = 200})},
                         .udta = chpl({{0, "near"}, {20'000'000, "far"}}),
                         .order = BoxOrder::movieFirst};
  const BuiltMovie near = movieFile(fields);
  std::vector<uint64_t> chunks;
  for (size_t i = 0; i < near.offsets[0].size(); i += fields.tracks[0].samplesPerChunk) {
    chunks.push_back(kFar + near.offsets[0][i]);
  }
  fields.tracks[0].boxes.stco = co64(chunks);
  const Bytes movie = movieFile(fields).bytes;
  const uint64_t mediaStart = near.offsets[0][0];
  const size_t movieEnd = movie.size() - (near.bytes.size() - mediaStart) - 8;
  {
    std::ofstream out(at("huge.m4a"), std::ios::binary);
    const auto put = [&out](const Bytes& bytes, size_t from, size_t to) {
      out.write(reinterpret_cast<const char*>(bytes.data()) + from,
                static_cast<std::streamsize>(to - from));
    };
    put(movie, 0, movieEnd);
    const uint64_t mediaEnd = kFar + near.bytes.size();
    const Bytes header = join(u32(1), text("mdat"), u64(mediaEnd - movieEnd));
    put(header, 0, header.size());
    out.seekp(static_cast<std::streamoff>(kFar + mediaStart));  // a hole takes no room on the disk
    put(near.bytes, mediaStart, near.bytes.size());
  }
  write("near.m4a", std::string(near.bytes.begin(), near.bytes.end()));
#if defined(__SANITIZE_ADDRESS__)
  const std::optional<uint64_t> memory;  // the sanitizer itself takes terabytes of addresses
#else
  const std::optional<uint64_t> memory = uint64_t{1} << 30;
#endif
  for (const char* const form : {"mp4", "adts"}) {
    EXPECT_EQ(extract({"near.m4a", "--chapters", "near", "--format", form}).status, 0);
    const media::ProgramResult result =
        extract({"huge.m4a", "--chapters", "huge", "--format", form}, {.largestMemory = memory});
    EXPECT_EQ(result.status, 0) << result.output;
    EXPECT_EQ(contents(at("huge")), contents(at("near")));
    EXPECT_EQ(contents(at("huge")).size(), 2u);
    fs::remove_all(at("huge"));
    fs::remove_all(at("near"));
  }
}

TEST_F(CutFiles, RefusesAPipeWhichCanBeReadOnceOnly) {
  alarm(120);  // a program that waits for a writer fails the test
  ASSERT_EQ(mkfifo(at("pipe.m4a").c_str(), 0600), 0);
  expectRefused({"pipe.m4a", "-o", "a.m4a"}, 64, "reads its file more than once");
  expectRefused({"pipe.m4a", "--chapters", "out", "--format", "adts"}, 64, "reads its file more");
  alarm(0);
}

TEST_F(CutFiles, SaysThatLibavformatIsMissingAndOffersBareSound) {
  fs::create_directory(at("lib"));
  for (const char* const library : {"libavformat.so.58", "libavformat.so.59", "libavformat.so.60",
                                    "libavformat.so.61", "libavformat.so.62"}) {
    write("lib/" + std::string(library), "");
  }
  const Surroundings without{.environment = {{"LD_LIBRARY_PATH", at("lib").string()}}};
  const Contents before = contents(at(""));
  for (const char* const output : {"-o", "--chapters"}) {
    const media::ProgramResult result = extract({"book.m4a", output, "out"}, without);
    EXPECT_EQ(result.status, 65);
    EXPECT_THAT(result.output, testing::ContainsRegex("MP4 is written by libavformat.so.[0-9]+, "
                                                      "which can't be loaded. --format adts and"));
    EXPECT_EQ(contents(at("")), before);
  }
  EXPECT_EQ(extract({"book.m4a", "--chapters", "out", "--format", "adts"}, without).status, 0);
  EXPECT_EQ(namesIn("out").size(), 5u);
}

TEST_F(CutFiles, LeavesWholeFilesOnlyWhereverASignalComes) {
  ASSERT_EQ(extract({"book.m4a", "--chapters", "whole"}).status, 0);
  const Contents whole = contents(at("whole"));
  std::set<size_t> kept;
  int cancelled = 0;
  for (int nth = 1;; ++nth) {
    SCOPED_TRACE("write " + std::to_string(nth));
    Child child({"extract", "book.m4a", "--chapters", "out"},
                {.folder = at(""), .stopsAtWrites = true});
    const bool sent = child.signalAtWrite(nth % 2 ? SIGTERM : SIGINT, nth);
    const media::ProgramResult result = child.wait();
    const Contents left = fs::exists(at("out")) ? contents(at("out")) : Contents();
    for (const auto& [name, bytes] : left) {
      ASSERT_TRUE(whole.contains(name) && whole.at(name) == bytes) << name;
    }
    if (left.size() < whole.size()) {
      ASSERT_EQ(result.status, 2) << result.output;
      ASSERT_THAT(result.output, HasSubstr(std::to_string(left.size()) + " of 5 chapters w"));
      ++cancelled;
    } else {
      ASSERT_EQ(result.status, 0) << "nothing was left to cancel";
    }
    kept.insert(left.size());
    fs::remove_all(at("out"));
    if (!sent) break;  // there is no n-th write
  }
  EXPECT_THAT(kept, ElementsAre(0, 1, 2, 3, 4, 5));
  EXPECT_GE(cancelled, 10) << "several writes to each file";
  EXPECT_EQ(contents(at("")).size(), 3u) << "book, film and the whole chapters";
}

TEST_F(CutFiles, KeepsTheFileItWouldReplaceWhenASignalComes) {
  write("old.mp4", "old");
  Child child({"extract", "film.mp4", "-o", "old.mp4", "--force"},
              {.folder = at(""), .stopsAtWrites = true});
  EXPECT_TRUE(child.signalAtWrite(SIGTERM, 1));
  EXPECT_EQ(child.wait().status, 2);
  EXPECT_EQ(media::readText(at("old.mp4")), "old");
  EXPECT_EQ(contents(at("")).size(), 3u);
}

TEST_F(CutFiles, EndsWith2WhenASignalComesWhileNobodyReadsStandardOutput) {
  for (const char* const option : {"-o", "--audio"}) {
    int ends[2];
    ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
    const int full = open(("/proc/self/fd/" + std::to_string(ends[1])).c_str(),
                          O_WRONLY | O_NONBLOCK | O_CLOEXEC);
    const std::string page(4096, ' ');
    while (::write(full, page.data(), page.size()) > 0) {
    }
    alarm(120);  // a program that goes on waiting fails the test
    Child child({"extract", "film.mp4", option, "-"},
                {.folder = at(""), .outputPipe = ends[1], .stopsAtWrites = true});
    EXPECT_TRUE(child.signalAtWrite(SIGTERM, option == std::string("-o") ? 2 : 1));
    EXPECT_EQ(child.wait().status, 2);
    alarm(0);
    for (const int descriptor : {full, ends[0], ends[1]}) close(descriptor);
  }
  EXPECT_EQ(contents(at("")).size(), 2u);
}

}  // namespace
