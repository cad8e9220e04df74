#include "atomkit/core/containers/memory.h"

#include <cstdlib>

#include "atomkit/core/containers/exception.h"

namespace atomkit {
namespace {

Allocator g_allocator = {std::malloc, std::realloc, std::free};

}  // namespace

Allocator setAllocator(Allocator allocator) noexcept {
  return std::exchange(g_allocator, allocator);
}

void* allocate(size_t bytes) noexcept { return g_allocator.allocate(bytes); }

void* reallocate(void* block, size_t bytes) noexcept {
  return g_allocator.reallocate(block, bytes);
}

void release(void* block) noexcept {
  if (block) g_allocator.release(block);
}

void throwOutOfMemory() { throw exception(kOutOfMemory); }

}  // namespace atomkit
