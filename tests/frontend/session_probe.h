// SessionProbe: the tests' view of a session's fields.
#pragma once
#include <cstdint>

#include "frontend/splitter_session.h"

namespace vela {

class SessionProbe {
 public:
  static Reference<HostStream>& stream(SplitterSession& session) { return session.stream_; }
  static int32_t audioTrack(const SplitterSession& session) { return session.audioTrack_; }
  static int32_t videoTrack(const SplitterSession& session) { return session.videoTrack_; }
  static uint32_t audioSampleCount(const SplitterSession& session) {
    return session.audioSampleCount_;
  }
  static uint32_t videoSampleCount(const SplitterSession& session) {
    return session.videoSampleCount_;
  }
  static uint64_t duration(const SplitterSession& session) { return session.duration_; }
  static uint32_t audioTimescale(const SplitterSession& session) { return session.audioTimescale_; }
  static uint32_t videoTimescale(const SplitterSession& session) { return session.videoTimescale_; }
  static uint32_t sampleRate(const SplitterSession& session) { return session.sampleRate_; }
  static uint32_t channels(const SplitterSession& session) { return session.channels_; }
  static int32_t width(const SplitterSession& session) { return session.width_; }
  static int32_t height(const SplitterSession& session) { return session.height_; }
  static const Guid& audioMediaId(const SplitterSession& session) { return session.audioMediaId_; }
  static const Guid& videoMediaId(const SplitterSession& session) { return session.videoMediaId_; }
  static const char16_t* audioFormatName(const SplitterSession& session) {
    return session.audioFormatName_;
  }
  static const char16_t* videoFormatName(const SplitterSession& session) {
    return session.videoFormatName_;
  }
  static void setAudioFormatName(SplitterSession& session, const char16_t* name) {
    session.audioFormatName_ = name;
  }
  static bool audioOnly(const SplitterSession& session) { return session.audioOnly_ != 0; }
  static uint64_t framesLeft(const SplitterSession& session) { return session.framesLeft_; }
  static uint64_t nextReadOffset(const SplitterSession& session) { return session.nextReadOffset_; }
  static const atomkit::Movie& movie(const SplitterSession& session) { return session.movie_; }
};

}  // namespace vela
