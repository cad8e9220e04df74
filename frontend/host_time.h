// Conversions between the three units of time: a track's ticks, the host's units, and the sample
// frames in which audio is trimmed. All round half up, in 64-bit arithmetic that wraps.
#pragma once
#include <cstdint>

#include "frontend/vela_splitter.h"

namespace vela {

/// Host units of `ticks`. The product wraps for times beyond 2^40 ticks.
/// @param timescale  ticks per second; 0 gives 0
constexpr uint64_t ticksToHostUnits(uint64_t ticks, uint32_t timescale) noexcept {
  if (ticks == 0 || timescale == 0) return 0;
  return (ticks * kHostUnitsPerSecond + timescale / 2) / timescale;
}

/// Host units of a chapter's time.
/// @param hundredNs  units of 100 ns
constexpr uint64_t hundredNsToHostUnits(uint64_t hundredNs) noexcept {
  constexpr uint32_t kPerSecond = 10000000;
  return ticksToHostUnits(hundredNs, kPerSecond);
}

/// Ticks of `hostUnits`; sample frames, where the timescale is the sampling rate. The product wraps
/// when time and timescale together exceed 64 bits.
/// @param timescale  ticks per second; 0 gives 0
constexpr uint64_t hostUnitsToTicks(uint64_t hostUnits, uint32_t timescale) noexcept {
  return (hostUnits * timescale + kHostUnitsPerSecond / 2) / kHostUnitsPerSecond;
}

/// Sample frames of `ticks`. The product wraps at 2^64 and is then divided as a signed number, so
/// that a time far too large gives a count far too large (two's complement).
/// @param sampleRate  Hz
/// @param timescale  ticks per second; 0 gives 0
constexpr uint64_t ticksToFrames(uint64_t ticks, uint32_t sampleRate, uint32_t timescale) noexcept {
  if (timescale == 0) return 0;
  const auto scaled = static_cast<int64_t>(ticks * sampleRate + timescale / 2);
  return static_cast<uint64_t>(scaled / int64_t{timescale});
}

}  // namespace vela
