// GrowingArray: a list that is filled one element at a time, in linear time. Used where a file sets
// no limit to the number of elements.
#pragma once
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/containers/memory.h"

namespace atomkit {

/// Owns its elements. Keeps spare room, unlike the arrays that are sized once from a count in the
/// file. Elements move when the room grows, so a reference to one lasts until the next append().
template <class T>
class GrowingArray {
  static_assert(std::is_nothrow_move_constructible_v<T>);

 public:
  GrowingArray() noexcept = default;
  GrowingArray(const GrowingArray&) = delete;
  GrowingArray& operator=(const GrowingArray&) = delete;
  ~GrowingArray() { clear(); }

  uint32_t count() const noexcept { return count_; }

  /// Adds `element` at the end and returns it.
  /// @throws exception "out of memory when resizing array", leaving the array as it was
  T& append(T element) {
    if (count_ == capacity_) grow();
    T* const added = new (data_ + count_) T(std::move(element));
    ++count_;
    return *added;
  }

  /// Destroys the elements and frees the memory.
  void clear() noexcept {
    while (count_ > 0) data_[--count_].~T();
    release(data_);
    data_ = nullptr;
    capacity_ = 0;
  }

  void swap(GrowingArray& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(count_, other.count_);
    std::swap(capacity_, other.capacity_);
  }

  /// @throws exception "array access out of range"
  T& operator[](uint32_t index) { return data_[checkedIndex(index, count_)]; }
  const T& operator[](uint32_t index) const { return data_[checkedIndex(index, count_)]; }

 private:
  // Doubles the room. It begins with room for one element, as most tags have one value.
  void grow() {
    const uint64_t capacity = capacity_ ? uint64_t{capacity_} * 2 : 1;
    const uint64_t bytes = capacity * sizeof(T);
    void* block = nullptr;
    if (capacity <= UINT32_MAX && bytes <= SIZE_MAX) block = allocate(static_cast<size_t>(bytes));
    if (!block) throw exception(kOutOfMemoryInArray);
    T* grown = static_cast<T*>(block);
    for (uint32_t i = 0; i < count_; ++i) {
      new (grown + i) T(std::move(data_[i]));
      data_[i].~T();
    }
    release(data_);
    data_ = grown;
    capacity_ = static_cast<uint32_t>(capacity);
  }

  T* data_ = nullptr;
  uint32_t count_ = 0;
  uint32_t capacity_ = 0;
};

}  // namespace atomkit
