// VRandomSource supplies random numbers to the helper library.
#pragma once
#include <cstdint>

class VRandomSource {
 public:
  /// Slot 0. @return any 32-bit value
  virtual uint32_t Next() = 0;
  /// Slot 1. @return a value below `p_limit`, which is not 0
  virtual uint32_t Below(uint32_t p_limit) = 0;

 protected:
  ~VRandomSource() = default;
};
