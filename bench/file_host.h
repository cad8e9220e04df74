// A host over one stream, for measurements.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "frontend/vela_splitter.h"
#include "host/file_stream.h"
#include "tests/support/memory_host.h"

namespace bench {

using vela::CancelToken;
using vela::TIOResult;

/// A call of the host's stream that moves or reads it.
struct HostCall {
  enum class Kind { seek, read, length };
  Kind kind;
  uint64_t position;  ///< seek: the target; read: where it starts
  uint32_t count;     ///< read: the bytes asked for

  bool operator==(const HostCall&) const = default;
};

/// A file as the reference host reads it, which can write down what it was asked.
class FileStream final : public memory_host::Counted<vela::HostStream> {
 public:
  /// @throws std::system_error
  explicit FileStream(const std::string& file);

  uint64_t size() const { return size_; }
  /// Writes every call down from now on; null: no longer.
  void record(std::vector<HostCall>* calls) { calls_ = calls; }

  uint32_t canSeek() override { return file_.get()->canSeek(); }
  TIOResult seek(uint32_t low, uint32_t high, CancelToken* token) override;
  void unusedSlot6() override {}
  TIOResult setLength(uint32_t, uint32_t, CancelToken*) override { return TIOResult::failed; }
  TIOResult getLength(uint64_t* length, CancelToken* token) override;
  void unusedSlot9() override {}
  TIOResult getPosition(uint64_t* position, CancelToken* token) override {
    return file_.get()->getPosition(position, token);
  }
  uint32_t passThroughTwo(uintptr_t, uintptr_t) override { return 0; }
  uint32_t passThroughOne(uintptr_t) override { return 0; }
  TIOResult read(void* buffer, uint32_t count, uint32_t* done, CancelToken* token) override;
  TIOResult skip(uint32_t count, uint32_t* done, CancelToken* token) override {
    return file_.get()->skip(count, done, token);
  }
  TIOResult write(const void*, uint32_t, uint32_t*, CancelToken*) override {
    return TIOResult::failed;
  }

 private:
  velahost::Reference<velahost::FileStream> file_;
  uint64_t size_ = 0;
  std::vector<HostCall>* calls_ = nullptr;
};

/// Opens every name as the one stream.
class StreamProvider final : public memory_host::Counted<vela::SourceProvider> {
 public:
  /// @param stream  borrowed
  explicit StreamProvider(vela::HostStream& stream) : stream_(&stream) {}
  void unusedSlot4() override {}
  TIOResult open(const char16_t*, uint32_t, CancelToken*, void** out) override;

 private:
  vela::HostStream* stream_;
};

/// Resolves every name.
class StreamContext final : public vela::HostContext {
 public:
  explicit StreamContext(StreamProvider& provider) : provider_(&provider) {}
  uint32_t resolveSource(const char16_t*, void** out) override;

 private:
  StreamProvider* provider_;
};

}  // namespace bench
