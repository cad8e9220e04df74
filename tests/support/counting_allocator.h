// FailingAllocation: makes the MP4 library's n-th allocation fail and counts what is still held.
#pragma once
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>

#include "atomkit/core/containers/memory.h"

/// While it lives, the library allocates through it. Not nestable.
class FailingAllocation {
 public:
  /// @param failAt  zero-based number of the allocation that fails;
  ///        kNever for none
  explicit FailingAllocation(uint64_t failAt = kNever) {
    state() = {};
    state().failAt = failAt;
    previous_ = atomkit::setAllocator({&allocate, &reallocate, &release});
  }
  ~FailingAllocation() { atomkit::setAllocator(previous_); }
  FailingAllocation(const FailingAllocation&) = delete;
  FailingAllocation& operator=(const FailingAllocation&) = delete;

  static constexpr uint64_t kNever = ~uint64_t{0};

  uint64_t allocations() const { return state().allocations; }
  uint64_t blocksHeld() const { return state().held; }
  uint64_t largestBlock() const { return state().largest; }
  /// Most bytes that were held at a time.
  uint64_t peakBytes() const { return state().peakBytes; }
  /// Bytes of blocks that changed their size. All of them move.
  uint64_t bytesMoved() const { return state().bytesMoved; }
  bool failed() const { return state().allocations > state().failAt; }

 private:
  struct State {
    uint64_t failAt = kNever;
    uint64_t allocations = 0;
    uint64_t held = 0;
    uint64_t largest = 0;
    uint64_t bytes = 0;
    uint64_t peakBytes = 0;
    uint64_t bytesMoved = 0;
    std::map<void*, size_t> sizes;  // of the blocks held that were made here
  };
  static State& state() {
    static State instance;
    return instance;
  }

  static void* allocate(size_t bytes) {
    if (bytes > state().largest) state().largest = bytes;
    if (state().allocations++ == state().failAt) return nullptr;
    void* block = std::malloc(bytes);
    if (!block) return nullptr;
    ++state().held;
    state().sizes[block] = bytes;
    state().bytes += bytes;
    state().peakBytes = std::max(state().peakBytes, state().bytes);
    return block;
  }
  // Both blocks are held for a while.
  static void* reallocate(void* block, size_t bytes) {
    void* const other = allocate(bytes);
    if (!other || !block) return other;
    const size_t moved = std::min(bytes, state().sizes.at(block));
    std::memcpy(other, block, moved);
    state().bytesMoved += moved;
    release(block);
    return other;
  }
  static void release(void* block) {
    --state().held;
    const auto made = state().sizes.find(block);
    if (made != state().sizes.end()) {
      state().bytes -= made->second;
      state().sizes.erase(made);
    }
    std::free(block);
  }

  atomkit::Allocator previous_;
};
