// Alignment of addresses and sizes.
#pragma once
#include <cstdint>

class VAlignment {
 public:
  /// Next multiple of `align` at or above `value`; the sum wraps. Reports an `align` that is not a
  /// power of two.
  static uintptr_t GAlignUp(uintptr_t value, uintptr_t align) noexcept;

  /// First address at or after `p_raw` that is a multiple of `align`.
  static void* GAlignUp(void* p_raw, uintptr_t align) noexcept;
};

/// A block of VMemory and an aligned address inside it. Owns the block.
class VAlignedBlock {
 public:
  VAlignedBlock() noexcept = default;
  ~VAlignedBlock();
  VAlignedBlock(const VAlignedBlock&) = delete;
  VAlignedBlock& operator=(const VAlignedBlock&) = delete;

  /// Takes over `p_raw`, which must hold `align - 1` bytes more than are used. The block held
  /// before is not freed: `p_raw` usually is that block, resized.
  void Set(void* p_raw, uintptr_t align) noexcept;

  void* GetAligned() const noexcept { return m_aligned; }
  void* GetRaw() const noexcept { return m_raw; }

 private:
  void* m_aligned = nullptr;
  void* m_raw = nullptr;
};
