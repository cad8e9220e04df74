#include "hal/streams/buffered_stream.h"

#include <algorithm>
#include <cstring>

#include "hal/memory/assertion.h"

namespace {

void reserveHalving(VByteBuffer& p_staging, uint32_t size) {
  while (!p_staging.Reserve(size) && size >= 2) size /= 2;
}

// Whether a transfer is large enough to bypass a staging of `size` bytes.
bool bypasses(uint32_t p_count, uint32_t size) { return p_count > uint64_t{size} * 2; }

}  // namespace

VBufferedWriter::VBufferedWriter(VByteWriter& inner, uint32_t size) noexcept : m_inner(&inner) {
  reserveHalving(m_staging, size);
}

VelaBase::TIOResult VBufferedWriter::Write(const void* p_buffer, uint32_t p_count, uint32_t* p_done,
                                           void* p_context) {
  const uint32_t capacity = m_staging.GetCapacity();
  *p_done = 0;
  if (capacity == 0 || bypasses(p_count, capacity)) {
    VelaBase::TIOResult result = Flush(p_context);
    if (result == VResult::KSuccess) {
      result = VExactTransfer::GWrite(*m_inner, p_buffer, p_count, p_context);
    }
    if (result == VResult::KSuccess) *p_done = p_count;
    return result;
  }
  const auto* source = static_cast<const uint8_t*>(p_buffer);
  while (*p_done < p_count) {
    const uint32_t part = std::min(p_count - *p_done, capacity - m_staged);
    std::memcpy(m_staging.GetPtr() + m_staged, source + *p_done, part);
    m_staged += part;
    *p_done += part;
    if (m_staged == capacity) {
      const VelaBase::TIOResult result = Flush(p_context);
      if (result != VResult::KSuccess) return result;
    }
  }
  return VResult::KSuccess;
}

VelaBase::TIOResult VBufferedWriter::Flush(void* p_context) {
  if (m_staged == 0) return VResult::KSuccess;
  const VelaBase::TIOResult result =
      VExactTransfer::GWrite(*m_inner, m_staging.GetPtr(), m_staged, p_context);
  // DELIBERATE D-157: bytes whose write failed are dropped, so that no part of them is written
  // twice.
  m_staged = 0;
  return result;
}

VBufferedReader::VBufferedReader(VByteReader& inner, uint32_t size) noexcept : m_inner(&inner) {
  reserveHalving(m_staging, size);
}

VelaBase::TIOResult VBufferedReader::Read(void* p_buffer, uint32_t p_count, uint32_t* p_done,
                                          void* p_context) {
  auto* target = static_cast<uint8_t*>(p_buffer);
  const uint32_t capacity = m_staging.GetCapacity();
  if (capacity == 0) return Direct(target, p_count, p_done, p_context);
  if (bypasses(p_count, capacity)) {
    const uint32_t remaining = m_filled - m_consumed;
    const uint32_t todo = p_count;
    VASSERT_AT("stdhelpers", 849, remaining < todo);
    const uint32_t staged = HandOut(target, todo);
    uint32_t done = 0;
    const VelaBase::TIOResult result =
        Direct(target ? target + staged : nullptr, todo - staged, &done, p_context);
    *p_done = staged + done;
    return result;
  }
  *p_done = 0;
  while (*p_done < p_count) {
    if (m_consumed == m_filled) {
      m_consumed = 0;
      m_filled = 0;
      uint32_t filled = 0;
      const VelaBase::TIOResult result =
          m_inner->Read(m_staging.GetPtr(), capacity, &filled, p_context);
      if (result != VResult::KSuccess) return result;
      if (filled == 0) break;
      m_filled = std::min(filled, capacity);
    }
    *p_done += HandOut(target ? target + *p_done : nullptr, p_count - *p_done);
  }
  return VResult::KSuccess;
}

VelaBase::TIOResult VBufferedReader::Skip(uint32_t p_count, uint32_t* p_done, void* p_context) {
  return Read(nullptr, p_count, p_done, p_context);
}

// One call of the inner reader; no buffer means skipping.
VelaBase::TIOResult VBufferedReader::Direct(void* p_buffer, uint32_t p_count, uint32_t* p_done,
                                            void* p_context) {
  return p_buffer ? m_inner->Read(p_buffer, p_count, p_done, p_context)
                  : m_inner->Skip(p_count, p_done, p_context);
}

// Takes up to `p_count` staged bytes. @return how many
uint32_t VBufferedReader::HandOut(uint8_t* p_target, uint32_t p_count) noexcept {
  const uint32_t part = std::min(m_filled - m_consumed, p_count);
  if (p_target && part) std::memcpy(p_target, m_staging.GetPtr() + m_consumed, part);
  m_consumed += part;
  return part;
}
