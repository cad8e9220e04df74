#include "host/stream_ends.h"

#include <algorithm>
#include <limits>

#include "cli/text.h"
#include "host/text.h"

namespace velahost {
namespace {

constexpr int64_t kNever = std::numeric_limits<int64_t>::min();
constexpr int64_t kTolerance = vela::kHostUnitsPerSecond / 2;

}  // namespace

StreamEnds::StreamEnds(uint64_t duration, uint64_t from)
    : duration_(static_cast<int64_t>(duration)),  // unknown: -1, before which nothing ends
      from_(static_cast<int64_t>(from)),
      audioEnd_(from_),
      lastShown_(kNever),
      secondLastShown_(kNever) {}

void StreamEnds::count(const Playback& playback, StreamKind kind) {
  if (kind == StreamKind::audio) {
    audioEnd_ = playback.audioTime + playback.audioDuration;
    return;
  }
  // Pictures come in the order of decoding, which is not that of showing.
  const int64_t shown = playback.videoTime;
  secondLastShown_ = std::max(secondLastShown_, std::min(shown, lastShown_));
  lastShown_ = std::max(lastShown_, shown);
}

int64_t StreamEnds::endedAt(StreamKind kind) const {
  if (kind == StreamKind::audio) return audioEnd_;
  if (lastShown_ == kNever) return from_;
  if (secondLastShown_ == kNever) return lastShown_;
  const int64_t end = lastShown_ + (lastShown_ - secondLastShown_);
  return std::max(lastShown_, std::min(end, duration_));
}

bool StreamEnds::isEarly(StreamKind kind) const { return duration_ - endedAt(kind) > kTolerance; }

void StreamEnds::write(std::ostream& err, const std::filesystem::path& file,
                       const Playback& playback) const {
  const auto writeOne = [&](StreamKind kind, bool present) {
    if (!present || !isEarly(kind)) return;
    err << "velahost: " << cli::pathText(file) << ": " << name(kind) << " ended at "
        << secondsText(endedAt(kind), 3) << " s of " << secondsText(duration_, 3) << " s\n";
  };
  writeOne(StreamKind::audio, playback.audioFormat.present);
  writeOne(StreamKind::video, playback.videoFormat.present);
}

}  // namespace velahost
