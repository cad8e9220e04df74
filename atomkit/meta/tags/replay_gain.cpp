#include "atomkit/meta/tags/replay_gain.h"

#include <algorithm>
#include <string_view>

#include "hal/text/number_text.h"
#include "hal/text/vstring.h"
#include "hal/text/wide_text.h"

namespace atomkit {
namespace {

// In the order of ReplayGainField. They share one length, which most other names don't have.
constexpr std::u16string_view kNames[] = {u"replaygain_track_gain", u"replaygain_album_gain",
                                          u"replaygain_track_peak", u"replaygain_album_peak"};
constexpr uint32_t kNameLength = 21;
static_assert(std::ranges::all_of(kNames, [](auto name) { return name.size() == kNameLength; }));

void clear(VString& text) { text.Set(nullptr, 0, 0); }

void append(VString& text, const char16_t* units) { text.Set(units, VString::KAll, VString::KAll); }

// Appends the decimal point and two digits. @param hundredths  below 100
void appendHundredths(VString& text, uint64_t hundredths) {
  append(text, hundredths < 10 ? u".0" : u".");
  VNumberText::GWriteUnsigned(text, hundredths, VString::KAll);
}

}  // namespace

// DELIBERATE D-349: only the whole decibels carry a sign, so that a gain between -1 and 0 dB is
// written without one.
void writeGain(VString& text, int32_t gain) {
  const int64_t hundredths = int64_t{gain} * 100 / kGainUnitsPerDecibel;
  clear(text);
  VNumberText::GWriteSigned(text, hundredths / 100, VString::KAll);
  appendHundredths(text, static_cast<uint64_t>(hundredths < 0 ? -hundredths : hundredths) % 100);
  append(text, u" dB");
}

// DELIBERATE D-350: a negative peak, which has no meaning, is written as the unsigned 32-bit number
// of hundredths that its bits make.
void writePeak(VString& text, int32_t peak) {
  const auto hundredths = static_cast<uint32_t>(int64_t{peak} * 100 / kPeakUnitsPerFullScale);
  clear(text);
  VNumberText::GWriteUnsigned(text, hundredths / 100, VString::KAll);
  appendHundredths(text, hundredths % 100);
}

ReplayGainText::ReplayGainText(const VString& text) noexcept
    : units_(text.GetBuffer()), length_(text.GetLength()) {}

ReplayGainText::ReplayGainText(const char16_t* text) noexcept
    : units_(text ? text : u""), length_(VWideText::KUntilNul) {}

std::optional<ReplayGainField> ReplayGainText::field() const noexcept {
  if (VWideText::GLength(units_, std::min(length_, kNameLength + 1)) != kNameLength) return {};
  uint32_t field = 0;
  for (const std::u16string_view name : kNames) {
    if (VWideText::GCompareIgnoringCase(units_, kNameLength, name.data(), kNameLength) == 0) {
      return ReplayGainField{field};
    }
    ++field;
  }
  return {};
}

int32_t ReplayGainText::number(uint32_t unitsPerOne) const noexcept {
  return static_cast<int32_t>(VNumberText::GParseScaledSigned(units_, length_, unitsPerOne));
}

}  // namespace atomkit
