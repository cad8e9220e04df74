#include "hal/containers/byte_buffer.h"

#include <cstring>

#include "hal/memory/memory.h"

VByteBuffer::VByteBuffer(const VByteBuffer& p_other) noexcept { *this = p_other; }

VByteBuffer& VByteBuffer::operator=(const VByteBuffer& p_other) noexcept {
  if (this == &p_other) return *this;
  if (Reserve(p_other.m_capacity)) std::memcpy(m_data, p_other.m_data, m_capacity);
  return *this;
}

VByteBuffer::~VByteBuffer() { VMemory::GFree(m_data); }

uint8_t* VByteBuffer::Reserve(uint32_t p_bytes) noexcept {
  if (p_bytes == m_capacity) return m_data;
  if (p_bytes == 0) {
    VMemory::GFree(m_data);
    m_data = nullptr;
    m_capacity = 0;
    return nullptr;
  }
  // DELIBERATE D-150: without memory for the new size the old block is freed too, so that pointer
  // and capacity always agree.
  m_data = static_cast<uint8_t*>(VMemory::GReallocateOrAllocate(m_data, m_capacity, p_bytes));
  m_capacity = m_data ? p_bytes : 0;
  return m_data;
}

uint8_t* VByteBuffer::SetSize(uint32_t p_bytes) noexcept {
  m_size = p_bytes;
  if (p_bytes <= m_capacity) return m_data;
  uint32_t capacity = m_capacity ? m_capacity : 1;
  while (capacity < p_bytes) {
    // Twice a capacity of 2^31 or more would wrap to 0, and the loop would never end.
    capacity = capacity > UINT32_MAX / 2 ? p_bytes : capacity * 2;
  }
  return Reserve(capacity);
}
