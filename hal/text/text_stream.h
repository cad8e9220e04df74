// VTextStream: counted UTF-8 text in byte streams.
//   u32 byte count (big-endian), then that many bytes of UTF-8, without a terminator
#pragma once
#include <cstdint>

#include "hal/streams/byte_stream.h"
#include "hal/text/text_codec.h"

class VString;

/// The bytes on their way from a stream to a string: filled at the end, consumed at the front.
class VTextStage {
 public:
  /// @param p_bytes  borrowed; at least VTextCodec::KUTF8MaxLength bytes
  VTextStage(uint8_t* p_bytes, uint32_t capacity) noexcept
      : m_bytes(p_bytes), m_capacity(capacity) {}

  const uint8_t* GetBytes() const { return m_bytes + m_consumed; }
  /// Bytes that are filled and not consumed.
  uint32_t GetCount() const { return m_fill - m_consumed; }
  /// Bytes that Fill() can take at most.
  uint32_t GetRoom() const { return m_capacity - GetCount(); }

  /// Moves what is left to the front, and adds `p_count` bytes of `reader` or none.
  VelaBase::TIOResult Fill(VByteReader& reader, uint32_t p_count, void* p_context);

  /// More than is there is reported, and consumes what is there.
  void Consume(uint32_t p_count) noexcept;

 private:
  uint8_t* m_bytes;
  uint32_t m_capacity;
  uint32_t m_fill = 0;
  uint32_t m_consumed = 0;
};

class VTextStream {
 public:
  /// Size of the staging array between a stream and a string.
  static constexpr uint32_t KStageBytes = 128;

  /// Writes a text; it and its maximum are as in VWideText. @return the first failure of `writer`
  static VelaBase::TIOResult GWriteUtf8(VByteWriter& writer, const char16_t* text, uint32_t maximum,
                                        void* p_context);

  /// Reads a text into `target`, in place of what it held. Continuation bytes are not checked, nor
  /// are the last five bytes; what bad ones cost says D-105.
  /// @return the first failure of `reader`, or VResult::KOutOfRange at a byte that can't begin a
  ///         sequence; `target` is then empty
  static VelaBase::TIOResult GReadUtf8(VByteReader& reader, VString& target, void* p_context);

  // The same with the caller's staging array. One of VTextCodec::KUTF8MaxLength bytes or fewer is
  // reported. A smaller one can't hold every sequence: the result is VResult::KFailed, the stream
  // is not touched, and the target of a read is emptied.
  static VelaBase::TIOResult GWriteUtf8Staged(uint8_t* p_stage, uint32_t p_stageBytes,
                                              VByteWriter& writer, const char16_t* text,
                                              uint32_t maximum, void* p_context);
  static VelaBase::TIOResult GReadUtf8Staged(uint8_t* p_stage, uint32_t p_stageBytes,
                                             VByteReader& reader, VString& target, void* p_context);
};
