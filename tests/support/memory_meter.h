// MemoryMeter: how many bytes the MP4 library holds, now and at most.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "atomkit/core/containers/memory.h"

/// While it lives, the library allocates through it; every block of that time must be freed in it.
/// Not nestable. Counts the bytes that were asked for, without what the C library adds.
class MemoryMeter {
 public:
  MemoryMeter() {
    state() = {};
    previous_ = atomkit::setAllocator({&allocate, &release});
  }
  ~MemoryMeter() { atomkit::setAllocator(previous_); }
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

  static void* allocate(size_t bytes) {
    if (bytes > SIZE_MAX - kHeader) return nullptr;
    auto* const block = static_cast<unsigned char*>(std::malloc(kHeader + bytes));
    if (!block) return nullptr;
    *reinterpret_cast<size_t*>(block) = bytes;
    state().held += bytes;
    state().most = std::max(state().most, state().held);
    return block + kHeader;
  }
  static void release(void* block) {
    unsigned char* const begin = static_cast<unsigned char*>(block) - kHeader;
    state().held -= *reinterpret_cast<size_t*>(begin);
    std::free(begin);
  }

  atomkit::Allocator previous_;
};
