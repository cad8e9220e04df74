// A file as a host stream, with 64-bit positions.
#pragma once
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <system_error>

#include "cli/input_file.h"
#include "host/reference.h"

namespace velahost {

/// What was asked of a FileStream, and what the file system refused.
struct StreamCalls {
  struct FailedRead {
    uint64_t position;  ///< of the byte that did not arrive
    std::error_code reason;
  };

  uint64_t reads = 0;
  uint64_t seeks = 0;
  uint64_t skips = 0;
  uint64_t bytesRead = 0;
  std::optional<FailedRead> failedRead;  ///< the last one
};

/// A file opened for reading. A regular file can seek, up to and including its end; a pipe or a
/// device can't, and has no known length. Nothing can be written.
class FileStream final : public Counted<FileStream, vela::HostStream> {
 public:
  /// @param calls   counts the calls; borrowed, may be null
  /// @param reason  why the file can't be opened; untouched when it can
  /// @return a stream with a count of 0, or null when the file can't be opened
  static FileStream* open(const std::filesystem::path& file, StreamCalls* calls,
                          std::error_code& reason);

  /// The same over an open file, which the stream closes.
  FileStream(std::FILE* file, StreamCalls* calls);

  uint32_t canSeek() override { return length_ != vela::kUnknown64; }
  vela::TIOResult seek(uint32_t low, uint32_t high, vela::CancelToken* token) override;
  void unusedSlot6() override {}
  vela::TIOResult setLength(uint32_t low, uint32_t high, vela::CancelToken* token) override;
  vela::TIOResult getLength(uint64_t* length, vela::CancelToken* token) override;
  void unusedSlot9() override {}
  vela::TIOResult getPosition(uint64_t* position, vela::CancelToken* token) override;
  uint32_t passThroughTwo(uintptr_t, uintptr_t) override { return 0; }
  uint32_t passThroughOne(uintptr_t) override { return 0; }
  vela::TIOResult read(void* buffer, uint32_t count, uint32_t* done,
                       vela::CancelToken* token) override;
  vela::TIOResult skip(uint32_t count, uint32_t* done, vela::CancelToken* token) override;
  vela::TIOResult write(const void* buffer, uint32_t count, uint32_t* done,
                        vela::CancelToken* token) override;

 private:
  friend class Counted<FileStream, vela::HostStream>;
  ~FileStream() = default;
  vela::TIOResult readFailed(std::error_code reason);
  vela::TIOResult moveTo(uint64_t position);

  cli::FileHandle file_;
  StreamCalls* calls_;
  uint64_t position_ = 0;
  uint64_t length_ = vela::kUnknown64;
};

}  // namespace velahost
