// Where the streams of an item ended, measured by the packets that came.
#pragma once
#include <cstdint>
#include <filesystem>
#include <ostream>

#include "host/playback.h"

namespace velahost {

/// Follows a playback, and tells afterwards which stream ended well before its item. The interface
/// reports such an end like any other, so a host that does not compare loses the rest in silence.
class StreamEnds {
 public:
  /// @param duration  of the item, in host units; vela::kUnknown64 when it is not known
  /// @param from      where playing begins, in host units from the item's start
  StreamEnds(uint64_t duration, uint64_t from);

  /// Notes the packet that `playback` read last.
  void count(const Playback& playback, StreamKind kind);

  /// Where a stream ended, in host units from the item's start. Audio ends after the last frame
  /// played. A packet of video has no duration: the picture shown last is taken to last as long as
  /// the one shown before it, and not beyond the item.
  int64_t endedAt(StreamKind kind) const;

  /// Whether a stream ended more than half a second before its item.
  bool isEarly(StreamKind kind) const;

  /// A line for each early end among the streams that `playback` has: "velahost: film.mp4: video
  /// ended at 0.080 s of 12.000 s".
  void write(std::ostream& err, const std::filesystem::path& file, const Playback& playback) const;

 private:
  int64_t duration_;
  int64_t from_;
  int64_t audioEnd_;
  int64_t lastShown_;        ///< greatest time of a picture
  int64_t secondLastShown_;  ///< and the greatest before it
};

}  // namespace velahost
