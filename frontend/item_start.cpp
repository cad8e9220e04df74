// Starting an item: which streams the host gets, in which format, and from which place.
#include "atomkit/core/containers/plain_array.h"
#include "frontend/splitter_session.h"

namespace vela {
namespace {

/// Where the bytes of a decoder configuration begin; never null, as hosts copy from it unasked.
const uint8_t* bytesOf(const atomkit::ByteArray& config) {
  static constexpr uint8_t kNothing = 0;
  return config.count() ? config.data() : &kNothing;
}

}  // namespace

TIOResult SplitterSession::startItem(uint32_t itemId, AudioFormat* audioFormat,
                                     VideoFormat* videoFormat) {
  selectItem(itemId);
  sought_.isKnown = 0;  // it may lack a stream that is now wanted
  startAudio(audioFormat);
  startVideo(videoFormat);
  if (!audioEnabled_ && !videoEnabled_) return TIOResult::failed;
  return seekTo(0);
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
  audioLocated_.isKnown = 0;
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
  videoLocated_.isKnown = 0;
  movie_.open(videoCursor_, track);
}

}  // namespace vela
