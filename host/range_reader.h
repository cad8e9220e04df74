// The packets of a part of a file, in the order of the file.
#pragma once
#include <cstdint>

#include "host/playback.h"

namespace velahost {

/// A part of a file that is played by itself.
struct Range {
  uint32_t itemId = 0;
  /// Whether it is a part of the item, from a key frame on, and not the whole item. The plug-in has
  /// items for the chapters of sound only; those of a film are parts of item 0.
  bool fromKeyFrame = false;
  uint64_t start = 0;               ///< host units from the item's start
  uint64_t end = vela::kUnknown64;  ///< likewise
};

/// Plays a range. Video begins with the key frame at or before the start, and audio with it, so
/// that both are in time. Video ends before the first picture in decoding order that is shown at or
/// after the end, audio at the end itself.
class RangeReader {
 public:
  /// @param playback  borrowed
  RangeReader(Playback& playback, const Range& range, Wanted wanted)
      : playback_(playback), range_(range), wanted_(wanted) {}

  /// Goes to the start. May be called again. @throws Failure
  void begin();

  /// Reads the next packet into the playback's. After a key frame in the middle of an item,
  /// pictures that are shown before it are passed over: they refer to pictures before it.
  /// @return the stream whose packet was read, none at the end
  /// @throws Failure
  StreamKind next();

  /// Where the range really begins, in host units from the item's start.
  int64_t origin() const { return origin_; }
  /// Frames of the packet of audio that was read last that belong to the range.
  uint32_t frames() const { return frames_; }
  uint64_t picturesPassedOver() const { return passedOver_; }

 private:
  bool readAudio();
  bool readVideo();

  Playback& playback_;
  Range range_;
  Wanted wanted_;
  int64_t origin_ = 0;
  bool audioDone_ = true;
  bool videoDone_ = true;
  bool firstPicture_ = true;
  int64_t firstShown_ = 0;
  uint64_t framesRead_ = 0;
  uint32_t frames_ = 0;
  uint64_t passedOver_ = 0;
};

/// Host units in ticks of a clock, rounded to the nearest; halves up.
/// @param ticksPerSecond  up to 2^24
int64_t ticksOf(int64_t hostUnits, uint32_t ticksPerSecond);

}  // namespace velahost
