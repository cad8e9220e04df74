#include "hal/memory/alignment.h"

#include "hal/memory/assertion.h"
#include "hal/memory/memory.h"

uintptr_t VAlignment::GAlignUp(uintptr_t value, uintptr_t align) noexcept {
  const uintptr_t align_mask = align - 1;
  VASSERT_AT("stdhelpers", 1483, (align_mask & align) == 0);
  return (value + align_mask) & (0 - align);
}

void* VAlignment::GAlignUp(void* p_raw, uintptr_t align) noexcept {
  return reinterpret_cast<void*>(GAlignUp(reinterpret_cast<uintptr_t>(p_raw), align));
}

VAlignedBlock::~VAlignedBlock() { VMemory::GFree(m_raw); }

void VAlignedBlock::Set(void* p_raw, uintptr_t align) noexcept {
  m_raw = p_raw;
  m_aligned = VAlignment::GAlignUp(p_raw, align);
}
