#include "gst/audio_clock.h"

#include <algorithm>

namespace velagst {
namespace {

// A file that counts time in other units than frames makes the plug-in's cut differ from the frame
// of the target by the rounding of two conversions.
constexpr uint64_t kRoundingFrames = 2;

/// The multiple of `step` next to `frame`, where it is as near as rounding explains; else `frame`.
uint64_t onGrid(uint64_t frame, uint32_t step) {
  if (step == 0) return frame;
  const uint64_t nearest = (frame + step / 2) / step * step;
  const uint64_t distance = std::max(frame, nearest) - std::min(frame, nearest);
  return distance <= kRoundingFrames ? nearest : frame;
}

}  // namespace

void AudioClock::restart(uint64_t target) {
  target_ = firstPlayed_ = next_ = target;
  settled_ = false;
  held_.clear();
  begins_.clear();
}

bool AudioClock::add(const PacketFrames& packet) {
  begins_.clear();
  if (!settled_) {
    if (!packet.counts()) {
      held_.push_back(packet.whole);
      return false;
    }
    settle(packet);
  }
  begins_.push_back(next_);
  next_ += packet.whole;
  return true;
}

// In a file of packets of one length the packet begins at a multiple of it. That corrects the frame
// by which the cut is off where the file counts time in coarser units than frames.
void AudioClock::settle(const PacketFrames& packet) {
  settled_ = true;
  uint64_t begin = target_ - std::min<uint64_t>(packet.dropped, target_);
  const bool sameLength = std::all_of(held_.begin(), held_.end(),
                                      [&](uint32_t frames) { return frames == packet.whole; });
  if (sameLength) begin = onGrid(begin, packet.whole);
  firstPlayed_ = begin + packet.dropped;
  next_ = begin;
  uint64_t before = 0;
  for (const uint32_t frames : held_) before += frames;
  uint64_t time = begin - std::min(before, begin);
  for (const uint32_t frames : held_) {
    begins_.push_back(time);
    time += frames;
  }
  held_.clear();
}

}  // namespace velagst
