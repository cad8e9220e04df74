// Replay-gain values: from the texts of tags to the numbers that a host takes, and back to text.
#pragma once
#include <cstdint>

class VString;

namespace atomkit {

/// Presence bits of the values.
enum ReplayGainFlag : uint32_t {  // ABI: do not renumber
  kTrackGainFlag = 0x1,
  kAlbumGainFlag = 0x2,
  kTrackPeakFlag = 0x4,
  kAlbumPeakFlag = 0x8,
};

inline constexpr uint32_t kGainUnitsPerDecibel = 10000;
inline constexpr uint32_t kPeakUnitsPerFullScale = 8388608;  // 2^23

/// A 64-bit value that crosses the host's interface: two words, low word first.
struct ReplayGainHead {
  uint32_t low;
  uint32_t high;
};

/// The first operations of the host's media information object, in its order.
/// Gains: kGainUnitsPerDecibel to the decibel. Peaks: kPeakUnitsPerFullScale to full scale.
class ReplayGainSink {
 public:
  virtual uint64_t getHead() = 0;            ///< slot 0; not used here
  virtual void setHead(ReplayGainHead) = 0;  ///< slot 1; not used here
  virtual uint32_t getFlags() = 0;           ///< slot 2
  virtual void setFlags(uint32_t) = 0;       ///< slot 3
  virtual int32_t getTrackGain() = 0;        ///< slot 4
  virtual void setTrackGain(int32_t) = 0;    ///< slot 5
  virtual int32_t getAlbumGain() = 0;        ///< slot 6
  virtual void setAlbumGain(int32_t) = 0;    ///< slot 7
  virtual int32_t getTrackPeak() = 0;        ///< slot 8
  virtual void setTrackPeak(int32_t) = 0;    ///< slot 9
  virtual int32_t getAlbumPeak() = 0;        ///< slot 10
  virtual void setAlbumPeak(int32_t) = 0;    ///< slot 11

 protected:
  ~ReplayGainSink() = default;
};

/// Takes a tag whose name, without regard to case, is "replaygain_track_gain",
/// "replaygain_album_gain", "replaygain_track_peak" or "replaygain_album_peak": adds the presence
/// flag, then sets the number that the value begins with. A number of more than 32 bits wraps.
/// @return false, and `sink` untouched, for any other name
bool applyReplayGain(ReplayGainSink& sink, const VString& name, const VString& value);
/// The same for NUL-terminated texts; null counts as empty.
bool applyReplayGain(ReplayGainSink& sink, const char16_t* name, const char16_t* value);

/// Sets `text` to the value with two decimals, truncated towards zero: "-6.54 dB".
/// @return false, and `text` untouched, when the presence flag is clear
bool formatTrackGain(ReplayGainSink& sink, VString& text);
bool formatAlbumGain(ReplayGainSink& sink, VString& text);
/// Sets `text` to the fraction of full scale with two decimals, truncated: "0.98".
/// @return false, and `text` untouched, when the presence flag is clear
bool formatTrackPeak(ReplayGainSink& sink, VString& text);
bool formatAlbumPeak(ReplayGainSink& sink, VString& text);

}  // namespace atomkit
