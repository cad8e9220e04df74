// SessionProbe: the tests' view of a session's fields.
#pragma once
#include <cstddef>
#include <cstdint>
#include <vector>

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
  static uint32_t audioNextSample(const SplitterSession& session) {
    return session.audioNextSample_;
  }
  static uint32_t videoNextSample(const SplitterSession& session) {
    return session.videoNextSample_;
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
  static uint64_t rangeStart(const SplitterSession& session) { return session.rangeStart_; }
  static uint64_t rangeEnd(const SplitterSession& session) { return session.rangeEnd_; }
  static uint64_t framesLeft(const SplitterSession& session) { return session.framesLeft_; }
  static uint64_t nextReadOffset(const SplitterSession& session) { return session.nextReadOffset_; }
  static const atomkit::Movie& movie(const SplitterSession& session) { return session.movie_; }

  struct Field {
    const char* name;
    size_t offset;  ///< bytes from the session's start
    size_t size;
    size_t alignment;
  };
  /// Every field, in the order that the layout must keep.
  static std::vector<Field> fields(const SplitterSession& s) {
    const auto field = [&]<class T>(const char* name, const T& member) {
      const auto* const start = reinterpret_cast<const char*>(&s);
      const auto* const place = reinterpret_cast<const char*>(&member);
      return Field{name, static_cast<size_t>(place - start), sizeof(T), alignof(T)};
    };
    return {field("hostContext", s.hostContext_),
            field("audioTrack", s.audioTrack_),
            field("videoTrack", s.videoTrack_),
            field("audioEnabled", s.audioEnabled_),
            field("videoEnabled", s.videoEnabled_),
            field("audioCursor", s.audioCursor_),
            field("videoCursor", s.videoCursor_),
            field("movie", s.movie_),
            field("stream", s.stream_),
            field("audioNextSample", s.audioNextSample_),
            field("audioSampleCount", s.audioSampleCount_),
            field("videoNextSample", s.videoNextSample_),
            field("videoSampleCount", s.videoSampleCount_),
            field("duration", s.duration_),
            field("audioTimescale", s.audioTimescale_),
            field("videoTimescale", s.videoTimescale_),
            field("framesToDrop", s.framesToDrop_),
            field("prerollLeft", s.prerollLeft_),
            field("sampleRate", s.sampleRate_),
            field("channels", s.channels_),
            field("width", s.width_),
            field("height", s.height_),
            field("audioMediaId", s.audioMediaId_),
            field("videoMediaId", s.videoMediaId_),
            field("audioFormatName", s.audioFormatName_),
            field("videoFormatName", s.videoFormatName_),
            field("audioOnly", s.audioOnly_),
            field("rangeStart", s.rangeStart_),
            field("rangeEnd", s.rangeEnd_),
            field("selectedChapter", s.selectedChapter_),
            field("framesLeft", s.framesLeft_),
            field("nextReadOffset", s.nextReadOffset_),
            field("audioScale", s.audioScale_),
            field("videoScale", s.videoScale_),
            field("audioLocated", s.audioLocated_),
            field("videoLocated", s.videoLocated_),
            field("sought", s.sought_)};
  }
};

}  // namespace vela
