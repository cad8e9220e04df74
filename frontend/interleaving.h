// The order in which audio and video packets are pulled out of one file.
#pragma once
#include <cstdint>

#include "frontend/vela_splitter.h"

namespace vela {

/// How far (1.75 s in host units) one stream may run ahead before the other is read wherever its
/// samples lie in the file.
inline constexpr uint64_t kInterleaveSpan = 29360128;
static_assert(kInterleaveSpan == uint64_t{kHostUnitsPerSecond} * 7 / 4);

/// The next sample of a stream.
struct NextSample {
  uint64_t time;        ///< presentation time, host units
  uint64_t fileOffset;  ///< bytes
};

/// Which of the two next samples to read: none that begins at or after `rangeEnd` (host units),
/// then the one that lags by more than the span, else the one that comes first in the file. Video
/// wins where both have the same place.
constexpr NextStream chooseStream(const NextSample& audio, const NextSample& video,
                                  uint64_t rangeEnd) noexcept {
  const bool audioEnded = audio.time >= rangeEnd;
  const bool videoEnded = video.time >= rangeEnd;
  if (audioEnded && videoEnded) return kNextNone;
  if (videoEnded) return kNextAudio;
  if (audioEnded) return kNextVideo;
  if (audio.time + kInterleaveSpan < video.time) return kNextAudio;
  if (video.time + kInterleaveSpan < audio.time) return kNextVideo;
  return audio.fileOffset < video.fileOffset ? kNextAudio : kNextVideo;
}

}  // namespace vela
