// The media of the tests: the project's own small files, and a corpus of real ones where the
// environment variable VELA_CORPUS names its folder.
#pragma once
#include <gtest/gtest.h>

#include <filesystem>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

namespace media {

/// The folder tests/data.
std::filesystem::path dataFolder();

/// The built plug-in, the built reference host and the built inspector.
std::filesystem::path pluginFile();
std::filesystem::path hostProgram();
std::filesystem::path inspectorProgram();

/// The corpus, if VELA_CORPUS names one: an absolute path, or one from the root of the repository,
/// where the tests are started.
std::optional<std::filesystem::path> corpusFolder();

/// One media file of a test's parameter list.
struct File {
  enum class Origin { own, corpus };
  Origin origin;
  std::string name;

  /// @pre available()
  std::filesystem::path path() const;
  bool available() const { return origin == Origin::own || corpusFolder().has_value(); }
};
std::ostream& operator<<(std::ostream& out, const File& file);

/// The name of a test case for a file: letters, digits and underscores.
std::string caseName(const testing::TestParamInfo<File>& info);

/// Everything in a text file. Fails the running test when it can't be read.
std::string readText(const std::filesystem::path& file);

/// The lines of a tab-separated table, without those that begin with #.
std::vector<std::vector<std::string>> readTable(const std::filesystem::path& file);

/// A folder that vanishes with the object.
class ScratchFolder {
 public:
  ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder();

  std::filesystem::path operator/(const std::string& name) const { return folder_ / name; }

 private:
  std::filesystem::path folder_;
};

struct ProgramResult {
  int status;          ///< exit status; -1 when the program ended otherwise
  std::string output;  ///< what it wrote to both of its outputs
};

/// Runs a program of the system through the shell. Not for Windows, which has another one.
ProgramResult runProgram(const std::string& command);

/// Whether ffmpeg and ffprobe are there.
bool haveFfmpeg();

}  // namespace media

/// Ends a test visibly when its file belongs to a corpus that is not there.
#define SKIP_WITHOUT_CORPUS(file)                                               \
  do {                                                                          \
    if (!(file).available()) GTEST_SKIP() << "skipped: VELA_CORPUS is not set"; \
  } while (false)
