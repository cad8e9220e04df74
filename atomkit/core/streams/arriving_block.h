// ArrivingBlock: memory for bytes that a file declares, of which it may hold fewer.
#pragma once
#include <cstdint>
#include <utility>

#include "atomkit/core/containers/memory.h"
#include "atomkit/core/streams/byte_stream.h"

namespace atomkit {

/// Room in a block besides the bytes that are read into it.
struct SpareRoom {
  uint32_t before = 0;  ///< bytes
  uint32_t after = 0;   ///< bytes
};

/// A block of allocate() for `count` bytes of a stream. What a file declares and what its host
/// gives as its length may both lie, so only bytes that have arrived earn memory: the block is
/// never larger than 64 KiB and 1 3/4 of all bytes that have arrived, and grows when it is full.
/// Where it can't grow in its place it moves, and both are held for that time. Thus memory stays
/// below 3 times what has arrived and 64 KiB, and less than twice the block is moved.
class ArrivingBlock {
 public:
  /// @param outOfMemory  message of the exception when there is no memory
  ArrivingBlock(ByteStream& stream, uint32_t count, SpareRoom spare, const char* outOfMemory)
      : stream_(&stream), count_(count), spare_(spare), outOfMemory_(outOfMemory) {}
  ArrivingBlock(const ArrivingBlock&) = delete;
  ArrivingBlock& operator=(const ArrivingBlock&) = delete;
  ~ArrivingBlock() { release(block_); }

  /// Bytes of 64 entries of one, two or three words, in whole numbers, so that no piece ends inside
  /// a block of a table that is indexed.
  static constexpr uint32_t kPieceStep = 1536;

  /// Fills the block with read(to, bytes), piece by piece. The size of each but the last one is a
  /// multiple of kPieceStep.
  template <class Read>
  void fill(Read read) {
    uint32_t done = 0;
    do {
      const uint32_t size = nextSize(done);
      resize(size);
      read(block_ + spare_.before + done, size - done);
      done = size;
    } while (done < count_);
  }

  /// Gives the block, which begins with the room before the bytes, to the caller.
  uint8_t* take() noexcept { return std::exchange(block_, nullptr); }

 private:
  uint32_t nextSize(uint32_t done) const noexcept;
  void resize(uint32_t size);

  ByteStream* stream_;
  uint32_t count_;
  SpareRoom spare_;
  const char* outOfMemory_;
  uint8_t* block_ = nullptr;
};

}  // namespace atomkit
