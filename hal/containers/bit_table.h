// Bit tables. VBitArrayBitTable works on bytes of the caller's; VBitTable owns them.
#pragma once
#include <cstdint>

#include "hal/containers/byte_buffer.h"

/// Bit i is bit i % 8 (0 is the lowest) of byte i / 8.
class VBitArrayBitTable {
 public:
  /// @return whether the bit is set
  static bool GGet(const uint8_t* p_table, uint32_t p_bit) noexcept {
    return (p_table[p_bit >> 3] >> (p_bit & 7)) & 1;
  }

  /// Sets the bit when the low 8 bits of `p_value` are not all 0, clears it otherwise.
  static void GSet(uint8_t* p_table, uint32_t p_bit, uint32_t p_value) noexcept;

  /// @return bytes that hold `p_bits` bits; 0 for the last seven counts, as the sum wraps in 32
  ///         bits
  static constexpr uint32_t GGetByteCount(uint32_t p_bits) noexcept { return (p_bits + 7) >> 3; }
};

/// A bit table with storage of its own.
class VBitTable {
 public:
  /// Makes room for exactly `p_count` bits; new ones are not initialised.
  /// @return the bytes; null for 0 bits and when there is no memory
  uint8_t* SetCount(uint32_t p_count) noexcept;

  /// @return bits asked for, even if there was no memory for them
  uint32_t GetCount() const noexcept { return m_count; }
  /// @return the bytes, or null when there are none
  uint8_t* GetPtr() noexcept { return m_bits.GetPtr(); }

  /// The bit must be below the count, and the storage there.
  bool Get(uint32_t p_bit) const noexcept {
    return VBitArrayBitTable::GGet(m_bits.GetPtr(), p_bit);
  }
  void Set(uint32_t p_bit, uint32_t p_value) noexcept {
    VBitArrayBitTable::GSet(m_bits.GetPtr(), p_bit, p_value);
  }

  /// Clears every bit.
  void Clear() noexcept;

 private:
  VByteBuffer m_bits;
  uint32_t m_count = 0;  // bits
};
