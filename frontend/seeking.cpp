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
  if (audioEnabled_ && !seekAudio(target)) return TIOResult::failed;
  if (videoEnabled_) seekVideo(target);
  return TIOResult::success;
}

// DELIBERATE D-042: where the duration is unknown the range ends at all ones, and its product with
// the sampling rate wraps: at the item's start no frames are left, so audio is at its end at once.
// DELIBERATE D-046: the start and the length of a range are rounded to frames each by itself. Where
// chapters meet between two frames, one may be left out or played twice.
bool SplitterSession::seekAudio(uint64_t target) {
  const atomkit::SampleAtTime found = movie_.sampleAt(static_cast<uint32_t>(audioTrack_),
                                                      hostUnitsToTicks(target, audioTimescale_));
  if (found.sample == atomkit::kNoIndex) return false;
  prerollLeft_ = std::min(found.sample, kPrerollPackets);
  audioNextSample_ = found.sample - prerollLeft_;
  framesToDrop_ =
      static_cast<uint32_t>(ticksToFrames(found.remainder, sampleRate_, audioTimescale_));
  framesLeft_ = hostUnitsToTicks(rangeEnd_ - target, sampleRate_);
  return true;
}

void SplitterSession::seekVideo(uint64_t target) {
  const auto track = static_cast<uint32_t>(videoTrack_);
  const uint32_t sample = movie_.sampleAt(track, hostUnitsToTicks(target, videoTimescale_)).sample;
  videoNextSample_ = movie_.nearestSyncSample(track, sample, atomkit::Direction::backward);
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
