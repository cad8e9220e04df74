// An output file that appears under its name only when it is whole, and that destroys nothing.
#pragma once
#include <cstddef>
#include <cstdint>
#include <filesystem>

#include "cli/input_file.h"

namespace cli {

/// What becomes of a file that has the output's name already.
enum class Existing { keep, replace };

/// The name that stands for standard output. A file of that name is "./-".
inline constexpr char kStandardOutput[] = "-";

/// Collects bytes in a new file in the target's folder, which takes the target's name in the end.
/// Only a regular file is ever replaced: links, folders, devices and pipes are left alone.
///
/// With standard output as its target it passes bytes on as they come, and from a nameless file in
/// the end when they are written out of order.
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
  bool isStandardOutput() const { return target_ == kStandardOutput; }
  /// Whether there is a new file, unfinished.
  bool begun() const { return begun_; }

  /// Appends bytes. The first call creates the new file. @throws Failure (outputFailed)
  void write(const uint8_t* bytes, size_t count);

  /// Writes at a position, which may lie before or after what was written. Not to be mixed with
  /// write(). The first call creates the new file. @throws Failure (outputFailed)
  void writeAt(uint64_t position, const uint8_t* bytes, size_t count);

  /// Reads back what writeAt() wrote. @return the number of bytes, less than `count` at the end
  /// @pre begun()
  /// @throws Failure (outputFailed)
  size_t readAt(uint64_t position, uint8_t* bytes, size_t count);

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
  /// Throws the reason in errno when standard output did not take what it was given.
  void requirePassedOn(bool passed) const;
  void passOn(const uint8_t* bytes, size_t count) const;
  void finishStandardOutput();

  std::filesystem::path target_;
  Existing existing_;
  std::filesystem::path unfinished_;  ///< the new file; empty when there is none, or it is nameless
  bool begun_ = false;
  FileHandle file_;
};

/// Whether two names are names of one file, also through links; and for files that do not exist
/// yet, whether they would be.
bool sameFile(const std::filesystem::path& left, const std::filesystem::path& right);

}  // namespace cli
