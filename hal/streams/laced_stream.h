// Laced streams: a byte stream cut into segments, so that its end can be told without its length.
//   { u8 length, length bytes } ...; a segment of fewer than 255 bytes is the last one, so data of
//   a multiple of 255 bytes end with an empty segment.
#pragma once
#include <cstdint>

#include "hal/streams/byte_stream.h"

/// What both ends of a laced stream agree on.
class VLacing {
 public:
  /// Bytes of a full segment: one that another follows.
  static constexpr uint32_t KSegmentMax = 255;
};

/// Delivers the bytes of one laced stream; behind its last segment, none. Borrows the inner reader
/// and takes no byte from behind the last segment.
class VLacedReader final : public VByteReader {
 public:
  explicit VLacedReader(VByteReader& inner) noexcept : m_inner(&inner) {}

  /// A missing length byte ends the data without a failure; a segment that is cut short fails like
  /// an exact transfer. `*p_done` counts what came before a failure, too.
  VelaBase::TIOResult Read(void* p_buffer, uint32_t p_count, uint32_t* p_done,
                           void* p_context) override;
  VelaBase::TIOResult Skip(uint32_t p_count, uint32_t* p_done, void* p_context) override;
  virtual ~VLacedReader() = default;

  /// Passes over what is left, up to 4 GiB.
  VelaBase::TIOResult SkipToEnd(void* p_context);

  /// Passes over one whole laced stream on a plain reader. A missing length byte fails.
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
  /// before a failure, too; the next write, or Close(), writes the failed segment again, whole.
  VelaBase::TIOResult Write(const void* p_buffer, uint32_t p_count, uint32_t* p_done,
                            void* p_context) override;
  /// Does not close: that can fail.
  virtual ~VLacedWriter() = default;

  /// Writes the last segment; before it a full one, if that failed when it was written. Further
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
