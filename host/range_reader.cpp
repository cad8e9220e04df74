#include "host/range_reader.h"

#include <algorithm>

namespace velahost {

int64_t ticksOf(int64_t hostUnits, uint32_t ticksPerSecond) {
  // Whole seconds apart, rounded down, so that no product exceeds 64 bits.
  constexpr int64_t kSecond = vela::kHostUnitsPerSecond;
  int64_t seconds = hostUnits / kSecond;
  int64_t rest = hostUnits % kSecond;
  if (rest < 0) {
    rest += kSecond;
    --seconds;
  }
  return seconds * ticksPerSecond + (rest * ticksPerSecond + kSecond / 2) / kSecond;
}

void RangeReader::begin() {
  playback_.start(range_.itemId, wanted_);
  origin_ = 0;
  if (range_.fromKeyFrame) {
    origin_ = static_cast<int64_t>(range_.start);
    playback_.seek(range_.start);
    if (playback_.videoFormat.present && playback_.nextVideo() && playback_.videoTime < origin_) {
      origin_ = playback_.videoTime;
    }
    playback_.seek(static_cast<uint64_t>(origin_));
  }
  audioDone_ = !playback_.audioFormat.present;
  videoDone_ = !playback_.videoFormat.present;
  firstPicture_ = true;
  framesRead_ = passedOver_ = 0;
}

bool RangeReader::readAudio() {
  frames_ = playback_.audio.frames;
  if (range_.end == vela::kUnknown64) return true;
  const int64_t length = static_cast<int64_t>(range_.end) - origin_;
  const auto all =
      static_cast<uint64_t>(std::max<int64_t>(0, ticksOf(length, playback_.audio.sampleRate)));
  if (framesRead_ >= all && (frames_ > 0 || all == 0)) return false;
  frames_ = static_cast<uint32_t>(std::min<uint64_t>(frames_, all - framesRead_));
  framesRead_ += frames_;
  return true;
}

bool RangeReader::readVideo() {
  if (firstPicture_) {
    firstPicture_ = false;
    firstShown_ = playback_.videoTime;
  }
  return range_.end == vela::kUnknown64 || playback_.videoTime < static_cast<int64_t>(range_.end);
}

StreamKind RangeReader::next() {
  while (!audioDone_ || !videoDone_) {
    StreamKind kind = StreamKind::none;
    if (audioDone_) {
      if (playback_.nextVideo()) kind = StreamKind::video;
    } else if (videoDone_) {
      if (playback_.nextAudio()) kind = StreamKind::audio;
    } else {
      kind = playback_.next();
    }
    if (kind == StreamKind::none) break;
    if (kind == StreamKind::audio) {
      if (readAudio()) return kind;
      audioDone_ = true;
    } else if (!readVideo()) {
      videoDone_ = true;
    } else if (!range_.fromKeyFrame || playback_.videoTime >= firstShown_) {
      return kind;
    } else {
      ++passedOver_;
    }
  }
  audioDone_ = videoDone_ = true;
  return StreamKind::none;
}

}  // namespace velahost
