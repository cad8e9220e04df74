#include "atomkit/meta/codec/sample_description.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/atomkit/box_reading.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/movie_builder.h"
#include "tests/support/throws_message.h"

using namespace atomkit;
using namespace boxes;
using testing::AnyOf;

namespace {

constexpr ParseOptions kWantBoth = kWantAudio | kWantVideo;

void readStsd(const Bytes& stsdBox, SampleDescription& description,
              ParseOptions options = kWantBoth) {
  readBox(stsdBox, [&](AtomReader& reader, uint64_t size) {
    readSampleDescriptions(options, description, reader, size);
  });
}

// The message of reading an 'stsd' with this one entry; empty when nothing is thrown.
std::string_view entryMessage(const Bytes& entry, ParseOptions options = kWantBoth) {
  return messageOf([&] {
    SampleDescription description;
    readStsd(stsd(entry), description, options);
  });
}

// An audio entry whose ignored fields are all ones.
Bytes noisyAudioEntry(uint16_t channels, uint16_t bits, uint32_t rate16Dot16) {
  return box("mp4a", repeat(0xff, 6), u16(0xffff), u32(0xffffffff), u32(0xffffffff), u16(channels),
             u16(bits), u16(0xffff), u16(0xffff), u32(rate16Dot16));
}

// A video entry whose ignored fields are all ones.
Bytes noisyVideoEntry(uint16_t width, uint16_t height, const Bytes& name) {
  return box("avc1", repeat(0xff, 24), u16(width), u16(height), repeat(0xff, 12), u16(0xffff), name,
             u16(0xffff), u16(0xffff));
}

}  // namespace

// ---- the entries of 'stsd'

TEST(SampleDescription, EntryCountZeroLeavesKindOtherAndReadsNothingFurther) {
  MemorySource source(box("stsd", full(0), u32(0), mp4a()));
  HostStreamAdapter stream(source, source.size());
  stream.skipExact(8);
  AtomReader reader(stream, source.size() - 8);
  SampleDescription description;
  readSampleDescriptions(kWantBoth, description, reader, source.size() - 8);
  EXPECT_EQ(description.codecKind, CodecKind::other);
  EXPECT_EQ(description.channelCount, 0u);
  EXPECT_EQ(source.position, 16u);
}

TEST(SampleDescription, KindNumbersAreFixed) {
  EXPECT_EQ(static_cast<uint32_t>(CodecKind::other), 1u);
  EXPECT_EQ(static_cast<uint32_t>(CodecKind::mp4a), 2u);
  EXPECT_EQ(static_cast<uint32_t>(CodecKind::alac), 3u);
  EXPECT_EQ(static_cast<uint32_t>(CodecKind::mp4v), 4u);
  EXPECT_EQ(static_cast<uint32_t>(CodecKind::avc1), 5u);
}

TEST(SampleDescription, EachEntryTypeGivesItsKind) {
  const struct {
    Bytes entry;
    CodecKind kind;
  } cases[] = {{mp4a(), CodecKind::mp4a},        {alac(), CodecKind::alac},
               {mp4v(), CodecKind::mp4v},        {avc1(), CodecKind::avc1},
               {otherEntry(), CodecKind::other}, {box("MP4A", zeros(28)), CodecKind::other}};
  for (const auto& c : cases) {
    SampleDescription description;
    readStsd(stsd(c.entry), description);
    EXPECT_EQ(description.codecKind, c.kind);
  }
}

TEST(SampleDescription, KindIsSetBeforeTheDetailsOfTheEntryAreRead) {
  const struct {
    const char* type;
    CodecKind kind;
  } cases[] = {{"mp4a", CodecKind::mp4a},
               {"alac", CodecKind::alac},
               {"mp4v", CodecKind::mp4v},
               {"avc1", CodecKind::avc1}};
  for (const auto& c : cases) {
    SampleDescription description;
    EXPECT_THROWS_MESSAGE(readStsd(stsd(box(c.type, zeros(25))), description),
                          "attempting to read past end of atom");
    EXPECT_EQ(description.codecKind, c.kind);
  }
}

TEST(SampleDescription, UnknownEntryAfterMp4aKeepsItsKind) {
  SampleDescription description;
  readStsd(stsd(mp4a(), otherEntry()), description);
  EXPECT_EQ(description.codecKind, CodecKind::mp4a);
}

TEST(SampleDescription, Avc1AfterMp4aEndsWithKindAvc1AndKeepsTheAudioFields) {
  SampleDescription description;
  readStsd(stsd(mp4a({.channels = 6, .rate = 44100}), avc1({.width = 640, .height = 480})),
           description);
  EXPECT_EQ(description.codecKind, CodecKind::avc1);
  EXPECT_EQ(description.channelCount, 6u);
  EXPECT_EQ(description.sampleRate, 44100u);
  EXPECT_EQ(description.objectType, 0x40u);
  EXPECT_EQ(description.width, 640u);
  EXPECT_EQ(description.height, 480u);
}

TEST(SampleDescription, ReadingSetsKindOtherBeforeItLooksAtThePayload) {
  SampleDescription description;
  EXPECT_THROWS_MESSAGE(readStsd(box("stsd"), description), "invalid stsd atom");
  EXPECT_EQ(description.codecKind, CodecKind::other);
}

TEST(SampleDescription, PayloadBelowFourBytesIsInvalid) {
  for (size_t size = 0; size < 4; ++size) {
    SampleDescription description;
    EXPECT_THROWS_MESSAGE(readStsd(box("stsd", zeros(size)), description), "invalid stsd atom");
  }
}

TEST(SampleDescription, PayloadOfFourToSevenBytesEndsInsideTheEntryCount) {
  for (size_t size = 4; size < 8; ++size) {
    SampleDescription description;
    EXPECT_THROWS_MESSAGE(readStsd(join(box("stsd", zeros(size)), mp4a()), description),
                          "attempting to read past end of atom");
  }
}

TEST(SampleDescription, MoreEntriesCountedThanPresentIsAnInvalidHeader) {
  SampleDescription description;
  EXPECT_THROWS_MESSAGE(
      readStsd(join(box("stsd", full(0), u32(2), otherEntry()), mp4a()), description),
      "invalid box/atom header");
  EXPECT_THROWS_MESSAGE(
      readStsd(box("stsd", full(0), u32(0xffffffff), otherEntry(), mp4a()), description),
      "invalid box/atom header");
}

TEST(SampleDescription, BytesAfterTheCountedEntriesAreSkipped) {
  SampleDescription description;
  MemorySource source(box("stsd", full(0), u32(1), mp4a(), avc1(), repeat(1, 5)));
  readBox(source, source.size(), [&](AtomReader& reader, uint64_t size) {
    readSampleDescriptions(kWantBoth, description, reader, size);
  });
  EXPECT_EQ(description.codecKind, CodecKind::mp4a);
  EXPECT_EQ(source.position, source.size());
}

TEST(SampleDescription, EntryMayFillTheRestAndNoByteMore) {
  const Bytes first = otherEntry();
  const Bytes following = zeros(64);
  SampleDescription description;
  readStsd(box("stsd", full(0), u32(2), first, boxClaiming(16, "mp4v", zeros(8))), description, 0);
  EXPECT_EQ(description.codecKind, CodecKind::mp4v);
  EXPECT_THROWS_MESSAGE(
      readStsd(
          join(box("stsd", full(0), u32(2), first, boxClaiming(17, "mp4v", zeros(8))), following),
          description, 0),
      "atom size bigger than expected");
}

TEST(SampleDescription, LongHeaderOfAnEntryCountsWithSixteenBytes) {
  const Bytes first = largeBox("text", zeros(4));
  const Bytes following = zeros(64);
  SampleDescription description;
  readStsd(box("stsd", full(0), u32(2), first, boxClaiming(16, "avc1", zeros(8))), description, 0);
  EXPECT_EQ(description.codecKind, CodecKind::avc1);
  EXPECT_THROWS_MESSAGE(
      readStsd(
          join(box("stsd", full(0), u32(2), first, boxClaiming(17, "avc1", zeros(8))), following),
          description, 0),
      "atom size bigger than expected");
}

TEST(SampleDescription, EntryHeaderErrorsAreThoseOfTheBoxReader) {
  EXPECT_EQ(entryMessage(boxClaiming(0, "mp4a", zeros(28))), "invalid box/atom header");
  EXPECT_EQ(entryMessage(boxClaiming(7, "mp4a", zeros(28))), "invalid box/atom header");
  EXPECT_EQ(entryMessage(join(u32(36), raw({'m', 'p', '4', 0x1f}), zeros(28))),
            "invalid box/atom header");
}

// ---- audio entries

TEST(AudioEntry, FieldsComeFromTheirPlaces) {
  SampleDescription description;
  readStsd(stsd(noisyAudioEntry(0x1234, 0x5678, 0x9abcdef0)), description);
  EXPECT_EQ(description.channelCount, 0x1234u);
  EXPECT_EQ(description.sampleSize, 0x5678u);
  EXPECT_EQ(description.sampleRate, 0x9abcu);
}

TEST(AudioEntry, FieldsReadBeforeAFailureStay) {
  // The entry ends before the fraction of the rate.
  const Bytes fields = join(zeros(16), u16(6), u16(24), zeros(4), u16(44100));
  SampleDescription description;
  EXPECT_THROWS_MESSAGE(readStsd(stsd(box("mp4a", fields)), description),
                        "attempting to read past end of atom");
  EXPECT_EQ(description.channelCount, 6u);
  EXPECT_EQ(description.sampleSize, 24u);
  EXPECT_EQ(description.sampleRate, 44100u);
}

TEST(AudioEntry, EsdsGivesObjectTypeBitratesAndConfiguration) {
  SampleDescription description;
  readStsd(stsd(mp4a({.child = esds({.objectType = 0x67,
                                     .maximumBitrate = 0xfffffffe,
                                     .averageBitrate = 96001,
                                     .config = raw({0x12, 0x10, 0x56})})})),
           description);
  EXPECT_EQ(description.objectType, 0x67u);
  EXPECT_EQ(description.maximumBitrate, 0xfffffffeu);
  EXPECT_EQ(description.averageBitrate, 96001u);
  EXPECT_EQ(bytesOf(description.decoderConfig), raw({0x12, 0x10, 0x56}));
}

TEST(AudioEntry, AudioOptionAloneGivesTheDetails) {
  for (const Bytes& entry : {mp4a({.channels = 6}), alac({.channels = 6})}) {
    SampleDescription description;
    readStsd(stsd(entry), description, kWantAudio);
    EXPECT_EQ(description.channelCount, 6u);
    EXPECT_GT(description.decoderConfig.count(), 0u);
  }
}

TEST(AudioEntry, WithoutTheAudioOptionOnlyTheKindIsSet) {
  SampleDescription description;
  readStsd(stsd(mp4a()), description, kWantVideo);
  EXPECT_EQ(description.codecKind, CodecKind::mp4a);
  EXPECT_EQ(description.channelCount, 0u);
  EXPECT_EQ(description.sampleSize, 0u);
  EXPECT_EQ(description.sampleRate, 0u);
  EXPECT_EQ(description.objectType, 0u);
  EXPECT_EQ(description.decoderConfig.count(), 0u);
}

TEST(AudioEntry, UnwantedEntryMayBeBroken) {
  EXPECT_EQ(entryMessage(box("mp4a"), kWantVideo), "");
  EXPECT_EQ(entryMessage(box("alac"), kWantVideo), "");
}

TEST(AudioEntry, ChildMayBeMissing) {
  for (size_t rest = 0; rest < 8; ++rest) {
    SampleDescription description;
    readStsd(stsd(mp4a({.channels = 1, .child = repeat(0x41, rest)})), description);
    EXPECT_EQ(description.channelCount, 1u);
    EXPECT_EQ(description.decoderConfig.count(), 0u);
  }
}

TEST(AudioEntry, BytesThatAreNoBoxEndTheEntryQuietly) {
  SampleDescription description;
  readStsd(stsd(mp4a({.child = join(u32(12), raw({'e', 's', 'd', 0x1f}), u32(0), esds())})),
           description);
  EXPECT_EQ(description.decoderConfig.count(), 0u);
}

TEST(AudioEntry, ChildWithASizeBelowItsHeaderIsInvalid) {
  EXPECT_EQ(entryMessage(mp4a({.child = boxClaiming(0, "esds")})), "invalid box/atom header");
}

TEST(AudioEntry, WaveAsFirstChildYieldsNoConfiguration) {
  SampleDescription description;
  readStsd(stsd(mp4a({.child = box("wave", box("frma", text("mp4a")), esds())})), description);
  EXPECT_EQ(description.codecKind, CodecKind::mp4a);
  EXPECT_EQ(description.decoderConfig.count(), 0u);
  EXPECT_EQ(description.objectType, 0u);
}

TEST(AudioEntry, ChildLargerThanItsEntryFailsWhenItIsSkipped) {
  EXPECT_EQ(entryMessage(mp4a({.child = boxClaiming(17, "free", zeros(8))})),
            "attempting to skip past end of atom");
}

TEST(AudioEntry, AlacSetupInAnMp4aEntryIsRefused) {
  EXPECT_EQ(entryMessage(mp4a({.child = box("alac", zeros(28))})), "alac atom not expected here");
}

TEST(AudioEntry, EmptyAlacSetupEmptiesTheConfiguration) {
  SampleDescription description;
  readStsd(stsd(mp4a(), audioEntry("alac", {.child = box("alac")})), description);
  EXPECT_EQ(description.codecKind, CodecKind::alac);
  EXPECT_EQ(description.decoderConfig.count(), 0u);
}

TEST(AudioEntry, AlacSetupOfFourGibibytesIsTooBig) {
  const Bytes payload = zeros(16);
  EXPECT_EQ(
      entryMessage(audioEntry("alac", {.child = largeBoxClaiming(0x100000010, "alac", payload)})),
      "ALAC decoder setup too big");
  EXPECT_EQ(entryMessage(audioEntry(
                "alac", {.child = largeBoxClaiming(0xffffffffffffffff, "alac", payload)})),
            "ALAC decoder setup too big");
}

TEST(AudioEntry, AlacSetupLargerThanItsEntryFailsBeforeMemoryIsAllocated) {
  FailingAllocation counting;
  EXPECT_EQ(
      entryMessage(audioEntry("alac", {.child = largeBoxClaiming(0x10000000f, "alac", zeros(16))})),
      "attempting to read past end of atom");
  EXPECT_EQ(entryMessage(audioEntry("alac", {.child = boxClaiming(33, "alac", zeros(24))})),
            "attempting to read past end of atom");
  EXPECT_EQ(counting.allocations(), 0u);
}

TEST(AudioEntry, MisplacedAlacIsReportedBeforeItsSize) {
  EXPECT_EQ(entryMessage(mp4a({.child = largeBoxClaiming(0x100000010, "alac", zeros(16))})),
            "alac atom not expected here");
}

TEST(AudioEntry, EntryCutShortFailsWhereItEnds) {
  const Bytes fields = zeros(28);
  for (size_t size = 0; size < 28; ++size) {
    const Bytes entry = box("mp4a", cutTo(fields, size));
    EXPECT_EQ(entryMessage(entry), size < 6 ? "attempting to skip past end of atom"
                                            : "attempting to read past end of atom")
        << size;
  }
  EXPECT_EQ(entryMessage(box("mp4a", fields)), "");
}

// ---- video entries

TEST(VideoEntry, FieldsComeFromTheirPlaces) {
  SampleDescription description;
  readStsd(stsd(noisyVideoEntry(0x1234, 0xfedc, text("ABCDEFGHIJKLMNOPQRSTUVWXYZ012345"))),
           description);
  EXPECT_EQ(description.width, 0x1234u);
  EXPECT_EQ(description.height, 0xfedcu);
  EXPECT_STREQ(description.compressorName.text(), "ABCDEFGHIJKLMNOPQRSTUVWXYZ012345");
}

TEST(VideoEntry, ZeroCompressorNameIsEmpty) {
  SampleDescription description;
  readStsd(stsd(avc1({.compressorName = zeros(32)})), description);
  EXPECT_TRUE(description.compressorName.empty());
}

TEST(VideoEntry, CompressorNameOfALaterEntryReplacesTheFirst) {
  SampleDescription description;
  readStsd(stsd(avc1({.compressorName = repeat('a', 32)}),
                avc1({.compressorName = join(text("b"), zeros(31))})),
           description);
  EXPECT_STREQ(description.compressorName.text(), "b");
}

TEST(VideoEntry, HolderOfAnEarlierCompressorNameKeepsIt) {
  SampleDescription description;
  readStsd(stsd(avc1({.compressorName = repeat('a', 32)})), description);
  const SharedString held = description.compressorName;
  readStsd(stsd(avc1({.compressorName = repeat('b', 32)})), description);
  EXPECT_EQ(held.text(), std::string(32, 'a'));
  EXPECT_EQ(description.compressorName.text(), std::string(32, 'b'));
}

TEST(VideoEntry, VideoOptionAloneGivesTheDetails) {
  const Bytes name = join(text("name"), zeros(28));
  for (const Bytes& entry : {avc1({.width = 640, .height = 480, .compressorName = name}),
                             mp4v({.width = 640, .height = 480, .compressorName = name})}) {
    SampleDescription description;
    readStsd(stsd(entry), description, kWantVideo);
    EXPECT_EQ(description.width, 640u);
    EXPECT_EQ(description.height, 480u);
    EXPECT_STREQ(description.compressorName.text(), "name");
    EXPECT_GT(description.decoderConfig.count(), 0u);
  }
}

TEST(VideoEntry, WithoutTheVideoOptionOnlyTheKindIsSet) {
  for (const Bytes& entry : {avc1(), mp4v()}) {
    SampleDescription description;
    readStsd(stsd(entry), description, kWantAudio);
    EXPECT_TRUE(isVideo(description.codecKind));
    EXPECT_EQ(description.width, 0u);
    EXPECT_EQ(description.height, 0u);
    EXPECT_TRUE(description.compressorName.empty());
    EXPECT_EQ(description.decoderConfig.count(), 0u);
  }
  EXPECT_EQ(entryMessage(box("avc1"), kWantAudio), "");
}

TEST(VideoEntry, Mp4vTakesItsConfigurationFromEsds) {
  SampleDescription description;
  readStsd(stsd(mp4v({.child = esds({.objectType = 0x20, .config = raw({0, 0, 1, 0xb0, 3})})})),
           description);
  EXPECT_EQ(description.objectType, 0x20u);
  EXPECT_EQ(bytesOf(description.decoderConfig), raw({0, 0, 1, 0xb0, 3}));
}

TEST(VideoEntry, AvcConfigurationInAnMp4vEntryIsRefused) {
  EXPECT_EQ(entryMessage(mp4v({.child = avcC()})), "avcC not expected here");
}

TEST(SampleDescription, ConfigurationBoxesOfTheOtherMediumAreIgnored) {
  for (const Bytes& entry :
       {mp4a({.child = box("avcC")}), audioEntry("alac", {.child = box("avcC")}),
        avc1({.child = box("alac")}), mp4v({.child = box("alac")})}) {
    SampleDescription description;
    readStsd(stsd(entry), description);
    EXPECT_EQ(description.decoderConfig.count(), 0u);
  }
}

TEST(VideoEntry, OtherChildrenAreIgnored) {
  SampleDescription description;
  readStsd(stsd(avc1({.child = box("colr", zeros(10))})), description);
  EXPECT_EQ(description.codecKind, CodecKind::avc1);
  EXPECT_EQ(description.decoderConfig.count(), 0u);
}

TEST(VideoEntry, EntryCutShortFailsWhereItEnds) {
  const Bytes fields = zeros(78);
  for (size_t size = 0; size < 78; ++size) {
    const Bytes entry = box("avc1", cutTo(fields, size));
    EXPECT_EQ(entryMessage(entry), size < 24 ? "attempting to skip past end of atom"
                                             : "attempting to read past end of atom")
        << size;
  }
  EXPECT_EQ(entryMessage(box("avc1", fields)), "");
}

// ---- hostile files

namespace {

std::vector<Bytes> goodDescriptions() {
  return {stsd(mp4a()), stsd(alac()), stsd(mp4v()), stsd(avc1()),
          stsd(otherEntry(), mp4a(), avc1({.compressorName = repeat('n', 32)}))};
}

}  // namespace

TEST(SampleDescription, FileCutAtAnyLengthIsAnError) {
  for (const Bytes& good : goodDescriptions()) {
    for (size_t size = 0; size < good.size(); ++size) {
      SampleDescription description;
      EXPECT_THAT(messageOf([&] { readStsd(cutTo(good, size), description); }),
                  AnyOf("attempting to read past end of file",
                        "attempting to skip past end of file", "invalid box/atom header"));
    }
  }
}

TEST(SampleDescription, SourceThatDeliversSingleBytesCountsAsEnded) {
  for (const Bytes& good : goodDescriptions()) {
    OneByteSource source(good);
    HostStreamAdapter stream(source, good.size());
    stream.skipExact(8);
    AtomReader reader(stream, good.size() - 8);
    SampleDescription description;
    EXPECT_THROWS_MESSAGE(readSampleDescriptions(kWantBoth, description, reader, good.size() - 8),
                          "attempting to read past end of file");
  }
}

TEST(SampleDescription, EveryFailedAllocationIsReportedAndLeaksNothing) {
  for (const Bytes& good : goodDescriptions()) {
    for (uint64_t failAt = 0;; ++failAt) {
      FailingAllocation failing(failAt);
      const std::string_view message = messageOf([&] {
        SampleDescription description;
        readStsd(good, description);
      });
      EXPECT_EQ(failing.blocksHeld(), 0u);
      if (!failing.failed()) {
        EXPECT_EQ(message, "");
        EXPECT_GT(failAt, 0u);
        break;
      }
      EXPECT_THAT(message, AnyOf("out of memory", "out of memory when resizing array"));
    }
  }
}

// ---- odd on purpose

TEST(Deliberate, D301_KindIsSetForUnwantedEntriesAndTheLastRecognisedOneDecides) {
  SampleDescription description;
  readStsd(stsd(avc1(), alac(), otherEntry()), description, 0);
  EXPECT_EQ(description.codecKind, CodecKind::alac);
  readStsd(stsd(alac(), mp4v(), mp4a()), description, 0);
  EXPECT_EQ(description.codecKind, CodecKind::mp4a);
}

TEST(Deliberate, D302_LongerAudioLayoutsAreReadAsTheShortOne) {
  // Version 1 has 16 more bytes before its boxes; here they do not look like a box.
  const Bytes versionOne =
      box("mp4a", zeros(6), u16(1), u16(1), u16(0), u32(0), u16(2), u16(16), u16(0), u16(0),
          u32(44100u << 16), u32(1024), u32(2), u32(4), u32(2), esds());
  SampleDescription description;
  readStsd(stsd(versionOne), description);
  EXPECT_EQ(description.sampleRate, 44100u);
  EXPECT_EQ(description.decoderConfig.count(), 0u);
}

TEST(Deliberate, D303_OnlyTheFirstChildIsLookedAt) {
  SampleDescription description;
  readStsd(stsd(mp4a({.child = join(box("free"), esds())})), description);
  EXPECT_EQ(description.decoderConfig.count(), 0u);
  readStsd(stsd(avc1({.child = join(box("pasp", u32(1), u32(1)), avcC())})), description);
  EXPECT_EQ(description.decoderConfig.count(), 0u);
}

TEST(Deliberate, D304_CompressorNameKeepsItsLengthByte) {
  SampleDescription description;
  readStsd(stsd(avc1({.compressorName = join(u8(5), text("codec"), zeros(26))})), description);
  EXPECT_STREQ(description.compressorName.text(),
               "\x05"
               "codec");
}

TEST(Deliberate, D305_MisplacedEsdsHasTwoWordings) {
  EXPECT_EQ(entryMessage(audioEntry("alac", {.child = esds()})), "esds atom not expected here");
  EXPECT_EQ(entryMessage(videoEntry("avc1", {.child = esds()})), "esds not expected here");
}

TEST(Deliberate, D311_AlacConfigurationKeepsVersionAndFlags) {
  SampleDescription description;
  readStsd(stsd(audioEntry("alac", {.child = box("alac", full(1, 2), raw({9, 8, 7}))})),
           description);
  EXPECT_EQ(bytesOf(description.decoderConfig), raw({1, 0, 0, 2, 9, 8, 7}));
}
