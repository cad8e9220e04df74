// Seeking inside the item: where both streams go on, and the key frame there.
#include <algorithm>

#include "frontend/guarded.h"
#include "frontend/host_time.h"
#include "frontend/splitter_session.h"

namespace vela {
namespace {

// An audio decoder needs some packets before the first one that counts, to fill its overlap and its
// bit reservoir.
constexpr uint32_t kPrerollPackets = 10;

}  // namespace

// DELIBERATE D-047: the sum wraps, so that an offset of -t goes to t before the item's start, as
// the time of a key frame there is counted.
// DELIBERATE D-050: the target is compared with the range in host units and looked up in ticks,
// rounded half up. In the last half tick before the end of the time table it is still inside the
// one and already past the other, and the seek fails.
TIOResult SplitterSession::seekTo(uint64_t offset) {
  const uint64_t target = rangeStart_ + offset;
  if (target >= rangeEnd_) {
    if (audioEnabled_) audioNextSample_ = audioSampleCount_;
    if (videoEnabled_) videoNextSample_ = videoSampleCount_;
    return TIOResult::success;
  }
  // The tables don't change, so the lookups of the last seek hold for the same target.
  const bool isFound = sought_.isKnown && sought_.target == target;
  sought_.isKnown = 0;
  if (audioEnabled_) {
    if (!isFound) findAudio(target);
    if (sought_.audioSample == atomkit::kNoIndex) return TIOResult::failed;
    goToAudio(target);
  }
  if (videoEnabled_) {
    if (!isFound) findVideo(target);
    videoNextSample_ = sought_.videoSample;
  }
  sought_.target = target;
  sought_.isKnown = 1;
  return TIOResult::success;
}

void SplitterSession::findAudio(uint64_t target) {
  const atomkit::SampleAtTime found = movie_.sampleAt(static_cast<uint32_t>(audioTrack_),
                                                      hostUnitsToTicks(target, audioTimescale_));
  sought_.audioSample = found.sample;
  sought_.framesToDrop =
      static_cast<uint32_t>(ticksToFrames(found.remainder, sampleRate_, audioScale_));
}

void SplitterSession::findVideo(uint64_t target) {
  const auto track = static_cast<uint32_t>(videoTrack_);
  const uint32_t sample = movie_.sampleAt(track, hostUnitsToTicks(target, videoTimescale_)).sample;
  sought_.videoSample = movie_.nearestSyncSample(track, sample, atomkit::Direction::backward);
}

// The frames left are counted anew at each seek, as a description can select another range.
// DELIBERATE D-042: where the duration is unknown the range ends at all ones, and its product with
// the sampling rate wraps: at the item's start no frames are left, so audio is at its end at once.
// DELIBERATE D-046: the start and the length of a range are rounded to frames each by itself. Where
// chapters meet between two frames, one may be left out or played twice.
void SplitterSession::goToAudio(uint64_t target) noexcept {
  prerollLeft_ = std::min(sought_.audioSample, kPrerollPackets);
  audioNextSample_ = sought_.audioSample - prerollLeft_;
  framesToDrop_ = sought_.framesToDrop;
  framesLeft_ = hostUnitsToTicks(rangeEnd_ - target, sampleRate_);
}

// The packet shows the picture at the seek point at once; the second seek lets the next read
// deliver it again, for the host's ordinary playback. A key frame that can't be read empties the
// packet and does not fail the seek.
TIOResult SplitterSession::seekWithKeyFrame(VideoPacket& packet, uint64_t offset,
                                            CancelToken* token) {
  if (!videoEnabled_) {
    packet.reset();
    return seekTo(offset);
  }
  const TIOResult sought = seekTo(offset);
  if (sought != TIOResult::success) return sought;
  uint8_t endOfStream = 0;
  uint64_t time = 0;
  const TIOResult read = guarded([&] { return readVideoPacket(packet, endOfStream, time, token); });
  if (read != TIOResult::success || endOfStream) packet.reset();
  return seekTo(offset);
}

}  // namespace vela
