// Streams over a block of the caller's memory.
#pragma once
#include <cstdint>

#include "hal/streams/byte_stream.h"

/// Reads the bytes of a block in order.
class VMemoryReader final : public VByteReader {
 public:
  /// @param p_data  borrowed
  VMemoryReader(const void* p_data, uint32_t size) noexcept
      : m_data(static_cast<const uint8_t*>(p_data)), m_size(size) {}
  virtual ~VMemoryReader() = default;

  VelaBase::TIOResult Read(void* p_buffer, uint32_t p_count, uint32_t* p_done,
                           void* p_context) override;
  VelaBase::TIOResult Skip(uint32_t p_count, uint32_t* p_done, void* p_context) override;

  uint32_t GetPosition() const { return m_position; }

 private:
  const uint8_t* m_data;
  uint32_t m_size;          // bytes
  uint32_t m_position = 0;  // bytes, at most m_size
};

/// Writes into a block in order. Takes no more bytes than fit.
class VMemoryWriter final : public VByteWriter {
 public:
  /// @param p_data  borrowed
  VMemoryWriter(void* p_data, uint32_t size) noexcept
      : m_data(static_cast<uint8_t*>(p_data)), m_size(size) {}
  virtual ~VMemoryWriter() = default;

  VelaBase::TIOResult Write(const void* p_buffer, uint32_t p_count, uint32_t* p_done,
                            void* p_context) override;

  uint32_t GetPosition() const { return m_position; }

 private:
  uint8_t* m_data;
  uint32_t m_size;          // bytes
  uint32_t m_position = 0;  // bytes, at most m_size
};
