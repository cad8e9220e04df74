// VFilter decides by their running index which elements take part in an operation.
#pragma once
#include <cstdint>

#include "hal/memory/memory.h"

class VFilter : public VHeapObject {
 public:
  /// Slot 0. @return not 0 in its low 8 bits when the element takes part
  virtual uint32_t Test(uint32_t index) = 0;

  /// Slot 1. Finds the first of `start`, `start + step` ... (`p_count` indices, sums wrap) whose
  /// Test() equals `value` in the low 8 bits.
  /// @return that index, or `start + p_count * step` when there is none
  virtual uint32_t FindNext(uint32_t value, uint32_t start, uint32_t p_count, uint32_t step);

  /// Last slot.
  virtual ~VFilter() = default;

  /// Counts the indices from `start` to `start + length - 1` whose Test() equals `value` in the low
  /// 8 bits. Stops at `limit`.
  static uint32_t GCount(VFilter& filter, uint32_t value, uint32_t start, uint32_t length,
                         uint32_t limit);
};

/// Every element takes part.
class VAcceptAllFilter final : public VFilter {
 public:
  uint32_t Test(uint32_t index) override;
};
