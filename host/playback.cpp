#include "host/playback.h"

#include <string>

#include "cli/text.h"
#include "host/failure.h"
#include "host/text.h"

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
  restart(0);
}

void Playback::seek(uint64_t offset) {
  require(Place::seeking, splitter_.seekTo(vela::toWord64(offset), token_));
  restart(offset);
}

void Playback::restart(uint64_t offset) {
  audioEnded_ = !audioFormat.present;
  videoEnded_ = !videoFormat.present;
  origin_ = offset;
  playedFrames_ = audioPackets_ = videoPackets_ = 0;
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
      "Reading stopped after " + cli::counted(audioPackets_ + videoPackets_, "packet") + ": ";
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
  if (audioEnded_) return false;
  audioIndex = audioPackets_++;
  audioTime = audioPosition();
  playedFrames_ += audio.frames;
  audioDuration = audioPosition() - audioTime;
  return true;
}

int64_t Playback::audioPosition() const {
  const uint64_t rate = audio.sampleRate;
  if (rate == 0) return static_cast<int64_t>(origin_);
  // Whole seconds apart, so that no product exceeds 64 bits.
  const uint64_t whole = playedFrames_ / rate * vela::kHostUnitsPerSecond;
  const uint64_t rest = (playedFrames_ % rate * vela::kHostUnitsPerSecond + rate / 2) / rate;
  return static_cast<int64_t>(origin_ + whole + rest);
}

bool Playback::nextVideo() {
  uint8_t end = 0;
  uint64_t time = 0;
  requireRead(splitter_.readVideoPacket(&video, &end, &time, token_), "video ");
  videoEnded_ = end != 0;
  if (videoEnded_) return false;
  videoIndex = videoPackets_++;
  videoTime = static_cast<int64_t>(time);
  return true;
}

}  // namespace velahost
