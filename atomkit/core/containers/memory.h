// The one place through which the MP4 library allocates.
#pragma once
#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace atomkit {

/// Where the library's memory comes from. All operations must be set; `allocate` and `reallocate`
/// return null when there is no memory, and a failed `reallocate` leaves the block as it was.
struct Allocator {
  void* (*allocate)(size_t bytes);
  void* (*reallocate)(void* block, size_t bytes);
  void (*release)(void* block);
};

/// Replaces the allocator (the C library's by default). A block must be released by the allocator
/// that made it, so this is for the start of a program or a test.
/// @return the previous allocator
Allocator setAllocator(Allocator allocator) noexcept;

/// @return a block of `bytes` bytes aligned for any fundamental type, or null
void* allocate(size_t bytes) noexcept;

/// Changes the size of a block of allocate(), and may move it; null is a block of no bytes.
/// @param bytes  above 0
/// @return the block, or null when there is no memory: it is then as it was
void* reallocate(void* block, size_t bytes) noexcept;

/// Frees a block of allocate(); null is ignored.
void release(void* block) noexcept;

/// Constructs a T in memory of its own.
/// @throws exception "out of memory"
template <class T, class... Arguments>
T* create(Arguments&&... arguments);

/// Destroys and frees what create() made; null is ignored.
template <class T>
void destroy(T* object) noexcept {
  if (!object) return;
  object->~T();
  release(object);
}

[[noreturn]] void throwOutOfMemory();

template <class T, class... Arguments>
T* create(Arguments&&... arguments) {
  // A constructor that throws would lose the block.
  static_assert(std::is_nothrow_constructible_v<T, Arguments...>);
  void* block = allocate(sizeof(T));
  if (!block) throwOutOfMemory();
  return new (block) T(std::forward<Arguments>(arguments)...);
}

}  // namespace atomkit
