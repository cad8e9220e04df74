#include "host/playback.h"

#include <string>

#include "host/failure.h"

namespace velahost {
namespace {

using vela::TIOResult;

/// The plug-in refuses an item that has none of the streams asked for.
const char* missingSentence(Wanted wanted) {
  switch (wanted) {
    case Wanted::audio:
      return "The item has no audio that can be played (result 5).";
    case Wanted::video:
      return "The item has no video that can be played (result 5).";
    case Wanted::both:
      break;
  }
  return "The item has no stream that can be played (result 5).";
}

}  // namespace

const char* name(StreamKind kind) {
  switch (kind) {
    case StreamKind::audio:
      return "audio";
    case StreamKind::video:
      return "video";
    case StreamKind::none:
      break;
  }
  return "none";
}

void Playback::start(uint32_t itemId, Wanted wanted) {
  vela::AudioFormat* const wantedAudio = wanted == Wanted::video ? nullptr : &audioFormat;
  vela::VideoFormat* const wantedVideo = wanted == Wanted::audio ? nullptr : &videoFormat;
  audioFormat.clear();
  videoFormat.clear();
  const TIOResult started = splitter_.startItem(itemId, wantedAudio, wantedVideo, token_);
  if (started == TIOResult::failed && !audioFormat.present && !videoFormat.present) {
    throw Failure(Place::starting, started, missingSentence(wanted));
  }
  require(Place::starting, started);
  packetsRead_ = 0;
  audioEnded_ = !audioFormat.present;
  videoEnded_ = !videoFormat.present;
}

void Playback::seek(uint64_t offset) {
  require(Place::seeking, splitter_.seekTo(vela::toWord64(offset), token_));
  audioEnded_ = !audioFormat.present;
  videoEnded_ = !videoFormat.present;
}

StreamKind Playback::next() {
  while (!audioEnded_ || !videoEnded_) {
    uint32_t which = vela::kNextNone;
    requireRead(splitter_.nextStream(&which), "");
    if (which == vela::kNextNone) break;
    const bool readAudio = videoEnded_ || (which == vela::kNextAudio && !audioEnded_);
    if (readAudio ? nextAudio() : nextVideo()) {
      return readAudio ? StreamKind::audio : StreamKind::video;
    }
  }
  audioEnded_ = videoEnded_ = true;
  return StreamKind::none;
}

void Playback::requireRead(TIOResult result, const char* stream) const {
  if (result == TIOResult::success) return;
  const std::string stopped =
      "Reading stopped after " + std::to_string(packetsRead_) + " packets: ";
  if (result == TIOResult::failed) {
    throw Failure(Place::reading, result,
                  stopped + "the next " + stream + "packet is damaged or cut short (result 5).");
  }
  if (result == TIOResult::outOfRange) {
    throw Failure(Place::reading, result,
                  stopped + "the next " + stream +
                      "packet lies outside the file, which may be cut short (result 1).");
  }
  throw Failure(Place::reading, result);
}

bool Playback::nextAudio() {
  uint8_t end = 0;
  requireRead(splitter_.readAudioPacket(&audio, &end, token_), "audio ");
  audioEnded_ = end != 0;
  if (!audioEnded_) ++packetsRead_;
  return !audioEnded_;
}

bool Playback::nextVideo() {
  uint8_t end = 0;
  requireRead(splitter_.readVideoPacket(&video, &end, &videoTime, token_), "video ");
  videoEnded_ = end != 0;
  if (!videoEnded_) ++packetsRead_;
  return !videoEnded_;
}

}  // namespace velahost
