// VBoundedReader lets a caller read no more than the next so many bytes of another reader.
#pragma once
#include <cstdint>

#include "hal/streams/byte_stream.h"

class VBoundedReader final : public VByteReader {
 public:
  /// @param inner  borrowed
  /// @param remaining  bytes that may be taken from `inner`
  VBoundedReader(VByteReader& inner, uint32_t remaining) noexcept
      : m_inner(&inner), m_remaining(remaining) {}
  virtual ~VBoundedReader() = default;

  VelaBase::TIOResult Read(void* p_buffer, uint32_t p_count, uint32_t* p_done,
                           void* p_context) override;
  VelaBase::TIOResult Skip(uint32_t p_count, uint32_t* p_done, void* p_context) override;

  uint32_t GetRemaining() const { return m_remaining; }

  /// Skips all that remains. @return VResult::KOutOfRange when the inner reader skips fewer bytes
  VelaBase::TIOResult SkipRest(void* p_context);

 private:
  uint32_t Take(uint32_t p_count);

  VByteReader* m_inner;
  uint32_t m_remaining;  // bytes
};
