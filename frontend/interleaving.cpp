#include "frontend/interleaving.h"

#include "frontend/host_time.h"
#include "frontend/splitter_session.h"

namespace vela {

// DELIBERATE D-043: the frames left count for audio alone. With both streams enabled, audio samples
// past the last frame of the range are still announced, and reading them reports the end.
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

}  // namespace vela
