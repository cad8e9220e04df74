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

enum class Failure {
  once,     ///< the operations after the one that fails succeed, so that a swallowed code shows
  forGood,  ///< all later operations fail too
};

/// Throws HostCode{failAt} from its operation number `failAt` (zero-based).
class FailingSource final : public atomkit::ByteSource {
 public:
  FailingSource(const boxes::Bytes& bytes, uint32_t failAt, Failure failure)
      : source_(bytes), failAt_(failAt), failure_(failure) {}
  uint32_t read(void* buffer, uint32_t count) override {
    countOperation();
    return source_.read(buffer, count);
  }
  uint64_t skip(uint64_t count) override {
    countOperation();
    return source_.skip(count);
  }
  uint64_t size() const { return source_.size(); }
  /// False when there were too few operations for one to fail.
  bool failed() const { return operations_ > failAt_; }

 private:
  void countOperation() {
    const uint32_t number = operations_++;
    if (failure_ == Failure::once ? number == failAt_ : number >= failAt_) throw HostCode{failAt_};
  }

  MemorySource source_;
  uint32_t failAt_;
  Failure failure_;
  uint32_t operations_ = 0;
};
