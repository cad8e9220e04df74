#include "hal/memory/memory.h"

#include <cstdlib>

namespace {

VAllocator g_allocator = {std::malloc, std::realloc, std::free};

// Asked for no bytes, the C library may return null, which here means "no memory", and its
// realloc() may free the block.
size_t atLeastOne(size_t bytes) { return bytes ? bytes : 1; }

}  // namespace

VAllocator VMemory::GSetAllocator(const VAllocator& allocator) noexcept {
  return std::exchange(g_allocator, allocator);
}

void* VMemory::GAllocate(size_t bytes) noexcept {
  return g_allocator.m_allocate(atLeastOne(bytes));
}

void VMemory::GFree(void* p_block) noexcept {
  if (p_block) g_allocator.m_free(p_block);
}

void* VMemory::GReallocate(void* p_block, size_t bytes) noexcept {
  if (!p_block) return GAllocate(bytes);
  return g_allocator.m_reallocate(p_block, atLeastOne(bytes));
}

void* VMemory::GReallocateOrAllocate(void* p_block, size_t /*oldSize*/, size_t newSize) noexcept {
  void* block = GReallocate(p_block, newSize);
  // DELIBERATE D-106: a block that can't be resized is freed, so the contents are lost. Callers
  // hold one pointer and one capacity, and both become 0 together.
  if (!block) GFree(p_block);
  return block;
}
