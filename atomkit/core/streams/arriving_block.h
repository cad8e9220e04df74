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
/// allocated when it is no more than 64 KiB and 1 3/4 of all bytes that have arrived. Until then
/// pieces are read, each within the same bound, and gathered afterwards. Thus memory stays below 3
/// times what has arrived and 64 KiB, and at most 4/7 of a block are copied.
class ArrivingBlock {
 public:
  /// @param outOfMemory  message of the exception when there is no memory
  ArrivingBlock(ByteStream& stream, uint32_t count, SpareRoom spare, const char* outOfMemory)
      : stream_(&stream), count_(count), spare_(spare), outOfMemory_(outOfMemory) {}
  ArrivingBlock(const ArrivingBlock&) = delete;
  ArrivingBlock& operator=(const ArrivingBlock&) = delete;
  ~ArrivingBlock();

  /// Bytes of 64 entries of one, two or three words, in whole numbers, so that no piece ends inside
  /// a block of a table that is indexed.
  static constexpr uint32_t kPieceStep = 1536;

  /// Allocates the block, after the pieces that must arrive before have been read with
  /// read(to, bytes). The size of each is a multiple of kPieceStep.
  template <class Read>
  void begin(Read read) {
    for (uint32_t size = nextPiece(); size != 0; size = nextPiece()) {
      pieces_[pieceCount_] = {allocateBytes(size), size};
      read(pieces_[pieceCount_++].bytes, size);
    }
    block_ = allocateBytes(uint64_t{spare_.before} + count_ + spare_.after);
  }

  /// Moves the pieces to bytes(). @return bytes of all of them
  uint32_t gather() noexcept;

  /// Where the first of the `count` bytes belongs.
  uint8_t* bytes() const noexcept { return block_ + spare_.before; }
  /// Gives the block, which begins with the room before the bytes, to the caller.
  uint8_t* take() noexcept { return std::exchange(block_, nullptr); }

 private:
  /// A piece that was read before the block could be allocated.
  struct Piece {
    uint8_t* bytes;
    uint32_t size;
  };

  // Each piece earns a larger one, so that 4 GiB are reached with fewer.
  static constexpr uint32_t kMostPieces = 16;

  uint32_t nextPiece() const noexcept;
  uint8_t* allocateBytes(uint64_t size) const;

  ByteStream* stream_;
  uint32_t count_;
  SpareRoom spare_;
  const char* outOfMemory_;
  uint8_t* block_ = nullptr;
  uint32_t pieceCount_ = 0;
  Piece pieces_[kMostPieces];
};

}  // namespace atomkit
