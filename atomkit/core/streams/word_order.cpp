#include "atomkit/core/streams/word_order.h"

#include <bit>
#include <cstddef>
#include <cstring>

namespace atomkit {
namespace {

constexpr bool kSwaps = std::endian::native == std::endian::little;

// Each step exchanges the neighbours of one width: the bytes of half-words, then the half-words.
constexpr uint32_t swapped(uint32_t word) {
  word = (word << 8 & 0xff00ff00) | (word >> 8 & 0x00ff00ff);
  return std::rotl(word, 16);
}

constexpr uint64_t swapped(uint64_t word) {
  return uint64_t{swapped(static_cast<uint32_t>(word))} << 32 |
         swapped(static_cast<uint32_t>(word >> 32));
}

#if defined(__SSE2__) || defined(__ARM_NEON)
// Compilers don't find the 16 bytes at a time by themselves where the machine has no instruction
// that swaps bytes in them.
using Bytes16 [[gnu::vector_size(16)]] = uint8_t;
using Halves [[gnu::vector_size(16)]] = uint16_t;
using Words [[gnu::vector_size(16)]] = uint32_t;
using LongWords [[gnu::vector_size(16)]] = uint64_t;

inline Words swappedBlock(Words words, uint32_t) {
  Halves halves = std::bit_cast<Halves>(words);
  halves = halves << 8 | halves >> 8;
  return std::bit_cast<Words>(__builtin_shufflevector(halves, halves, 1, 0, 3, 2, 5, 4, 7, 6));
}

inline Words swappedBlock(Words words, uint64_t) {
  const auto swappedWords = std::bit_cast<LongWords>(swappedBlock(words, uint32_t{}));
  return std::bit_cast<Words>(swappedWords << 32 | swappedWords >> 32);
}

template <class Word>
uint32_t copyBlocks(Word* to, const uint8_t* from, uint32_t count) {
  constexpr uint32_t kWords = sizeof(Words) / sizeof(Word);
  const uint32_t whole = count - count % kWords;
  for (uint32_t i = 0; i < whole; i += kWords) {
    Words block;
    std::memcpy(&block, from + size_t{i} * sizeof(Word), sizeof block);
    block = swappedBlock(block, Word{});
    std::memcpy(to + i, &block, sizeof block);
  }
  return whole;
}
#else
template <class Word>
uint32_t copyBlocks(Word*, const uint8_t*, uint32_t) {
  return 0;
}
#endif

template <class Word>
void copyWords(Word* to, const uint8_t* from, uint32_t count) {
  const size_t bytes = size_t{count} * sizeof(Word);
  if (!kSwaps) {
    if (bytes != 0) std::memmove(to, from, bytes);
    return;
  }
  for (uint32_t i = copyBlocks(to, from, count); i < count; ++i) {
    Word word;
    std::memcpy(&word, from + size_t{i} * sizeof word, sizeof word);
    to[i] = swapped(word);
  }
}

}  // namespace

void copyInMachineOrder(uint32_t* to, const uint8_t* from, uint32_t count) noexcept {
  copyWords(to, from, count);
}

void copyInMachineOrder(uint64_t* to, const uint8_t* from, uint32_t count) noexcept {
  copyWords(to, from, count);
}

}  // namespace atomkit
