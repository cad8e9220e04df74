#include "tests/gst/support/media.h"

#include <unistd.h>

#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iterator>
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
    files.push_back({fields.at(0), true, fields.at(3) == "0"});
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
         {"sample.mp4", "audiobook.m4a", "chapters.m4a", "text.m4a", "asp-mp3.mp4", "mp3-only.mp4",
          "h264-only.mp4", "negative-offsets.mp4"}) {
      all.push_back({name});
    }
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

fs::path documentation() { return root() / "docs/gstreamer.md"; }

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

// 'mdhd': size, type, version and flags, two times, u32 time scale, u32 duration.
// 'stts': size, type, version and flags, u32 count, each { u32 samples, u32 duration }.
fs::path rescaled(const fs::path& file, uint32_t numerator, uint32_t denominator) {
  std::ifstream in(file, std::ios::binary);
  std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  const auto u32At = [&](size_t at) {
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i) value = value << 8 | static_cast<uint8_t>(bytes.at(at + i));
    return value;
  };
  const auto scale = [&](size_t at, bool exactly) {
    const uint64_t product = uint64_t{u32At(at)} * numerator;
    if (exactly && product % denominator != 0) throw std::runtime_error("not whole");
    const auto value = static_cast<uint32_t>(product / denominator);
    for (size_t i = 0; i < 4; ++i) bytes.at(at + i) = static_cast<char>(value >> (24 - 8 * i));
  };
  const size_t header = bytes.find("mdhd");
  const size_t times = bytes.find("stts");
  if (header == std::string::npos || times == std::string::npos) {
    throw std::runtime_error("no such boxes");
  }
  scale(header + 16, true);
  scale(header + 20, false);
  for (uint32_t i = 0; i < u32At(times + 8); ++i) scale(times + 16 + 8 * i, i == 0);
  const fs::path copy = fs::path(VELA_MEDIA_FOLDER) /
                        (std::to_string(numerator) + "-" + std::to_string(denominator) + "-" +
                         std::to_string(getpid()) + "-" + file.filename().string());
  std::ofstream(copy, std::ios::binary) << bytes;
  return copy;
}

}  // namespace media
