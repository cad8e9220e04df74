// The loop of copyWords() and copyAddingWords() for a 32-bit ARM that has no instruction to swap
// bytes. Compilers don't load and store several words at once there, and keep neither mask nor sum
// in registers.
#pragma once
#include <cstdint>

#if defined(__GNUC__) && defined(__arm__) && !defined(__thumb__) && !defined(__ARM_BIG_ENDIAN) && \
    __ARM_ARCH < 6
#define ATOMKIT_HAS_ARMV4_LOOP 1
#else
#define ATOMKIT_HAS_ARMV4_LOOP 0
#endif

namespace atomkit {

#if ATOMKIT_HAS_ARMV4_LOOP
/// Words of one turn of the loop.
inline constexpr uint32_t kArmv4Words = 8;

#define ATOMKIT_SWAP_AND_ADD(word) \
  "and %[half], %[inner], " word   \
  ", ror #24\n"                    \
  "and " word ", %[outer], " word  \
  ", ror #8\n"                     \
  "orr " word ", " word            \
  ", %[half]\n"                    \
  "adds %[low], %[low], " word     \
  "\n"                             \
  "adc %[high], %[high], #0\n"
#define ATOMKIT_FOUR_WORDS                                                          \
  "ldmia %[from]!, {r4-r7}\n" ATOMKIT_SWAP_AND_ADD("r4") ATOMKIT_SWAP_AND_ADD("r5") \
      ATOMKIT_SWAP_AND_ADD("r6") ATOMKIT_SWAP_AND_ADD("r7") "stmia %[to]!, {r4-r7}\n"

/// Copies big-endian words that are aligned, to where they lie or to a place apart.
/// @param count  words, a multiple of kArmv4Words and not 0
/// @return the sum of the words
inline uint64_t copyAddingOnArmv4(uint32_t* to, const uint8_t* from, uint32_t count) noexcept {
  uint32_t low = 0;
  uint32_t high = 0;
  uint32_t half;
  const uint32_t* const end = to + count;
  asm volatile(
      "1:\n" ATOMKIT_FOUR_WORDS ATOMKIT_FOUR_WORDS
      "cmp %[to], %[end]\n"
      "bne 1b\n"
      : [to] "+r"(to), [from] "+r"(from), [low] "+r"(low), [high] "+r"(high), [half] "=&r"(half)
      : [end] "r"(end), [outer] "r"(0xff00ff00), [inner] "r"(0x00ff00ff)
      : "r4", "r5", "r6", "r7", "cc", "memory");
  return uint64_t{high} << 32 | low;
}

#undef ATOMKIT_SWAP_AND_ADD
#undef ATOMKIT_FOUR_WORDS
#endif

}  // namespace atomkit
