#include "atomkit/core/streams/byte_stream.h"

#include <algorithm>
#include <cstring>

#include "atomkit/core/containers/exception.h"

namespace atomkit {

// The sum is at most the limit of the parent, so it doesn't wrap.
ByteStream::ByteStream(ByteStream& parent, uint64_t size) noexcept
    : head_(parent.head_),
      limit_(head_->position() + std::min(size, parent.limit_ - head_->position())) {}

uint32_t HostStreamAdapter::readFromSource(void* buffer, uint32_t count) {
  head_.closeWindow();
  return source_->read(buffer, count);
}

uint64_t HostStreamAdapter::skipInSource(uint64_t count) {
  head_.closeWindow();
  return source_->skip(count);
}

// What a source claims to have read or skipped beyond the count is not counted for the boxes, which
// refuse it.
uint32_t HostStreamAdapter::read(void* buffer, uint32_t count) {
  const uint32_t done = readFromSource(buffer, count);
  if (done <= count) {
    head_.advance(done);
  } else {
    head_.lose(done);
  }
  head_.openWindow();
  return done;
}

uint64_t HostStreamAdapter::skip(uint64_t count) {
  const uint64_t done = skipInSource(count);
  if (done <= count) {
    head_.advancePast(done);
  } else {
    head_.lose(done);
  }
  head_.openWindow();
  return done;
}

void HostStreamAdapter::readExact(void* buffer, uint32_t count) {
  const uint32_t done = readFromSource(buffer, count);
  if (done != count) {
    head_.lose(done);
    throw exception(kReadPastFile);
  }
  head_.advance(done);
  head_.openWindow();
}

void HostStreamAdapter::skipExact(uint64_t count) {
  const uint64_t done = skipInSource(count);
  if (done != count) {
    head_.lose(done);
    throw exception(kSkipPastFile);
  }
  head_.advancePast(done);
  head_.openWindow();
}

void HostStreamAdapter::requireBytes(uint64_t count) {
  const uint64_t passed = head_.passed();
  const uint64_t available = length_ > passed ? length_ - passed : 0;
  if (length_ != kUnknownLength && count > available) throw exception(kReadPastFile);
}

uint32_t AtomReader::read(void* buffer, uint32_t count) {
  const auto clipped = static_cast<uint32_t>(std::min<uint64_t>(count, remaining()));
  const uint32_t done = parent_->read(buffer, clipped);
  if (done > clipped) throw exception("bug: stream read more bytes than asked for");
  return done;
}

uint64_t AtomReader::skip(uint64_t count) {
  const uint64_t clipped = std::min(count, remaining());
  const uint64_t done = parent_->skip(clipped);
  if (done > clipped) throw exception("bug: stream skipped more bytes than asked for");
  return done;
}

void AtomReader::readExact(void* buffer, uint32_t count) {
  if (const uint8_t* const bytes = take(count)) {
    // An empty array has no memory, and memcpy wants some even for no bytes.
    if (count != 0) std::memcpy(buffer, bytes, count);
    return;
  }
  if (count > remaining()) throw exception(kReadPastAtom);
  parent_->readExact(buffer, count);
}

void AtomReader::skipExact(uint64_t count) {
  if (fitsWindow(count) && head().passOver(count)) return;
  if (count > remaining()) throw exception(kSkipPastAtom);
  parent_->skipExact(count);
}

void AtomReader::requireBytes(uint64_t count) {
  if (count > remaining()) throw exception(kReadPastAtom);
  parent_->requireBytes(count);
}

void AtomReader::finish() {
  if (remaining() != 0) skipExact(remaining());
}

}  // namespace atomkit
