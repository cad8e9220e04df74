#include "frontend/source_stream.h"

#include <algorithm>

#include "atomkit/core/containers/exception.h"
#include "frontend/guarded.h"

namespace vela {
namespace {

constexpr char kSeekingError[] = "stream seeking error";

constexpr bool fits32Bits(uint64_t value) { return value >> 32 == 0; }

}  // namespace

uint32_t SourceStream::read(void* buffer, uint32_t count) {
  uint32_t done = 0;
  throwOnFailure(reader().read(buffer, count, &done, token_));
  return done;
}

uint64_t SourceStream::skip(uint64_t count) {
  if (count > kLongestPlainSkip && stream_->canSeek()) {
    uint64_t end = kUnknown64;
    throwOnFailure(stream_->getLength(&end, token_));
    if (end != kUnknown64) {
      const uint64_t from = position();
      if (from > end) throw TIOResult::outOfRange;
      const uint64_t amount = std::min(count, end - from);
      seekStream(from + amount);
      return amount;
    }
  }
  if (!fits32Bits(count)) throw TIOResult::outOfRange;
  return skipPlainly(static_cast<uint32_t>(count));
}

uint64_t SourceStream::position() {
  uint64_t current = 0;
  throwOnFailure(stream_->getPosition(&current, token_));
  return current;
}

void SourceStream::seek(uint64_t target) {
  if (stream_->canSeek()) {
    seekStream(target);
    return;
  }
  const uint64_t from = position();
  if (target < from) throw atomkit::exception(kSeekingError);
  if (target == from) return;
  const uint64_t distance = target - from;
  if (!fits32Bits(distance)) throw TIOResult::outOfRange;
  if (skipPlainly(static_cast<uint32_t>(distance)) < distance) throw TIOResult::failed;
}

void SourceStream::write(const void* buffer, uint32_t count) {
  uint32_t done = 0;
  throwOnFailure(writer().write(buffer, count, &done, token_));
  if (done < count) throw TIOResult::failed;
}

void SourceStream::truncate() {
  const Word64 end = toWord64(position());
  throwOnFailure(stream_->setLength(end.low, end.high, token_));
}

uint64_t SourceStream::length() {
  uint64_t bytes = kUnknown64;
  const TIOResult result = stream_->getLength(&bytes, token_);
  return result == TIOResult::success ? bytes : atomkit::kUnknownLength;
}

uint32_t SourceStream::skipPlainly(uint32_t count) {
  uint32_t done = 0;
  throwOnFailure(reader().skip(count, &done, token_));
  return done;
}

void SourceStream::seekStream(uint64_t target) {
  const Word64 words = toWord64(target);
  throwOnFailure(stream_->seek(words.low, words.high, token_));
}

}  // namespace vela
