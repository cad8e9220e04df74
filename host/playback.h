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
  uint64_t videoTime = 0;   ///< of `video`, in host units from the item's start

 private:
  /// @param stream  "audio ", "video " or empty
  void requireRead(vela::TIOResult result, const char* stream) const;

  vela::IMediaSplitterEx& splitter_;
  vela::CancelToken* token_;
  bool audioEnded_ = true;
  bool videoEnded_ = true;
  uint64_t packetsRead_ = 0;  ///< of both streams, since the start
};

}  // namespace velahost
