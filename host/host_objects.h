// The host itself as a splitter sees it: resolves file names, opens them, and can cancel.
#pragma once
#include <csignal>
#include <filesystem>

#include "host/file_stream.h"
#include "host/reference.h"

namespace velahost {

/// Cancels the running operation once cancel() was called, for example from a signal handler.
class Token final : public vela::CancelToken {
 public:
  uint32_t isCancelled() override { return cancelled_ != 0; }
  void cancel() { cancelled_ = 1; }

 private:
  // Written by a signal handler.
  volatile std::sig_atomic_t cancelled_ = 0;
};

/// Source names are file names in UTF-16. A name that no file bears is not resolved.
class FileContext final : public vela::HostContext {
 public:
  uint32_t resolveSource(const char16_t* sourceName, void** out) override;

  /// Calls made by every stream that this context opened.
  StreamCalls calls;
};

/// Opens the file with the given name.
class FileProvider final : public Counted<FileProvider, vela::SourceProvider> {
 public:
  explicit FileProvider(StreamCalls* calls) : calls_(calls) {}

  void unusedSlot4() override {}
  vela::TIOResult open(const char16_t* sourceName, uint32_t hostOpenMode, vela::CancelToken* token,
                       void** out) override;

 private:
  friend class Counted<FileProvider, vela::SourceProvider>;
  ~FileProvider() = default;

  StreamCalls* calls_;
};

}  // namespace velahost
