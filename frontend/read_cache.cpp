#include "frontend/read_cache.h"

#include <algorithm>
#include <cstring>

#include "frontend/object_memory.h"

namespace vela {

uint32_t ReadCache::release() {
  const int32_t count = refs_.decrement();
  if (count == 0) deletingDestructor(kFreeMemory);
  return static_cast<uint32_t>(count);
}

void ReadCache::deletingDestructor(uint32_t flags) { destroyObject(this, flags); }

void ReadCache::readForwardOnly() noexcept {
  forwardOnly_ = 1;
  hostPosition_ = 0;
}

TIOResult ReadCache::seek(uint32_t low, uint32_t high, CancelToken*) {
  position_ = fromWord64({low, high});
  return TIOResult::success;
}

TIOResult ReadCache::setLength(uint32_t low, uint32_t high, CancelToken* token) {
  dropBlocks();
  forgetHostPosition();
  return stream_->setLength(low, high, token);
}

TIOResult ReadCache::getLength(uint64_t* length, CancelToken* token) {
  return stream_->getLength(length, token);
}

TIOResult ReadCache::getPosition(uint64_t* position, CancelToken*) {
  *position = position_;
  return TIOResult::success;
}

uint32_t ReadCache::passThroughTwo(uintptr_t first, uintptr_t second) {
  return stream_->passThroughTwo(first, second);
}

uint32_t ReadCache::passThroughOne(uintptr_t argument) { return stream_->passThroughOne(argument); }

TIOResult ReadCache::read(void* buffer, uint32_t count, uint32_t* done, CancelToken* token) {
  return copy(static_cast<uint8_t*>(buffer), count, done, token);
}

TIOResult ReadCache::skip(uint32_t count, uint32_t* done, CancelToken* token) {
  if (forwardOnly_) return copy(nullptr, count, done, token);
  const uint64_t lastSkipped = position_ + count - 1;
  if (count != 0 && (lastSkipped < position_ || !findBlock(lastSkipped))) {
    uint64_t length = kUnknown64;
    const TIOResult result = stream_->getLength(&length, token);
    if (result != TIOResult::success) return result;
    if (length == kUnknown64) return skipUnbounded(count, done, token);
    const uint64_t left = length > position_ ? length - position_ : 0;
    count = static_cast<uint32_t>(std::min<uint64_t>(count, left));
  }
  position_ += count;
  *done = count;
  return TIOResult::success;
}

/// Skips on a stream that can seek but does not give its length, and so finds its end: a short way
/// through the blocks, a long one by the host's own skip.
TIOResult ReadCache::skipUnbounded(uint32_t count, uint32_t* done, CancelToken* token) {
  if (count <= kBlockSize) return copy(nullptr, count, done, token);
  TIOResult result = TIOResult::success;
  if (hostPosition_ != position_) result = moveHost(position_, token);
  if (result != TIOResult::success) return result;
  HostStreamReader* const reader = stream_.get();
  uint32_t skipped = 0;
  result = reader->skip(count, &skipped, token);
  if (result != TIOResult::success) {
    forgetHostPosition();
    return result;
  }
  *done = std::min(skipped, count);
  position_ += *done;
  hostPosition_ = position_;
  return TIOResult::success;
}

TIOResult ReadCache::write(const void* buffer, uint32_t count, uint32_t* done, CancelToken* token) {
  dropBlocks();
  if (hostPosition_ != position_) {
    const TIOResult result = moveHost(position_, token);
    if (result != TIOResult::success) return result;
  }
  HostStreamWriter* const writer = stream_.get();
  uint32_t written = 0;
  const TIOResult result = writer->write(buffer, count, &written, token);
  if (result != TIOResult::success) {
    forgetHostPosition();
    return result;
  }
  *done = std::min(written, count);
  position_ += *done;
  hostPosition_ = position_;
  return TIOResult::success;
}

/// Gives the block that holds the position, filled if need be and stamped as used now; none at the
/// end of the stream.
inline TIOResult ReadCache::blockAtPosition(Block*& block, CancelToken* token) {
  if (token && token->isCancelled()) return TIOResult::cancelled;
  block = findBlock(position_);
  if (!block) {
    const TIOResult result = fillAtPosition(block, token);
    if (!block) return result;
  }
  block->useStamp = ++useClock_;
  return TIOResult::success;
}

/// Fills a block that is to hold the position; gives none when that fails or the stream ends before
/// it. A stream that is only read forward may need several blocks to get there.
TIOResult ReadCache::fillAtPosition(Block*& block, CancelToken* token) {
  for (;;) {
    Block& filled = blockToFill();
    const TIOResult result = fill(filled, token);
    if (result != TIOResult::success) return result;
    if (position_ - filled.start < filled.validLength) {
      block = &filled;
      return TIOResult::success;
    }
    // DELIBERATE D-007: a block that met the end of the stream is kept without a stamp of this use,
    // so that it is the next to be replaced.
    if (!forwardOnly_ || filled.validLength == 0) return TIOResult::success;
    if (token && token->isCancelled()) return TIOResult::cancelled;
  }
}

/// Moves `count` bytes on; copies them when `target` is not null.
TIOResult ReadCache::copy(uint8_t* target, uint32_t count, uint32_t* done, CancelToken* token) {
  uint32_t copied = 0;
  while (copied < count) {
    // DELIBERATE D-006: the bytes copied so far are not reported, and the position stays after
    // them. A host that cancels gives the packet up, and the next one seeks.
    Block* block = nullptr;
    const TIOResult result = blockAtPosition(block, token);
    if (result != TIOResult::success) return result;
    if (!block) break;
    const std::span<const uint8_t> bytes = restOf(*block);
    const auto amount = static_cast<uint32_t>(std::min<size_t>(count - copied, bytes.size()));
    if (target) std::memcpy(target + copied, bytes.data(), amount);
    copied += amount;
    position_ += amount;
  }
  *done = copied;
  return TIOResult::success;
}

std::span<const uint8_t> ReadCache::window() noexcept {
  const Block* const block = findBlock(position_);
  if (!block) return {};
  // Where blocks overlap a read begins in the first one, so the window ends where an earlier one
  // begins.
  std::span<const uint8_t> bytes = restOf(*block);
  for (const Block* earlier = blocks_; earlier != block; ++earlier) {
    if (earlier->valid && earlier->validLength != 0 && earlier->start > position_) {
      const uint64_t before = earlier->start - position_;
      if (before < bytes.size()) bytes = bytes.first(static_cast<size_t>(before));
    }
  }
  return bytes;
}

TIOResult ReadCache::fetchWindow(std::span<const uint8_t>& bytes, CancelToken* token) {
  Block* block = nullptr;
  const TIOResult result = blockAtPosition(block, token);
  bytes = block ? restOf(*block) : std::span<const uint8_t>();
  return result;
}

/// What the block holds from the position on.
std::span<const uint8_t> ReadCache::restOf(const Block& block) const noexcept {
  const auto offset = static_cast<uint32_t>(position_ - block.start);
  return {block.data + offset, block.validLength - offset};
}

void ReadCache::readInWindow(uint32_t count) {
  if (Block* const block = findBlock(position_)) block->useStamp = ++useClock_;
  position_ += count;
}

ReadCache::Block* ReadCache::findBlock(uint64_t position) noexcept {
  for (Block& block : blocks_) {
    // The comparison that most blocks fail comes first. For a block after the position the
    // difference wraps.
    if (position - block.start < block.validLength && block.start <= position && block.valid) {
      return &block;
    }
  }
  return nullptr;
}

/// The first block that is free, or else the least recently used one.
ReadCache::Block& ReadCache::blockToFill() {
  Block* oldest = &blocks_[0];
  for (Block& block : blocks_) {
    if (!block.valid) return block;
    if (block.useStamp < oldest->useStamp) oldest = &block;
  }
  return *oldest;
}

TIOResult ReadCache::fill(Block& block, CancelToken* token) {
  // DELIBERATE D-002: clearing this one bit is not an alignment. A block begins at the position
  // itself or exactly 8,192 bytes before it, which serves short steps back, to a box header or to
  // the other track's chunk.
  constexpr uint64_t kClearedBit = 0x2000;
  uint64_t start = position_ & ~kClearedBit;
  // Without seeking, only the block that comes next can be read.
  if (forwardOnly_ && hostPosition_ <= position_) start = hostPosition_;

  block.valid = 0;
  block.start = start;
  if (hostPosition_ != start) {
    const TIOResult result = moveHost(start, token);
    if (result != TIOResult::success) return result;
  }
  // DELIBERATE D-003: one fill is one read of the host, however little that delivers. A short read
  // is the end of the stream; asking again would cost a call at every end.
  HostStreamReader* const reader = stream_.get();
  uint32_t filled = 0;
  const TIOResult result = reader->read(block.data, kBlockSize, &filled, token);
  if (result != TIOResult::success) {
    forgetHostPosition();
    return result;
  }
  block.validLength = std::min(filled, kBlockSize);
  hostPosition_ = start + block.validLength;
  block.valid = 1;
  return TIOResult::success;
}

TIOResult ReadCache::moveHost(uint64_t position, CancelToken* token) {
  const Word64 target = toWord64(position);
  const TIOResult result = stream_->seek(target.low, target.high, token);
  if (result == TIOResult::success) {
    hostPosition_ = position;
  } else {
    forgetHostPosition();
  }
  return result;
}

/// A call that failed may have left the host's stream anywhere, so the next fill seeks. A stream
/// that can't seek is taken to stand where it was.
void ReadCache::forgetHostPosition() {
  if (!forwardOnly_) hostPosition_ = kUnknown64;
}

void ReadCache::dropBlocks() {
  for (Block& block : blocks_) block.valid = 0;
}

}  // namespace vela
