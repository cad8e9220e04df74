// VBlockPool: aligned blocks that are kept for reuse. The pool is a VList whose records describe
// the blocks; the owner of the list frees the raw blocks in the end.
#pragma once
#include <cstdint>

#include "hal/containers/list.h"

/// One block of a pool, as its record describes it.
struct VBlockRecord {
  void* m_aligned;      ///< the address that was handed out
  void* m_raw;          ///< block of VMemory that holds it
  uint32_t m_raw_size;  ///< bytes
  uint8_t m_in_use;     ///< not 0 between Acquire() and Release()

  /// From and to a list's record. With 32-bit pointers the record is this struct. Two 64-bit ones
  /// would not fit, so there it holds the raw pointer (64 bits), the raw size (32 bits) and a word
  /// with the distance from m_raw to m_aligned (31 bits) and the in-use flag (the top bit).
  static VBlockRecord GUnpack(const VRecord& p_record) noexcept;
  VRecord Pack() const noexcept;
};
static_assert(sizeof(VBlockRecord) == 2 * sizeof(void*) + 8);

class VBlockPool {
 public:
  /// Hands out a block of at least `size` bytes whose address is a multiple of `align` (a power of
  /// two): a free one of the pool if there is any, otherwise a new one. The content is not
  /// initialised.
  /// @return null when there is no memory; the pool is then as it was
  static void* GAcquire(VList& list, uint32_t size, uint32_t align);

  /// Takes a block back, for reuse. @return false when no block in use has this address
  static bool GRelease(VList& list, const void* p_aligned);
};
