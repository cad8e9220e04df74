// Where an item lies in its file, and where playing it begins and stops: as host units, as frames,
// and as the bounds of segments in nanoseconds.
#pragma once
#include <cstdint>

#include "frontend/vela_splitter.h"

namespace velagst {

/// Bounds of a segment, ns. `time` is that of `start` in the item's own time line.
struct SegmentBounds {
  uint64_t start = 0;
  uint64_t stop = 0;  ///< kUnknown64: no end is known; never before `start`
  uint64_t time = 0;
};

class ItemSpan {
 public:
  /// @param start  of the item in its file, host units
  /// @param duration  host units, or kUnknown64
  /// @param sampleRate  0 for an item without sound
  ItemSpan(uint64_t start, uint64_t duration, uint32_t sampleRate)
      : start_(start), duration_(duration), stop_(duration), sampleRate_(sampleRate) {}

  /// Lets playing stop earlier. @param stop  host units from the item's start, or kUnknown64
  void stopAt(uint64_t stop);

  /// Length of the item, up to the end of the last frame where there is sound: ns, or kUnknown64.
  uint64_t endNs() const;

  /// Whether a frame or a time of the file, in host units, is at or after the stop.
  bool isPastStop(uint64_t frame) const;
  bool isPastStopTime(uint64_t hostUnits) const;

  /// @param firstFrame  of the file, the first that is heard
  /// @pre the item has sound
  SegmentBounds audioBounds(uint64_t firstFrame) const;
  /// @param offset  from the item's start, host units
  SegmentBounds videoBounds(uint64_t offset) const;

 private:
  uint64_t stopFrame() const;

  uint64_t start_;
  uint64_t duration_;
  uint64_t stop_;
  uint32_t sampleRate_;
};

}  // namespace velagst
