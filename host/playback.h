// Plays an item: starts it, seeks, and pulls packets in the order that the plug-in proposes.
#pragma once
#include <cstdint>

#include "host/packets.h"
#include "host/reference.h"

namespace velahost {

enum class StreamKind { none, audio, video };

/// Which streams of an item are asked for.
enum class Wanted { audio, video, both };

const char* name(StreamKind kind);

/// Drives one playing splitter. Packets are kept in place, so that delivery allocates nothing once
/// the largest packet has been seen.
class Playback {
 public:
  /// @param splitter, token  borrowed
  Playback(vela::IMediaSplitterEx& splitter, vela::CancelToken* token)
      : splitter_(splitter), token_(token) {}

  /// Starts an item at its beginning. @throws Failure
  void start(uint32_t itemId, Wanted wanted);

  /// Goes to a place in the item, in host units from the item's start. @throws Failure
  void seek(uint64_t offset);

  /// Pulls the next packet of the stream that the plug-in names. A stream that has reported its end
  /// is not asked again: near the end of an item the plug-in may go on naming it, and the other one
  /// still has packets.
  /// @return the stream whose packet was filled, none at the end of the item
  /// @throws Failure
  StreamKind next();

  /// Pulls the next packet of one stream. @return whether there was one. @throws Failure
  bool nextAudio();
  bool nextVideo();

  AudioFormatRecord audioFormat;
  VideoFormatRecord videoFormat;
  AudioPacketRecord audio;  ///< filled by nextAudio()
  VideoPacketRecord video;  ///< filled by nextVideo()

  // Times are in host units from the item's start.

  /// When `video` is shown. A key frame before the item's start has a negative time.
  int64_t videoTime = 0;
  /// When the first played frame of `audio` is heard: the place that was started or sought, and all
  /// frames played since. A packet that only primes the decoder has the time of the next one.
  int64_t audioTime = 0;
  /// How long the played frames of `audio` last. The next packet begins at `audioTime` plus this.
  int64_t audioDuration = 0;

  // Running numbers of `audio` and `video` in their streams: 0 for the first packet after a start
  // or a seek.
  uint64_t audioIndex = 0;
  uint64_t videoIndex = 0;

 private:
  /// @param stream  "audio ", "video " or empty
  void requireRead(vela::TIOResult result, const char* stream) const;
  void restart(uint64_t offset);
  /// Host units from the item's start to the end of the frames that were played.
  int64_t audioPosition() const;

  vela::IMediaSplitterEx& splitter_;
  vela::CancelToken* token_;
  bool audioEnded_ = true;
  bool videoEnded_ = true;
  uint64_t origin_ = 0;        ///< where playing began, in host units from the item's start
  uint64_t playedFrames_ = 0;  ///< since then
  uint64_t audioPackets_ = 0;  ///< since then
  uint64_t videoPackets_ = 0;  ///< since then
};

}  // namespace velahost
