// Conversions between the three units of time: a track's ticks, the host's units, and the sample
// frames in which audio is trimmed. All round half up, in 64-bit arithmetic that wraps.
#pragma once
#include <cstdint>

#include "frontend/vela_splitter.h"

namespace vela {

/// The upper 64 bits of a product, from those of the halves of its factors.
constexpr uint64_t upperHalfOfPartProducts(uint64_t left, uint64_t right) noexcept {
  const uint64_t leftLow = static_cast<uint32_t>(left);
  const uint64_t rightLow = static_cast<uint32_t>(right);
  const uint64_t lowHigh = leftLow * (right >> 32);
  const uint64_t highLow = (left >> 32) * rightLow;
  const uint64_t middle =
      (leftLow * rightLow >> 32) + static_cast<uint32_t>(lowHigh) + static_cast<uint32_t>(highLow);
  return (left >> 32) * (right >> 32) + (lowHigh >> 32) + (highLow >> 32) + (middle >> 32);
}

/// The upper 64 bits of a product.
constexpr uint64_t upperHalfOfProduct(uint64_t left, uint64_t right) noexcept {
#ifdef __SIZEOF_INT128__
  __extension__ using Product = unsigned __int128;
  return static_cast<uint64_t>(static_cast<Product>(left) * right >> 64);
#else
  return upperHalfOfPartProducts(left, right);
#endif
}

/// Ticks per second of a track, to divide by again and again: with a multiplication, as the device
/// has no instruction that divides.
class Timescale {
 public:
  constexpr Timescale() noexcept = default;
  /// @param ticks  per second; 0 divides nothing
  constexpr explicit Timescale(uint32_t ticks) noexcept
      : ticks_(ticks), reciprocal_(ticks == 0 ? 0 : UINT64_MAX / ticks) {}

  constexpr uint32_t ticks() const noexcept { return ticks_; }

  /// `value` / ticks(). @pre ticks() != 0
  constexpr uint64_t divide(uint64_t value) const noexcept {
    // The reciprocal is too small by less than 1, and its product with the value by less than 2 in
    // the upper half.
    uint64_t quotient = upperHalfOfProduct(value, reciprocal_);
    for (uint64_t rest = value - quotient * ticks_; rest >= ticks_; rest -= ticks_) ++quotient;
    return quotient;
  }

 private:
  uint32_t ticks_ = 0;
  uint64_t reciprocal_ = 0;
};

/// Host units of `ticks`. The product wraps for times beyond 2^40 ticks.
/// @param timescale  ticks per second; 0 gives 0
constexpr uint64_t ticksToHostUnits(uint64_t ticks, uint32_t timescale) noexcept {
  if (ticks == 0 || timescale == 0) return 0;
  return (ticks * kHostUnitsPerSecond + timescale / 2) / timescale;
}

constexpr uint64_t ticksToHostUnits(uint64_t ticks, const Timescale& timescale) noexcept {
  if (ticks == 0 || timescale.ticks() == 0) return 0;
  return timescale.divide(ticks * kHostUnitsPerSecond + timescale.ticks() / 2);
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
constexpr uint64_t ticksToFrames(uint64_t ticks, uint32_t sampleRate,
                                 const Timescale& timescale) noexcept {
  // Most tracks count time in frames. Below this limit the product doesn't reach the sign.
  if (sampleRate == timescale.ticks() && ticks <= INT32_MAX) return timescale.ticks() ? ticks : 0;
  const uint64_t scaled = ticks * sampleRate + timescale.ticks() / 2;
  if (timescale.ticks() == 0 || static_cast<int64_t>(scaled) < 0) {
    return ticksToFrames(ticks, sampleRate, timescale.ticks());
  }
  return timescale.divide(scaled);
}

}  // namespace vela
