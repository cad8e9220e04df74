// LendingSource: a byte source in memory that lends its bytes in windows of one size.
#pragma once
#include <algorithm>
#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "atomkit/core/streams/byte_stream.h"
#include "tests/support/boxes.h"
#include "tests/support/memory_source.h"

/// Windows begin and end at multiples of `windowSize`, of which the source has fetched those up to
/// some place. What was lent is overwritten by the next operation. The log holds what is asked of
/// it: "read 4", "skip 300", "fetch", "used 12" (bytes of a window that were read, at least in
/// part), "passed 12" (all skipped), "poll".
class LendingSource final : public atomkit::ByteSource, public atomkit::WindowLender {
 public:
  static constexpr uint32_t kLongestSkip = 100;

  LendingSource(const boxes::Bytes& bytes, uint32_t windowSize)
      : WindowLender(kLongestSkip), bytes_(bytes), windowSize_(windowSize) {}

  uint32_t read(void* buffer, uint32_t count) override {
    log.push_back("read " + std::to_string(count));
    endLoan();
    MemorySource rest(boxes::Bytes(bytes_.data() + position, bytes_.data() + bytes_.size()));
    const uint32_t done = rest.read(buffer, count);
    position += done;
    fetched_ = std::max(fetched_, (position + windowSize_ - 1) / windowSize_ * windowSize_);
    return done;
  }
  uint64_t skip(uint64_t count) override {
    log.push_back("skip " + std::to_string(count));
    endLoan();
    const uint64_t done = std::min<uint64_t>(count, bytes_.size() - position);
    position += done;
    return done;
  }
  std::span<const uint8_t> window() noexcept override {
    endLoan();
    if (position >= fetched_) return {};
    const uint64_t end =
        std::min<uint64_t>((position / windowSize_ + 1) * windowSize_, bytes_.size());
    lent_.assign(bytes_.data() + position, bytes_.data() + end);
    return lent_;
  }
  std::span<const uint8_t> fetchWindow() override {
    log.push_back("fetch");
    fetched_ = std::max(fetched_, (position / windowSize_ + 1) * windowSize_);
    return window();
  }
  void endWindow(uint32_t count, Use use) noexcept override {
    log.push_back((use == Use::read ? "used " : "passed ") + std::to_string(count));
    position += count;
    endLoan();
  }
  void poll() override { log.push_back("poll"); }

  std::vector<std::string> take() { return std::exchange(log, {}); }

  std::vector<std::string> log;
  uint64_t position = 0;

 private:
  void endLoan() { std::fill(lent_.begin(), lent_.end(), uint8_t{0xee}); }

  boxes::Bytes bytes_;
  std::vector<uint8_t> lent_;
  uint64_t windowSize_;
  uint64_t fetched_ = 0;
};
