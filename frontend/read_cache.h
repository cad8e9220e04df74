// ReadCache: the read cache between the MP4 library and the host's stream.
#pragma once
#include <cstdint>
#include <span>

#include "frontend/interlocked_counter.h"
#include "frontend/out_slot.h"
#include "frontend/vela_splitter.h"

namespace vela {

/// A stream over the host's stream that keeps four blocks of it in memory. It has a position of its
/// own, and seek() moves that alone: the host's stream is sought when a block is filled elsewhere
/// than where it stands. A place past the end shows as a short read.
class ReadCache final : public HostStream {
 public:
  static constexpr uint32_t kBlockSize = 16384;  // bytes
  static constexpr uint32_t kBlockCount = 4;

  /// The new object has the count 0 and takes the host's stream for one that can seek.
  /// @param stream  the host's; a reference is held
  explicit ReadCache(HostStream* stream) : stream_(stream) {}
  ReadCache(const ReadCache&) = delete;
  ReadCache& operator=(const ReadCache&) = delete;

  /// For a host's stream that can't seek, which stands at its start: from now on it is only read
  /// forward. Called before the first transfer or not at all.
  void readForwardOnly() noexcept;

  uint32_t addRef() override { return static_cast<uint32_t>(refs_.increment()); }
  uint32_t release() override;
  /// Answers to no identifier.
  uint32_t queryInterface(const Guid*, void**) override { return 0; }
  void deletingDestructor(uint32_t flags) override;

  /// Asks the host.
  uint32_t canSeek() override { return stream_->canSeek(); }
  TIOResult seek(uint32_t low, uint32_t high, CancelToken* token) override;
  void unusedSlot6() override {}
  /// Drops all blocks.
  TIOResult setLength(uint32_t low, uint32_t high, CancelToken* token) override;
  TIOResult getLength(uint64_t* length, CancelToken* token) override;
  void unusedSlot9() override {}
  TIOResult getPosition(uint64_t* position, CancelToken* token) override;
  uint32_t passThroughTwo(uintptr_t first, uintptr_t second) override;
  uint32_t passThroughOne(uintptr_t argument) override;

  /// @return cancelled, with `*done` untouched, when the token says so before a block
  TIOResult read(void* buffer, uint32_t count, uint32_t* done, CancelToken* token) override;
  /// Ends at the end of the stream. Where the host's stream can't seek, reads what it skips.
  TIOResult skip(uint32_t count, uint32_t* done, CancelToken* token) override;
  /// Drops all blocks.
  TIOResult write(const void* buffer, uint32_t count, uint32_t* done, CancelToken* token) override;

  // The parts of read() and skip(), for a caller that takes the bytes from the blocks themselves.
  // Only where the host's stream can seek.

  /// The bytes from the position on that reads of any sizes would take from one block without a
  /// call of the host; none when the position lies in no block. They stay until the next operation
  /// that is not one of these.
  std::span<const uint8_t> window() noexcept;
  /// The bytes from the position on that a single read would take from one block, filled when need
  /// be; none at the end of the stream.
  TIOResult fetchWindow(std::span<const uint8_t>& bytes, CancelToken* token);
  /// Moves the position on by `count` bytes of the window, as read() or skip() of them does.
  void readInWindow(uint32_t count);
  void skipInWindow(uint32_t count) { position_ += count; }

 private:
  struct Block {
    uint8_t data[kBlockSize];
    uint32_t validLength = 0;  // bytes
    uint64_t start = 0;        // place in the stream, bytes
    uint64_t useStamp = 0;     // of the use clock; the smallest is the least recently used
    uint8_t valid = 0;
  };

  TIOResult copy(uint8_t* target, uint32_t count, uint32_t* done, CancelToken* token);
  TIOResult skipUnbounded(uint32_t count, uint32_t* done, CancelToken* token);
  TIOResult blockAtPosition(Block*& block, CancelToken* token);
  TIOResult fillAtPosition(Block*& block, CancelToken* token);
  Block* findBlock(uint64_t position) noexcept;
  std::span<const uint8_t> restOf(const Block& block) const noexcept;
  Block& blockToFill();
  TIOResult fill(Block& block, CancelToken* token);
  TIOResult moveHost(uint64_t position, CancelToken* token);
  void forgetHostPosition();
  void dropBlocks();

  Block blocks_[kBlockCount];
  uint64_t position_ = 0;               // the position that callers see
  uint64_t hostPosition_ = kUnknown64;  // where the host's stream stands
  uint64_t useClock_ = 0;
  Reference<HostStream> stream_;
  InterlockedCounter refs_;
  uint8_t forwardOnly_ = 0;  // the host's stream can't seek
};

}  // namespace vela
