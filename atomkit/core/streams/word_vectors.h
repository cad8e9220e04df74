// Words 16 bytes at a time where there are vectors: compilers don't find that way by themselves.
#pragma once
#include <bit>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__) || defined(__ARM_NEON)
#define ATOMKIT_HAS_VECTORS 1
#else
#define ATOMKIT_HAS_VECTORS 0
#endif

#if ATOMKIT_HAS_VECTORS
namespace atomkit {

using Words [[gnu::vector_size(16)]] = uint32_t;
inline constexpr uint32_t kVectorWords = 4;
inline constexpr uint32_t kStepWords = 4 * kVectorWords;  ///< of one turn of a loop

/// @param from  of any alignment
inline Words load(const void* from) {
  Words words;
  std::memcpy(&words, from, sizeof words);
  return words;
}

/// Adds words in lanes of 32 bits. Their bits, collected, tell whether a lane may have overflown.
struct VectorSums {
  Words sums = {};
  Words bits = {};

  void add(Words words) {
    sums += words;
    bits |= words;
  }
  /// @param count  number of words that were added
  bool mayHaveOverflown(uint32_t count) const {
    const uint64_t most = bits[0] | bits[1] | bits[2] | bits[3];
    return most * count > UINT32_MAX;
  }
  /// @param words  those that were added, a whole number of vectors
  uint64_t total(const uint32_t* words, uint32_t count) const {
    if (!mayHaveOverflown(count)) return uint64_t{sums[0]} + sums[1] + sums[2] + sums[3];
    uint64_t sum = 0;
    for (uint32_t i = 0; i < count; ++i) sum += words[i];
    return sum;
  }
};

}  // namespace atomkit
#endif
