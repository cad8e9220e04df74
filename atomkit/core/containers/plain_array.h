// PlainArray: a sized array of raw values (bytes, 32-bit or 64-bit words).
#pragma once
#include <cstdint>
#include <type_traits>
#include <utility>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/containers/memory.h"

namespace atomkit {

/// Owns its elements, which are not initialised. A resize takes exactly the room that it needs.
template <class T>
class PlainArray {
  static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

 public:
  PlainArray() noexcept = default;
  PlainArray(const PlainArray&) = delete;
  PlainArray& operator=(const PlainArray&) = delete;
  ~PlainArray() { release(data_); }

  uint32_t count() const noexcept { return count_; }

  /// Gives the array exactly `count` uninitialised elements and drops the old ones. The count that
  /// it has already changes nothing.
  /// @throws exception "out of memory when resizing array", leaving the array empty
  void resize(uint32_t count) {
    if (count == count_) return;
    release(data_);
    data_ = nullptr;
    count_ = 0;
    if (count == 0) return;
    const uint64_t bytes = uint64_t{count} * sizeof(T);
    if (bytes <= SIZE_MAX) data_ = static_cast<T*>(allocate(static_cast<size_t>(bytes)));
    if (!data_) throw exception(kOutOfMemoryInArray);
    count_ = count;
  }

  /// Drops the elements from `count` on; does nothing when there are none. The block keeps its size
  /// unless no element is left.
  void truncate(uint32_t count) noexcept {
    if (count >= count_) return;
    count_ = count;
    if (count > 0) return;
    release(data_);
    data_ = nullptr;
  }

  /// Replaces the contents with a block of allocate() that holds `count` elements.
  void adopt(T* block, uint32_t count) noexcept {
    release(data_);
    data_ = block;
    count_ = count;
  }

  void swap(PlainArray& other) noexcept {
    std::swap(data_, other.data_);
    std::swap(count_, other.count_);
  }

  /// @throws exception "array access out of range"
  T& operator[](uint32_t index) { return data_[checkedIndex(index, count_)]; }
  const T& operator[](uint32_t index) const { return data_[checkedIndex(index, count_)]; }

  /// The storage as a whole, for readers that fill it in one transfer; null when empty.
  T* data() noexcept { return data_; }
  const T* data() const noexcept { return data_; }

 private:
  T* data_ = nullptr;
  uint32_t count_ = 0;
};

using ByteArray = PlainArray<uint8_t>;

}  // namespace atomkit
