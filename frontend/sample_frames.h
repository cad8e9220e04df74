// Conversion of a track's ticks to sample frames, in which audio is trimmed.
#pragma once
#include <cstdint>

namespace vela {

/// Sample frames that `ticks` last, rounding half up. The product wraps at 2^64 and is then divided
/// as a signed number, so a time that is far too large gives a count that is far too large as well
/// (two's complement), never undefined behaviour.
/// @param sampleRate  Hz
/// @param timescale  ticks per second; 0 gives 0
constexpr uint64_t ticksToFrames(uint64_t ticks, uint32_t sampleRate, uint32_t timescale) noexcept {
  if (timescale == 0) return 0;
  const auto scaled = static_cast<int64_t>(ticks * sampleRate + timescale / 2);
  return static_cast<uint64_t>(scaled / int64_t{timescale});
}

}  // namespace vela
