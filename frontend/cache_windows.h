// CacheWindows: what the parse may take from the read cache's blocks without a call for each value.
#pragma once
#include "atomkit/core/streams/read_head.h"
#include "frontend/guarded.h"
#include "frontend/read_cache.h"
#include "frontend/source_stream.h"

namespace vela {

/// Windows of a SourceStream over a read cache whose host's stream can seek. The host sees the same
/// calls as without it; the token is asked once for each box, and once for each window of a table,
/// instead of for each value. Throws TIOResult, as the SourceStream does.
class CacheWindows final : public atomkit::WindowLender {
 public:
  /// Both are borrowed.
  CacheWindows(ReadCache& cache, CancelToken* token) noexcept
      : WindowLender(SourceStream::kLongestPlainSkip), cache_(&cache), token_(token) {}

  std::span<const uint8_t> window() noexcept override { return cache_->window(); }
  std::span<const uint8_t> fetchWindow() override {
    std::span<const uint8_t> bytes;
    throwOnFailure(cache_->fetchWindow(bytes, token_));
    return bytes;
  }
  void endWindow(uint32_t count, Use use) noexcept override {
    if (use == Use::read) {
      cache_->readInWindow(count);
    } else {
      cache_->skipInWindow(count);
    }
  }
  void poll() override {
    if (token_ && token_->isCancelled()) throw TIOResult::cancelled;
  }

 private:
  ReadCache* cache_;
  CancelToken* token_;
};

}  // namespace vela
