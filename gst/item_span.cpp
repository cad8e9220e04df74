#include "gst/item_span.h"

#include <algorithm>

#include "gst/timeline.h"

namespace velagst {
namespace {

// The time of a picture is off by up to half a host unit. So a picture that a decoder takes to last
// for one period may seem to reach past the beginning of the next one, and a seek to that would
// show the wrong picture first: its segment begins one host unit late, which is 60 ns.
constexpr uint64_t kRoundedTimes = 1;

}  // namespace

void ItemSpan::stopAt(uint64_t stop) { stop_ = std::min(stop, duration_); }

uint64_t ItemSpan::endNs() const {
  if (duration_ == vela::kUnknown64) return vela::kUnknown64;
  if (sampleRate_ == 0) return nsFromHostUnits(duration_);
  const uint64_t first = framesFromHostUnits(start_, sampleRate_);
  const uint64_t frames = framesFromHostUnits(duration_, sampleRate_);
  return segmentStartNs(first + frames, sampleRate_) - segmentStartNs(first, sampleRate_);
}

/// The frame of the file before which playing stops. @pre a stop is known
uint64_t ItemSpan::stopFrame() const {
  // The length of an item is rounded to frames by itself, as the splitter does it.
  if (stop_ == duration_) {
    return framesFromHostUnits(start_, sampleRate_) + framesFromHostUnits(stop_, sampleRate_);
  }
  return framesFromHostUnits(start_ + stop_, sampleRate_);
}

bool ItemSpan::isPastStop(uint64_t frame) const {
  return stop_ != vela::kUnknown64 && frame >= stopFrame();
}

bool ItemSpan::isPastStopTime(uint64_t hostUnits) const {
  return stop_ != vela::kUnknown64 && hostUnits >= start_ + stop_;
}

SegmentBounds ItemSpan::audioBounds(uint64_t firstFrame) const {
  SegmentBounds bounds;
  bounds.start = segmentStartNs(firstFrame, sampleRate_);
  const uint64_t origin = segmentStartNs(framesFromHostUnits(start_, sampleRate_), sampleRate_);
  bounds.time = bounds.start - std::min(origin, bounds.start);
  bounds.stop = stop_ == vela::kUnknown64
                    ? vela::kUnknown64
                    : std::max(bounds.start, segmentStopNs(stopFrame(), sampleRate_));
  return bounds;
}

SegmentBounds ItemSpan::videoBounds(uint64_t offset) const {
  SegmentBounds bounds;
  bounds.start = nsFromHostUnits(start_ + offset + (offset == 0 ? 0 : kRoundedTimes));
  bounds.time = bounds.start - nsFromHostUnits(start_);
  bounds.stop = stop_ == vela::kUnknown64 ? vela::kUnknown64
                                          : std::max(bounds.start, nsFromHostUnits(start_ + stop_));
  return bounds;
}

}  // namespace velagst
