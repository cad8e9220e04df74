// Tables of big-endian words as this machine holds them, and their sums.
#pragma once
#include <cstdint>

namespace atomkit {

// The copies put big-endian words of a file, which need no alignment, into the order of this
// machine. The target may be where the words lie, but may not begin inside them.

void copyWords(uint32_t* to, const uint8_t* from, uint32_t count) noexcept;
void copyLongWords(uint64_t* to, const uint8_t* from, uint32_t count) noexcept;
/// @return the sum of the words
uint64_t copyAddingWords(uint32_t* to, const uint8_t* from, uint32_t count) noexcept;

/// copyWords() and copyAddingWords() of a processor that has no instruction for them.
void copyByShifts(uint32_t* to, const uint8_t* from, uint32_t count) noexcept;
uint64_t copyAddingByShifts(uint32_t* to, const uint8_t* from, uint32_t count) noexcept;

/// Sums over pairs of words.
struct PairSums {
  uint64_t firsts = 0;
  uint64_t seconds = 0;
  bool firstsAreOne = true;  ///< each first word is 1
};

/// @param count  words, an even number
PairSums pairSumsOf(const uint32_t* words, uint32_t count) noexcept;

}  // namespace atomkit
