// MemoryMeter: how many bytes the plug-in's code holds, now and at most.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "atomkit/core/containers/memory.h"
#include "hal/memory/memory.h"

/// While it lives, the MP4 library, the helper library and the front end allocate through it; every
/// block of that time must be freed in it. Not nestable. Counts the bytes that were asked for,
/// without what the C library adds. A block that changes its size moves.
class MemoryMeter {
 public:
  MemoryMeter() {
    state() = {};
    previousAtomkit_ = atomkit::setAllocator({&allocate, &reallocate, &release});
    previousHal_ = VMemory::GSetAllocator({&allocate, &reallocate, &release});
  }
  ~MemoryMeter() {
    VMemory::GSetAllocator(previousHal_);
    atomkit::setAllocator(previousAtomkit_);
  }
  MemoryMeter(const MemoryMeter&) = delete;
  MemoryMeter& operator=(const MemoryMeter&) = delete;

  uint64_t bytesHeld() const { return state().held; }
  uint64_t mostBytesHeld() const { return state().most; }

 private:
  struct State {
    uint64_t held = 0;
    uint64_t most = 0;
  };
  static State& state() {
    static State instance;
    return instance;
  }

  // Before each block its size.
  static constexpr size_t kHeader = alignof(std::max_align_t);

  static unsigned char* beginOf(void* block) {
    return static_cast<unsigned char*>(block) - kHeader;
  }
  static size_t& sizeAt(unsigned char* begin) { return *reinterpret_cast<size_t*>(begin); }

  static void* account(void* begin, size_t bytes) {
    if (!begin) return nullptr;
    auto* const block = static_cast<unsigned char*>(begin);
    sizeAt(block) = bytes;
    state().held += bytes;
    state().most = std::max(state().most, state().held);
    return block + kHeader;
  }

  static void* allocate(size_t bytes) {
    return bytes <= SIZE_MAX - kHeader ? account(std::malloc(kHeader + bytes), bytes) : nullptr;
  }
  static void* reallocate(void* block, size_t bytes) {
    void* const other = allocate(bytes);
    if (!other || !block) return other;
    std::memcpy(other, block, std::min(bytes, sizeAt(beginOf(block))));
    release(block);
    return other;
  }
  static void release(void* block) {
    if (!block) return;
    unsigned char* const begin = beginOf(block);
    state().held -= sizeAt(begin);
    std::free(begin);
  }

  atomkit::Allocator previousAtomkit_;
  VAllocator previousHal_;
};
