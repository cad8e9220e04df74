// A host whose calls go wrong by plan.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "frontend/vela_splitter.h"
#include "tests/faults/fault_plan.h"
#include "tests/support/boxes.h"
#include "tests/support/memory_host.h"

namespace faulty_host {

using memory_host::Counted;
using memory_host::store;
using vela::CancelToken;
using vela::TIOResult;

enum class Seekable { no, yes };

/// Answers that no stream of a few kilobytes can give.
inline constexpr uint32_t kAbsurdCount = 0xfffffff0;
inline constexpr uint64_t kAbsurdLength = uint64_t{1} << 60;

class Stream final : public Counted<vela::HostStream> {
 public:
  Stream(const boxes::Bytes& bytes, Seekable seekable, FaultPlan& plan)
      : bytes_(bytes), seekable_(seekable), plan_(plan) {}

  uint32_t canSeek() override { return seekable_ == Seekable::yes ? 1 : 0; }
  TIOResult seek(uint32_t low, uint32_t high, CancelToken*) override {
    if (seekable_ == Seekable::no) return TIOResult::failed;
    const uint64_t target = vela::fromWord64({low, high});
    return perform([&](Share share) {
      position_ = std::min<uint64_t>(share == Share::half ? target / 2 : target, bytes_.size());
    });
  }
  void unusedSlot6() override { std::abort(); }
  TIOResult setLength(uint32_t, uint32_t, CancelToken*) override { std::abort(); }
  TIOResult getLength(uint64_t* length, CancelToken*) override {
    return perform([&](Share share) {
      *length =
          share == Share::absurd ? kAbsurdLength : bytes_.size() / (share == Share::half ? 2 : 1);
    });
  }
  void unusedSlot9() override { std::abort(); }
  TIOResult getPosition(uint64_t* position, CancelToken*) override {
    return perform([&](Share share) {
      *position =
          share == Share::absurd ? kAbsurdLength : position_ / (share == Share::half ? 2 : 1);
    });
  }
  uint32_t passThroughTwo(uintptr_t, uintptr_t) override { return 0; }
  uint32_t passThroughOne(uintptr_t) override { return 0; }
  TIOResult read(void* buffer, uint32_t count, uint32_t* done, CancelToken*) override {
    return perform([&](Share share) {
      const uint32_t amount = advance(count, share);
      // A host that says so has written all that there was room for. Zeros are no box: with boxes
      // its stream would have no end, and only the token would end a parse.
      if (share == Share::absurd) std::memset(buffer, 0, count);
      if (amount > 0) std::memcpy(buffer, bytes_.data() + position_ - amount, amount);
      *done = share == Share::absurd ? kAbsurdCount : amount;
    });
  }
  TIOResult skip(uint32_t count, uint32_t* done, CancelToken*) override {
    return perform([&](Share share) {
      const uint32_t amount = advance(count, share);
      *done = share == Share::absurd ? kAbsurdCount : amount;
    });
  }
  TIOResult write(const void*, uint32_t, uint32_t*, CancelToken*) override { std::abort(); }

 private:
  enum class Share { whole, half, absurd };

  /// Does the work of a call as far as the plan lets it.
  template <class Work>
  TIOResult perform(Work work) {
    if (!plan_.strikes()) {
      work(Share::whole);
      return TIOResult::success;
    }
    switch (plan_.fault) {
      case Fault::refuses:
        return plan_.code;
      case Fault::worksThenRefuses:
        work(Share::whole);
        return plan_.code;
      case Fault::halves:
        work(Share::half);
        return TIOResult::success;
      case Fault::halvesThenRefuses:
        work(Share::half);
        return plan_.code;
      case Fault::talksNonsense:
        work(Share::absurd);
        return TIOResult::success;
    }
    std::abort();
  }

  uint32_t advance(uint32_t count, Share share) {
    const uint64_t left = bytes_.size() - position_;
    const uint32_t wanted = share == Share::half ? count / 2 : count;
    const auto amount = static_cast<uint32_t>(std::min<uint64_t>(wanted, left));
    position_ += amount;
    return amount;
  }

  const boxes::Bytes& bytes_;
  Seekable seekable_;
  FaultPlan& plan_;
  uint64_t position_ = 0;
};

/// Its open() may fail too.
class Provider final : public Counted<vela::SourceProvider> {
 public:
  Provider(Stream& stream, FaultPlan& plan) : stream_(stream), plan_(plan) {}
  void unusedSlot4() override { std::abort(); }
  TIOResult open(const char16_t*, uint32_t, CancelToken*, void** out) override {
    const bool strikes = plan_.strikes();
    if (strikes && plan_.fault == Fault::talksNonsense)
      return TIOResult::success;  // stores nothing
    if (!strikes || plan_.fault != Fault::refuses) store<vela::HostStreamControl>(out, &stream_);
    return strikes && plan_.fault != Fault::halves ? plan_.code : TIOResult::success;
  }

 private:
  Stream& stream_;
  FaultPlan& plan_;
};

class Context final : public vela::HostContext {
 public:
  Context(Provider& provider, FaultPlan& plan) : provider_(provider), plan_(plan) {}
  uint32_t resolveSource(const char16_t*, void** out) override {
    const bool strikes = plan_.strikes();
    if (strikes && plan_.fault == Fault::talksNonsense) return 1;  // stores nothing
    if (!strikes || plan_.fault != Fault::refuses) store(out, &provider_);
    return strikes && plan_.fault != Fault::halves ? 0 : 1;
  }

 private:
  Provider& provider_;
  FaultPlan& plan_;
};

/// Says yes by plan.
class Token final : public CancelToken {
 public:
  explicit Token(FaultPlan& plan) : plan_(plan) {}
  uint32_t isCancelled() override { return plan_.strikes() ? 1 : 0; }

 private:
  FaultPlan& plan_;
};

}  // namespace faulty_host
