// Files opened for reading, of any length.
#pragma once
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <system_error>

namespace cli {

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, CloseFile>;

/// Opens a file for reading, without a buffer. A folder can't be opened, on any system.
/// @param reason  why the file can't be opened; untouched when it can
/// @return null when it can't
FileHandle openForReading(const std::filesystem::path& file, std::error_code& reason);

/// Goes to a position in bytes, also past 2 GB. @return false, with errno set, when that fails
bool seekFile(std::FILE* file, uint64_t position);

/// Goes to the start. @return the length in bytes; nothing for what can't seek (pipes, devices)
std::optional<uint64_t> measureFile(std::FILE* file);

/// Why a file was not opened, as a sentence without its full stop.
std::string openingSentence(std::error_code reason);

/// The error of the last call of the C library.
std::error_code lastError();

}  // namespace cli
