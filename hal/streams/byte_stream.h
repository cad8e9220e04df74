// The byte streams of the library, transfers that are whole or fail, and big-endian integers.
#pragma once
#include <bit>
#include <cstdint>

#include "hal/memory/memory.h"
#include "hal/streams/io_result.h"

/// Delivers bytes. Its table is that of the reader face of a host stream, so that either serves as
/// the other. `p_context` belongs to the caller (it is the host's cancel token); every adapter
/// passes it on unchanged.
class VByteReader : public VHeapObject {
 public:
  /// Slot 0. Reads up to `p_count` bytes. Fewer are not an error; they mark the end of data.
  /// @param p_done  receives the number of bytes read
  virtual VelaBase::TIOResult Read(void* p_buffer, uint32_t p_count, uint32_t* p_done,
                                   void* p_context) = 0;

  /// Slot 1. Moves up to `p_count` bytes on. @param p_done  receives the number of bytes skipped
  virtual VelaBase::TIOResult Skip(uint32_t p_count, uint32_t* p_done, void* p_context) = 0;

 protected:
  // Not in the table: an adapter adds its own virtual destructor as its last slot.
  ~VByteReader() = default;
};

/// Takes bytes. Its table is that of the writer face of a host stream.
class VByteWriter : public VHeapObject {
 public:
  /// Slot 0. Writes up to `p_count` bytes. @param p_done  receives the number of bytes written
  virtual VelaBase::TIOResult Write(const void* p_buffer, uint32_t p_count, uint32_t* p_done,
                                    void* p_context) = 0;

 protected:
  ~VByteWriter() = default;
};

/// Transfers of exactly `p_count` bytes. A failure code of the stream is returned as it is.
class VExactTransfer {
 public:
  /// @return VResult::KFailed when fewer bytes came
  static VelaBase::TIOResult GRead(VByteReader& reader, void* p_buffer, uint32_t p_count,
                                   void* p_context);

  /// @return VResult::KOutOfRange when fewer bytes were passed over
  static VelaBase::TIOResult GSkip(VByteReader& reader, uint32_t p_count, void* p_context);

  /// @return VResult::KOutOfRange when fewer bytes were taken
  static VelaBase::TIOResult GWrite(VByteWriter& writer, const void* p_buffer, uint32_t p_count,
                                    void* p_context);

  /// Reads a 32-bit big-endian integer. On failure `*p_value` is left as it was.
  static VelaBase::TIOResult GReadU32(VByteReader& reader, uint32_t* p_value, void* p_context);

  /// Writes a 32-bit big-endian integer.
  static VelaBase::TIOResult GWriteU32(VByteWriter& writer, uint32_t value, void* p_context);
};

/// Byte order of integers in memory.
class VByteOrder {
 public:
  static constexpr bool GIsLittleEndian() { return true; }
  static_assert(std::endian::native == std::endian::little);

  /// b0 b1 b2 b3 becomes b3 b2 b1 b0.
  static constexpr uint32_t GSwap(uint32_t value) {
    return value << 24 | (value & 0xFF00) << 8 | (value >> 8 & 0xFF00) | value >> 24;
  }

  /// Between the order of this system and big-endian, either way.
  static constexpr uint32_t GBigEndian(uint32_t value) { return GSwap(value); }
};
