// SegmentedArray: a list that is filled one element at a time and keeps little spare room, however
// long it grows.
#pragma once
#include <bit>
#include <cstdint>
#include <new>
#include <type_traits>
#include <utility>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/containers/growing_array.h"
#include "atomkit/core/containers/memory.h"

namespace atomkit {

/// Owns its elements. The first segment doubles until it holds kSegment elements; after that every
/// further segment has room for as many, and no element moves any more. So a long list never holds
/// its elements twice, as one block that doubles does while it grows. A reference to an element
/// lasts until the next append().
template <class T>
class SegmentedArray {
  static_assert(std::is_nothrow_move_constructible_v<T>);

 public:
  /// Elements of a full segment.
  static constexpr uint32_t kSegment = 64;

  SegmentedArray() noexcept = default;
  SegmentedArray(const SegmentedArray&) = delete;
  SegmentedArray& operator=(const SegmentedArray&) = delete;
  ~SegmentedArray() { clear(); }

  uint32_t count() const noexcept { return count_; }

  /// Adds `element` at the end and returns it.
  /// @throws exception "out of memory when resizing array", leaving the array as it was
  T& append(T element) {
    if (count_ < kSegment) {
      if (count_ == 0 || std::has_single_bit(count_)) growFirst();
    } else if (count_ % kSegment == 0) {
      addSegment();
    }
    T* const added = new (place(count_)) T(std::move(element));
    ++count_;
    return *added;
  }

  /// Destroys the elements and frees the memory.
  void clear() noexcept {
    while (count_ > 0) place(--count_)->~T();
    release(first_);
    first_ = nullptr;
    further_.clear();
  }

  void swap(SegmentedArray& other) noexcept {
    std::swap(first_, other.first_);
    std::swap(count_, other.count_);
    further_.swap(other.further_);
  }

  /// @throws exception "array access out of range"
  T& operator[](uint32_t index) { return *place(checkedIndex(index, count_)); }
  const T& operator[](uint32_t index) const { return *place(checkedIndex(index, count_)); }

 private:
  // A full segment in memory of its own.
  class Segment {
   public:
    explicit Segment(T* elements) noexcept : elements_(elements) {}
    Segment(Segment&& other) noexcept : elements_(std::exchange(other.elements_, nullptr)) {}
    Segment& operator=(Segment&&) = delete;
    ~Segment() { release(elements_); }
    T* elements() const noexcept { return elements_; }

   private:
    T* elements_;
  };

  static T* room(uint32_t elements) {
    void* const block = allocate(size_t{elements} * sizeof(T));
    if (!block) throw exception(kOutOfMemoryInArray);
    return static_cast<T*>(block);
  }

  void growFirst() {
    T* const grown = room(count_ == 0 ? 1 : 2 * count_);
    for (uint32_t i = 0; i < count_; ++i) {
      new (grown + i) T(std::move(first_[i]));
      first_[i].~T();
    }
    release(first_);
    first_ = grown;
  }

  void addSegment() { further_.append(Segment(room(kSegment))); }

  T* place(uint32_t index) const {
    if (index < kSegment) return first_ + index;
    return further_[index / kSegment - 1].elements() + index % kSegment;
  }

  T* first_ = nullptr;
  uint32_t count_ = 0;
  GrowingArray<Segment> further_;
};

}  // namespace atomkit
