#include "tests/programs/media.h"

#ifndef _WIN32
#include <sys/wait.h>
#endif

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <random>
#include <sstream>

namespace media {

namespace fs = std::filesystem;

fs::path dataFolder() { return VELA_TEST_DATA; }
fs::path pluginFile() { return VELA_PLUGIN_FILE; }
fs::path hostProgram() { return VELA_HOST_PROGRAM; }
fs::path inspectorProgram() { return VELA_INSPECT_PROGRAM; }

std::optional<fs::path> corpusFolder() {
  const char* const folder = std::getenv("VELA_CORPUS");
  if (!folder || !*folder) return std::nullopt;
  return (dataFolder() / "../.." / folder).lexically_normal();
}

fs::path File::path() const {
  return (origin == Origin::own ? dataFolder() : corpusFolder().value()) / name;
}

std::ostream& operator<<(std::ostream& out, const File& file) { return out << file.name; }

std::string caseName(const testing::TestParamInfo<File>& info) {
  std::string name = info.param.origin == File::Origin::own ? "own_" : "corpus_";
  for (const char c : info.param.name) {
    name.push_back(std::isalnum(static_cast<unsigned char>(c)) ? c : '_');
  }
  return name;
}

std::string readText(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  if (!in) ADD_FAILURE() << file << " can't be read";
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::vector<std::vector<std::string>> readTable(const fs::path& file) {
  std::vector<std::vector<std::string>> rows;
  std::istringstream text(readText(file));
  for (std::string line; std::getline(text, line);) {
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> fields;
    size_t start = 0;
    for (size_t tab = line.find('\t'); tab != std::string::npos; tab = line.find('\t', start)) {
      fields.push_back(line.substr(start, tab - start));
      start = tab + 1;
    }
    fields.push_back(line.substr(start));
    rows.push_back(std::move(fields));
  }
  return rows;
}

ScratchFolder::ScratchFolder() {
  std::random_device random;
  do {
    folder_ = fs::temp_directory_path() / ("vela-test-" + std::to_string(random()));
  } while (!fs::create_directory(folder_));  // false where another test has it
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  fs::remove_all(folder_, ignored);
}

#ifndef _WIN32

ProgramResult runProgram(const std::string& command) {
  ProgramResult result{-1, ""};
  std::FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
  if (!pipe) return result;
  char piece[4096];
  for (size_t got = std::fread(piece, 1, sizeof piece, pipe); got != 0;
       got = std::fread(piece, 1, sizeof piece, pipe)) {
    result.output.append(piece, got);
  }
  const int status = pclose(pipe);
  if (WIFEXITED(status)) result.status = WEXITSTATUS(status);
  return result;
}

bool haveFfmpeg() { return runProgram("command -v ffmpeg && command -v ffprobe").status == 0; }

#endif

}  // namespace media
