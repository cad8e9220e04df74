// Library time: the movie's duration and the starts of its chapters, in units of 100 ns.
#pragma once
#include <cstdint>

namespace atomkit {

/// Ticks of a timescale in units of 100 ns, rounded to the nearest. A product that doesn't fit
/// wraps modulo 2^64; a timescale of 0 gives 0.
// DELIBERATE D-210: the product is not widened, so a duration of all ones, which means unknown,
// becomes one fixed time for each timescale.
constexpr uint64_t toHundredNs(uint64_t ticks, uint32_t timescale) noexcept {
  if (timescale == 0) return 0;
  return (ticks * 10'000'000 + timescale / 2) / timescale;
}

}  // namespace atomkit
