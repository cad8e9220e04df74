// VSort sorts arrays whose element size is known only at run time. In place and not stable. Which
// elements are compared and swapped, and when, is part of the contract: a caller's swap may move
// more than the array.
#pragma once
#include <cstdint>

class VSort {
 public:
  /// Order of two elements: negative, 0 or positive.
  using Compare = int32_t (*)(const void* p_left, const void* p_right);
  /// Exchanges two elements of `p_size` bytes.
  using Swap = void (*)(void* p_left, void* p_right, uint32_t p_size);

  /// Sorts `p_count` elements of `p_size` bytes in rising order. Does nothing for fewer than two
  /// elements or a size of 0.
  /// Cost: less than 2 n log2 n compares on random, rising and falling keys and when all are equal;
  /// quadratic when few different keys are mixed. Needs no heap.
  static void GSort(void* p_base, uint32_t p_count, uint32_t p_size, Compare p_compare,
                    Swap p_swap = &GSwapBytes);

  /// The default swap: exchanges the bytes one by one; does nothing for equal addresses or a size
  /// of 0.
  static void GSwapBytes(void* p_left, void* p_right, uint32_t p_size);
};
