#include "cli/input_file.h"

#include <cerrno>

namespace cli {
namespace {

// Positions beyond 2 GB need the 64-bit forms, whose names differ.
#ifdef _WIN32
bool move(std::FILE* file, int64_t offset, int origin) {
  return _fseeki64(file, offset, origin) == 0;
}
int64_t tell(std::FILE* file) { return _ftelli64(file); }
#else
static_assert(sizeof(off_t) == 8, "build the programs with 64-bit file offsets");
bool move(std::FILE* file, int64_t offset, int origin) { return fseeko(file, offset, origin) == 0; }
int64_t tell(std::FILE* file) { return ftello(file); }
#endif

}  // namespace

FileHandle openForReading(const std::filesystem::path& file, std::error_code& reason) {
  std::error_code ignored;
  if (std::filesystem::is_directory(file, ignored)) {  // which some systems open without complaint
    reason = std::make_error_code(std::errc::is_a_directory);
    return nullptr;
  }
#ifdef _WIN32
  FileHandle opened(_wfopen(file.c_str(), L"rb"));
#else
  FileHandle opened(std::fopen(file.c_str(), "rb"));
#endif
  if (!opened) {
    reason = lastError();
  } else {
    std::setvbuf(opened.get(), nullptr, _IONBF, 0);
  }
  return opened;
}

bool seekFile(std::FILE* file, uint64_t position) {
  return move(file, static_cast<int64_t>(position), SEEK_SET);
}

std::optional<uint64_t> measureFile(std::FILE* file) {
  if (!move(file, 0, SEEK_END)) return std::nullopt;
  const int64_t end = tell(file);
  if (end < 0 || !move(file, 0, SEEK_SET)) return std::nullopt;
  return static_cast<uint64_t>(end);
}

std::string openingSentence(std::error_code reason) {
  if (reason == std::errc::no_such_file_or_directory) return "There is no such file";
  if (reason == std::errc::permission_denied) return "There is no permission to read the file";
  if (reason == std::errc::is_a_directory) return "It is a folder, not a file";
  return "The file can't be opened: " + reason.message();
}

std::error_code lastError() { return {errno, std::generic_category()}; }

}  // namespace cli
