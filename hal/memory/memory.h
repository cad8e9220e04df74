// VMemory: the one place through which the helper library and the front end allocate.
#pragma once
#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

/// Where the memory comes from. All three operations must be set; `m_allocate` and `m_reallocate`
/// return null when there is no memory, and a failed `m_reallocate` leaves the block as it was.
struct VAllocator {
  void* (*m_allocate)(size_t bytes);
  void* (*m_reallocate)(void* p_block, size_t bytes);
  void (*m_free)(void* p_block);
};

class VMemory {
 public:
  /// Replaces the allocator (the C library's by default). A block must be freed by the allocator
  /// that made it, so this is for the start of a program or a test.
  /// @return the allocator that was set before
  static VAllocator GSetAllocator(const VAllocator& allocator) noexcept;

  /// @return a block of `bytes` bytes, aligned for any fundamental type, or null when there is no
  ///         memory; a request for 0 bytes gives a block too
  static void* GAllocate(size_t bytes) noexcept;

  /// Frees a block; null is ignored.
  static void GFree(void* p_block) noexcept;

  /// Changes the size of a block, or allocates when `p_block` is null.
  /// @return the block, perhaps moved; null when there is no memory, and the old block is kept
  static void* GReallocate(void* p_block, size_t bytes) noexcept;

  /// Like GReallocate(), but a block that can't be resized is freed.
  /// @param oldSize  size of the block in bytes; not needed by the C library's allocator
  /// @return the block, perhaps moved; null when there is no memory, and the old block is gone
  static void* GReallocateOrAllocate(void* p_block, size_t oldSize, size_t newSize) noexcept;

  /// Constructs a T in memory of its own.
  /// @return null when there is no memory; the arguments are then not used
  template <class T, class... Arguments>
  static T* GNew(Arguments&&... arguments) {
    void* block = GAllocate(sizeof(T));
    return block ? ::new (block) T(std::forward<Arguments>(arguments)...) : nullptr;
  }

  /// Destroys and frees what GNew() made; null is ignored. T must be the type that was made; an
  /// object that is known by its base class only is ended with `delete` (VHeapObject).
  template <class T>
  static void GDelete(T* p_object) noexcept {
    if (!p_object) return;
    p_object->~T();
    GFree(p_object);
  }

  /// @return room for `p_count` plain values, not initialised; null when there is no memory, or
  ///         when the size does not fit
  template <class T>
  static T* GNewArray(size_t p_count) noexcept {
    static_assert(std::is_trivial_v<T>);
    // The elements may be pointers themselves: their own size is meant.
    constexpr size_t KElementSize = sizeof(T);  // NOLINT(bugprone-sizeof-expression)
    if (p_count > static_cast<size_t>(-1) / KElementSize) return nullptr;
    return static_cast<T*>(GAllocate(p_count * KElementSize));
  }

  /// Frees what GNewArray() made; null is ignored.
  template <class T>
  static void GDeleteArray(T* p_array) noexcept {
    static_assert(std::is_trivial_v<T>);
    GFree(p_array);
  }
};

/// Base of the classes whose objects `new` may make and `delete` may end, through a base class too:
/// their `new` returns null when there is no memory, and their `delete` frees through VMemory. Adds
/// no field.
class VHeapObject {
 public:
  static void* operator new(size_t bytes) noexcept { return VMemory::GAllocate(bytes); }
  static void operator delete(void* p_block) noexcept { VMemory::GFree(p_block); }
};
