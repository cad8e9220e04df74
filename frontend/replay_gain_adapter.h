// ReplayGainAdapter: lets the MP4 library store replay-gain values in a host's MediaInfo.
#pragma once
#include <cstdint>

#include "atomkit/meta/tags/replay_gain.h"
#include "frontend/vela_splitter.h"

namespace vela {

static_assert(static_cast<uint32_t>(kTrackGainPresent) == atomkit::kTrackGainFlag &&
              static_cast<uint32_t>(kAlbumGainPresent) == atomkit::kAlbumGainFlag &&
              static_cast<uint32_t>(kTrackPeakPresent) == atomkit::kTrackPeakFlag &&
              static_cast<uint32_t>(kAlbumPeakPresent) == atomkit::kAlbumPeakFlag);

/// Forwards every operation to `info`, which it borrows.
class ReplayGainAdapter final : public atomkit::ReplayGainSink {
 public:
  explicit ReplayGainAdapter(MediaInfo& info) noexcept : info_(info) {}

  uint64_t getHead() override { return info_.getDuration(); }
  void setHead(atomkit::ReplayGainHead head) override { info_.setDuration({head.low, head.high}); }
  uint32_t getFlags() override { return info_.getFlags(); }
  void setFlags(uint32_t flags) override { info_.setFlags(flags); }
  int32_t getTrackGain() override { return info_.getTrackGain(); }
  void setTrackGain(int32_t value) override { info_.setTrackGain(value); }
  int32_t getAlbumGain() override { return info_.getAlbumGain(); }
  void setAlbumGain(int32_t value) override { info_.setAlbumGain(value); }
  int32_t getTrackPeak() override { return info_.getTrackPeak(); }
  void setTrackPeak(int32_t value) override { info_.setTrackPeak(value); }
  int32_t getAlbumPeak() override { return info_.getAlbumPeak(); }
  void setAlbumPeak(int32_t value) override { info_.setAlbumPeak(value); }

 private:
  MediaInfo& info_;
};

}  // namespace vela
