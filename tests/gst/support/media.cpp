#include "tests/gst/support/media.h"

#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace media {
namespace {

namespace fs = std::filesystem;

fs::path root() { return VELA_SOURCE_FOLDER; }

/// One file of the corpus for each line: name, class, exit status of describing and of playing,
/// counts of packets, remark.
std::vector<File> corpusFiles() {
  std::vector<File> files;
  std::ifstream table(root() / "tests/data/golden/files.tsv");
  for (std::string line; std::getline(table, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::istringstream stream(line);
    std::vector<std::string> fields;
    for (std::string field; std::getline(stream, field, '\t');) fields.push_back(field);
    files.push_back({fields.at(0), true, fields.at(3) == "0", fields.at(6)});
  }
  return files;
}

std::vector<File> filesThat(bool play) {
  std::vector<File> chosen;
  for (const File& file : allFiles()) {
    if (file.plays == play) chosen.push_back(file);
  }
  return chosen;
}

}  // namespace

fs::path File::path() const {
  return ofCorpus ? *corpusFolder() / name : root() / "tests/data" / name;
}

bool File::available() const { return !ofCorpus || corpusFolder(); }

std::ostream& operator<<(std::ostream& out, const File& file) { return out << file.name; }

const std::vector<File>& allFiles() {
  static const std::vector<File> files = [] {
    std::vector<File> all = corpusFiles();
    for (const char* name :
         {"sample.mp4", "audiobook.m4a", "text.m4a", "asp-mp3.mp4", "mp3-only.mp4"}) {
      all.push_back({name});
    }
    all.push_back(
        {"h264-only.mp4", false, true, "the last pictures are shown after the track's end"});
    all.push_back({"negative-offsets.mp4", false, true,
                   "a negative composition offset counts as a large positive one"});
    return all;
  }();
  return files;
}

std::vector<File> playableFiles() { return filesThat(true); }
std::vector<File> brokenFiles() { return filesThat(false); }

std::optional<fs::path> corpusFolder() {
  const char* const named = std::getenv("VELA_CORPUS");
  if (!named || !*named) return std::nullopt;
  const fs::path folder = named;
  return folder.is_absolute() ? folder : root() / folder;
}

std::string caseName(const testing::TestParamInfo<File>& info) {
  std::string name = info.param.ofCorpus ? "corpus_" : "own_";
  for (const char c : info.param.name) {
    name.push_back(std::isalnum(static_cast<unsigned char>(c)) ? c : '_');
  }
  return name;
}

ScratchFolder::ScratchFolder() {
  std::string name = (fs::temp_directory_path() / "vela-gst-XXXXXX").string();
  if (!mkdtemp(name.data())) throw std::runtime_error("no scratch folder");
  folder_ = name;
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

// Test programs run side by side, so a file appears whole or not at all.
fs::path made(const std::string& name, const std::string& arguments) {
  const fs::path folder = VELA_MEDIA_FOLDER;
  fs::create_directories(folder);
  const fs::path file = folder / name;
  if (fs::exists(file)) return file;
  const fs::path unfinished = folder / (std::to_string(getpid()) + "-" + name);
  const std::string command =
      "ffmpeg -v error -y " + arguments + " '" + unfinished.string() + "' < /dev/null";
  if (std::system(command.c_str()) != 0) throw std::runtime_error("failed: " + command);
  fs::rename(unfinished, file);
  return file;
}

}  // namespace media
