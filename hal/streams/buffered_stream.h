// Buffered streams turn many small transfers into few large ones. Transfers of more than twice the
// staging bypass it.
#pragma once
#include <cstdint>

#include "hal/containers/byte_buffer.h"
#include "hal/streams/byte_stream.h"

/// Borrows the inner writer. Must be flushed before the inner writer is used or destroyed.
class VBufferedWriter final : public VByteWriter {
 public:
  /// @param size  bytes of staging; halved until there is memory for them. Without any, every write
  ///        goes straight to the inner writer, one of no bytes too.
  VBufferedWriter(VByteWriter& inner, uint32_t size) noexcept;

  /// Takes all bytes. `*p_done` counts what was taken before a failure, too.
  VelaBase::TIOResult Write(const void* p_buffer, uint32_t p_count, uint32_t* p_done,
                            void* p_context) override;
  /// Frees the staging; what was not flushed is lost.
  virtual ~VBufferedWriter() = default;

  /// Writes what is staged. Nothing is staged afterwards, even when that failed.
  VelaBase::TIOResult Flush(void* p_context);

  uint32_t GetStagingSize() const noexcept { return m_staging.GetCapacity(); }

 private:
  VByteWriter* m_inner;
  VByteBuffer m_staging;
  uint32_t m_staged = 0;  // bytes
};
static_assert(sizeof(VBufferedWriter) == 4 * sizeof(void*) + 8);

/// Borrows the inner reader, and reads ahead by less than the staging.
class VBufferedReader final : public VByteReader {
 public:
  /// @param size  bytes of staging; halved until there is memory for them. Without any, every read
  ///        goes straight to the inner reader.
  VBufferedReader(VByteReader& inner, uint32_t size) noexcept;

  /// Delivers all bytes, or fewer at the end of the data. `*p_done` counts what came before a
  /// failure, too.
  VelaBase::TIOResult Read(void* p_buffer, uint32_t p_count, uint32_t* p_done,
                           void* p_context) override;
  VelaBase::TIOResult Skip(uint32_t p_count, uint32_t* p_done, void* p_context) override;
  virtual ~VBufferedReader() = default;

  uint32_t GetStagingSize() const noexcept { return m_staging.GetCapacity(); }

 private:
  VelaBase::TIOResult Direct(void* p_buffer, uint32_t p_count, uint32_t* p_done, void* p_context);
  uint32_t HandOut(uint8_t* p_target, uint32_t p_count) noexcept;

  VByteReader* m_inner;
  VByteBuffer m_staging;
  uint32_t m_filled = 0;    // bytes
  uint32_t m_consumed = 0;  // bytes, at most m_filled
};
static_assert(sizeof(VBufferedReader) == 3 * sizeof(void*) + 16);
