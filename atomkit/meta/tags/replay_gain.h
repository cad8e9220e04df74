// Replay-gain values: from the texts of tags to the numbers that a host takes, and back to text.
//
// The host's media information object is a template parameter, `MediaInfo`, as its interface
// belongs to the front end. It has getFlags() and setFlags() (uint32_t, the presence bits) and a
// getter and a setter (int32_t) for each of the four values.
#pragma once
#include <cstdint>
#include <optional>

class VString;

namespace atomkit {

/// The four values: rows of kReplayGainRows, and numbers of their presence bits.
enum class ReplayGainField : uint32_t {  // ABI: do not renumber
  trackGain,
  albumGain,
  trackPeak,
  albumPeak,
};

/// Bit in the host's flags that says that the value is there.
constexpr uint32_t presenceFlag(ReplayGainField field) noexcept {
  return uint32_t{1} << static_cast<uint32_t>(field);
}

inline constexpr uint32_t kGainUnitsPerDecibel = 10000;
inline constexpr uint32_t kPeakUnitsPerFullScale = 8388608;  // 2^23

/// Sets `text` to a gain with two decimals, truncated towards zero: "-6.54 dB".
/// @param gain  kGainUnitsPerDecibel to the decibel
void writeGain(VString& text, int32_t gain);
/// Sets `text` to a peak with two decimals, truncated: "0.98".
/// @param peak  kPeakUnitsPerFullScale to full scale
void writePeak(VString& text, int32_t peak);

/// Everything that sets one value apart from the others, except for its tag's name.
template <class MediaInfo>
struct ReplayGainRow {
  uint32_t unitsPerOne;  ///< per decibel, or per full scale
  void (*write)(VString&, int32_t);
  int32_t (MediaInfo::*get)();
  void (MediaInfo::*set)(int32_t);
};

template <class MediaInfo>
inline constexpr ReplayGainRow<MediaInfo> kReplayGainRows[] = {
    {kGainUnitsPerDecibel, writeGain, &MediaInfo::getTrackGain, &MediaInfo::setTrackGain},
    {kGainUnitsPerDecibel, writeGain, &MediaInfo::getAlbumGain, &MediaInfo::setAlbumGain},
    {kPeakUnitsPerFullScale, writePeak, &MediaInfo::getTrackPeak, &MediaInfo::setTrackPeak},
    {kPeakUnitsPerFullScale, writePeak, &MediaInfo::getAlbumPeak, &MediaInfo::setAlbumPeak},
};

/// A name or a value, borrowed: a text object, or a NUL-terminated text, where null counts as
/// empty.
class ReplayGainText {
 public:
  ReplayGainText(const VString& text) noexcept;
  ReplayGainText(const char16_t* text) noexcept;

  /// The value whose tag has this name, without regard to case; none for any other name.
  /// Cost: constant, however long the text is.
  std::optional<ReplayGainField> field() const noexcept;
  /// The decimal number that the text begins with, times `unitsPerOne`; one of more than 32 bits
  /// wraps.
  int32_t number(uint32_t unitsPerOne) const noexcept;

 private:
  const char16_t* units_;
  uint32_t length_;
};

/// Adds the presence flag of the field, then sets the number that the value begins with.
template <class MediaInfo>
void setReplayGain(MediaInfo& info, ReplayGainField field, ReplayGainText value) {
  const auto& row = kReplayGainRows<MediaInfo>[static_cast<uint32_t>(field)];
  info.setFlags(info.getFlags() | presenceFlag(field));
  (info.*row.set)(value.number(row.unitsPerOne));
}

/// Takes a tag that has one of the four names, without regard to case.
/// @return false, and `info` untouched, for any other name
template <class MediaInfo>
bool applyReplayGain(MediaInfo& info, ReplayGainText name, ReplayGainText value) {
  const std::optional<ReplayGainField> field = name.field();
  if (field) setReplayGain(info, *field, value);
  return field.has_value();
}

/// Writes the field as text.
/// @return false, and `text` untouched, when the presence flag is clear
template <class MediaInfo>
bool formatReplayGain(MediaInfo& info, ReplayGainField field, VString& text) {
  if (!(info.getFlags() & presenceFlag(field))) return false;
  const auto& row = kReplayGainRows<MediaInfo>[static_cast<uint32_t>(field)];
  row.write(text, (info.*row.get)());
  return true;
}

template <class MediaInfo>
bool formatTrackGain(MediaInfo& info, VString& text) {
  return formatReplayGain(info, ReplayGainField::trackGain, text);
}
template <class MediaInfo>
bool formatAlbumGain(MediaInfo& info, VString& text) {
  return formatReplayGain(info, ReplayGainField::albumGain, text);
}
template <class MediaInfo>
bool formatTrackPeak(MediaInfo& info, VString& text) {
  return formatReplayGain(info, ReplayGainField::trackPeak, text);
}
template <class MediaInfo>
bool formatAlbumPeak(MediaInfo& info, VString& text) {
  return formatReplayGain(info, ReplayGainField::albumPeak, text);
}

}  // namespace atomkit
