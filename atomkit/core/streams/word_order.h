// Tables of big-endian words as this machine holds them.
#pragma once
#include <cstdint>

namespace atomkit {

/// Copies big-endian words into the order of this machine.
/// @param to  may be `from` itself, but may not begin inside it
/// @param from  `count` words of the file; needs no alignment
void copyInMachineOrder(uint32_t* to, const uint8_t* from, uint32_t count) noexcept;
void copyInMachineOrder(uint64_t* to, const uint8_t* from, uint32_t count) noexcept;

}  // namespace atomkit
