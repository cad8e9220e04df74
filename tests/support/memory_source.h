// A byte source over a vector, for the MP4 library's tests.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "atomkit/core/streams/byte_stream.h"
#include "tests/support/boxes.h"

/// Delivers `bytes` and counts what it is asked for.
class MemorySource final : public atomkit::ByteSource {
 public:
  explicit MemorySource(boxes::Bytes bytes) : bytes_(std::move(bytes)) {}

  uint32_t read(void* buffer, uint32_t count) override {
    ++reads;
    largestRead = std::max(largestRead, count);
    const auto done = static_cast<uint32_t>(std::min<uint64_t>(count, bytes_.size() - position));
    if (done) std::memcpy(buffer, bytes_.data() + position, done);
    position += done;
    return done;
  }

  uint64_t skip(uint64_t count) override {
    ++skips;
    const uint64_t done = std::min<uint64_t>(count, bytes_.size() - position);
    position += done;
    return done;
  }

  uint64_t size() const { return bytes_.size(); }

  uint64_t position = 0;
  uint32_t reads = 0;
  uint32_t skips = 0;
  uint32_t largestRead = 0;  ///< largest count of one read

 private:
  boxes::Bytes bytes_;
};
