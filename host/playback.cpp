#include "host/playback.h"

#include "host/failure.h"

namespace velahost {

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
  require(Place::starting, splitter_.startItem(itemId, wantedAudio, wantedVideo, token_));
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
    require(Place::reading, splitter_.nextStream(&which));
    if (which == vela::kNextNone) break;
    const bool readAudio = videoEnded_ || (which == vela::kNextAudio && !audioEnded_);
    if (readAudio ? nextAudio() : nextVideo()) {
      return readAudio ? StreamKind::audio : StreamKind::video;
    }
  }
  audioEnded_ = videoEnded_ = true;
  return StreamKind::none;
}

bool Playback::nextAudio() {
  uint8_t end = 0;
  require(Place::reading, splitter_.readAudioPacket(&audio, &end, token_));
  audioEnded_ = end != 0;
  return !audioEnded_;
}

bool Playback::nextVideo() {
  uint8_t end = 0;
  require(Place::reading, splitter_.readVideoPacket(&video, &end, &videoTime, token_));
  videoEnded_ = end != 0;
  return !videoEnded_;
}

}  // namespace velahost
