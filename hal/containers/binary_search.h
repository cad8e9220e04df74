// VBinarySearch finds a key in a sorted array whose element size is known only at run time.
#pragma once
#include <cstdint>

class VBinarySearch {
 public:
  /// Order of a key against an element: negative, 0 or positive. The key is always the first
  /// argument.
  using Compare = int32_t (*)(const void* p_key, const void* p_element);

  /// Looks for `p_key` in `p_count` elements of `p_size` bytes, sorted in rising order.
  /// @return an element that compares equal (any of several), or null
  /// Cost: at most log2 n + 1 compares.
  static void* GFind(const void* p_key, const void* p_base, uint32_t p_count, uint32_t p_size,
                     Compare p_compare);
};
