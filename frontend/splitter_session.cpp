#include "frontend/splitter_session.h"

#include "frontend/guarded.h"
#include "frontend/host_time.h"
#include "frontend/read_cache.h"
#include "frontend/source_stream.h"
#include "hal/memory/memory.h"

namespace vela {
namespace {

using atomkit::CodecKind;

constexpr uint32_t kHostOpenForReading = 0;

// objectTypeIndication of ISO/IEC 14496-1.
constexpr uint32_t kMpeg4Visual = 0x20;
constexpr uint32_t kMpeg4Aac = 0x40;
constexpr uint32_t kMpeg2AacFirst = 0x66;  // Main profile
constexpr uint32_t kMpeg2AacLast = 0x68;   // Scalable Sampling Rate profile
constexpr uint32_t kMpeg2Audio = 0x69;     // ISO/IEC 13818-3
constexpr uint32_t kMpeg1Audio = 0x6B;     // ISO/IEC 11172-3

constexpr atomkit::ParseOptions kDescribing =
    atomkit::kWantVideo | atomkit::kWantAudio | atomkit::kWantTextTags | 0x04;
constexpr atomkit::ParseOptions kPlaying = kDescribing | atomkit::kWantSampleTables;
static_assert(kDescribing == 0x36 && kPlaying == 0x37);

constexpr int32_t pixelsOrUnknown(uint32_t pixels) {
  return pixels == 0 ? -1 : static_cast<int32_t>(pixels);
}

}  // namespace

TIOResult SplitterSession::openSession(const char16_t* sourceName, CreationMode mode,
                                       CancelToken* token) noexcept {
  // DELIBERATE D-004: a splitter of mode 2 has a class and slots of its own, and is refused before
  // the source is touched. Hosts probe for it.
  if (mode == CreationMode::refused) return TIOResult::failed;
  return guarded([&] {
    openStream(sourceName, token);
    parseMovie(mode, token);
    selectTracks();
    takeTrackFigures();
    return TIOResult::success;
  });
}

void SplitterSession::openStream(const char16_t* sourceName, CancelToken* token) {
  void* slot = nullptr;
  const uint32_t resolved = hostContext_->resolveSource(sourceName, &slot);
  const auto provider = Reference<SourceProvider>::adopt(slot);
  if (!resolved || !provider) throw TIOResult::sourceNotFound;

  slot = nullptr;
  const TIOResult result = provider->open(sourceName, kHostOpenForReading, token, &slot);
  const auto hostStream = Reference<HostStream>::adopt(slot);
  throwOnFailure(result);
  if (!hostStream) throw TIOResult::failed;

  // Without memory for the cache the host's stream does, only slower.
  HostStream* const cache = VMemory::GNew<BufferedHostStream>(hostStream.get());
  stream_.reset(cache ? cache : hostStream.get());
}

void SplitterSession::parseMovie(CreationMode mode, CancelToken* token) {
  const auto range =
      stream_->canSeek() ? atomkit::ScanRange::wholeFile : atomkit::ScanRange::upToMediaData;
  SourceStream source(stream_.get(), token);
  movie_.parse(source, range, mode == CreationMode::playback ? kPlaying : kDescribing,
               source.length());
}

/// The first track of each sort that qualifies wins.
void SplitterSession::selectTracks() {
  audioTrack_ = -1;
  videoTrack_ = -1;
  for (uint32_t track = 0; track < movie_.trackCount(); ++track) {
    const bool selected = hasAudio() ? false : selectAudio(track);
    if (!selected && !hasVideo()) selectVideo(track);
  }
}

bool SplitterSession::selectAudio(uint32_t track) {
  if (movie_.codecKind(track) != CodecKind::mp4a) return false;
  const uint32_t type = movie_.objectType(track);
  if (type == kMpeg4Aac || (type >= kMpeg2AacFirst && type <= kMpeg2AacLast)) {
    audioMediaId_ = kMediaAac;
    audioFormatName_ = u"AAC";
  } else if (type == kMpeg2Audio || type == kMpeg1Audio) {
    audioMediaId_ = kMediaMp3;
    audioFormatName_ = u"MP3";
  } else {
    return false;
  }
  audioTrack_ = static_cast<int32_t>(track);
  audioCursor_.track = track;
  return true;
}

bool SplitterSession::selectVideo(uint32_t track) {
  const CodecKind kind = movie_.codecKind(track);
  if (kind == CodecKind::avc1) {
    videoMediaId_ = kMediaH264;
    videoFormatName_ = u"MPEG-4 AVC";
  } else if (kind == CodecKind::mp4v && movie_.objectType(track) == kMpeg4Visual) {
    videoMediaId_ = kMediaMpeg4Visual;
    videoFormatName_ = u"MPEG-4 ASP";
  } else {
    return false;
  }
  videoTrack_ = static_cast<int32_t>(track);
  videoCursor_.track = track;
  return true;
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
    audioSampleCount_ = audio.sampleCount;
  }
  if (hasVideo()) {
    movie_.summary(static_cast<uint32_t>(videoTrack_), video);
    videoTimescale_ = video.timescale;
    videoSampleCount_ = video.sampleCount;
    width_ = pixelsOrUnknown(video.width);
    height_ = pixelsOrUnknown(video.height);
  }
  if (!hasAudio() && !hasVideo()) throw TIOResult::failed;

  const atomkit::TrackSummary& main = hasAudio() ? audio : video;
  duration_ = main.duration();
  if (duration_ != kUnknown64) duration_ = ticksToHostUnits(duration_, main.timescale);

  nextReadOffset_ = kUnknown64;
  audioNextSample_ = 0;
  videoNextSample_ = 0;
  framesToDrop_ = 0;
  audioOnly_ = hasAudio() && !hasVideo() ? 1 : 0;
}

}  // namespace vela
