// Laced streams: bytes cut into segments, so that a reader finds their end without knowing their
// length.
//   { u8 length, length bytes } ...; a segment of fewer than 255 bytes is the last one, so a
//   multiple of 255 bytes ends with an empty segment.
#pragma once
#include <cstdint>

#include "hal/streams/byte_stream.h"

/// The format, which reader and writer share.
class VLacing {
 public:
  /// Bytes of a full segment, which another one follows.
  static constexpr uint32_t KSegmentMax = 255;
};

/// Delivers the bytes of one laced stream, and none after its last segment. Borrows the inner
/// reader and takes no byte beyond that segment.
class VLacedReader final : public VByteReader {
 public:
  explicit VLacedReader(VByteReader& inner) noexcept : m_inner(&inner) {}

  /// A stream that ends before a length byte ends the data with success. A failed read of a length
  /// byte returns its code, and a segment that is cut short fails like an exact transfer. `*p_done`
  /// counts what came before a failure, too.
  VelaBase::TIOResult Read(void* p_buffer, uint32_t p_count, uint32_t* p_done,
                           void* p_context) override;
  VelaBase::TIOResult Skip(uint32_t p_count, uint32_t* p_done, void* p_context) override;
  virtual ~VLacedReader() = default;

  /// Skips what is left, up to 4 GiB.
  VelaBase::TIOResult SkipToEnd(void* p_context);

  /// Skips one whole laced stream on a plain reader. Here a missing length byte is a failure.
  static VelaBase::TIOResult GSkipBlock(VByteReader& reader, void* p_context);

 private:
  VByteReader* m_inner;
  uint32_t m_left = 0;  // bytes of the current segment
  uint8_t m_last = 0;   // not 0 once the current segment is the last one
};
static_assert(sizeof(VLacedReader) == 2 * sizeof(void*) + 8);

/// Writes one laced stream. Borrows the inner writer. Must be closed once after the last write.
class VLacedWriter final : public VByteWriter {
 public:
  explicit VLacedWriter(VByteWriter& inner) noexcept : m_inner(&inner) {}

  /// Takes all bytes; full segments go to the inner writer at once. `*p_done` counts what was taken
  /// before a failure, too. The next write, or Close(), writes the whole failed segment again.
  VelaBase::TIOResult Write(const void* p_buffer, uint32_t p_count, uint32_t* p_done,
                            void* p_context) override;
  /// Does not close, because that can fail.
  virtual ~VLacedWriter() = default;

  /// Writes a full segment that failed before, if there is one, and then the last segment. Further
  /// calls do nothing, even when this one failed.
  VelaBase::TIOResult Close(void* p_context);

 private:
  VelaBase::TIOResult WriteSegment(void* p_context);

  VByteWriter* m_inner;
  uint32_t m_buffer_state = 0;  // bytes in the segment buffer
  uint8_t m_segment[VLacing::KSegmentMax];
  uint8_t m_closed = 0;
};
static_assert(sizeof(VLacedWriter) == 2 * sizeof(void*) + 4 + 255 + 1 + (sizeof(void*) - 4));
