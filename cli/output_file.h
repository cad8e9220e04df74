// An output file that appears under its name only when it is whole, and that destroys nothing.
#pragma once
#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "cli/input_file.h"

namespace cli {

/// What becomes of a file that has the output's name already.
enum class Existing { keep, replace };

/// Collects bytes in a new file in the target's folder, which takes the target's name in the end.
/// Only a regular file is ever replaced: links, folders, devices and pipes are left alone.
class OutputFile {
 public:
  /// Looks at the target and creates nothing.
  /// @throws Failure (outputFailed) when no file can or may be made there
  OutputFile(std::filesystem::path target, Existing existing);
  OutputFile(const OutputFile&) = delete;
  OutputFile& operator=(const OutputFile&) = delete;
  /// Removes the new file unless it was finished.
  ~OutputFile();

  const std::filesystem::path& target() const { return target_; }
  /// Whether there is a new file, unfinished.
  bool begun() const { return !unfinished_.empty(); }

  /// Appends bytes. The first call creates the new file. @throws Failure (outputFailed)
  void write(const uint8_t* bytes, size_t count);

  /// Gives the new file the target's name, and the permissions of the file that it replaces. What
  /// has taken the name meanwhile is treated as at the start. After a failed write the file has
  /// what was written before.
  /// @pre begun()
  /// @throws Failure (outputFailed); when the last bytes could not be written, a second call goes
  /// on
  ///   without them
  void finish();

 private:
  void requireReplaceable() const;
  void create();

  std::filesystem::path target_;
  Existing existing_;
  std::filesystem::path unfinished_;  ///< the new file; empty when there is none
  FileHandle file_;
};

/// Whether two names are names of one file, also through links; and for files that do not exist
/// yet, whether they would be.
bool sameFile(const std::filesystem::path& left, const std::filesystem::path& right);

}  // namespace cli
