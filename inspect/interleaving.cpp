#include <algorithm>
#include <cmath>

#include "inspect/findings.h"
#include "inspect/sample_reader.h"

namespace inspect {
namespace {

constexpr uint64_t kPollInterval = 65536;  // packets

/// The samples of one track, with the next one in hand.
class Stream {
 public:
  Stream(File& file, const TrackMap* track) : track_(track) {
    if (track) reader_.emplace(file, *track);
    advance();
  }

  bool ended() const { return ended_; }
  const Sample& sample() const { return sample_; }
  double seconds() const {
    return track_->timescale == 0
               ? 0
               : static_cast<double>(sample_.compositionTime()) / track_->timescale;
  }
  void advance() {
    ended_ = !reader_ || !reader_->next(sample_) || !sample_.hasSize || !sample_.hasPlace;
  }

 private:
  const TrackMap* track_;
  std::optional<SampleReader> reader_;
  Sample sample_;
  bool ended_ = false;
};

/// The stream that the plug-in names next.
Stream& nextOf(Stream& audio, Stream& video) {
  if (video.ended()) return audio;
  if (audio.ended()) return video;
  if (audio.seconds() + kTolerableLead < video.seconds()) return audio;
  if (video.seconds() + kTolerableLead < audio.seconds()) return video;
  return audio.sample().offset < video.sample().offset ? audio : video;
}

void measureJumps(File& file, const TrackMap* audioTrack, const TrackMap* videoTrack,
                  const std::function<void()>& poll, Interleaving& result) {
  Stream audio(file, audioTrack);
  Stream video(file, videoTrack);
  const uint64_t most = mostSamplesFollowed(file);
  uint64_t position = 0;
  while ((!audio.ended() || !video.ended()) && result.packets < most) {
    if (result.packets % kPollInterval == 0) poll();
    Stream& next = nextOf(audio, video);
    const uint64_t offset = next.sample().offset;
    if (result.packets > 0 && offset != position) {
      const uint64_t distance = offset > position ? offset - position : position - offset;
      ++result.jumps;
      if (result.firstJumps.size() < kMostJumpsKept) {
        result.firstJumps.push_back({next.seconds(), position, offset});
      }
      result.largestJumpBytes = std::max(result.largestJumpBytes, distance);
      result.jumpedBytes += distance;
    }
    position = next.sample().end();
    ++result.packets;
    next.advance();
  }
}

/// In the order of the file, how far one track gets ahead of the other.
void measureLead(File& file, const TrackMap* audioTrack, const TrackMap* videoTrack,
                 const std::function<void()>& poll, Interleaving& result) {
  if (!audioTrack || !videoTrack) return;
  Stream audio(file, audioTrack);
  Stream video(file, videoTrack);
  const uint64_t most = mostSamplesFollowed(file);
  for (uint64_t packets = 0; !audio.ended() && !video.ended() && packets < most; ++packets) {
    if (packets % kPollInterval == 0) poll();
    const double lead = std::abs(audio.seconds() - video.seconds());
    Stream& next = audio.sample().offset < video.sample().offset ? audio : video;
    if (lead > result.largestLeadSeconds) {
      result.largestLeadSeconds = lead;
      result.largestLeadOffset = next.sample().offset;
    }
    next.advance();
  }
}

}  // namespace

Interleaving measureInterleaving(File& file, const TrackMap* audio, const TrackMap* video,
                                 const std::function<void()>& poll) {
  Interleaving result;
  measureJumps(file, audio, video, poll, result);
  measureLead(file, audio, video, poll, result);
  return result;
}

}  // namespace inspect
