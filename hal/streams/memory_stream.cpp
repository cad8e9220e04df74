#include "hal/streams/memory_stream.h"

#include <algorithm>
#include <cstring>

VelaBase::TIOResult VMemoryReader::Read(void* p_buffer, uint32_t p_count, uint32_t* p_done,
                                        void* p_context) {
  const uint8_t* from = m_data + m_position;
  const VelaBase::TIOResult result = Skip(p_count, p_done, p_context);
  if (*p_done > 0) std::memcpy(p_buffer, from, *p_done);
  return result;
}

VelaBase::TIOResult VMemoryReader::Skip(uint32_t p_count, uint32_t* p_done, void*) {
  *p_done = std::min(m_size - m_position, p_count);
  m_position += *p_done;
  return VResult::KSuccess;
}

VelaBase::TIOResult VMemoryWriter::Write(const void* p_buffer, uint32_t p_count, uint32_t* p_done,
                                         void*) {
  *p_done = std::min(m_size - m_position, p_count);
  if (*p_done > 0) std::memcpy(m_data + m_position, p_buffer, *p_done);
  m_position += *p_done;
  return VResult::KSuccess;
}
