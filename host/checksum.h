// CRC-32 as in Ethernet, gzip and PNG.
#pragma once
#include <cstddef>
#include <cstdint>

namespace velahost {

uint32_t crc32(const uint8_t* bytes, size_t count);

}  // namespace velahost
