// Playback control: starting an item, seeking in it, and the order of the two streams.
#include <algorithm>

#include "atomkit/core/containers/plain_array.h"
#include "frontend/guarded.h"
#include "frontend/host_time.h"
#include "frontend/interleaving.h"
#include "frontend/sample_frames.h"
#include "frontend/splitter_session.h"

namespace vela {
namespace {

// An audio decoder needs some packets before the first one that counts, to fill its overlap and its
// bit reservoir.
constexpr uint32_t kPrerollPackets = 10;

/// Where the bytes of a decoder configuration begin; never null, as hosts copy from it unasked.
const uint8_t* bytesOf(const atomkit::ByteArray& config) {
  static constexpr uint8_t kNothing = 0;
  return config.count() ? config.data() : &kNothing;
}

}  // namespace

TIOResult SplitterSession::startItem(uint32_t itemId, AudioFormat* audioFormat,
                                     VideoFormat* videoFormat, CancelToken* token) {
  selectItem(itemId);
  startAudio(audioFormat);
  startVideo(videoFormat);
  if (!audioEnabled_ && !videoEnabled_) return TIOResult::failed;
  return seekTo(0, token);
}

void SplitterSession::startAudio(AudioFormat* format) {
  audioEnabled_ = format && hasAudio() ? 1 : 0;
  if (!format) return;
  if (!hasAudio()) {
    format->clear();
    return;
  }
  const auto track = static_cast<uint32_t>(audioTrack_);
  atomkit::ByteArray config;
  movie_.decoderConfig(track, config);
  format->set(&audioMediaId_, bytesOf(config), config.count());
  movie_.open(audioCursor_, track);
}

void SplitterSession::startVideo(VideoFormat* format) {
  videoEnabled_ = format && hasVideo() ? 1 : 0;
  if (!format) return;
  if (!hasVideo()) {
    format->clear();
    return;
  }
  const auto track = static_cast<uint32_t>(videoTrack_);
  atomkit::ByteArray config;
  movie_.decoderConfig(track, config);
  format->set(&videoMediaId_, bytesOf(config), config.count(), width_, height_);
  movie_.open(videoCursor_, track);
}

// DELIBERATE D-050: the target is compared with the range in host units and looked up in ticks,
// rounded half up. In the last half tick before the end of the time table it is before the one end
// and at the other, and the seek fails.
TIOResult SplitterSession::seekTo(uint64_t offset, CancelToken*) {
  const uint64_t target = rangeStart_ + offset;
  // An offset near 2^64 is past the end, too; it must not wrap round to a place before the item.
  if (target < rangeStart_ || target >= rangeEnd_) {
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

// DELIBERATE D-043: the frames left count for audio alone. With both streams enabled, audio samples
// behind the last frame of the range are still announced, and reading them reports the end.
// DELIBERATE D-049: that a sample has no frames shows only when it is read. Audio alone is
// announced at such a sample, and every read there reports the end.
TIOResult SplitterSession::nextStream(uint32_t& which) {
  if (!audioEnabled_ && !videoEnabled_) return TIOResult::failed;
  const bool audioLeft = audioNextSample_ < audioSampleCount_;
  const bool videoLeft = videoNextSample_ < videoSampleCount_;
  if (!videoEnabled_) {
    which = audioLeft && framesLeft_ != 0 ? kNextAudio : kNextNone;
  } else if (!audioEnabled_ || !audioLeft) {
    which = videoLeft ? kNextVideo : kNextNone;
  } else if (!videoLeft) {
    which = kNextAudio;
  } else {
    const atomkit::SampleInfo audio = locate(audioCursor_, audioNextSample_);
    const atomkit::SampleInfo video = locate(videoCursor_, videoNextSample_);
    which = chooseStream(
        {ticksToHostUnits(audio.compositionTime, audio.timescale), audio.fileOffset},
        {ticksToHostUnits(video.compositionTime, video.timescale), video.fileOffset}, rangeEnd_);
  }
  return TIOResult::success;
}

// The packet shows the picture at the seek point at once; the second seek lets the next read
// deliver it again, into the decoder's ordinary path. A key frame that can't be read empties the
// packet and is no failure of the seek.
TIOResult SplitterSession::seekWithKeyFrame(VideoPacket& packet, uint64_t offset,
                                            CancelToken* token) {
  if (!videoEnabled_) {
    packet.reset();
    return seekTo(offset, token);
  }
  const TIOResult sought = seekTo(offset, token);
  if (sought != TIOResult::success) return sought;
  uint8_t endOfStream = 0;
  uint64_t time = 0;
  const TIOResult read = guarded([&] { return readVideoPacket(packet, endOfStream, time, token); });
  if (read != TIOResult::success || endOfStream) packet.reset();
  return seekTo(offset, token);
}

}  // namespace vela
