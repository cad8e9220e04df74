// MemoryMeter: how much memory the plug-in holds, and how much it has held at most.
#pragma once
#include <cstddef>
#include <cstdint>

#include "atomkit/core/containers/memory.h"
#include "hal/memory/memory.h"

namespace fuzz {

/// While it lives, the plug-in allocates through it. Not nestable.
class MemoryMeter {
 public:
  MemoryMeter();
  ~MemoryMeter();
  MemoryMeter(const MemoryMeter&) = delete;
  MemoryMeter& operator=(const MemoryMeter&) = delete;

  uint64_t heldBytes() const;
  uint64_t heldBlocks() const;
  uint64_t mostBytes() const;

 private:
  atomkit::Allocator library_;
  VAllocator helpers_;
};

}  // namespace fuzz
