#include "hal/containers/binary_search.h"

#include <cstddef>

void* VBinarySearch::GFind(const void* p_key, const void* p_base, uint32_t p_count, uint32_t p_size,
                           Compare p_compare) {
  const auto* base = static_cast<const uint8_t*>(p_base);
  // `count` elements from index `lo` are left. The middle one is compared, of an even number the
  // lower of the two.
  uint32_t lo = 0;
  uint32_t count = p_count;
  while (count) {
    const uint32_t half = count / 2;
    const bool odd = count & 1;
    const uint32_t below = half == 0 || odd ? half : half - 1;
    const uint8_t* middle = base + size_t{lo + below} * p_size;
    const int32_t order = p_compare(p_key, middle);
    if (order == 0) return const_cast<uint8_t*>(middle);
    if (half == 0) return nullptr;
    if (order < 0) {
      count = below;
    } else {
      lo += below + 1;
      count = half;
    }
  }
  return nullptr;
}
