#include "hal/containers/filter.h"

uint32_t VFilter::FindNext(uint32_t value, uint32_t start, uint32_t p_count, uint32_t step) {
  const auto wanted = static_cast<uint8_t>(value);
  for (; p_count > 0; --p_count, start += step) {
    if (static_cast<uint8_t>(Test(start)) == wanted) break;
  }
  return start;
}

uint32_t VFilter::GCount(VFilter& filter, uint32_t value, uint32_t start, uint32_t length,
                         uint32_t limit) {
  uint32_t matches = 0;
  while (matches < limit) {
    const uint32_t passed = filter.FindNext(value, start, length, 1) - start;
    if (passed >= length) break;
    ++matches;
    start += passed + 1;
    length -= passed + 1;
  }
  return matches;
}

uint32_t VAcceptAllFilter::Test(uint32_t) { return 1; }
