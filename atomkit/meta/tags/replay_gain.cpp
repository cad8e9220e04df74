#include "atomkit/meta/tags/replay_gain.h"

#include "hal/text/number_text.h"
#include "hal/text/vstring.h"
#include "hal/text/wide_text.h"

namespace atomkit {
namespace {

struct Field {
  const char16_t* name;
  uint32_t flag;
  uint32_t unitsPerOne;
  void (ReplayGainSink::*set)(int32_t);
};

constexpr Field kFields[] = {
    {u"replaygain_track_gain", kTrackGainFlag, kGainUnitsPerDecibel, &ReplayGainSink::setTrackGain},
    {u"replaygain_album_gain", kAlbumGainFlag, kGainUnitsPerDecibel, &ReplayGainSink::setAlbumGain},
    {u"replaygain_track_peak", kTrackPeakFlag, kPeakUnitsPerFullScale,
     &ReplayGainSink::setTrackPeak},
    {u"replaygain_album_peak", kAlbumPeakFlag, kPeakUnitsPerFullScale,
     &ReplayGainSink::setAlbumPeak},
};

/// A text as the helper library takes it.
struct Text {
  const char16_t* units;
  uint32_t maximum;
};

Text textOf(const VString& string) { return {string.GetBuffer(), string.GetLength()}; }
Text textOf(const char16_t* units) { return {units ? units : u"", VWideText::KUntilNul}; }

bool apply(ReplayGainSink& sink, Text name, Text value) {
  for (const Field& field : kFields) {
    if (VWideText::GCompareIgnoringCase(name.units, name.maximum, field.name,
                                        VWideText::KUntilNul) != 0) {
      continue;
    }
    const int64_t number =
        VNumberText::GParseScaledSigned(value.units, value.maximum, field.unitsPerOne);
    sink.setFlags(sink.getFlags() | field.flag);
    (sink.*field.set)(static_cast<int32_t>(number));
    return true;
  }
  return false;
}

void clear(VString& text) { text.Set(nullptr, 0, 0); }

void append(VString& text, const char16_t* units) { text.Set(units, VString::KAll, VString::KAll); }

// Appends the decimal point and two digits. @param hundredths  below 100
void appendHundredths(VString& text, uint64_t hundredths) {
  append(text, hundredths < 10 ? u".0" : u".");
  VNumberText::GWriteUnsigned(text, hundredths, VString::KAll);
}

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

}  // namespace

bool applyReplayGain(ReplayGainSink& sink, const VString& name, const VString& value) {
  return apply(sink, textOf(name), textOf(value));
}

bool applyReplayGain(ReplayGainSink& sink, const char16_t* name, const char16_t* value) {
  return apply(sink, textOf(name), textOf(value));
}

bool formatTrackGain(ReplayGainSink& sink, VString& text) {
  if (!(sink.getFlags() & kTrackGainFlag)) return false;
  writeGain(text, sink.getTrackGain());
  return true;
}

bool formatAlbumGain(ReplayGainSink& sink, VString& text) {
  if (!(sink.getFlags() & kAlbumGainFlag)) return false;
  writeGain(text, sink.getAlbumGain());
  return true;
}

bool formatTrackPeak(ReplayGainSink& sink, VString& text) {
  if (!(sink.getFlags() & kTrackPeakFlag)) return false;
  writePeak(text, sink.getTrackPeak());
  return true;
}

bool formatAlbumPeak(ReplayGainSink& sink, VString& text) {
  if (!(sink.getFlags() & kAlbumPeakFlag)) return false;
  writePeak(text, sink.getAlbumPeak());
  return true;
}

}  // namespace atomkit
