// Selection of the streams: at most one audio and one video track, and their figures.
#include "frontend/guarded.h"
#include "frontend/host_time.h"
#include "frontend/splitter_session.h"

namespace vela {
namespace {

using atomkit::CodecKind;

// objectTypeIndication of ISO/IEC 14496-1.
constexpr uint32_t kMpeg4Visual = 0x20;
constexpr uint32_t kMpeg4Aac = 0x40;
constexpr uint32_t kMpeg2AacFirst = 0x66;  // Main profile
constexpr uint32_t kMpeg2AacLast = 0x68;   // Scalable Sampling Rate profile
constexpr uint32_t kMpeg2Audio = 0x69;     // ISO/IEC 13818-3
constexpr uint32_t kMpeg1Audio = 0x6B;     // ISO/IEC 11172-3

constexpr int32_t kUnknownPixels = -1;

constexpr int32_t pixelsOrUnknown(uint32_t pixels) {
  return pixels == 0 ? kUnknownPixels : static_cast<int32_t>(pixels);
}

}  // namespace

/// The first track of each sort that qualifies wins.
void SplitterSession::selectTracks() {
  for (uint32_t track = 0; track < movie_.trackCount(); ++track) {
    if (!hasAudio()) selectAudio(track);
    if (!hasVideo()) selectVideo(track);
  }
}

void SplitterSession::selectAudio(uint32_t track) {
  if (movie_.codecKind(track) != CodecKind::mp4a) return;
  const uint32_t type = movie_.objectType(track);
  if (type == kMpeg4Aac || (type >= kMpeg2AacFirst && type <= kMpeg2AacLast)) {
    audioMediaId_ = kMediaAac;
    audioFormatName_ = u"AAC";
  } else if (type == kMpeg2Audio || type == kMpeg1Audio) {
    audioMediaId_ = kMediaMp3;
    audioFormatName_ = u"MP3";
  } else {
    return;
  }
  audioTrack_ = static_cast<int32_t>(track);
  audioCursor_.track = track;
}

void SplitterSession::selectVideo(uint32_t track) {
  const CodecKind kind = movie_.codecKind(track);
  if (kind == CodecKind::avc1) {
    videoMediaId_ = kMediaH264;
    videoFormatName_ = u"MPEG-4 AVC";
  } else if (kind == CodecKind::mp4v && movie_.objectType(track) == kMpeg4Visual) {
    videoMediaId_ = kMediaMpeg4Visual;
    videoFormatName_ = u"MPEG-4 ASP";
  } else {
    return;
  }
  videoTrack_ = static_cast<int32_t>(track);
  videoCursor_.track = track;
}

void SplitterSession::takeTrackFigures() {
  atomkit::TrackSummary audio;
  atomkit::TrackSummary video;
  if (hasAudio()) {
    movie_.summary(static_cast<uint32_t>(audioTrack_), audio);
    sampleRate_ = audio.sampleRate;
    channels_ = audio.channelCount;
    if (sampleRate_ == 0 || channels_ == 0) throw TIOResult::failed;
    audioTimescale_ = audio.timescale;
    audioScale_ = Timescale(audio.timescale);
    audioSampleCount_ = audio.sampleCount;
  }
  if (hasVideo()) {
    movie_.summary(static_cast<uint32_t>(videoTrack_), video);
    videoTimescale_ = video.timescale;
    videoScale_ = Timescale(video.timescale);
    videoSampleCount_ = video.sampleCount;
    width_ = pixelsOrUnknown(video.width);
    height_ = pixelsOrUnknown(video.height);
  }
  if (!hasAudio() && !hasVideo()) throw TIOResult::failed;

  const atomkit::TrackSummary& main = hasAudio() ? audio : video;
  duration_ = main.duration();
  if (duration_ != kUnknown64) duration_ = ticksToHostUnits(duration_, main.timescale);
  audioOnly_ = hasAudio() && !hasVideo() ? 1 : 0;
}

}  // namespace vela
