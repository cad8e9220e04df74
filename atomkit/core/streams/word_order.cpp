#include "atomkit/core/streams/word_order.h"

#include <bit>
#include <cstddef>
#include <cstring>

#include "atomkit/core/streams/word_order_armv4.h"
#include "atomkit/core/streams/word_order_ssse3.h"
#include "atomkit/core/streams/word_vectors.h"

namespace atomkit {
namespace {

constexpr bool kSwaps = std::endian::native == std::endian::little;

#if ATOMKIT_HAS_VECTORS
using Halves [[gnu::vector_size(16)]] = uint16_t;
using LongWords [[gnu::vector_size(16)]] = uint64_t;

// The bytes of half-words change places, then the half-words of words.
Words swapped(Words words) {
  Halves halves = std::bit_cast<Halves>(words);
  halves = halves << 8 | halves >> 8;
  return std::bit_cast<Words>(__builtin_shufflevector(halves, halves, 1, 0, 3, 2, 5, 4, 7, 6));
}

Words swappedLong(Words words) {
  const auto longs = std::bit_cast<LongWords>(swapped(words));
  return std::bit_cast<Words>(longs << 32 | longs >> 32);
}

#else
// Of one turn of a loop. One where the ARM loop leaves few words.
constexpr uint32_t kStepWords = ATOMKIT_HAS_ARMV4_LOOP ? 1 : 4;

// Where words can't be loaded from any place, they are moved to their own first.
#if defined(__arm__) && !defined(__ARM_FEATURE_UNALIGNED)
const uint8_t* aligned(uint32_t* to, const uint8_t* from, uint32_t count) {
  if (std::bit_cast<uintptr_t>(from) % alignof(uint32_t) != 0) {
    from = static_cast<const uint8_t*>(std::memcpy(to, from, size_t{count} * sizeof *to));
  }
  return static_cast<const uint8_t*>(__builtin_assume_aligned(from, alignof(uint32_t)));
}
#else
const uint8_t* aligned(uint32_t*, const uint8_t* from, uint32_t) { return from; }
#endif
#endif

// Swaps the bytes of words one at a time.
class WordSwapper {
 public:
  WordSwapper() noexcept {
#if defined(__GNUC__) && defined(__arm__) && __ARM_ARCH < 6
    // Nothing here swaps bytes in one instruction. With the masks in registers three do, one less
    // than the compiler's own way.
    asm("" : "+r"(outer_), "+r"(inner_));
#endif
  }

  uint32_t operator()(uint32_t word) const {
    return (std::rotr(word, 8) & outer_) | (std::rotl(word, 8) & inner_);
  }

 private:
  uint32_t outer_ = 0xff00ff00;
  uint32_t inner_ = 0x00ff00ff;
};

enum class Sum { unwanted, wanted };

template <Sum wanted>
inline uint64_t copy(uint32_t* to, const uint8_t* from, uint32_t count) {
  uint64_t sum = 0;
  const WordSwapper swap;
  const auto copyOne = [&](uint32_t place) {
    uint32_t word;
    std::memcpy(&word, from + size_t{place} * sizeof word, sizeof word);
    if (kSwaps) word = swap(word);
    if (wanted == Sum::wanted) sum += word;
    to[place] = word;
  };
#if ATOMKIT_HAS_VECTORS
  const uint32_t stepped = count - count % kStepWords;
  VectorSums sums;
  for (const uint32_t* const end = to + stepped; to != end; to += kStepWords) {
#pragma GCC unroll 4
    for (uint32_t i = 0; i < kStepWords; i += kVectorWords) {
      Words words = load(from + i * sizeof *to);
      if (kSwaps) words = swapped(words);
      if (wanted == Sum::wanted) sums.add(words);
      std::memcpy(to + i, &words, sizeof words);
    }
    from += kStepWords * sizeof *to;
  }
  if (wanted == Sum::wanted) sum = sums.total(to - stepped, stepped);
#else
  from = aligned(to, from, count);
#if ATOMKIT_HAS_ARMV4_LOOP
  const uint32_t inTurns = count - count % kArmv4Words;
  if (inTurns != 0) {
    sum = copyAddingOnArmv4(to, from, inTurns);
    to += inTurns;
    from += size_t{inTurns} * sizeof *to;
    count -= inTurns;
  }
#endif
  for (const uint32_t* const end = to + count - count % kStepWords; to != end; to += kStepWords) {
#pragma GCC unroll 4
    for (uint32_t i = 0; i < kStepWords; ++i) copyOne(i);
    from += kStepWords * sizeof *to;
  }
#endif
  for (uint32_t i = 0; i < count % kStepWords; ++i) copyOne(i);
  return sum;
}

}  // namespace

void copyWords(uint32_t* to, const uint8_t* from, uint32_t count) noexcept {
#if ATOMKIT_HAS_BYTE_SHUFFLE
  if (shufflesBytes()) return copyByShuffle(to, from, count);
#endif
  copyByShifts(to, from, count);
}

void copyByShifts(uint32_t* to, const uint8_t* from, uint32_t count) noexcept {
#if ATOMKIT_HAS_ARMV4_LOOP
  copyAddingByShifts(to, from, count);  // room for code is scarcer there than time
#else
  copy<Sum::unwanted>(to, from, count);
#endif
}

uint64_t copyAddingByShifts(uint32_t* to, const uint8_t* from, uint32_t count) noexcept {
  return copy<Sum::wanted>(to, from, count);
}

uint64_t copyAddingWords(uint32_t* to, const uint8_t* from, uint32_t count) noexcept {
#if ATOMKIT_HAS_BYTE_SHUFFLE
  if (shufflesBytes()) return copyAddingByShuffle(to, from, count);
#endif
  return copyAddingByShifts(to, from, count);
}

void copyLongWords(uint64_t* to, const uint8_t* from, uint32_t count) noexcept {
  uint32_t i = 0;
#if ATOMKIT_HAS_VECTORS
  for (; i + kVectorWords / 2 <= count; i += kVectorWords / 2) {
    Words words = load(from + size_t{i} * sizeof *to);
    if (kSwaps) words = swappedLong(words);
    std::memcpy(to + i, &words, sizeof words);
  }
#endif
  const WordSwapper swap;
  for (; i < count; ++i) {
    uint64_t word;
    std::memcpy(&word, from + size_t{i} * sizeof word, sizeof word);
    if (kSwaps) {
      word = uint64_t{swap(static_cast<uint32_t>(word))} << 32 |
             swap(static_cast<uint32_t>(word >> 32));
    }
    to[i] = word;
  }
}

PairSums pairSumsOf(const uint32_t* words, uint32_t count) noexcept {
  PairSums pairs;
  uint32_t firstBits = 0;
  uint32_t i = 0;
#if ATOMKIT_HAS_VECTORS
  VectorSums sums;
  const uint32_t stepped = count - count % kStepWords;
  for (const uint32_t* step = words; step != words + stepped; step += kStepWords) {
#pragma GCC unroll 4
    for (uint32_t j = 0; j < kStepWords; j += kVectorWords) sums.add(load(step + j));
  }
  if (!sums.mayHaveOverflown(stepped)) {
    i = stepped;
    pairs.firsts = uint64_t{sums.sums[0]} + sums.sums[2];
    pairs.seconds = uint64_t{sums.sums[1]} + sums.sums[3];
    firstBits = sums.bits[0] | sums.bits[2];
  }
#endif
  for (; i < count; i += 2) {
    pairs.firsts += words[i];
    pairs.seconds += words[i + 1];
    firstBits |= words[i];
  }
  pairs.firstsAreOne = (firstBits & ~uint32_t{1}) == 0 && pairs.firsts == count / 2;
  return pairs;
}

}  // namespace atomkit
