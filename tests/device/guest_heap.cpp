#include "tests/device/guest_heap.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace device {
namespace {

constexpr uint32_t kDistance = 16;  // untouchable bytes before and after a block
constexpr uint8_t kFresh = 0xA5;
constexpr uint8_t kFreed = 0xDD;

}  // namespace

GuestHeap::GuestHeap(uint32_t base, uint32_t size, uint8_t* memory)
    : base_(base),
      size_(size),
      memory_(memory),
      shadow_(static_cast<uint8_t*>(std::calloc(size, 1)), &std::free) {
  free_[base] = size;
}

bool GuestHeap::isLive(uint32_t address, uint32_t count) const {
  if (!holds(address) || count > size_ - (address - base_)) return false;
  const uint8_t* const first = shadow_.get() + (address - base_);
  return std::all_of(first, first + count, [](uint8_t shadow) { return shadow != 0; });
}

uint32_t GuestHeap::allocate(uint32_t count, uint32_t offset) {
  if (count > size_ / 2) return 0;
  const std::lock_guard<std::mutex> lock(lock_);
  const uint32_t room = (kDistance + 8 + count + kDistance + 7) / 8 * 8;
  const auto stretch =
      std::find_if(free_.begin(), free_.end(), [&](const auto& s) { return s.second >= room; });
  if (stretch == free_.end()) return 0;
  const uint32_t start = stretch->first;
  const uint32_t left = stretch->second - room;
  free_.erase(stretch);
  if (left > 0) free_[start + room] = left;
  const uint32_t address = (start + kDistance + 7) / 8 * 8 + offset % 8;
  blocks_[address] = {count, start, room};
  mark(address, count, 1, kFresh);
  liveBytes_ += count;
  peakBytes_ = std::max(peakBytes_, liveBytes_);
  return address;
}

bool GuestHeap::release(uint32_t address) {
  const std::lock_guard<std::mutex> lock(lock_);
  const auto found = blocks_.find(address);
  if (found == blocks_.end()) return false;
  Block block = found->second;
  blocks_.erase(found);
  liveBytes_ -= block.count;
  mark(address, block.count, 0, kFreed);
  auto next = free_.lower_bound(block.start);
  if (next != free_.end() && block.start + block.room == next->first) {
    block.room += next->second;
    next = free_.erase(next);
  }
  if (next != free_.begin()) {
    const auto before = std::prev(next);
    if (before->first + before->second == block.start) {
      before->second += block.room;
      return true;
    }
  }
  free_[block.start] = block.room;
  return true;
}

uint32_t GuestHeap::sizeOf(uint32_t address) const {
  const std::lock_guard<std::mutex> lock(lock_);
  const auto found = blocks_.find(address);
  return found == blocks_.end() ? 0 : found->second.count;
}

void GuestHeap::mark(uint32_t address, uint32_t count, uint8_t shadow, uint8_t fill) {
  std::memset(shadow_.get() + (address - base_), shadow, count);
  std::memset(memory_ + (address - base_), fill, count);
}

}  // namespace device
