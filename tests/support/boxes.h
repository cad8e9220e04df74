// Readable builders for the bytes of a file. Sizes fill themselves in; only the builders named
// after a claim make boxes that lie.
#pragma once
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

namespace boxes {

using Bytes = std::vector<uint8_t>;

template <class... Pieces>
void append(Bytes& all, const Pieces&... pieces) {
  (all.insert(all.end(), pieces.begin(), pieces.end()), ...);
}

template <class... Pieces>
Bytes join(const Pieces&... pieces) {
  Bytes all;
  append(all, pieces...);
  return all;
}

/// Big-endian integer of `bytes` bytes.
inline Bytes bigEndian(uint64_t value, int bytes) {
  Bytes out;
  for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8) {
    out.push_back(static_cast<uint8_t>(value >> shift));
  }
  return out;
}
inline Bytes u8(uint8_t value) { return {value}; }
inline Bytes u16(uint16_t value) { return bigEndian(value, 2); }
inline Bytes u24(uint32_t value) { return bigEndian(value, 3); }
inline Bytes u32(uint32_t value) { return bigEndian(value, 4); }
inline Bytes i32(int32_t value) { return bigEndian(static_cast<uint32_t>(value), 4); }
inline Bytes u64(uint64_t value) { return bigEndian(value, 8); }
inline Bytes zeros(size_t count) { return Bytes(count, 0); }
inline Bytes repeat(uint8_t byte, size_t count) { return Bytes(count, byte); }
inline Bytes repeated(const Bytes& piece, size_t count) {
  Bytes all;
  all.reserve(piece.size() * count);
  for (size_t i = 0; i < count; ++i) all.insert(all.end(), piece.begin(), piece.end());
  return all;
}
inline Bytes text(std::string_view characters) { return {characters.begin(), characters.end()}; }
inline Bytes raw(std::initializer_list<uint8_t> bytes) { return bytes; }

/// Version and flags of a full box.
inline Bytes full(uint8_t version, uint32_t flags = 0) { return join(u8(version), u24(flags)); }

/// A box whose size field is right. `type` is four bytes; "\xA9" "nam" is one of them.
template <class... Pieces>
Bytes box(std::string_view type, const Pieces&... pieces) {
  const Bytes payload = join(pieces...);
  return join(u32(static_cast<uint32_t>(8 + payload.size())), text(type), payload);
}

/// A box whose size field is 1 and whose 64-bit size is right.
template <class... Pieces>
Bytes largeBox(std::string_view type, const Pieces&... pieces) {
  const Bytes payload = join(pieces...);
  return join(u32(1), text(type), u64(16 + payload.size()), payload);
}

/// A box whose size field says `size`, whatever the payload is.
template <class... Pieces>
Bytes boxClaiming(uint32_t size, std::string_view type, const Pieces&... pieces) {
  return join(u32(size), text(type), pieces...);
}

/// A box with a 64-bit size field that says `size`, whatever the payload is.
template <class... Pieces>
Bytes largeBoxClaiming(uint64_t size, std::string_view type, const Pieces&... pieces) {
  return join(u32(1), text(type), u64(size), pieces...);
}

}  // namespace boxes
