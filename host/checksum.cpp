#include "host/checksum.h"

#include <array>

namespace velahost {
namespace {

constexpr std::array<uint32_t, 256> makeTable() {
  std::array<uint32_t, 256> table{};
  for (uint32_t i = 0; i < 256; ++i) {
    uint32_t value = i;
    for (int bit = 0; bit < 8; ++bit) value = value & 1 ? value >> 1 ^ 0xedb88320u : value >> 1;
    table[i] = value;
  }
  return table;
}

constexpr std::array<uint32_t, 256> kTable = makeTable();

}  // namespace

uint32_t crc32(const uint8_t* bytes, size_t count) {
  uint32_t value = 0xffffffff;
  for (size_t i = 0; i < count; ++i) value = value >> 8 ^ kTable[(value ^ bytes[i]) & 0xff];
  return ~value;
}

}  // namespace velahost
