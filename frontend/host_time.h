// Conversions between a track's ticks and the host's time units.
#pragma once
#include <cstdint>

#include "frontend/vela_splitter.h"

namespace vela {

/// Host units of `ticks`, rounding half up. Unsigned 64-bit arithmetic: the product wraps for times
/// beyond 2^40 ticks.
/// @param timescale  ticks per second; 0 gives 0
constexpr uint64_t ticksToHostUnits(uint64_t ticks, uint32_t timescale) noexcept {
  if (ticks == 0 || timescale == 0) return 0;
  return (ticks * kHostUnitsPerSecond + timescale / 2) / timescale;
}

/// Host units of a chapter's time.
/// @param hundredNs  units of 100 ns
constexpr uint64_t hundredNsToHostUnits(uint64_t hundredNs) noexcept {
  return ticksToHostUnits(hundredNs, 10000000);
}

/// Ticks of `hostUnits`, rounding half up. Unsigned 64-bit arithmetic: the product wraps where time
/// and timescale together exceed 64 bits.
/// @param timescale  ticks per second; 0 gives 0
constexpr uint64_t hostUnitsToTicks(uint64_t hostUnits, uint32_t timescale) noexcept {
  return (hostUnits * timescale + kHostUnitsPerSecond / 2) >> 24;
}

}  // namespace vela
