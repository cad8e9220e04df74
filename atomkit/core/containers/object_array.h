// ObjectArray: an array of objects, sized at once (chapters, chapter marks).
#pragma once
#include <cstdint>
#include <new>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/containers/memory.h"

namespace atomkit {

/// Owns its elements. There is no spare room, so a change of size copies the elements that stay. It
/// is meant for what is sized once, from a count that has a limit. T is default-constructible and
/// copy-assignable; both may throw.
template <class T>
class ObjectArray {
 public:
  ObjectArray() noexcept = default;
  ObjectArray(const ObjectArray&) = delete;
  ObjectArray& operator=(const ObjectArray&) = delete;
  ~ObjectArray() { destroyBlock(data_); }

  uint32_t count() const noexcept { return count_; }

  /// Gives the array exactly `count` elements in a new block. Those that stay are copied by
  /// assignment, new ones are default-constructed.
  /// @throws exception "out of memory when resizing array", or what a constructor or a copy throws,
  ///         leaving the array as it was
  void resize(uint32_t count) {
    if (count == count_) return;
    T* grown = count ? makeBlock(count) : nullptr;
    try {
      const uint32_t kept = count < count_ ? count : count_;
      for (uint32_t i = 0; i < kept; ++i) grown[i] = data_[i];
    } catch (...) {
      destroyBlock(grown);
      throw;
    }
    destroyBlock(data_);
    data_ = grown;
    count_ = count;
  }

  /// @throws exception "array access out of range"
  T& operator[](uint32_t index) { return data_[checkedIndex(index, count_)]; }
  const T& operator[](uint32_t index) const { return data_[checkedIndex(index, count_)]; }

 private:
  // A block begins with the number of its constructed elements, so that it can be destroyed element
  // by element; the elements follow at the next place that is aligned for them.
  static constexpr size_t kHeader = alignof(T) > alignof(uint64_t) ? alignof(T) : alignof(uint64_t);

  static T* makeBlock(uint32_t count) {
    const uint64_t bytes = kHeader + uint64_t{count} * sizeof(T);
    void* block = bytes <= SIZE_MAX ? allocate(static_cast<size_t>(bytes)) : nullptr;
    if (!block) throw exception(kOutOfMemoryInArray);
    auto* constructed = new (block) uint32_t(0);
    T* elements = static_cast<T*>(static_cast<void*>(static_cast<unsigned char*>(block) + kHeader));
    try {
      for (; *constructed < count; ++*constructed) new (elements + *constructed) T();
    } catch (...) {
      destroyBlock(elements);
      throw;
    }
    return elements;
  }

  static void destroyBlock(T* elements) noexcept {
    if (!elements) return;
    auto* constructed = static_cast<uint32_t*>(
        static_cast<void*>(reinterpret_cast<unsigned char*>(elements) - kHeader));
    while (*constructed > 0) elements[--*constructed].~T();
    release(constructed);
  }

  T* data_ = nullptr;
  uint32_t count_ = 0;
};

}  // namespace atomkit
