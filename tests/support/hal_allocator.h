// FailingHalAllocation: makes the helper library's n-th allocation fail and counts what is still
// held.
#pragma once
#include <cstdint>
#include <cstdlib>

#include "hal/memory/memory.h"

/// While it lives, the helper library and the front end allocate through it. Not nestable. A
/// reallocation of a block counts as an allocation.
class FailingHalAllocation {
 public:
  static constexpr uint64_t kNever = ~uint64_t{0};

  /// @param failAt  zero-based number of the allocation that fails; kNever for none
  /// @param failCount  how many fail from there on; kNever for all
  explicit FailingHalAllocation(uint64_t failAt = kNever, uint64_t failCount = 1) {
    state() = {};
    state().failAt = failAt;
    state().failCount = failCount;
    previous_ = VMemory::GSetAllocator({&allocate, &reallocate, &release});
  }
  ~FailingHalAllocation() { VMemory::GSetAllocator(previous_); }
  FailingHalAllocation(const FailingHalAllocation&) = delete;
  FailingHalAllocation& operator=(const FailingHalAllocation&) = delete;

  uint64_t allocations() const { return state().allocations; }
  uint64_t blocksHeld() const { return state().held; }
  uint64_t largestBlock() const { return state().largest; }
  uint64_t lastSize() const { return state().last; }
  bool failed() const { return state().failures > 0; }

 private:
  struct State {
    uint64_t failAt = kNever;
    uint64_t failCount = 1;
    uint64_t allocations = 0;
    uint64_t failures = 0;
    uint64_t held = 0;
    uint64_t largest = 0;
    uint64_t last = 0;
  };
  static State& state() {
    static State instance;
    return instance;
  }

  static bool fails(size_t bytes) {
    if (bytes > state().largest) state().largest = bytes;
    state().last = bytes;
    const uint64_t number = state().allocations++;
    if (number < state().failAt || number - state().failAt >= state().failCount) return false;
    ++state().failures;
    return true;
  }
  static void* allocate(size_t bytes) {
    if (fails(bytes)) return nullptr;
    void* block = std::malloc(bytes);
    if (block) ++state().held;
    return block;
  }
  static void* reallocate(void* block, size_t bytes) {
    return fails(bytes) ? nullptr : std::realloc(block, bytes);
  }
  static void release(void* block) {
    --state().held;
    std::free(block);
  }

  VAllocator previous_;
};
