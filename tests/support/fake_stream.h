// Fakes of what a host opens a source with: context, provider, stream and cancel token.
#pragma once
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "frontend/vela_splitter.h"
#include "tests/support/boxes.h"
#include "tests/support/call_log.h"

/// A code that only a host gives, to see that it passes through unchanged.
inline constexpr auto kHostCode = static_cast<vela::TIOResult>(0x1234);

/// The count of an object on the test's stack: it begins at 0, and nothing is destroyed when it
/// comes back there.
class FakeReferences {
 public:
  uint32_t add() {
    note("addRef ");
    return ++count_;
  }
  uint32_t drop() {
    note("release ");
    if (count_ == 0) {
      ADD_FAILURE() << "released more often than referenced";
      return 0;
    }
    if (--count_ == 0) ++timesFreed_;
    return count_;
  }
  /// Records "addRef NAME" and "release NAME" in `log` from now on.
  void logTo(CallLog& log, std::string name) {
    log_ = &log;
    name_ = std::move(name);
  }
  uint32_t count() const { return count_; }
  /// How often the last reference was given back.
  uint32_t timesFreed() const { return timesFreed_; }

 private:
  void note(const char* operation) {
    if (log_) log_->record(operation + name_);
  }

  uint32_t count_ = 0;
  uint32_t timesFreed_ = 0;
  CallLog* log_ = nullptr;
  std::string name_;
};

/// Stores `value` (its first face) in an out-slot.
inline void storeInOutSlot(void** out, vela::IObject* value) {
  if (value) value->addRef();
  auto* previous = static_cast<vela::IObject*>(std::exchange(*out, value));
  if (previous) previous->release();
}

/// Answers "yes" from the n-th question on.
class FakeCancelToken final : public vela::CancelToken {
 public:
  /// @param firstYes  zero-based number of the first question that is answered with yes
  explicit FakeCancelToken(uint32_t firstYes = kNever) : cancelAt(firstYes) {}
  static constexpr uint32_t kNever = 0xffffffff;

  uint32_t isCancelled() override { return questions++ >= cancelAt ? 1 : 0; }

  uint32_t cancelAt;
  uint32_t questions = 0;
};

enum class Seekable { no, yes };

/// A stream over bytes. The log holds every call of the three faces except the reference counting:
/// "canSeek -> 1", "seek 16", "read 16384 -> 200", "skip 10 -> 10", "getLength -> 200" (or
/// "-> unknown"), "getPosition -> 16", "write 4 -> 4", "setLength 16", "passThroughTwo 1 2",
/// "passThroughOne 1"; a call that fails ends in " failed CODE" with its decimal code.
class FakeHostStream final : public vela::HostStream, public CallLog {
 public:
  explicit FakeHostStream(boxes::Bytes data = {}, Seekable seekability = Seekable::yes)
      : bytes(std::move(data)), seekable(seekability) {}

  boxes::Bytes bytes;
  Seekable seekable;
  uint64_t position = 0;
  /// What getLength() reports instead of the true length; vela::kUnknown64 for an unknown one.
  std::optional<uint64_t> claimedLength;
  /// Most bytes that one read delivers.
  uint32_t largestRead = 0xffffffff;
  /// Most bytes that one call skips or writes.
  uint32_t largestSkip = 0xffffffff;
  uint32_t largestWrite = 0xffffffff;
  /// A seek past the end gives TIOResult::outOfRange (else it succeeds and reads give nothing).
  bool refusesSeekPastEnd = false;
  /// What a call reports instead of the bytes that it delivered, skipped or wrote.
  std::optional<uint32_t> claimedRead;
  std::optional<uint32_t> claimedSkip;
  std::optional<uint32_t> claimedWrite;
  uint32_t passThroughResult = 0;
  vela::CancelToken* lastToken = nullptr;
  /// When set, every call that takes a token must be given this one.
  std::optional<vela::CancelToken*> expectedToken;
  FakeReferences references;

  /// Lets the `number`-th call (zero-based, counted from now on) of an operation give `code` and do
  /// nothing.
  /// @param operation  "read", "seek", ...; empty: the calls of all operations that can fail
  void failCall(const std::string& operation, uint32_t number, vela::TIOResult code) {
    failures_[operation] = {number, code};
  }
  /// Lets every call of an operation fail until the test ends.
  void failAlways(const std::string& operation, vela::TIOResult code) {
    failures_[operation] = {kEvery, code};
  }
  void failNothing() { failures_.clear(); }

  vela::HostStreamReader* reader() { return this; }
  vela::HostStreamControl* control() { return this; }

  uint32_t addRef() override { return references.add(); }
  uint32_t release() override { return references.drop(); }
  uint32_t queryInterface(const vela::Guid*, void**) override { return 0; }
  void deletingDestructor(uint32_t) override { ADD_FAILURE() << "the host's own operation"; }

  uint32_t canSeek() override {
    const uint32_t answer = seekable == Seekable::yes ? 1 : 0;
    record("canSeek -> " + std::to_string(answer));
    return answer;
  }
  vela::TIOResult seek(uint32_t low, uint32_t high, vela::CancelToken* token) override {
    const uint64_t target = vela::fromWord64({low, high});
    return perform("seek", " " + std::to_string(target), token, [&] {
      if (seekable == Seekable::no) return vela::TIOResult::failed;
      if (refusesSeekPastEnd && target > bytes.size()) return vela::TIOResult::outOfRange;
      position = target;
      return vela::TIOResult::success;
    });
  }
  void unusedSlot6() override { ADD_FAILURE() << "slot 6 is not used"; }
  vela::TIOResult setLength(uint32_t low, uint32_t high, vela::CancelToken* token) override {
    const uint64_t length = vela::fromWord64({low, high});
    return perform("setLength", " " + std::to_string(length), token, [&] {
      bytes.resize(length);
      return vela::TIOResult::success;
    });
  }
  vela::TIOResult getLength(uint64_t* length, vela::CancelToken* token) override {
    *length = claimedLength.value_or(bytes.size());  // written even when the call fails
    return perform("getLength", "", token, [&] {
      result_ = *length == vela::kUnknown64 ? "unknown" : std::to_string(*length);
      return vela::TIOResult::success;
    });
  }
  void unusedSlot9() override { ADD_FAILURE() << "slot 9 is not used"; }
  vela::TIOResult getPosition(uint64_t* out, vela::CancelToken* token) override {
    return perform("getPosition", "", token, [&] {
      *out = position;
      result_ = std::to_string(position);
      return vela::TIOResult::success;
    });
  }
  uint32_t passThroughTwo(uintptr_t first, uintptr_t second) override {
    record("passThroughTwo " + std::to_string(first) + " " + std::to_string(second));
    return passThroughResult;
  }
  uint32_t passThroughOne(uintptr_t argument) override {
    record("passThroughOne " + std::to_string(argument));
    return passThroughResult;
  }

  vela::TIOResult read(void* buffer, uint32_t count, uint32_t* done,
                       vela::CancelToken* token) override {
    return perform("read", " " + std::to_string(count), token, [&] {
      *done = static_cast<uint32_t>(std::min<uint64_t>({count, largestRead, left()}));
      if (*done) std::memcpy(buffer, bytes.data() + position, *done);
      advance(*done);
      if (claimedRead) *done = *claimedRead;
      return vela::TIOResult::success;
    });
  }
  vela::TIOResult skip(uint32_t count, uint32_t* done, vela::CancelToken* token) override {
    return perform("skip", " " + std::to_string(count), token, [&] {
      *done = static_cast<uint32_t>(std::min<uint64_t>({count, largestSkip, left()}));
      advance(*done);
      if (claimedSkip) *done = *claimedSkip;
      return vela::TIOResult::success;
    });
  }
  vela::TIOResult write(const void* buffer, uint32_t count, uint32_t* done,
                        vela::CancelToken* token) override {
    return perform("write", " " + std::to_string(count), token, [&] {
      *done = std::min(count, largestWrite);
      if (position + *done > bytes.size()) bytes.resize(position + *done);
      if (*done) std::memcpy(bytes.data() + position, buffer, *done);
      advance(*done);
      if (claimedWrite) *done = *claimedWrite;
      return vela::TIOResult::success;
    });
  }

 private:
  static constexpr uint32_t kEvery = 0xffffffff;
  struct Failure {
    uint32_t callsLeft;
    vela::TIOResult code;
  };

  uint64_t left() const { return position < bytes.size() ? bytes.size() - position : 0; }
  void advance(uint32_t done) {
    position += done;
    result_ = std::to_string(done);
  }

  /// The failure that is due for this call, if any.
  std::optional<vela::TIOResult> dueFailure(const std::string& operation) {
    std::optional<vela::TIOResult> due;
    for (const std::string& key : {std::string(), operation}) {
      const auto failure = failures_.find(key);
      if (failure == failures_.end()) continue;
      if (failure->second.callsLeft == kEvery) {
        due = failure->second.code;
      } else if (failure->second.callsLeft-- == 0) {
        due = failure->second.code;
        failures_.erase(failure);
      }
    }
    return due;
  }

  vela::TIOResult perform(const std::string& operation, const std::string& arguments,
                          vela::CancelToken* token,
                          const std::function<vela::TIOResult()>& action) {
    lastToken = token;
    if (expectedToken) {
      EXPECT_EQ(token, *expectedToken) << operation << arguments;
    }
    result_.clear();
    const std::optional<vela::TIOResult> failure = dueFailure(operation);
    const vela::TIOResult code = failure ? *failure : action();
    std::string line = operation + arguments;
    if (code != vela::TIOResult::success) {
      line += " failed " + std::to_string(static_cast<uint32_t>(code));
    } else if (!result_.empty()) {
      line += " -> " + result_;
    }
    record(std::move(line));
    return code;
  }

  std::map<std::string, Failure> failures_;
  std::string result_;
};

/// Hands out one stream.
class FakeSourceProvider final : public vela::SourceProvider, public CallLog {
 public:
  explicit FakeSourceProvider(FakeHostStream& opened) : stream(&opened) {}

  FakeHostStream* stream;
  vela::TIOResult openResult = vela::TIOResult::success;
  bool storesOnFailure = false;  ///< an open() that fails stores the stream all the same
  vela::CancelToken* lastToken = nullptr;
  FakeReferences references;

  uint32_t addRef() override { return references.add(); }
  uint32_t release() override { return references.drop(); }
  uint32_t queryInterface(const vela::Guid*, void**) override { return 0; }
  void deletingDestructor(uint32_t) override { ADD_FAILURE() << "the host's own operation"; }
  void unusedSlot4() override { ADD_FAILURE() << "slot 4 is not used"; }

  vela::TIOResult open(const char16_t* sourceName, uint32_t hostOpenMode, vela::CancelToken* token,
                       void** out) override {
    record("open " + loggable(sourceName) + " " + std::to_string(hostOpenMode));
    lastToken = token;
    if (openResult == vela::TIOResult::success || storesOnFailure) {
      storeInOutSlot(out, stream->control());
    }
    return openResult;
  }
};

/// A host that knows one name.
class FakeHostContext final : public vela::HostContext, public CallLog {
 public:
  explicit FakeHostContext(FakeSourceProvider& resolved, std::u16string name = u"movie.mp4")
      : provider(&resolved), sourceName(std::move(name)) {}

  FakeSourceProvider* provider;
  std::u16string sourceName;
  bool storesUnresolved = false;  ///< a name that is not known stores the provider all the same

  uint32_t resolveSource(const char16_t* name, void** out) override {
    record("resolve " + loggable(name));
    const bool resolved = sourceName == name;
    if (resolved || storesUnresolved) storeInOutSlot(out, provider);
    return resolved ? 1 : 0;
  }
};
