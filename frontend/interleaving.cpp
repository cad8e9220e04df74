#include "frontend/interleaving.h"

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
    const uint64_t audioOffset = locate(audioCursor_, audioLocated_, audioNextSample_).fileOffset;
    const uint64_t videoOffset = locate(videoCursor_, videoLocated_, videoNextSample_).fileOffset;
    which = chooseStream({timeOf(audioLocated_, audioScale_), audioOffset},
                         {timeOf(videoLocated_, videoScale_), videoOffset}, rangeEnd_);
  }
  return TIOResult::success;
}

}  // namespace vela
