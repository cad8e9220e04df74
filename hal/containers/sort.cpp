#include "hal/containers/sort.h"

#include <cstddef>
#include <utility>

namespace {

// Ranges of this many elements or fewer are sorted by selection.
constexpr uint32_t KSelectionMax = 8;

// The larger part of a split always waits, so the part being sorted at least halves each time: 2^32
// elements are down to KSelectionMax with no more than 29 parts waiting.
constexpr uint32_t KStackSize = 30;

// The array being sorted. Elements are named by their index: the split would otherwise form an
// address before the base, which a pointer must not hold.
struct SortedArray {
  uint8_t* m_base;
  uint32_t m_size;
  VSort::Compare m_compare;
  VSort::Swap m_swap;

  uint8_t* At(uint32_t p_index) const { return m_base + size_t{p_index} * m_size; }
  int32_t Compare(uint32_t p_left, uint32_t p_right) const {
    return m_compare(At(p_left), At(p_right));
  }
  void Swap(uint32_t p_left, uint32_t p_right) const { m_swap(At(p_left), At(p_right), m_size); }
};

// A range of elements, both ends inside.
struct SortRange {
  uint32_t m_lo;
  uint32_t m_hi;
};

void SelectionSort(const SortedArray& p_array, SortRange p_range) {
  for (; p_range.m_hi > p_range.m_lo; --p_range.m_hi) {
    uint32_t largest = p_range.m_lo;
    for (uint32_t index = p_range.m_lo + 1; index <= p_range.m_hi; ++index) {
      if (p_array.Compare(index, largest) > 0) largest = index;
    }
    p_array.Swap(largest, p_range.m_hi);
  }
}

// Where a split ended: `m_pivot` is in its final place. Elements between it and `m_right` equal it;
// from `m_right` on none is smaller.
struct SortSplit {
  uint32_t m_pivot;
  uint32_t m_right;
};

// DELIBERATE D-158: neither side stops at elements equal to the pivot. With few different keys a
// split therefore takes off only those at one end, and the sort is quadratic.
SortSplit Split(const SortedArray& p_array, SortRange p_range) {
  const uint32_t lo = p_range.m_lo;
  const uint32_t hi = p_range.m_hi;
  p_array.Swap(lo + (hi - lo + 1) / 2, lo);
  uint32_t left = lo;
  uint32_t right = hi + 1;
  for (;;) {
    do ++left;
    while (left <= hi && p_array.Compare(left, lo) <= 0);
    do --right;
    while (right > lo && p_array.Compare(right, lo) >= 0);
    if (right < left) break;
    p_array.Swap(left, right);
  }
  p_array.Swap(lo, right);
  return {right, left};
}

}  // namespace

void VSort::GSort(void* p_base, uint32_t p_count, uint32_t p_size, Compare p_compare, Swap p_swap) {
  if (p_count < 2 || p_size == 0) return;
  const SortedArray array = {static_cast<uint8_t*>(p_base), p_size, p_compare, p_swap};
  SortRange waiting[KStackSize];
  uint32_t depth = 0;
  SortRange range = {0, p_count - 1};
  for (;;) {
    if (range.m_hi - range.m_lo + 1 > KSelectionMax) {
      const SortSplit split = Split(array, range);
      const uint32_t leftCount = split.m_pivot - range.m_lo;
      const uint32_t rightCount = range.m_hi + 1 - split.m_right;
      // The end of an empty left part may wrap; parts of fewer than two elements are not used.
      const SortRange left = {range.m_lo, split.m_pivot - 1};
      const SortRange right = {split.m_right, range.m_hi};
      if (leftCount < rightCount) {
        if (rightCount > 1) waiting[depth++] = right;
        if (leftCount > 1) {
          range = left;
          continue;
        }
      } else {
        if (leftCount > 1) waiting[depth++] = left;
        if (rightCount > 1) {
          range = right;
          continue;
        }
      }
    } else {
      SelectionSort(array, range);
    }
    if (depth == 0) return;
    range = waiting[--depth];
  }
}

void VSort::GSwapBytes(void* p_left, void* p_right, uint32_t p_size) {
  if (p_left == p_right) return;
  auto* left = static_cast<uint8_t*>(p_left);
  auto* right = static_cast<uint8_t*>(p_right);
  for (uint32_t index = 0; index < p_size; ++index) std::swap(left[index], right[index]);
}
