// The three clocks of the element: nanoseconds of the framework, host units of the plug-in (2^-24
// s) and sample frames. The plug-in rounds a target in host units to a frame; what is computed here
// rounds in the same way, so that a time stamp names exactly the frame that the plug-in begins
// with.
#pragma once
#include <cstdint>

#include "frontend/vela_splitter.h"

namespace velagst {

inline constexpr uint64_t kNsPerSecond = 1000000000;

/// value * numerator / denominator without loss, rounded down; the quotient must fit 64 bits.
constexpr uint64_t scaleDown(uint64_t value, uint64_t numerator, uint64_t denominator) {
  // An extension of both compilers that build the element.
  __extension__ using Wide = unsigned __int128;
  return static_cast<uint64_t>(Wide{value} * numerator / denominator);
}

/// The same, rounded up.
constexpr uint64_t scaleUp(uint64_t value, uint64_t numerator, uint64_t denominator) {
  __extension__ using Wide = unsigned __int128;
  return static_cast<uint64_t>((Wide{value} * numerator + (denominator - 1)) / denominator);
}

/// The same, rounded to the nearest, halves up.
constexpr uint64_t scaleNearest(uint64_t value, uint64_t numerator, uint64_t denominator) {
  __extension__ using Wide = unsigned __int128;
  return static_cast<uint64_t>((Wide{value} * numerator + denominator / 2) / denominator);
}

constexpr uint64_t hostUnitsFromNs(uint64_t ns) {
  return scaleNearest(ns, vela::kHostUnitsPerSecond, kNsPerSecond);
}

/// Nearest nanosecond; the largest value for times beyond 584 years.
constexpr uint64_t nsFromHostUnits(uint64_t hostUnits) {
  constexpr uint64_t kLargest = ~uint64_t{0} / kNsPerSecond * vela::kHostUnitsPerSecond;
  if (hostUnits >= kLargest) return ~uint64_t{0} - 1;
  return scaleNearest(hostUnits, kNsPerSecond, vela::kHostUnitsPerSecond);
}

/// The frame at a time, rounded half up in 64 bits that wrap, as the plug-in does.
constexpr uint64_t framesFromHostUnits(uint64_t hostUnits, uint32_t sampleRate) {
  return (hostUnits * sampleRate + vela::kHostUnitsPerSecond / 2) / vela::kHostUnitsPerSecond;
}

/// Time stamp of a buffer that begins with `frame`: rounded down. @pre sampleRate is not 0
constexpr uint64_t bufferNs(uint64_t frame, uint32_t sampleRate) {
  return scaleDown(frame, kNsPerSecond, sampleRate);
}

/// Start of a segment whose first frame is `frame`: rounded up. A decoder cuts
/// floor((start - time stamp) * rate) frames from a buffer, so with the buffer's time rounded down
/// and the start rounded up it cuts exactly the frames before `frame`.
constexpr uint64_t segmentStartNs(uint64_t frame, uint32_t sampleRate) {
  return scaleUp(frame, kNsPerSecond, sampleRate);
}

/// Stop of a segment whose last frame is the one before `frame`. A decoder takes the end of a
/// buffer as its time stamp (up to 1 ns early) plus its rounded duration (up to half a nanosecond
/// early), and cuts floor((end - stop) * rate) frames. So the stop lies 2 ns early: with less, one
/// frame too many stays in half of the cases; a frame lasts thousands of nanoseconds, so none is
/// lost.
constexpr uint64_t segmentStopNs(uint64_t frame, uint32_t sampleRate) {
  const uint64_t ns = scaleDown(frame, kNsPerSecond, sampleRate);
  return ns < 2 ? 0 : ns - 2;
}

}  // namespace velagst
