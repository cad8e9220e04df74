// FailingSource: a byte source that fails in its own way, as a host's stream does.
#pragma once
#include <cstdint>

#include "atomkit/core/streams/byte_stream.h"
#include "tests/support/boxes.h"
#include "tests/support/memory_source.h"

/// What a FailingSource throws: a type that the library does not know.
struct HostCode {
  uint32_t value;
};

/// Throws HostCode{failAt} from its operation number `failAt` (zero-based) on.
class FailingSource final : public atomkit::ByteSource {
 public:
  FailingSource(const boxes::Bytes& bytes, uint32_t failAt) : source_(bytes), failAt_(failAt) {}
  uint32_t read(void* buffer, uint32_t count) override {
    countOperation();
    return source_.read(buffer, count);
  }
  uint64_t skip(uint64_t count) override {
    countOperation();
    return source_.skip(count);
  }
  uint64_t size() const { return source_.size(); }

 private:
  void countOperation() {
    if (operations_++ >= failAt_) throw HostCode{failAt_};
  }

  MemorySource source_;
  uint32_t failAt_;
  uint32_t operations_ = 0;
};
