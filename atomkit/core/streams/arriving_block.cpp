#include "atomkit/core/streams/arriving_block.h"

#include <algorithm>

#include "atomkit/core/containers/exception.h"

namespace atomkit {
namespace {

constexpr uint64_t kUnearned = 65'536;
// Bytes in a block for so many that have arrived.
constexpr uint64_t kEarned = 7;
constexpr uint64_t kArrived = 4;

}  // namespace

/// Bytes for which there may be room when the first `done` of them have arrived.
uint32_t ArrivingBlock::nextSize(uint32_t done) const noexcept {
  const uint64_t earned = kUnearned + stream_->head().arrived() / kArrived * kEarned;
  if (count_ <= earned) return count_;
  // So many must arrive before all of it is earned.
  const uint64_t lacking = (count_ - earned) * kArrived / kEarned;
  const uint64_t steps = std::min(lacking / kPieceStep + 1, (earned - done) / kPieceStep);
  return done + static_cast<uint32_t>(steps) * kPieceStep;
}

void ArrivingBlock::resize(uint32_t size) {
  const uint64_t bytes = uint64_t{spare_.before} + size + spare_.after;
  void* const block = bytes <= SIZE_MAX ? reallocate(block_, static_cast<size_t>(bytes)) : nullptr;
  if (!block) throw exception(outOfMemory_);
  block_ = static_cast<uint8_t*>(block);
}

}  // namespace atomkit
