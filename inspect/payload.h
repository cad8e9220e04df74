// Payload: the bytes of a box, read value by value.
#pragma once
#include <cstdint>
#include <string>

#include "inspect/file.h"

namespace inspect {

/// Reads big-endian values up to an end. What is not there reads as 0 and is noted, so that the
/// fields of a box that ends too early can still be told as far as they go.
class Payload {
 public:
  /// @param file  borrowed
  Payload(File& file, uint64_t start, uint64_t end) : file_(file), position_(start), end_(end) {}

  uint64_t position() const { return position_; }
  uint64_t left() const { return end_ - position_; }
  /// Whether a value was asked for that is not wholly there.
  bool isShort() const { return short_; }

  uint8_t u8() { return static_cast<uint8_t>(number(1)); }
  uint16_t u16() { return static_cast<uint16_t>(number(2)); }
  uint32_t u24() { return static_cast<uint32_t>(number(3)); }
  uint32_t u32() { return static_cast<uint32_t>(number(4)); }
  uint64_t u64() { return number(8); }
  /// A 32-bit or, in a box of version 1, a 64-bit value.
  uint64_t word(uint8_t version) { return version == 1 ? u64() : u32(); }
  /// The next `count` bytes, or as many as are left.
  std::string bytes(uint64_t count);
  void skip(uint64_t count);
  /// Length of an MPEG-4 descriptor: up to four bytes of seven bits.
  uint32_t descriptorLength();

 private:
  uint64_t number(size_t bytes);

  File& file_;
  uint64_t position_;
  uint64_t end_;
  bool short_ = false;
};

}  // namespace inspect
