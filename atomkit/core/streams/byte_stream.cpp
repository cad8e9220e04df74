#include "atomkit/core/streams/byte_stream.h"

#include <algorithm>

#include "atomkit/core/containers/exception.h"

namespace atomkit {

uint32_t HostStreamAdapter::read(void* buffer, uint32_t count) {
  const uint32_t done = source_->read(buffer, count);
  position_ += done;
  return done;
}

uint64_t HostStreamAdapter::skip(uint64_t count) {
  const uint64_t done = source_->skip(count);
  position_ += done;
  return done;
}

void HostStreamAdapter::readExact(void* buffer, uint32_t count) {
  if (read(buffer, count) != count) throw exception(kReadPastFile);
}

void HostStreamAdapter::skipExact(uint64_t count) {
  if (skip(count) != count) throw exception(kSkipPastFile);
}

void HostStreamAdapter::requireBytes(uint64_t count) {
  const uint64_t available = length_ > position_ ? length_ - position_ : 0;
  if (length_ != kUnknownLength && count > available) throw exception(kReadPastFile);
}

uint32_t AtomReader::read(void* buffer, uint32_t count) {
  const auto clipped = static_cast<uint32_t>(std::min<uint64_t>(count, remaining_));
  const uint32_t done = parent_->read(buffer, clipped);
  if (done > clipped) throw exception("bug: stream read more bytes than asked for");
  remaining_ -= done;
  return done;
}

uint64_t AtomReader::skip(uint64_t count) {
  const uint64_t clipped = std::min(count, remaining_);
  const uint64_t done = parent_->skip(clipped);
  if (done > clipped) throw exception("bug: stream skipped more bytes than asked for");
  remaining_ -= done;
  return done;
}

void AtomReader::readExact(void* buffer, uint32_t count) {
  if (count > remaining_) throw exception(kReadPastAtom);
  parent_->readExact(buffer, count);
  remaining_ -= count;
}

void AtomReader::skipExact(uint64_t count) {
  if (count > remaining_) throw exception(kSkipPastAtom);
  parent_->skipExact(count);
  remaining_ -= count;
}

void AtomReader::requireBytes(uint64_t count) {
  if (count > remaining_) throw exception(kReadPastAtom);
  parent_->requireBytes(count);
}

void AtomReader::finish() {
  if (remaining_ != 0) skipExact(remaining_);
}

}  // namespace atomkit
