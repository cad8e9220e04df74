// copyWords() and copyAddingWords() for x86 processors that bring the bytes of a vector into any
// order by one instruction. Nearly all do, but a program may not take it for granted.
#pragma once
#include <cstdint>

#if defined(__x86_64__)
#define ATOMKIT_HAS_BYTE_SHUFFLE 1

namespace atomkit {

/// Whether this processor has the instruction.
bool shufflesBytes() noexcept;
/// @pre shufflesBytes()
void copyByShuffle(uint32_t* to, const uint8_t* from, uint32_t count) noexcept;
/// @pre shufflesBytes()
/// @return the sum of the words
uint64_t copyAddingByShuffle(uint32_t* to, const uint8_t* from, uint32_t count) noexcept;

}  // namespace atomkit
#else
#define ATOMKIT_HAS_BYTE_SHUFFLE 0
#endif
