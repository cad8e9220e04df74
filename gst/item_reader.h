// One file opened through the plug-in, and the item of it that is played: formats, description, and
// the packets in the order of the file, each with its time.
//
// Times are of the file: host units or frames from its start. An offset counts from the item's
// start and is signed, as the key frame of a later item may lie before it.
#pragma once
#include <gst/gst.h>

#include <cstdint>
#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "gst/audio_clock.h"
#include "gst/formats.h"
#include "gst/item_info.h"
#include "gst/packets.h"
#include "gst/reference.h"

namespace velagst {

enum class StreamKind { none, audio, video };
enum class SeekMode { accurate, keyUnit };

/// A failure of the plug-in: its code, and a sentence for people.
struct Failure {
  vela::TIOResult result;
  std::string sentence;
};
using MaybeFailure = std::optional<Failure>;

/// A packet with its place in the file.
struct TimedPacket {
  StreamKind kind = StreamKind::none;
  BufferPtr buffer;
  uint64_t frame = 0;      ///< audio: first frame
  uint32_t frames = 0;     ///< audio: how many
  uint64_t hostUnits = 0;  ///< video: presentation time
};

class ItemReader {
 public:
  /// @param factory, token  borrowed; outlive the reader
  ItemReader(vela::ISplitterFactory& factory, vela::CancelToken& token)
      : factory_(factory), token_(token) {}

  /// Opens the source, describes the item and starts it at its beginning.
  /// @param item  0 for the whole file, else the number of a chapter, from 1
  MaybeFailure open(uint32_t item);

  /// Goes to an offset. Accurate: the first picture handed out is the key frame from which the
  /// picture at the offset is decoded. Key unit: the offset itself moves to that key frame.
  /// A place that the samples don't reach counts as the item's end, as does one past it.
  MaybeFailure seek(uint64_t offset, SeekMode mode);

  /// The next packet; of the kind `none` when both streams are at their end.
  MaybeFailure next(TimedPacket& packet);

  /// No more packets of this stream are wanted before the next seek.
  void end(StreamKind kind);

  /// Whether no packet of this stream is left.
  bool hasEnded(StreamKind kind) const;

  /// Whether the item ended while the file still held pictures. Asked after its end.
  bool picturesAreLeft();

  uint64_t itemStart() const { return itemStart_; }     ///< host units
  uint64_t duration() const { return info_.duration; }  ///< host units, or kUnknown64
  uint64_t offset() const { return offset_; }           ///< where the last seek led
  uint32_t sampleRate() const { return info_.description.sampleRate; }
  /// First frame after the last seek; known as soon as a packet of audio was handed out.
  uint64_t firstFrame() const;

  const AudioFormat& audioFormat() const { return audioFormat_; }
  const VideoFormat& videoFormat() const { return videoFormat_; }
  const ItemInfo& info() const { return info_; }  ///< description of the item
  const ItemInfo& tags() const { return tags_; }  ///< tags of the item or of the file
  const std::vector<ChapterMark>& chapters() const { return chapters_; }  ///< of the whole file
  /// Whether the title among the tags is that of the whole item, not only of its first chapter.
  bool titleIsOfItem() const { return titleIsOfItem_; }

 private:
  vela::TIOResult seekTo(int64_t offset);
  vela::TIOResult readFirstPicture();
  vela::TIOResult landAtOrBefore(int64_t target);
  vela::TIOResult readAudio();
  vela::TIOResult readVideo();
  MaybeFailure describe(uint32_t item);

  vela::ISplitterFactory& factory_;
  vela::CancelToken& token_;
  Reference<vela::IMediaSplitterEx> splitter_;
  AudioFormat audioFormat_;
  VideoFormat videoFormat_;
  ItemInfo info_;
  ItemInfo tags_;
  std::vector<ChapterMark> chapters_;
  bool titleIsOfItem_ = true;
  uint64_t itemStart_ = 0;
  uint64_t offset_ = 0;
  bool landedBefore_ = false;   // the streams stand before offset_
  bool beyondSamples_ = false;  // the samples don't reach to where the last seek led
  bool audioEnded_ = true;
  bool videoEnded_ = true;
  AudioPacket audio_;
  VideoPacket video_;
  AudioClock clock_;
  std::vector<TimedPacket> held_;  // audio that only primes and waits for its time
  std::deque<TimedPacket> ready_;
};

}  // namespace velagst
