// VBlockPool: aligned blocks that are kept for reuse. The pool is a VList whose records describe
// the blocks; whoever owns the list frees the raw blocks when it is done with them.
#pragma once
#include <cstdint>

#include "hal/containers/list.h"

/// One block of a pool, as its record tells.
struct VBlockRecord {
  void* m_aligned;      ///< what the user of the block has
  void* m_raw;          ///< block of VMemory; holds m_aligned
  uint32_t m_raw_size;  ///< bytes
  uint8_t m_in_use;     ///< not 0 between Acquire() and Release()

  /// Out of a list's record and into one. With 32-bit pointers the record is this struct. Wider
  /// pointers would not fit: there it holds the raw pointer (64 bits), the raw size (32 bits), and
  /// a word with the distance from m_raw to m_aligned (31 bits) and the in-use flag (the top bit).
  static VBlockRecord GUnpack(const VRecord& p_record) noexcept;
  VRecord Pack() const noexcept;
};
static_assert(sizeof(VBlockRecord) == 2 * sizeof(void*) + 8);

class VBlockPool {
 public:
  /// Hands out a block of at least `size` bytes whose address is a multiple of `align` (a power of
  /// two): one of the pool that is not in use when there is any, otherwise a new one. The content
  /// is not initialised.
  /// @return null when there is no memory; the pool is then as it was
  static void* GAcquire(VList& list, uint32_t size, uint32_t align);

  /// Takes a block back, for reuse. @return false when no block in use has this address
  static bool GRelease(VList& list, const void* p_aligned);
};
