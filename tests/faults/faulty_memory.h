// FaultyMemory: the memory of all of the plug-in's code, which runs out by plan.
#pragma once
#include <cstdint>
#include <cstdlib>

#include "atomkit/core/containers/memory.h"
#include "hal/memory/memory.h"
#include "tests/faults/fault_plan.h"

/// While it lives, both libraries allocate through it. Not nestable; every block of that time must
/// be freed in it.
class FaultyMemory {
 public:
  explicit FaultyMemory(FaultPlan& plan) {
    state() = {&plan, 0};
    atomkit_ = atomkit::setAllocator({&allocate, &reallocate, &release});
    hal_ = VMemory::GSetAllocator({&allocate, &reallocate, &release});
  }
  ~FaultyMemory() {
    VMemory::GSetAllocator(hal_);
    atomkit::setAllocator(atomkit_);
  }
  FaultyMemory(const FaultyMemory&) = delete;
  FaultyMemory& operator=(const FaultyMemory&) = delete;

  int64_t blocksHeld() const { return state().held; }

 private:
  struct State {
    FaultPlan* plan = nullptr;
    int64_t held = 0;
  };
  static State& state() {
    static State instance;
    return instance;
  }

  static void* allocate(size_t bytes) {
    if (state().plan->strikes()) return nullptr;
    ++state().held;
    return std::malloc(bytes);
  }
  static void* reallocate(void* block, size_t bytes) {
    if (!block) return allocate(bytes);
    return state().plan->strikes() ? nullptr : std::realloc(block, bytes);
  }
  static void release(void* block) {
    if (block) --state().held;
    std::free(block);
  }

  atomkit::Allocator atomkit_;
  VAllocator hal_;
};
