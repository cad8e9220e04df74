#include "atomkit/core/streams/word_order_ssse3.h"

#if ATOMKIT_HAS_BYTE_SHUFFLE
#include <cpuid.h>

#include <atomic>
#include <bit>
#include <cstddef>
#include <cstring>

#include "atomkit/core/streams/word_order.h"
#include "atomkit/core/streams/word_vectors.h"

namespace atomkit {
namespace {

using Bytes [[gnu::vector_size(16)]] = uint8_t;

bool hasSsse3() noexcept {
  unsigned a = 0, b = 0, features = 0, d = 0;
  return __get_cpuid(1, &a, &b, &features, &d) != 0 && (features & bit_SSSE3) != 0;
}

// Asked once: in a virtual machine the answer takes longer than many a table. No object is
// initialised when the library is loaded, so the first table asks.
enum class Shuffles : uint8_t { unknown, no, yes };
constinit std::atomic<Shuffles> g_shuffles{Shuffles::unknown};

enum class Sum { unwanted, wanted };

template <Sum wanted>
[[gnu::target("ssse3")]] inline uint64_t copy(uint32_t* to, const uint8_t* from, uint32_t count) {
  const uint32_t stepped = count - count % kStepWords;
  VectorSums sums;
  for (const uint32_t* const end = to + stepped; to != end; to += kStepWords) {
#pragma GCC unroll 4
    for (uint32_t i = 0; i < kStepWords; i += kVectorWords) {
      const auto bytes = std::bit_cast<Bytes>(load(from + i * sizeof *to));
      const auto words = std::bit_cast<Words>(__builtin_shufflevector(
          bytes, bytes, 3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12));
      if (wanted == Sum::wanted) sums.add(words);
      std::memcpy(to + i, &words, sizeof words);
    }
    from += kStepWords * sizeof *to;
  }
  const uint64_t sum = wanted == Sum::wanted ? sums.total(to - stepped, stepped) : 0;
  if (stepped == count) return sum;
  return sum + copyAddingByShifts(to, from, count - stepped);
}

}  // namespace

bool shufflesBytes() noexcept {
  Shuffles shuffles = g_shuffles.load(std::memory_order_relaxed);
  if (shuffles == Shuffles::unknown) {
    shuffles = hasSsse3() ? Shuffles::yes : Shuffles::no;
    g_shuffles.store(shuffles, std::memory_order_relaxed);
  }
  return shuffles == Shuffles::yes;
}

void copyByShuffle(uint32_t* to, const uint8_t* from, uint32_t count) noexcept {
  copy<Sum::unwanted>(to, from, count);
}

uint64_t copyAddingByShuffle(uint32_t* to, const uint8_t* from, uint32_t count) noexcept {
  return copy<Sum::wanted>(to, from, count);
}

}  // namespace atomkit
#endif
