// The host itself, as a splitter sees it: it resolves file names, opens files, and can cancel.
#pragma once
#include <csignal>
#include <filesystem>
#include <system_error>

#include "host/failure.h"
#include "host/file_stream.h"
#include "host/reference.h"

namespace velahost {

/// Cancels the running operation once cancel() was called, for example from a signal handler.
class Token final : public vela::CancelToken {
 public:
  uint32_t isCancelled() override { return cancelled_ != 0; }
  void cancel() { cancelled_ = 1; }
  /// Cancels when it becomes 1; a signal handler may write it.
  volatile std::sig_atomic_t& flag() { return cancelled_; }

 private:
  // Written by a signal handler.
  volatile std::sig_atomic_t cancelled_ = 0;
};

/// Source names are file names in UTF-16. A name that no file has is not resolved. The plug-in
/// hands on codes only, so the context keeps what the file system said.
class FileContext final : public vela::HostContext {
 public:
  uint32_t resolveSource(const char16_t* sourceName, void** out) override;

  /// The failure, with the file system's reason as its sentence where that is the cause.
  Failure explained(const Failure& failure) const;

  StreamCalls calls;            ///< of all streams that this context opened
  std::error_code openFailure;  ///< why the last file was not opened
};

/// Opens the file with the given name.
class FileProvider final : public Counted<FileProvider, vela::SourceProvider> {
 public:
  /// @param context  borrowed
  explicit FileProvider(FileContext* context) : context_(context) {}

  void unusedSlot4() override {}
  vela::TIOResult open(const char16_t* sourceName, uint32_t hostOpenMode, vela::CancelToken* token,
                       void** out) override;

 private:
  friend class Counted<FileProvider, vela::SourceProvider>;
  ~FileProvider() = default;

  FileContext* context_;
};

}  // namespace velahost
