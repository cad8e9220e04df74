// BytesIn: a range of bytes that is read from its start, and refuses to give more than it has.
#pragma once
#include <cstdint>
#include <cstring>
#include <string_view>

namespace plain {

/// Thrown where the rules refuse a file or an answer.
struct Refused {};

/// Nothing is copied; the bytes outlive the range.
class BytesIn {
 public:
  BytesIn(const uint8_t* bytes, uint64_t count) : at_(bytes), left_(count) {}

  uint64_t left() const { return left_; }

  /// Big-endian, of 1 to 8 bytes.
  uint64_t number(uint64_t bytes) {
    uint64_t value = 0;
    for (const char byte : take(bytes)) value = value << 8 | static_cast<uint8_t>(byte);
    return value;
  }
  uint8_t u8() { return static_cast<uint8_t>(number(1)); }
  uint16_t u16() { return static_cast<uint16_t>(number(2)); }
  uint32_t u32() { return static_cast<uint32_t>(number(4)); }
  uint64_t u64() { return number(8); }

  std::string_view take(uint64_t count) {
    if (count > left_) throw Refused{};
    const std::string_view taken(reinterpret_cast<const char*>(at_), static_cast<size_t>(count));
    at_ += count;
    left_ -= count;
    return taken;
  }
  void skip(uint64_t count) { take(count); }
  /// The next `count` bytes as a range of their own.
  BytesIn part(uint64_t count) {
    const std::string_view taken = take(count);
    return {reinterpret_cast<const uint8_t*>(taken.data()), count};
  }

 private:
  const uint8_t* at_;
  uint64_t left_;
};

/// A box: its four-character type, and what it holds.
struct Box {
  std::string_view type;
  uint64_t headerBytes;
  uint64_t payloadBytes;
};

/// Reads a box header.
/// @return false where none begins: too few bytes, or a type with a control character
/// @throws Refused for a size that doesn't even cover the header
inline bool readHeader(BytesIn& in, Box& box) {
  if (in.left() < 8) return false;
  BytesIn start = in;
  uint64_t size = start.u32();
  box.type = start.take(4);
  for (const char c : box.type) {
    if (static_cast<uint8_t>(c) < 0x20) return false;
  }
  box.headerBytes = 8;
  if (size == 1) {
    size = start.u64();
    box.headerBytes = 16;
  }
  if (size < box.headerBytes) throw Refused{};
  box.payloadBytes = size - box.headerBytes;
  in = start;
  return true;
}

/// Gives every child of a box to `handle(type, payload)`.
/// @throws Refused where something else than a box comes, or one that is longer than what is left
template <class Handle>
void eachChild(BytesIn in, Handle&& handle) {
  while (in.left() > 0) {
    Box box;
    if (!readHeader(in, box)) throw Refused{};
    handle(box.type, in.part(box.payloadBytes));
  }
}

}  // namespace plain
