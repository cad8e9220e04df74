#include "hal/streams/bounded_reader.h"

#include <algorithm>

// DELIBERATE D-109: the remaining count drops by what is asked of the inner reader, not by what it
// delivers, so a reader that came up short is not asked again for the same bytes.
uint32_t VBoundedReader::Take(uint32_t p_count) {
  const uint32_t taken = std::min(p_count, m_remaining);
  m_remaining -= taken;
  return taken;
}

VelaBase::TIOResult VBoundedReader::Read(void* p_buffer, uint32_t p_count, uint32_t* p_done,
                                         void* p_context) {
  const uint32_t taken = Take(p_count);
  if (taken > 0) return m_inner->Read(p_buffer, taken, p_done, p_context);
  *p_done = 0;
  return VResult::KSuccess;
}

VelaBase::TIOResult VBoundedReader::Skip(uint32_t p_count, uint32_t* p_done, void* p_context) {
  const uint32_t taken = Take(p_count);
  if (taken > 0) return m_inner->Skip(taken, p_done, p_context);
  *p_done = 0;
  return VResult::KSuccess;
}

VelaBase::TIOResult VBoundedReader::SkipRest(void* p_context) {
  return VExactTransfer::GSkip(*this, m_remaining, p_context);
}
