#include "inspect/file.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "cli/failure.h"

namespace inspect {

namespace fs = std::filesystem;

File::File(fs::path name) : name_(std::move(name)) {
  std::error_code reason;
  const fs::file_status status = fs::status(name_, reason);
  const auto fail = [](const std::string& sentence) {
    throw cli::Failure(cli::ExitStatus::cannotOpen, sentence + ".");
  };
  // A device may wait for ever, or act on being opened.
  if (fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status)) {
    fail("It is a device or a pipe; only files can be read at any place");
  }
  reason.clear();
  file_ = cli::openForReading(name_, reason);
  if (!file_) fail(cli::openingSentence(reason));
  const auto length = cli::measureFile(file_.get());
  if (!length) fail("The file can't be read at any place");
  size_ = *length;
  // Files that the system makes up have no length, and may have contents.
  uint8_t first;
  if (size_ == 0 && readDirectly(0, &first, 1) != 0) fail("The file does not know its length");
}

size_t File::readDirectly(uint64_t position, void* buffer, size_t count) {
  errno = 0;
  std::error_code reason;
  if (!cli::seekFile(file_.get(), position)) reason = cli::lastError();
  size_t done = 0;
  while (!reason && done < count) {
    errno = 0;
    done += std::fread(static_cast<uint8_t*>(buffer) + done, 1, count - done, file_.get());
    if (done == count || !std::ferror(file_.get())) return done;
    reason = cli::lastError();
    if (reason == std::errc::interrupted) reason.clear();
    std::clearerr(file_.get());
  }
  if (!reason) return done;
  throw cli::Failure(cli::ExitStatus::otherResult, "The file could not be read at byte " +
                                                       std::to_string(position + done) + ": " +
                                                       reason.message() + ".");
}

size_t File::read(uint64_t position, void* buffer, size_t count) {
  size_t done = 0;
  while (done < count && position + done < size_) {
    const uint64_t at = position + done;
    if (at >= blockStart_ && at - blockStart_ < blockBytes_) {
      const size_t offset = static_cast<size_t>(at - blockStart_);
      const size_t part = std::min(count - done, blockBytes_ - offset);
      std::memcpy(static_cast<uint8_t*>(buffer) + done, block_.data() + offset, part);
      done += part;
      continue;
    }
    if (count - done >= block_.size()) {
      return done + readDirectly(at, static_cast<uint8_t*>(buffer) + done, count - done);
    }
    blockBytes_ = 0;  // in case the read fails
    blockBytes_ = readDirectly(at, block_.data(), block_.size());
    blockStart_ = at;
    if (blockBytes_ == 0) break;  // the file has become shorter
  }
  return done;
}

}  // namespace inspect
