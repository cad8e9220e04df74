#include "atomkit/core/streams/arriving_block.h"

#include <algorithm>
#include <cstring>

#include "atomkit/core/containers/exception.h"

namespace atomkit {
namespace {

constexpr uint64_t kUnearned = 65'536;
// Bytes in a block for so many that have arrived.
constexpr uint64_t kEarned = 7;
constexpr uint64_t kArrived = 4;

}  // namespace

ArrivingBlock::~ArrivingBlock() {
  for (uint32_t i = 0; i < pieceCount_; ++i) release(pieces_[i].bytes);
  release(block_);
}

/// Size of a piece to be read before the block may be allocated; 0 when it may.
uint32_t ArrivingBlock::nextPiece() const noexcept {
  const uint64_t earned = kUnearned + stream_->head().arrived() / kArrived * kEarned;
  if (count_ <= earned || pieceCount_ == kMostPieces) return 0;
  const uint64_t lacking = (count_ - earned) * kArrived / kEarned;
  return static_cast<uint32_t>(std::min(lacking / kPieceStep + 1, earned / kPieceStep)) *
         kPieceStep;
}

// In steps, because libraries copy megabytes by one string instruction, which not all processors
// are quick at.
uint32_t ArrivingBlock::gather() noexcept {
  uint32_t done = 0;
  for (uint32_t i = 0; i < pieceCount_; ++i) {
    const Piece& piece = pieces_[i];
    for (uint32_t from = 0; from < piece.size; from += kPieceStep) {
      std::memcpy(bytes() + done + from, piece.bytes + from, kPieceStep);
    }
    done += piece.size;
    release(piece.bytes);
  }
  pieceCount_ = 0;
  return done;
}

uint8_t* ArrivingBlock::allocateBytes(uint64_t size) const {
  void* const block = size <= SIZE_MAX ? allocate(static_cast<size_t>(size)) : nullptr;
  if (!block) throw exception(outOfMemory_);
  return static_cast<uint8_t*>(block);
}

}  // namespace atomkit
