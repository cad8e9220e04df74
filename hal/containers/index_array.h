// VIndexArray: an array of 32-bit indices, most often a permutation. Operations that need only the
// entries are static.
#pragma once
#include <cstdint>

#include "hal/containers/byte_buffer.h"

class VRandomSource;

class VIndexArray {
 public:
  /// Selects the constructor that fills the array with 0, 1, ... `m_count` - 1.
  struct MakeIdentity {
    uint32_t m_count;
  };

  VIndexArray() noexcept = default;
  /// Reports "ptr" and stays empty when there is no memory, and for a count of 0.
  explicit VIndexArray(MakeIdentity p_identity) noexcept;

  uint32_t GetCount() const noexcept { return m_buffer.GetCapacity() / KEntrySize; }

  /// Makes room for exactly `p_count` entries (the size in bytes wraps at 32 bits); new ones are
  /// not initialised.
  /// @return the entries; null for a count of 0 and when there is no memory: the array is then
  /// empty
  uint32_t* SetCount(uint32_t p_count) noexcept;

  /// @return the entries, or null when there are none
  uint32_t* GetPtr() noexcept {
    return static_cast<uint32_t*>(static_cast<void*>(m_buffer.GetPtr()));
  }

  /// Exchanges two entries. An index out of range is reported, and nothing is exchanged.
  /// @return the old entry at `index1`, or 0 when nothing was exchanged
  uint32_t Swap(uint32_t index1, uint32_t index2) noexcept;

  /// Finds the place of the value `p_index` in a permutation.
  /// @param p_permutation  a bijection of 0 ... n-1; with anything else the search may never end
  /// @return the j with `p_permutation[j] == p_index`
  /// Cost: the length of the cycle that holds `p_index`.
  static uint32_t GFindInverse(const uint32_t* p_permutation, uint32_t p_index) noexcept;

  /// Fills `p_entries` with 0 ... `p_count` - 1 in random order. @return `p_count`
  static uint32_t GShuffle(uint32_t* p_entries, uint32_t p_count, VRandomSource& p_random);

 private:
  static constexpr uint32_t KEntrySize = sizeof(uint32_t);

  VByteBuffer m_buffer;
};
