#include "cli/output_file.h"

#include <cerrno>
#include <random>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "cli/failure.h"
#include "cli/text.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#endif

namespace cli {
namespace {

namespace fs = std::filesystem;

Failure cannotWrite(const fs::path& file, const std::string& reason) {
  const bool standard = file == kStandardOutput;
  return Failure(
      ExitStatus::outputFailed,
      (standard ? "Standard output" : "The output " + pathText(file)) + " " + reason + ".");
}

std::string systemReason() {
  return "can't be written: " + std::error_code(errno, std::generic_category()).message();
}

fs::path folderOf(const fs::path& file) {
  return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

/// Makes a file that did not exist. @return null, with errno set, when it can't
std::FILE* createNew(const fs::path& file) {
#ifdef _WIN32
  int descriptor = -1;
  if (_wsopen_s(&descriptor, file.c_str(), _O_CREAT | _O_EXCL | _O_RDWR | _O_BINARY, _SH_DENYNO,
                _S_IREAD | _S_IWRITE) != 0) {
    return nullptr;
  }
  return _wfdopen(descriptor, L"w+b");
#else
  return std::fopen(file.c_str(), "w+bx");
#endif
}

fs::path randomName() {
  std::random_device random;
  char name[40];
  std::snprintf(name, sizeof name, ".vela-%08x.part", static_cast<unsigned>(random()));
  return name;
}

}  // namespace

OutputFile::OutputFile(fs::path target, Existing existing)
    : target_(std::move(target)), existing_(existing) {
  if (isStandardOutput()) return;
  requireReplaceable();
  std::error_code ignored;
  if (!fs::is_directory(folderOf(target_), ignored)) {
    throw cannotWrite(target_, "can't be written: its folder does not exist");
  }
}

OutputFile::~OutputFile() {
  file_.reset();
  std::error_code ignored;
  if (!unfinished_.empty()) fs::remove(unfinished_, ignored);
}

void OutputFile::requireReplaceable() const {
  if (!target_.has_filename()) throw cannotWrite(target_, "is a folder");
  std::error_code reason;
  switch (fs::symlink_status(target_, reason).type()) {
    case fs::file_type::not_found:
      return;
    case fs::file_type::regular:
      if (existing_ == Existing::replace) return;
      throw cannotWrite(target_, "exists; --force replaces it");
    case fs::file_type::directory:
      throw cannotWrite(target_, "is a folder");
    case fs::file_type::symlink:
      throw cannotWrite(target_, "is a symbolic link; name the file itself");
    case fs::file_type::none:
      throw cannotWrite(target_, "can't be written: " + reason.message());
    default:
      throw cannotWrite(target_, "is not a regular file");
  }
}

void OutputFile::create() {
  begun_ = true;
  if (isStandardOutput()) {
    file_.reset(std::tmpfile());
    if (!file_) throw cannotWrite(target_, systemReason());
    return;
  }
  constexpr int kAttempts = 100;  // a name that is taken has another file's bytes
  for (int i = 0; i < kAttempts && !file_; ++i) {
    const fs::path name = folderOf(target_) / randomName();
    file_.reset(createNew(name));
    if (file_) {
      unfinished_ = name;
    } else if (errno != EEXIST) {
      break;
    }
  }
  if (!file_) {
    begun_ = false;
    throw cannotWrite(target_, systemReason());
  }
}

void OutputFile::requirePassedOn(bool passed) const {
  if (passed) return;
  // A signal ends the wait for a slow reader.
  if (errno == EINTR) throw Failure(ExitStatus::cancelled, "The operation was cancelled.");
  throw cannotWrite(target_, systemReason());
}

void OutputFile::passOn(const uint8_t* bytes, size_t count) const {
  requirePassedOn(std::fwrite(bytes, 1, count, stdout) == count);
}

void OutputFile::write(const uint8_t* bytes, size_t count) {
  if (isStandardOutput()) {
    begun_ = true;
    if (count != 0) passOn(bytes, count);
    return;
  }
  if (!file_) create();
  if (count == 0) return;  // no bytes need no address, and fwrite() wants one
  if (std::fwrite(bytes, 1, count, file_.get()) != count) {
    throw cannotWrite(target_, systemReason());
  }
}

void OutputFile::writeAt(uint64_t position, const uint8_t* bytes, size_t count) {
  if (!file_) create();
  // Going to the position also comes between reading and writing, as the C library wants it.
  if (!seekFile(file_.get(), position) || std::fwrite(bytes, 1, count, file_.get()) != count) {
    throw cannotWrite(target_, systemReason());
  }
}

size_t OutputFile::readAt(uint64_t position, uint8_t* bytes, size_t count) {
  size_t got = 0;
  if (seekFile(file_.get(), position)) got = std::fread(bytes, 1, count, file_.get());
  if (std::ferror(file_.get())) throw cannotWrite(target_, systemReason());
  return got;
}

void OutputFile::finishStandardOutput() {
  if (file_) {
    std::vector<uint8_t> piece(65536);
    uint64_t position = 0;
    while (const size_t got = readAt(position, piece.data(), piece.size())) {
      passOn(piece.data(), got);
      position += got;
    }
    file_.reset();
  }
  requirePassedOn(std::fflush(stdout) == 0);
  begun_ = false;
}

void OutputFile::finish() {
  if (isStandardOutput()) return finishStandardOutput();
  if (file_) {
    const bool failedBefore = std::ferror(file_.get()) != 0;
    const bool closed = std::fclose(file_.release()) == 0;
    if (!closed && !failedBefore) throw cannotWrite(target_, systemReason());
  }
  requireReplaceable();
  std::error_code reason;
  const fs::file_status replaced = fs::symlink_status(target_, reason);
  if (fs::exists(replaced)) fs::permissions(unfinished_, replaced.permissions(), reason);
  fs::rename(unfinished_, target_, reason);
  if (reason) throw cannotWrite(target_, "can't be written: " + reason.message());
  unfinished_.clear();
  begun_ = false;
}

bool sameFile(const fs::path& left, const fs::path& right) {
  if (left == kStandardOutput || right == kStandardOutput) return left == right;
  std::error_code ignored;
  if (fs::equivalent(left, right, ignored)) return true;
  return left.filename() == right.filename() &&
         fs::equivalent(folderOf(left), folderOf(right), ignored);
}

}  // namespace cli
