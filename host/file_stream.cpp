#include "host/file_stream.h"

#include <algorithm>
#include <cerrno>

#include "host/failure.h"

namespace velahost {
namespace {

using vela::TIOResult;

// Positions beyond 2 GB need the 64-bit forms, whose names differ.
#ifdef _WIN32
bool seekFile(std::FILE* file, int64_t offset, int origin) {
  return _fseeki64(file, offset, origin) == 0;
}
int64_t tellFile(std::FILE* file) { return _ftelli64(file); }
#else
static_assert(sizeof(off_t) == 8, "build the host with 64-bit file offsets");
bool seekFile(std::FILE* file, int64_t offset, int origin) {
  return fseeko(file, offset, origin) == 0;
}
int64_t tellFile(std::FILE* file) { return ftello(file); }
#endif

std::error_code lastError() { return {errno, std::generic_category()}; }

}  // namespace

FileStream* FileStream::open(const std::filesystem::path& file, StreamCalls* calls,
                             std::error_code& reason) {
  std::error_code ignored;
  if (std::filesystem::is_directory(file, ignored)) {  // which some systems open without complaint
    reason = std::make_error_code(std::errc::is_a_directory);
    return nullptr;
  }
#ifdef _WIN32
  std::FILE* const opened = _wfopen(file.c_str(), L"rb");
#else
  std::FILE* const opened = std::fopen(file.c_str(), "rb");
#endif
  if (!opened) {
    reason = lastError();
    return nullptr;
  }
  return new FileStream(opened, calls);
}

FileStream::FileStream(std::FILE* file, StreamCalls* calls) : file_(file), calls_(calls) {
  // The plug-in keeps blocks of its own; a second buffer would only copy them once more.
  std::setvbuf(file, nullptr, _IONBF, 0);
  if (seekFile(file, 0, SEEK_END)) {
    const int64_t end = tellFile(file);
    if (end >= 0 && seekFile(file, 0, SEEK_SET)) length_ = static_cast<uint64_t>(end);
  }
}

TIOResult FileStream::seek(uint32_t low, uint32_t high, vela::CancelToken*) {
  if (calls_) ++calls_->seeks;
  return moveTo(uint64_t{high} << 32 | low);
}

TIOResult FileStream::moveTo(uint64_t position) {
  if (!canSeek()) return TIOResult::failed;
  if (position > length_) return TIOResult::outOfRange;
  if (!seekFile(file_.get(), static_cast<int64_t>(position), SEEK_SET)) {
    return readFailed(lastError());
  }
  position_ = position;
  return TIOResult::success;
}

TIOResult FileStream::setLength(uint32_t, uint32_t, vela::CancelToken*) {
  return TIOResult::failed;
}

TIOResult FileStream::getLength(uint64_t* length, vela::CancelToken*) {
  *length = length_;
  return TIOResult::success;
}

TIOResult FileStream::getPosition(uint64_t* position, vela::CancelToken*) {
  *position = position_;
  return TIOResult::success;
}

TIOResult FileStream::readFailed(std::error_code reason) {
  if (calls_) calls_->failedRead = {position_, reason};
  return kReadFailed;
}

TIOResult FileStream::read(void* buffer, uint32_t count, uint32_t* done, vela::CancelToken* token) {
  if (calls_) ++calls_->reads;
  auto* const bytes = static_cast<uint8_t*>(buffer);
  *done = 0;
  for (;;) {
    errno = 0;
    const size_t got = std::fread(bytes + *done, 1, count - *done, file_.get());
    position_ += got;
    *done += static_cast<uint32_t>(got);
    if (calls_) calls_->bytesRead += got;
    if (*done == count || !std::ferror(file_.get())) return TIOResult::success;
    const std::error_code reason = lastError();
    std::clearerr(file_.get());
    // A signal ends the wait for a slow pipe. It need not be one that cancels.
    if (reason != std::errc::interrupted) return readFailed(reason);
    if (token && token->isCancelled()) return TIOResult::cancelled;
  }
}

TIOResult FileStream::skip(uint32_t count, uint32_t* done, vela::CancelToken* token) {
  if (calls_) ++calls_->skips;
  if (canSeek()) {
    *done = static_cast<uint32_t>(std::min<uint64_t>(count, length_ - position_));
    return moveTo(position_ + *done);
  }
  uint8_t scratch[4096];
  *done = 0;
  while (*done < count) {
    uint32_t got = 0;
    const uint32_t wanted = std::min<uint32_t>(count - *done, sizeof scratch);
    const TIOResult result = read(scratch, wanted, &got, token);
    if (result != TIOResult::success) return result;
    *done += got;
    if (got < wanted) break;
  }
  return TIOResult::success;
}

TIOResult FileStream::write(const void*, uint32_t, uint32_t* done, vela::CancelToken*) {
  *done = 0;
  return TIOResult::failed;
}

}  // namespace velahost
