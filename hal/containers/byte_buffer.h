// VByteBuffer: a block of bytes that grows. Owns the block. Nothing throws: without memory the
// buffer is empty.
#pragma once
#include <cstdint>

class VByteBuffer {
 public:
  VByteBuffer() noexcept = default;
  VByteBuffer(const VByteBuffer& p_other) noexcept;
  /// Copies the block, but not the size that SetSize() recorded. Without memory this buffer is
  /// empty afterwards.
  VByteBuffer& operator=(const VByteBuffer& p_other) noexcept;
  ~VByteBuffer();

  /// Makes the capacity exactly `p_bytes`. Keeps as much of the content as fits; 0 frees the block.
  /// @return the block; null for 0 bytes and when there is no memory, and then the buffer is empty
  uint8_t* Reserve(uint32_t p_bytes) noexcept;

  /// Makes room for `p_bytes`: the capacity doubles until they fit, and never shrinks. Where it
  /// can't double in 32 bits it becomes `p_bytes`.
  /// @return the block; null when there is no memory, and then the buffer is empty
  uint8_t* SetSize(uint32_t p_bytes) noexcept;

  /// @return the block, or null when the buffer is empty
  uint8_t* GetPtr() noexcept { return m_data; }
  const uint8_t* GetPtr() const noexcept { return m_data; }
  /// @return bytes in the block
  uint32_t GetCapacity() const noexcept { return m_capacity; }
  /// @return bytes asked for in the last SetSize(), even if there was no memory for them
  uint32_t GetSize() const noexcept { return m_size; }

 private:
  uint8_t* m_data = nullptr;
  uint32_t m_capacity = 0;  // bytes
  uint32_t m_size = 0;      // bytes
};
static_assert(sizeof(VByteBuffer) == sizeof(void*) + 8);
