// FourCC: the type of a box.
#pragma once
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

namespace atomkit {

/// Four characters in one 32-bit word, which holds them in memory in file order. Types compare as
/// whole words.
using FourCC = uint32_t;

/// Type from the four bytes at `bytes`, which need no alignment.
inline FourCC fourCCFrom(const uint8_t* bytes) noexcept {
  FourCC type;
  std::memcpy(&type, bytes, sizeof type);
  return type;
}

/// Type constant, for example fourCC("moov").
constexpr FourCC fourCC(const char (&text)[5]) noexcept {
  return std::bit_cast<FourCC>(std::array{text[0], text[1], text[2], text[3]});
}

}  // namespace atomkit
