#include "atomkit/meta/tags/replay_gain.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "hal/text/vstring.h"

namespace atomkit {
namespace {

/// Records the calls in order, as "setFlags 1".
class RecordingInfo {
 public:
  std::vector<std::string> log;
  uint32_t flags = 0;
  int32_t trackGain = 0;
  int32_t albumGain = 0;
  int32_t trackPeak = 0;
  int32_t albumPeak = 0;

  uint32_t getFlags() {
    log.push_back("getFlags");
    return flags;
  }
  void setFlags(uint32_t value) {
    log.push_back("setFlags " + number(value));
    flags = value;
  }
  int32_t getTrackGain() { return get("getTrackGain", trackGain); }
  void setTrackGain(int32_t value) { set("setTrackGain ", trackGain, value); }
  int32_t getAlbumGain() { return get("getAlbumGain", albumGain); }
  void setAlbumGain(int32_t value) { set("setAlbumGain ", albumGain, value); }
  int32_t getTrackPeak() { return get("getTrackPeak", trackPeak); }
  void setTrackPeak(int32_t value) { set("setTrackPeak ", trackPeak, value); }
  int32_t getAlbumPeak() { return get("getAlbumPeak", albumPeak); }
  void setAlbumPeak(int32_t value) { set("setAlbumPeak ", albumPeak, value); }

 private:
  template <class Number>
  static std::string number(Number value) {
    return std::to_string(value);
  }
  int32_t get(const char* call, int32_t field) {
    log.push_back(call);
    return field;
  }
  void set(const char* call, int32_t& field, int32_t value) {
    log.push_back(call + number(value));
    field = value;
  }
};
using Log = std::vector<std::string>;

std::u16string unitsOf(const VString& text) { return {text.GetBuffer(), text.GetLength()}; }

using Format = bool (*)(RecordingInfo&, VString&);

/// The text of a field whose flag is set.
std::u16string formatted(Format format, RecordingInfo& info) {
  info.flags = 0xf;
  VBufferString text;
  text.Set(u"what was there", VString::KAll, 0);
  EXPECT_TRUE(format(info, text));
  return unitsOf(text);
}
std::u16string gainText(int32_t gain) {
  RecordingInfo info;
  info.trackGain = gain;
  return formatted(formatTrackGain, info);
}
std::u16string peakText(int32_t peak) {
  RecordingInfo info;
  info.trackPeak = peak;
  return formatted(formatTrackPeak, info);
}
int32_t gainOf(const char16_t* value) {
  RecordingInfo info;
  EXPECT_TRUE(applyReplayGain(info, u"replaygain_track_gain", value));
  return info.trackGain;
}
int32_t peakOf(const char16_t* value) {
  RecordingInfo info;
  EXPECT_TRUE(applyReplayGain(info, u"replaygain_track_peak", value));
  return info.trackPeak;
}

// ---- from a tag to the number

TEST(ReplayGain, EachNameSetsItsFlagAndThenItsField) {
  RecordingInfo info;
  EXPECT_TRUE(applyReplayGain(info, u"replaygain_track_gain", u"-6.54 dB"));
  EXPECT_TRUE(applyReplayGain(info, u"replaygain_album_gain", u"+1.5 dB"));
  EXPECT_TRUE(applyReplayGain(info, u"replaygain_track_peak", u"1.0"));
  EXPECT_TRUE(applyReplayGain(info, u"replaygain_album_peak", u"0.5"));
  EXPECT_EQ(info.log, (Log{"getFlags", "setFlags 1", "setTrackGain -65400",   //
                           "getFlags", "setFlags 3", "setAlbumGain 15000",    //
                           "getFlags", "setFlags 7", "setTrackPeak 8388608",  //
                           "getFlags", "setFlags 15", "setAlbumPeak 4194304"}));
}

TEST(ReplayGain, OtherFlagsOfTheHostStay) {
  RecordingInfo info;
  info.flags = 0x80000008;
  applyReplayGain(info, u"replaygain_album_gain", u"1");
  EXPECT_EQ(info.flags, 0x8000000au);
}

TEST(ReplayGain, NamesAreFoundWithoutRegardToCase) {
  RecordingInfo info;
  EXPECT_TRUE(applyReplayGain(info, u"ReplayGain_Album_Peak", u"0.25"));
  EXPECT_EQ(info.albumPeak, 2097152);
}

TEST(ReplayGain, OtherNamesSetNothing) {
  for (const char16_t* name :
       {u"replaygain_reference_loudness", u"replaygain_track_gai", u"replaygain_track_gains", u"",
        u"title", u" replaygain_track_gain"}) {
    RecordingInfo info;
    EXPECT_FALSE(applyReplayGain(info, name, u"1.0"));
    EXPECT_EQ(info.log, Log{});
  }
}

TEST(ReplayGain, ANameThatGoesOnAfterOneOfTheFourIsToldFromIt) {
  EXPECT_EQ(ReplayGainText(u"replaygain_track_peak").field(), ReplayGainField::trackPeak);
  EXPECT_EQ(ReplayGainText(u"replaygain_track_peak_").field(), std::nullopt);
  VBufferString name;
  name.Set(u"replaygain_album_gain\0x", 23, 0);
  EXPECT_EQ(ReplayGainText(name).field(), ReplayGainField::albumGain) << "a NUL ends a text";
}

/// A text that says that it goes on far past the 22 units that it has.
class LongName final : public VString {
 public:
  uint64_t Set(const char16_t*, uint32_t, uint32_t) override { return 1; }
  const char16_t* GetBuffer() const override { return units_.data(); }
  uint32_t GetLength() const override { return 0x7fffffff; }

 private:
  std::vector<char16_t> units_ = std::vector<char16_t>(22, u'r');
};

TEST(ReplayGain, ALongNameIsToldByItsFirst22Units) {
  EXPECT_EQ(ReplayGainText(LongName()).field(), std::nullopt);
}

TEST(ReplayGain, TextObjectsAreTakenByTheirLength) {
  VBufferString name;
  name.Set(u"REPLAYGAIN_TRACK_GAIN and more", 21, 0);
  VBufferString value;
  value.Set(u"2.59", 3, 0);
  RecordingInfo info;
  EXPECT_TRUE(applyReplayGain(info, name, value));
  EXPECT_EQ(info.log, (Log{"getFlags", "setFlags 1", "setTrackGain 25000"}));
  name.Set(u"x", VString::KAll, VString::KAll);
  EXPECT_FALSE(applyReplayGain(info, name, value));
  EXPECT_FALSE(applyReplayGain(info, VBufferString(), value));
}

TEST(ReplayGain, MissingTextCountsAsEmpty) {
  RecordingInfo info;
  EXPECT_FALSE(applyReplayGain(info, nullptr, u"1.0"));
  EXPECT_EQ(info.log, Log{});
  info.trackGain = 7;
  EXPECT_TRUE(applyReplayGain(info, u"replaygain_track_gain", nullptr));
  EXPECT_EQ(info.log, (Log{"getFlags", "setFlags 1", "setTrackGain 0"}));
}

TEST(ReplayGain, ValuesAreDecimalNumbersWithAFraction) {
  EXPECT_EQ(gainOf(u"-6.54 dB"), -65400);
  EXPECT_EQ(gainOf(u"+6,5dB"), 65000);
  EXPECT_EQ(gainOf(u"3"), 30000);
  EXPECT_EQ(gainOf(u"0.00001"), 0);
  EXPECT_EQ(gainOf(u"-0.25"), -2500);
  EXPECT_EQ(gainOf(u""), 0);
  EXPECT_EQ(gainOf(u"dB"), 0);
  EXPECT_EQ(gainOf(u" 1"), 0);
  EXPECT_EQ(peakOf(u"0.5"), 4194304);
  EXPECT_EQ(peakOf(u"1.0"), 8388608);
  EXPECT_EQ(peakOf(u"0.988553"), 8292583);
}

TEST(ReplayGain, NumberOfMoreThan32BitsWraps) {
  EXPECT_EQ(gainOf(u"214748.3647"), 2147483647);
  EXPECT_EQ(gainOf(u"214748.3648"), -2147483647 - 1);
  EXPECT_EQ(gainOf(u"-214748.3649"), 2147483647);
  EXPECT_EQ(peakOf(u"255.99999"), 2147483564);
  EXPECT_EQ(peakOf(u"256"), -2147483647 - 1);
  EXPECT_EQ(peakOf(u"512"), 0);
  EXPECT_EQ(gainOf(u"18446744073709551615"), -10000);
}

// ---- from the number to text

TEST(ReplayGainText, GainHasTwoDecimalsAndItsUnit) {
  EXPECT_EQ(gainText(-65400), u"-6.54 dB");
  EXPECT_EQ(gainText(0), u"0.00 dB");
  EXPECT_EQ(gainText(10000), u"1.00 dB");
  EXPECT_EQ(gainText(-10000), u"-1.00 dB");
  EXPECT_EQ(gainText(10500), u"1.05 dB");
  EXPECT_EQ(gainText(10900), u"1.09 dB");
  EXPECT_EQ(gainText(11000), u"1.10 dB");
  EXPECT_EQ(gainText(123456), u"12.34 dB");
}

TEST(ReplayGainText, GainIsTruncatedTowardsZero) {
  EXPECT_EQ(gainText(19999), u"1.99 dB");
  EXPECT_EQ(gainText(-19999), u"-1.99 dB");
  EXPECT_EQ(gainText(99), u"0.00 dB");
}

TEST(ReplayGainText, GainCoversAll32Bits) {
  EXPECT_EQ(gainText(2147483647), u"214748.36 dB");
  EXPECT_EQ(gainText(-2147483647 - 1), u"-214748.36 dB");
}

TEST(Deliberate, D349_GainBetweenMinusOneAndZeroLosesItsSign) {
  EXPECT_EQ(gainText(-2500), u"0.25 dB");
  EXPECT_EQ(gainText(-5000), u"0.50 dB");
  EXPECT_EQ(gainText(-9999), u"0.99 dB");
  EXPECT_EQ(gainText(-100), u"0.01 dB");
}

TEST(ReplayGainText, PeakHasTwoDecimalsAndNoUnit) {
  EXPECT_EQ(peakText(8388608), u"1.00");
  EXPECT_EQ(peakText(4194304), u"0.50");
  EXPECT_EQ(peakText(0), u"0.00");
  EXPECT_EQ(peakText(8388608 + 419431), u"1.05");
  EXPECT_EQ(peakText(8388607), u"0.99");
  EXPECT_EQ(peakText(2147483647), u"255.99");
}

TEST(Deliberate, D350_NegativePeakIsWrittenAsAnUnsignedNumber) {
  EXPECT_EQ(peakText(-8388608), u"42949671.96");
  EXPECT_EQ(peakText(-2147483647 - 1), u"42949416.96");
  EXPECT_EQ(peakText(-1), u"0.00");
}

TEST(ReplayGainText, EachOperationWritesItsOwnField) {
  RecordingInfo info;
  info.trackGain = 10000;
  info.albumGain = 20000;
  info.trackPeak = 3 * 8388608;
  info.albumPeak = 4 * 8388608;
  EXPECT_EQ(formatted(formatTrackGain, info), u"1.00 dB");
  EXPECT_EQ(formatted(formatAlbumGain, info), u"2.00 dB");
  EXPECT_EQ(formatted(formatTrackPeak, info), u"3.00");
  EXPECT_EQ(formatted(formatAlbumPeak, info), u"4.00");
}

TEST(ReplayGainText, FieldWithoutItsFlagLeavesTheTextAlone) {
  const Format formats[] = {formatTrackGain, formatAlbumGain, formatTrackPeak, formatAlbumPeak};
  for (uint32_t field = 0; field < 4; ++field) {
    RecordingInfo info;
    info.flags = ~(1u << field);
    VBufferString text;
    text.Set(u"before", VString::KAll, 0);
    EXPECT_FALSE(formats[field](info, text));
    EXPECT_EQ(unitsOf(text), u"before");
    info.flags = 1u << field;
    EXPECT_TRUE(formats[field](info, text));
    EXPECT_NE(unitsOf(text), u"before");
  }
}

}  // namespace
}  // namespace atomkit
