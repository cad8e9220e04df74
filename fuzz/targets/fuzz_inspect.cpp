// Takes arbitrary bytes through the inspector's own walker and readers. Invariants: every box lies
// within the one around it and is found again by its path and by its bytes; a walk ends; samples
// are those of the library; every command ends with a documented status, and its JSON is JSON.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "atomkit/core/containers/exception.h"
#include "cli/text.h"
#include "fuzz/targets/input_head.h"
#include "inspect/box_walker.h"
#include "inspect/command_line.h"
#include "inspect/opening.h"
#include "inspect/picture.h"
#include "inspect/raw_chapters.h"
#include "inspect/raw_tags.h"
#include "inspect/report_data.h"
#include "inspect/sample_reader.h"
#include "tests/support/require.h"

namespace {

namespace fs = std::filesystem;

constexpr uint32_t kMostSamples = 300;  // of a track; the tables may claim billions
constexpr size_t kMostLookups = 40;     // boxes that are looked for again
constexpr uint64_t kMostReportedSamples = 10'000;

/// One file of this process, in memory where the system has a folder for that.
const fs::path& inputFile() {
  static const fs::path file = [] {
    const fs::path shared = "/dev/shm";
    const fs::path folder = fs::is_directory(shared) ? shared : fs::temp_directory_path();
    return folder / ("fuzz_inspect." + std::to_string(getpid()));
  }();
  return file;
}

struct RemoveInput {
  ~RemoveInput() {
    std::error_code ignored;
    fs::remove(inputFile(), ignored);
  }
};

void writeInput(const uint8_t* data, size_t size) {
  // The name was made first, so that it is still there when the file is removed.
  const fs::path& name = inputFile();
  static const RemoveInput removeAtTheEnd;
  std::FILE* const file = std::fopen(name.c_str(), "wb");
  REQUIRE(file != nullptr);
  if (size > 0) REQUIRE(std::fwrite(data, 1, size, file) == size);
  REQUIRE(std::fclose(file) == 0);
}

class Checker final : public inspect::BoxVisitor {
 public:
  explicit Checker(uint64_t size) : size_(size) {}

  inspect::Go enter(const inspect::Box& box) override {
    REQUIRE(box.offset >= last_ || box.depth > 0);
    REQUIRE(box.headerSize == 8 || box.headerSize == 16);
    REQUIRE(box.payload() <= box.end);
    REQUIRE(box.end <= (box.parent ? box.parent->end : size_));
    REQUIRE(!box.parent || box.offset >= box.parent->payload());
    REQUIRE(box.depth <= inspect::kDeepest);
    ++boxes;
    if (paths.size() < kMostLookups) paths.emplace_back(inspect::pathText(box), box.offset);
    if (box.depth == 0) last_ = box.end;
    return inspect::Go::into;
  }
  inspect::Go noBox(const inspect::NoBox& noBox) override {
    REQUIRE(noBox.offset < noBox.end && noBox.end <= size_);
    return inspect::Go::past;
  }

  std::vector<std::pair<std::string, uint64_t>> paths;
  uint64_t boxes = 0;

 private:
  uint64_t size_;
  uint64_t last_ = 0;
};

void checkBoxes(inspect::File& file) {
  Checker checker(file.size());
  inspect::walkBoxes(file, checker);
  REQUIRE(checker.boxes <= file.size() / 8);
  for (const auto& [path, offset] : checker.paths) {
    const inspect::BoxChain named = inspect::boxNamed(file, inspect::parsePath(path));
    REQUIRE(named.deepest() && named.deepest()->offset == offset);
    const inspect::BoxChain placed = inspect::boxAt(file, offset);
    REQUIRE(placed.deepest() && placed.deepest()->offset == offset);
    REQUIRE(inspect::pathText(*placed.deepest()) == path);
  }
}

/// The samples of the library, found one by one, against those that are read in a row.
void checkSamples(inspect::File& file) {
  inspect::Opening opening;
  inspect::open(file, opening);
  const inspect::MovieMap map = inspect::readMovieMap(file);
  if (opening.refusal) {
    REQUIRE(!opening.refusal->position || *opening.refusal->position <= file.size());
    if (opening.refusal->position) return;
  }
  REQUIRE(map.tracks.size() == opening.movie.trackCount());
  for (const inspect::TrackMap& track : map.tracks) {
    inspect::SampleReader reader(file, track);
    inspect::Sample sample;
    const atomkit::CodecKind kind = opening.movie.codecKind(track.number);
    const bool known = isAudio(kind) || isVideo(kind);
    while (sample.number < kMostSamples && reader.next(sample)) {
      if (!known || !sample.hasSize || !sample.hasPlace) continue;
      try {
        atomkit::SampleCursor cursor;
        cursor.track = track.number;
        opening.movie.reposition(cursor, sample.number);
        atomkit::SampleInfo info;
        opening.movie.sampleInfo(cursor, info);
        REQUIRE(info.size == sample.size);
        REQUIRE(info.duration == sample.duration);
        REQUIRE(cursor.decodeTime == sample.decodeTime);
        REQUIRE(info.compositionOffset == sample.compositionOffset);
        REQUIRE(info.fileOffset == sample.offset);
      } catch (const atomkit::exception&) {
        // The library needs the sizes of a whole chunk.
      }
    }
  }
}

uint64_t claimedSamples(inspect::File& file) {
  uint64_t samples = 0;
  for (const inspect::TrackMap& track : inspect::readMovieMap(file).tracks) {
    samples += track.sampleCount;
  }
  return samples;
}

/// Tags, pictures and chapters lie in the file, and a page of all of it can be written.
void checkContents(inspect::File& file) {
  for (const inspect::Picture& picture : inspect::findPictures(file)) {
    REQUIRE(picture.size > 0 && picture.offset < file.size());
    REQUIRE(picture.size <= file.size() - picture.offset);
  }
  for (const inspect::RawTag& tag : inspect::readRawTags(file)) {
    REQUIRE(tag.offset < file.size());
  }
  for (const inspect::RawChapterList& list : inspect::readRawChapters(file)) {
    REQUIRE(list.offset < file.size());
  }
  if (claimedSamples(file) > kMostReportedSamples) return;
  const cli::Json data = inspect::reportData(file, {}, [] {});
  REQUIRE(nlohmann::json::accept(cli::compact(data)));
}

std::string runCommand(std::vector<std::string> arguments) {
  std::ostringstream out;
  std::ostringstream err;
  arguments.insert(arguments.begin() + 1, inputFile().string());
  const int status = inspect::runCommandLine(arguments, out, err, cli::Terminal::no);
  static const std::set<int> documented = {0, 5, 10, 11, 12, 64};
  REQUIRE(documented.contains(status));
  REQUIRE(status == 0 || !out.str().empty() || !err.str().empty());
  return out.str();
}

void checkCommands() {
  const std::string same = inputFile().string();
  for (const std::vector<std::string>& arguments : {std::vector<std::string>{"tree", "--json"},
                                                    {"why", "--json"},
                                                    {"check", "--json"},
                                                    {"covers", "--json"},
                                                    {"scan"}}) {
    const auto document = nlohmann::json::parse(runCommand(arguments));
    REQUIRE(document["format_version"] == 1);
  }
  const auto document = nlohmann::json::parse(runCommand({"compare", same, "--json"}));
  REQUIRE(document["format_version"] == 1);
  for (const auto& one : document["subjects"]) REQUIRE(one["same"] == one["complete"]);
  runCommand({"tree"});
  runCommand({"why"});
  std::istringstream lines(runCommand({"samples", "--json", "--range", ":40"}));
  for (std::string line; std::getline(lines, line);) REQUIRE(nlohmann::json::accept(line));
  runCommand({"samples"});
}

}  // namespace

size_t fuzz::inputHead(const uint8_t*, size_t) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  writeInput(data, size);
  inspect::File file(inputFile());
  REQUIRE(file.size() == size);
  checkBoxes(file);
  checkSamples(file);
  checkContents(file);
  checkCommands();
  return 0;
}
