#include "hal/streams/laced_stream.h"

#include <algorithm>
#include <cstring>

#include "hal/memory/assertion.h"

VelaBase::TIOResult VLacedReader::Read(void* p_buffer, uint32_t p_count, uint32_t* p_done,
                                       void* p_context) {
  auto* target = static_cast<uint8_t*>(p_buffer);
  *p_done = 0;
  while (*p_done < p_count) {
    if (m_left == 0) {
      if (m_last) break;
      uint8_t length = 0;
      uint32_t done = 0;
      const VelaBase::TIOResult result = m_inner->Read(&length, 1, &done, p_context);
      // DELIBERATE D-161: only a read that succeeds without a byte ends the data.
      if (result != VResult::KSuccess) return result;
      if (done != 1) break;
      m_left = length;
      m_last = length < VLacing::KSegmentMax;
      continue;
    }
    const uint32_t part = std::min(p_count - *p_done, m_left);
    const VelaBase::TIOResult result =
        target ? VExactTransfer::GRead(*m_inner, target + *p_done, part, p_context)
               : VExactTransfer::GSkip(*m_inner, part, p_context);
    if (result != VResult::KSuccess) return result;
    m_left -= part;
    *p_done += part;
  }
  return VResult::KSuccess;
}

VelaBase::TIOResult VLacedReader::Skip(uint32_t p_count, uint32_t* p_done, void* p_context) {
  return Read(nullptr, p_count, p_done, p_context);
}

VelaBase::TIOResult VLacedReader::SkipToEnd(void* p_context) {
  uint32_t done = 0;
  return Read(nullptr, UINT32_MAX, &done, p_context);
}

VelaBase::TIOResult VLacedReader::GSkipBlock(VByteReader& reader, void* p_context) {
  uint8_t length = 0;
  do {
    VelaBase::TIOResult result = VExactTransfer::GRead(reader, &length, 1, p_context);
    if (result == VResult::KSuccess) result = VExactTransfer::GSkip(reader, length, p_context);
    if (result != VResult::KSuccess) return result;
  } while (length == VLacing::KSegmentMax);
  return VResult::KSuccess;
}

VelaBase::TIOResult VLacedWriter::Write(const void* p_buffer, uint32_t p_count, uint32_t* p_done,
                                        void* p_context) {
  const auto* source = static_cast<const uint8_t*>(p_buffer);
  *p_done = 0;
  while (*p_done < p_count) {
    const uint32_t part = std::min(p_count - *p_done, VLacing::KSegmentMax - m_buffer_state);
    if (part) std::memcpy(m_segment + m_buffer_state, source + *p_done, part);
    m_buffer_state += part;
    *p_done += part;
    if (m_buffer_state == VLacing::KSegmentMax) {
      const VelaBase::TIOResult result = WriteSegment(p_context);
      if (result != VResult::KSuccess) return result;
    }
  }
  return VResult::KSuccess;
}

VelaBase::TIOResult VLacedWriter::Close(void* p_context) {
  if (m_closed) return VResult::KSuccess;
  m_closed = 1;
  if (m_buffer_state == VLacing::KSegmentMax) {
    // DELIBERATE D-162: a full segment whose write failed is still here, and is not the last one.
    const VelaBase::TIOResult result = WriteSegment(p_context);
    if (result != VResult::KSuccess) return result;
  }
  return WriteSegment(p_context);
}

VelaBase::TIOResult VLacedWriter::WriteSegment(void* p_context) {
  VASSERT_AT("stdhelpers", 724, m_buffer_state <= 0xFF);
  const auto length = static_cast<uint8_t>(m_buffer_state);
  VelaBase::TIOResult result = VExactTransfer::GWrite(*m_inner, &length, 1, p_context);
  if (result == VResult::KSuccess && length) {
    result = VExactTransfer::GWrite(*m_inner, m_segment, length, p_context);
  }
  // DELIBERATE D-159: a segment that could not be written stays, and the next write or close starts
  // again at its length byte, even if that byte went out before the failure. No byte that was
  // taken is lost; where the inner writer kept a part of the segment, the caller has to undo that.
  if (result == VResult::KSuccess) m_buffer_state = 0;
  return result;
}
