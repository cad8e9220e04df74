// FourCC: the type of a box.
#pragma once
#include <cstdint>
#include <cstring>

namespace atomkit {

/// Four characters in one 32-bit word whose bytes in memory are the characters in file order, so
/// that types compare as whole words.
using FourCC = uint32_t;

/// Type from the four bytes at `bytes`, which need no alignment.
inline FourCC fourCCFrom(const uint8_t* bytes) noexcept {
  FourCC type;
  std::memcpy(&type, bytes, sizeof type);
  return type;
}

/// Type constant, for example fourCC("moov"). The word is built for a little-endian machine, the
/// only kind that the library is built for.
constexpr FourCC fourCC(const char (&text)[5]) noexcept {
  FourCC type = 0;
  for (int i = 3; i >= 0; --i) type = type << 8 | static_cast<uint8_t>(text[i]);
  return type;
}

}  // namespace atomkit
