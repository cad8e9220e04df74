// The media of the element's tests: the project's own small files, a corpus of real ones where the
// environment variable VELA_CORPUS names its folder, and files that ffmpeg makes for one test.
#pragma once
#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace media {

struct File {
  std::string name;
  bool ofCorpus = false;
  bool plays = true;  ///< opens, and can be played to its end

  /// @pre available()
  std::filesystem::path path() const;
  bool available() const;
};
std::ostream& operator<<(std::ostream& out, const File& file);

/// The project's own files, and those of the corpus as its list knows them, there or not.
const std::vector<File>& allFiles();
std::vector<File> playableFiles();
std::vector<File> brokenFiles();

std::optional<std::filesystem::path> corpusFolder();

/// What users read about the element.
std::filesystem::path documentation();

/// The name of a test case for a file: letters, digits and underscores.
std::string caseName(const testing::TestParamInfo<File>& info);

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

/// Makes a file with ffmpeg, once for this build; later calls find it again.
/// @param arguments  of ffmpeg, before the name of the file
/// @throws std::runtime_error when ffmpeg fails
std::filesystem::path made(const std::string& name, const std::string& arguments);

/// A copy of a file with one track that counts its time in other units: time scale and durations
/// are multiplied, and what is played stays the same.
/// @throws std::runtime_error when a value would not be whole
std::filesystem::path rescaled(const std::filesystem::path& file, uint32_t numerator,
                               uint32_t denominator);

}  // namespace media

/// Ends a test visibly when its file belongs to a corpus that is not there.
#define SKIP_WITHOUT_CORPUS(file)                                               \
  do {                                                                          \
    if (!(file).available()) GTEST_SKIP() << "skipped: VELA_CORPUS is not set"; \
  } while (false)
