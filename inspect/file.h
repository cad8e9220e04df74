// File: a regular file that is read at any place.
#pragma once
#include <array>
#include <cstdint>
#include <filesystem>

#include "cli/input_file.h"

namespace inspect {

/// Reads through one small block, so that walking from box to box, and reading a table value by
/// value, both cost few calls. Not for several threads at once.
class File {
 public:
  /// @throws cli::Failure (cannotOpen) also for folders, devices and pipes, which can't be read at
  ///         any place; (otherResult) when a file without a length can't be read
  explicit File(std::filesystem::path name);

  const std::filesystem::path& name() const { return name_; }
  /// Bytes when it was opened.
  uint64_t size() const { return size_; }

  /// Reads up to `count` bytes at `position`. @return the number read; fewer only at the file's end
  /// @throws cli::Failure (otherResult) when the system can't read there
  size_t read(uint64_t position, void* buffer, size_t count);

 private:
  /// Reads without the block.
  size_t readDirectly(uint64_t position, void* buffer, size_t count);

  std::filesystem::path name_;
  cli::FileHandle file_;
  uint64_t size_ = 0;
  std::array<uint8_t, 8192> block_;
  uint64_t blockStart_ = 0;
  size_t blockBytes_ = 0;
};

}  // namespace inspect
