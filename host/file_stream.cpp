#include "host/file_stream.h"

#include <algorithm>
#include <cerrno>

#include "host/failure.h"

namespace velahost {
namespace {

using vela::TIOResult;

}  // namespace

FileStream* FileStream::open(const std::filesystem::path& file, StreamCalls* calls,
                             std::error_code& reason) {
  cli::FileHandle opened = cli::openForReading(file, reason);
  if (!opened) return nullptr;
  return new FileStream(opened.release(), calls);
}

FileStream::FileStream(std::FILE* file, StreamCalls* calls) : file_(file), calls_(calls) {
  // The plug-in keeps blocks of its own; a second buffer would only copy them once more.
  std::setvbuf(file, nullptr, _IONBF, 0);
  if (const auto length = cli::measureFile(file)) length_ = *length;
}

TIOResult FileStream::seek(uint32_t low, uint32_t high, vela::CancelToken*) {
  if (calls_) ++calls_->seeks;
  return moveTo(uint64_t{high} << 32 | low);
}

TIOResult FileStream::moveTo(uint64_t position) {
  if (!canSeek()) return TIOResult::failed;
  if (position > length_) return TIOResult::outOfRange;
  if (!cli::seekFile(file_.get(), position)) return readFailed(cli::lastError());
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
    const std::error_code reason = cli::lastError();
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
