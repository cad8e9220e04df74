// SplitterSession: one opened source, its selected tracks, and the state of playing them.
// Lifetime: embedded in a splitter object; opened once, right after construction, never reopened.
#pragma once
#include <cstdint>

#include "atomkit/core/movie/movie.h"
#include "atomkit/meta/timing/sample_cursor.h"
#include "frontend/host_time.h"
#include "frontend/out_slot.h"
#include "frontend/vela_splitter.h"

namespace vela {

class ReadCache;

/// Which splitter a session belongs to.
enum class CreationMode : uint32_t {  // ABI: do not renumber
  information = 0,                    ///< IMediaSplitter
  playback = 1,                       ///< IMediaSplitterEx
  refused = 2,                        ///< IMediaSplitterAlt
};

/// Operations that return a TIOResult return the host's code or one of their own, or throw it; the
/// splitter objects turn both into a code, and keep two of them from running at the same time.
/// Operations that read from the stream take the token of the host's call.
class SplitterSession {
 public:
  explicit SplitterSession(HostContext* hostContext) noexcept : hostContext_(hostContext) {}
  SplitterSession(const SplitterSession&) = delete;
  SplitterSession& operator=(const SplitterSession&) = delete;

  /// Opens the source, parses it and selects the tracks. A session that failed to open can only be
  /// destroyed.
  TIOResult openSession(const char16_t* sourceName, CreationMode mode, CancelToken* token) noexcept;

  /// 1, or the number of chapters of an audio-only file.
  uint32_t getItemCount() const noexcept;
  /// `index` + 1 in an audio-only file; otherwise 0, the whole file.
  uint32_t getItemId(uint32_t index) const noexcept;
  /// Sets the time range to a chapter, or to the whole file when `itemId` is 0 or out of range.
  /// @throws atomkit::exception "invalid chapter data" when a chapter does not end after its
  ///         start, which stays selected
  void selectItem(uint32_t itemId);
  /// Selects the item and describes it to `info`.
  /// @throws atomkit::exception as selectItem()
  TIOResult describeItem(uint32_t itemId, MediaInfo& info, CancelToken* token);

  /// Selects the item, gives the formats of the wanted streams and goes to the item's start. A
  /// failure leaves what was done before it.
  /// @param audioFormat, videoFormat  null for a stream that the host does not want
  /// @throws atomkit::exception
  TIOResult startItem(uint32_t itemId, AudioFormat* audioFormat, VideoFormat* videoFormat);
  /// @throws atomkit::exception
  TIOResult readAudioPacket(AudioPacket& packet, uint8_t& endOfStream, CancelToken* token);
  /// @param time  receives host units from the item's start
  /// @throws atomkit::exception
  TIOResult readVideoPacket(VideoPacket& packet, uint8_t& endOfStream, uint64_t& time,
                            CancelToken* token);
  /// @param which  receives a NextStream value
  /// @throws atomkit::exception
  TIOResult nextStream(uint32_t& which);
  /// @param offset  host units from the item's start, modulo 2^64
  /// @throws atomkit::exception
  TIOResult seekTo(uint64_t offset);
  /// @throws atomkit::exception
  TIOResult seekWithKeyFrame(VideoPacket& packet, uint64_t offset, CancelToken* token);

  uint32_t passThroughTwo(uintptr_t first, uintptr_t second) {
    return stream_->passThroughTwo(first, second);
  }
  uint32_t passThroughOne(uintptr_t argument) { return stream_->passThroughOne(argument); }

 private:
  friend class SessionProbe;  // the tests' view of the fields

  bool hasAudio() const noexcept { return audioTrack_ >= 0; }
  bool hasVideo() const noexcept { return videoTrack_ >= 0; }

  // Steps of openSession(), in its order. All throw.
  /// @return the read cache over the host's stream, which the session holds; null without memory
  ReadCache* openStream(const char16_t* sourceName, CancelToken* token);
  void selectTracks();
  void selectAudio(uint32_t track);
  void selectVideo(uint32_t track);
  void takeTrackFigures();

  /// The record of describeItem().
  ItemDescription describeStreams(CancelToken* token);

  /// The sample on which a cursor stands, for as long as the cursor stays there.
  struct Located {
    atomkit::SampleInfo info;
    uint64_t time = 0;        // presentation, host units; once it was asked for
    uint8_t isKnown = 0;      // `info` holds
    uint8_t isTimeKnown = 0;  // `time` holds
  };

  /// What a seek found, for another one to the same target.
  struct Sought {
    uint64_t target = 0;        // host units
    uint32_t audioSample = 0;   // holds the target
    uint32_t framesToDrop = 0;  // from the start of that sample to the target
    uint32_t videoSample = 0;   // the key frame to begin at
    uint8_t isKnown = 0;
  };

  // Delivery and seeking. Those that touch the stream throw the host's code.
  /// Moves the cursor to `sample`, unless it stands there, and describes it.
  const atomkit::SampleInfo& locate(atomkit::SampleCursor& cursor, Located& located,
                                    uint32_t sample) const {
    if (!located.isKnown || sample != cursor.sample) locateAnew(cursor, located, sample);
    return located.info;
  }
  void locateAnew(atomkit::SampleCursor& cursor, Located& located, uint32_t sample) const;
  /// Presentation time in host units of what was located.
  static uint64_t timeOf(Located& located, const Timescale& timescale) noexcept {
    if (!located.isTimeKnown) {
      located.time = ticksToHostUnits(located.info.compositionTime, timescale);
      located.isTimeKnown = 1;
    }
    return located.time;
  }
  /// Puts the stream on `offset` unless it stands there, and forgets where it stands.
  void positionStream(uint64_t offset, CancelToken* token);
  void fillAudio(AudioPacket& packet, uint32_t size, uint32_t frames, CancelToken* token);
  void fillVideo(VideoPacket& packet, uint32_t size, CancelToken* token);
  void trimAudio(AudioPacket& packet);
  void startAudio(AudioFormat* format);
  void startVideo(VideoFormat* format);
  /// @param target  host units
  void findAudio(uint64_t target);
  void findVideo(uint64_t target);
  void goToAudio(uint64_t target) noexcept;

  HostContext* hostContext_;  // the host's; outlives every splitter
  int32_t audioTrack_ = -1;   // index in the movie; -1 for none
  int32_t videoTrack_ = -1;   // index in the movie; -1 for none
  uint8_t audioEnabled_ = 0;  // the host asked for the audio stream
  uint8_t videoEnabled_ = 0;  // the host asked for the video stream
  atomkit::SampleCursor audioCursor_;
  atomkit::SampleCursor videoCursor_;
  atomkit::Movie movie_;
  Reference<HostStream> stream_;  // the read cache over the host's stream, or that stream itself
  uint32_t audioNextSample_ = 0;  // next to deliver
  uint32_t audioSampleCount_ = 0;
  uint32_t videoNextSample_ = 0;  // next to deliver
  uint32_t videoSampleCount_ = 0;
  uint64_t duration_ = 0;        // host units of the main track; all ones when unknown
  uint32_t audioTimescale_ = 0;  // ticks per second
  uint32_t videoTimescale_ = 0;  // ticks per second
  uint32_t framesToDrop_ = 0;    // sample frames to cut from the next packets' heads
  uint32_t prerollLeft_ = 0;     // packets that only prime the decoder
  uint32_t sampleRate_ = 0;      // Hz
  uint32_t channels_ = 0;
  int32_t width_ = -1;   // pixels; -1 when the file gives 0
  int32_t height_ = -1;  // pixels; -1 when the file gives 0
  Guid audioMediaId_{};
  Guid videoMediaId_{};
  const char16_t* audioFormatName_ = nullptr;
  const char16_t* videoFormatName_ = nullptr;
  uint8_t audioOnly_ = 0;                 // an audio track and no video track
  uint64_t rangeStart_ = 0;               // host units, of the selected item
  uint64_t rangeEnd_ = 0;                 // host units, of the selected item
  int32_t selectedChapter_ = -1;          // -1 for the whole file
  uint64_t framesLeft_ = 0;               // sample frames until rangeEnd_
  uint64_t nextReadOffset_ = kUnknown64;  // file offset just after the last packet; or unknown
  Timescale audioScale_;                  // of audioTimescale_
  Timescale videoScale_;                  // of videoTimescale_
  Located audioLocated_;                  // by audioCursor_
  Located videoLocated_;                  // by videoCursor_
  Sought sought_;
};

}  // namespace vela
