// A file of the disk as a host stream, with 64-bit positions.
#pragma once
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>

#include "host/reference.h"

namespace velahost {

/// What was asked of a FileStream.
struct StreamCalls {
  uint64_t reads = 0;
  uint64_t seeks = 0;
  uint64_t skips = 0;
  uint64_t bytesRead = 0;
};

/// A file opened for reading. A regular file can seek, also to its very end but not beyond; a pipe
/// or a device can't, and has no known length. Nothing can be written.
class FileStream final : public Counted<FileStream, vela::HostStream> {
 public:
  /// @param calls  counts the calls; borrowed, may be null
  /// @return a stream with a count of 0, or null when the file can't be opened
  static FileStream* open(const std::filesystem::path& file, StreamCalls* calls);

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
  struct Close {
    void operator()(std::FILE* file) const { std::fclose(file); }
  };

  FileStream(std::FILE* file, StreamCalls* calls);
  ~FileStream() = default;
  vela::TIOResult moveTo(uint64_t position);

  std::unique_ptr<std::FILE, Close> file_;
  StreamCalls* calls_;
  uint64_t position_ = 0;
  uint64_t length_ = vela::kUnknown64;
};

}  // namespace velahost
