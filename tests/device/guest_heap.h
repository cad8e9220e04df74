// A heap in the emulated memory that knows every byte: which ones belong to a live block, and what
// freed and fresh bytes look like.
#pragma once
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>

namespace device {

/// Blocks between two addresses of the emulated memory. One shadow byte for each byte tells whether
/// it belongs to a live block; blocks keep a distance, so that a write past one is seen.
class GuestHeap {
 public:
  /// @param memory  the native bytes of the region
  GuestHeap(uint32_t base, uint32_t size, uint8_t* memory);

  bool holds(uint32_t address) const { return address - base_ < size_; }
  /// True when all of `count` bytes from `address` lie in one live block.
  bool isLive(uint32_t address, uint32_t count) const;

  /// A block filled with a pattern, at an address that is `offset` past a multiple of 8.
  /// @return its address, or 0 when there is no room
  uint32_t allocate(uint32_t count, uint32_t offset = 0);
  /// @return false when no live block begins at `address`
  bool release(uint32_t address);
  /// Bytes of the live block at `address`; 0 when there is none.
  uint32_t sizeOf(uint32_t address) const;

  uint32_t liveBlocks() const { return static_cast<uint32_t>(blocks_.size()); }
  uint64_t liveBytes() const { return liveBytes_; }
  uint64_t peakBytes() const { return peakBytes_; }

 private:
  struct Block {
    uint32_t count;  // bytes that were asked for
    uint32_t start;  // where its room begins
    uint32_t room;   // bytes with the distances on both sides
  };
  void mark(uint32_t address, uint32_t count, uint8_t shadow, uint8_t fill);

  uint32_t base_;
  uint32_t size_;
  uint8_t* memory_;
  std::unique_ptr<uint8_t, void (*)(void*)> shadow_;
  mutable std::mutex lock_;            // for the blocks; threads take turns elsewhere
  std::map<uint32_t, Block> blocks_;   // by address
  std::map<uint32_t, uint32_t> free_;  // start of a stretch, its bytes
  uint64_t liveBytes_ = 0;
  uint64_t peakBytes_ = 0;
};

}  // namespace device
