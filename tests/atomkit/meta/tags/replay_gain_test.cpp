#include "atomkit/meta/tags/replay_gain.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "hal/text/vstring.h"

namespace atomkit {
namespace {

/// Records the calls in order, as "setFlags 1".
class RecordingSink final : public ReplayGainSink {
 public:
  std::vector<std::string> log;
  uint32_t flags = 0;
  int32_t trackGain = 0;
  int32_t albumGain = 0;
  int32_t trackPeak = 0;
  int32_t albumPeak = 0;

  uint64_t getHead() override {
    log.push_back("getHead");
    return 0;
  }
  void setHead(ReplayGainHead head) override { log.push_back("setHead " + number(head.low)); }
  uint32_t getFlags() override {
    log.push_back("getFlags");
    return flags;
  }
  void setFlags(uint32_t value) override {
    log.push_back("setFlags " + number(value));
    flags = value;
  }
  int32_t getTrackGain() override { return get("getTrackGain", trackGain); }
  void setTrackGain(int32_t value) override { set("setTrackGain ", trackGain, value); }
  int32_t getAlbumGain() override { return get("getAlbumGain", albumGain); }
  void setAlbumGain(int32_t value) override { set("setAlbumGain ", albumGain, value); }
  int32_t getTrackPeak() override { return get("getTrackPeak", trackPeak); }
  void setTrackPeak(int32_t value) override { set("setTrackPeak ", trackPeak, value); }
  int32_t getAlbumPeak() override { return get("getAlbumPeak", albumPeak); }
  void setAlbumPeak(int32_t value) override { set("setAlbumPeak ", albumPeak, value); }

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

using Format = bool (*)(ReplayGainSink&, VString&);

/// The text of a field whose flag is set.
std::u16string formatted(Format format, RecordingSink& sink) {
  sink.flags = 0xf;
  VBufferString text;
  text.Set(u"what was there", VString::KAll, 0);
  EXPECT_TRUE(format(sink, text));
  return unitsOf(text);
}
std::u16string gainText(int32_t gain) {
  RecordingSink sink;
  sink.trackGain = gain;
  return formatted(formatTrackGain, sink);
}
std::u16string peakText(int32_t peak) {
  RecordingSink sink;
  sink.trackPeak = peak;
  return formatted(formatTrackPeak, sink);
}
int32_t gainOf(const char16_t* value) {
  RecordingSink sink;
  EXPECT_TRUE(applyReplayGain(sink, u"replaygain_track_gain", value));
  return sink.trackGain;
}
int32_t peakOf(const char16_t* value) {
  RecordingSink sink;
  EXPECT_TRUE(applyReplayGain(sink, u"replaygain_track_peak", value));
  return sink.trackPeak;
}

// ---- the sink's table

TEST(ReplayGainSink, OperationsStandInSlotOrder) {
  RecordingSink sink;
  ReplayGainSink* face = &sink;
  void** slots = *reinterpret_cast<void***>(face);
  const auto get = [&](int slot) {
    reinterpret_cast<uint32_t (*)(ReplayGainSink*)>(slots[slot])(face);
  };
  const auto set = [&](int slot) {
    reinterpret_cast<void (*)(ReplayGainSink*, uint32_t)>(slots[slot])(face,
                                                                       static_cast<uint32_t>(slot));
  };
  reinterpret_cast<uint64_t (*)(ReplayGainSink*)>(slots[0])(face);
  reinterpret_cast<void (*)(ReplayGainSink*, ReplayGainHead)>(slots[1])(face, {1, 0});
  for (int slot = 2; slot < 12; slot += 2) {
    get(slot);
    set(slot + 1);
  }
  EXPECT_EQ(sink.log, (Log{"getHead", "setHead 1", "getFlags", "setFlags 3", "getTrackGain",
                           "setTrackGain 5", "getAlbumGain", "setAlbumGain 7", "getTrackPeak",
                           "setTrackPeak 9", "getAlbumPeak", "setAlbumPeak 11"}));
}

// ---- from a tag to the number

TEST(ReplayGain, EachNameSetsItsFlagAndThenItsField) {
  RecordingSink sink;
  EXPECT_TRUE(applyReplayGain(sink, u"replaygain_track_gain", u"-6.54 dB"));
  EXPECT_TRUE(applyReplayGain(sink, u"replaygain_album_gain", u"+1.5 dB"));
  EXPECT_TRUE(applyReplayGain(sink, u"replaygain_track_peak", u"1.0"));
  EXPECT_TRUE(applyReplayGain(sink, u"replaygain_album_peak", u"0.5"));
  EXPECT_EQ(sink.log, (Log{"getFlags", "setFlags 1", "setTrackGain -65400",   //
                           "getFlags", "setFlags 3", "setAlbumGain 15000",    //
                           "getFlags", "setFlags 7", "setTrackPeak 8388608",  //
                           "getFlags", "setFlags 15", "setAlbumPeak 4194304"}));
}

TEST(ReplayGain, OtherFlagsOfTheSinkStay) {
  RecordingSink sink;
  sink.flags = 0x80000008;
  applyReplayGain(sink, u"replaygain_album_gain", u"1");
  EXPECT_EQ(sink.flags, 0x8000000au);
}

TEST(ReplayGain, NamesAreFoundWithoutRegardToCase) {
  RecordingSink sink;
  EXPECT_TRUE(applyReplayGain(sink, u"ReplayGain_Album_Peak", u"0.25"));
  EXPECT_EQ(sink.albumPeak, 2097152);
}

TEST(ReplayGain, OtherNamesSetNothing) {
  for (const char16_t* name :
       {u"replaygain_reference_loudness", u"replaygain_track_gai", u"replaygain_track_gains", u"",
        u"title", u" replaygain_track_gain"}) {
    RecordingSink sink;
    EXPECT_FALSE(applyReplayGain(sink, name, u"1.0"));
    EXPECT_EQ(sink.log, Log{});
  }
}

TEST(ReplayGain, TextObjectsAreTakenByTheirLength) {
  VBufferString name;
  name.Set(u"REPLAYGAIN_TRACK_GAIN and more", 21, 0);
  VBufferString value;
  value.Set(u"2.59", 3, 0);
  RecordingSink sink;
  EXPECT_TRUE(applyReplayGain(sink, name, value));
  EXPECT_EQ(sink.log, (Log{"getFlags", "setFlags 1", "setTrackGain 25000"}));
  name.Set(u"x", VString::KAll, VString::KAll);
  EXPECT_FALSE(applyReplayGain(sink, name, value));
  EXPECT_FALSE(applyReplayGain(sink, VBufferString(), value));
}

TEST(ReplayGain, MissingTextCountsAsEmpty) {
  RecordingSink sink;
  EXPECT_FALSE(applyReplayGain(sink, nullptr, u"1.0"));
  EXPECT_EQ(sink.log, Log{});
  sink.trackGain = 7;
  EXPECT_TRUE(applyReplayGain(sink, u"replaygain_track_gain", nullptr));
  EXPECT_EQ(sink.log, (Log{"getFlags", "setFlags 1", "setTrackGain 0"}));
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
  RecordingSink sink;
  sink.trackGain = 10000;
  sink.albumGain = 20000;
  sink.trackPeak = 3 * 8388608;
  sink.albumPeak = 4 * 8388608;
  EXPECT_EQ(formatted(formatTrackGain, sink), u"1.00 dB");
  EXPECT_EQ(formatted(formatAlbumGain, sink), u"2.00 dB");
  EXPECT_EQ(formatted(formatTrackPeak, sink), u"3.00");
  EXPECT_EQ(formatted(formatAlbumPeak, sink), u"4.00");
}

TEST(ReplayGainText, FieldWithoutItsFlagLeavesTheTextAlone) {
  const Format formats[] = {formatTrackGain, formatAlbumGain, formatTrackPeak, formatAlbumPeak};
  for (uint32_t field = 0; field < 4; ++field) {
    RecordingSink sink;
    sink.flags = ~(1u << field);
    VBufferString text;
    text.Set(u"before", VString::KAll, 0);
    EXPECT_FALSE(formats[field](sink, text));
    EXPECT_EQ(unitsOf(text), u"before");
    sink.flags = 1u << field;
    EXPECT_TRUE(formats[field](sink, text));
    EXPECT_NE(unitsOf(text), u"before");
  }
}

}  // namespace
}  // namespace atomkit
