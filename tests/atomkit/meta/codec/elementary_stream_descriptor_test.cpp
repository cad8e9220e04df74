#include "atomkit/meta/codec/elementary_stream_descriptor.h"

#include <gtest/gtest.h>

#include "tests/atomkit/box_reading.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/movie_builder.h"
#include "tests/support/throws_message.h"

using namespace atomkit;
using namespace boxes;

namespace {

void readEsds(const Bytes& esdsBox, SampleDescription& description) {
  readBox(esdsBox, [&](AtomReader& reader, uint64_t) {
    readElementaryStreamDescriptor(description, reader);
  });
}

std::string_view esdsMessage(const Bytes& esdsBox) {
  return messageOf([&] {
    SampleDescription description;
    readEsds(esdsBox, description);
  });
}

// ES_Descriptor header with a length that is long enough, whatever follows.
Bytes streamHeader(uint8_t flags = 0) { return join(u8(3), u8(100), u16(1), u8(flags)); }

// The fields of a DecoderConfigDescriptor after its tag and length.
Bytes decoderFields() { return join(u8(0x40), u8(0x15), u24(0), u32(200), u32(100)); }

// A DecoderConfigDescriptor with a length that is long enough.
Bytes decoderHeader() { return join(u8(4), u8(50), decoderFields()); }

// An 'esds' whose DecoderSpecificInfo has `length` as its length bytes.
Bytes esdsWithConfig(const Bytes& length, const Bytes& config) {
  return box("esds", full(0), streamHeader(), decoderHeader(), u8(5), length, config);
}

// A length below 128 in one to four bytes, and in four bytes whose last one has its top bit set.
std::vector<Bytes> lengthForms(uint8_t length) {
  return {u8(length), join(u8(0x80), u8(length)), join(repeat(0x80, 2), u8(length)),
          join(repeat(0x80, 3), u8(length)),
          join(repeat(0x80, 3), u8(static_cast<uint8_t>(0x80 | length)))};
}

}  // namespace

TEST(ElementaryStream, FieldsComeFromTheirPlaces) {
  SampleDescription description;
  readEsds(box("esds", full(0xff, 0xffffff), u8(3), u8(20), u16(0xffff), u8(0xff),  //
               u8(4), u8(13), u8(0xab), u32(0xffffffff), u32(0x01020304), u32(0xfffefdfc), u8(5),
               u8(2), u16(0x1190)),
           description);
  EXPECT_EQ(description.objectType, 0xabu);
  EXPECT_EQ(description.maximumBitrate, 0x01020304u);
  EXPECT_EQ(description.averageBitrate, 0xfffefdfcu);
  EXPECT_EQ(bytesOf(description.decoderConfig), u16(0x1190));
}

TEST(ElementaryStream, StreamDescriptorBelowTwentyBytesIsInvalidHoweverItsLengthIsWritten) {
  const auto withLength = [](const Bytes& length) {
    return box("esds", full(0), u8(3), length, u16(1), u8(0), decoderHeader(), u8(6));
  };
  for (const uint8_t length : raw({0, 19})) {
    for (const Bytes& form : lengthForms(length)) {
      EXPECT_EQ(esdsMessage(withLength(form)), "invalid esds atom (1)") << form.size();
    }
  }
  for (const Bytes& form : lengthForms(20)) {
    EXPECT_EQ(esdsMessage(withLength(form)), "") << form.size();
  }
  EXPECT_EQ(esdsMessage(withLength(raw({0x81, 0x00}))), "");
}

TEST(ElementaryStream, SecondTagMustBeADecoderConfig) {
  for (const uint8_t tag : raw({0, 3, 5, 6, 255})) {
    EXPECT_EQ(
        esdsMessage(box("esds", full(0), streamHeader(), u8(tag), u8(50), decoderFields(), u8(6))),
        "invalid esds atom (2)");
  }
}

TEST(ElementaryStream, DecoderConfigBelowThirteenBytesIsInvalidHoweverItsLengthIsWritten) {
  const auto withLength = [](const Bytes& length) {
    return box("esds", full(0), streamHeader(), u8(4), length, decoderFields(), u8(6));
  };
  for (const uint8_t length : raw({0, 12})) {
    for (const Bytes& form : lengthForms(length)) {
      EXPECT_EQ(esdsMessage(withLength(form)), "invalid esds atom (3)") << form.size();
    }
  }
  for (const Bytes& form : lengthForms(13)) {
    EXPECT_EQ(esdsMessage(withLength(form)), "") << form.size();
  }
  EXPECT_EQ(esdsMessage(withLength(raw({0x81, 0x00}))), "");
}

TEST(ElementaryStream, LengthsMayTakeUpToFourBytes) {
  const Bytes config = repeat(0x5a, 130);
  for (const Bytes& length :
       {raw({0x81, 0x02}), raw({0x80, 0x81, 0x02}), raw({0x80, 0x80, 0x81, 0x02})}) {
    SampleDescription description;
    readEsds(esdsWithConfig(length, config), description);
    EXPECT_EQ(bytesOf(description.decoderConfig), config);
  }
}

TEST(ElementaryStream, LengthOfFourBytesWithTheTopBitSetIsTakenAfterTheFourth) {
  SampleDescription description;
  readEsds(esdsWithConfig(raw({0x80, 0x80, 0x80, 0x83}), raw({1, 2, 3, 4})), description);
  EXPECT_EQ(bytesOf(description.decoderConfig), raw({1, 2, 3}));
}

TEST(ElementaryStream, WithoutAConfigurationTheOldOneStays) {
  SampleDescription description;
  readEsds(esds({.config = raw({7, 8, 9})}), description);
  readEsds(esds({.objectType = 0x6b, .config = {}}), description);
  EXPECT_EQ(description.objectType, 0x6bu);
  EXPECT_EQ(bytesOf(description.decoderConfig), raw({7, 8, 9}));
}

TEST(ElementaryStream, EmptyConfigurationEmptiesTheOldOne) {
  SampleDescription description;
  readEsds(esds({.config = raw({7, 8, 9})}), description);
  readEsds(esdsWithConfig(u8(0), {}), description);
  EXPECT_EQ(description.decoderConfig.count(), 0u);
}

TEST(ElementaryStream, WhatFollowsTheConfigurationIsNotRead) {
  SampleDescription description;
  readEsds(join(esdsWithConfig(u8(1), raw({0x11, 0xff, 0xff, 0xff}))), description);
  EXPECT_EQ(bytesOf(description.decoderConfig), raw({0x11}));
}

TEST(ElementaryStream, ConfigurationLargerThanItsBoxFailsBeforeMemoryIsAllocated) {
  FailingAllocation counting;
  const Bytes following = zeros(64);
  EXPECT_EQ(esdsMessage(join(esdsWithConfig(u8(5), raw({1, 2, 3, 4})), following)),
            "attempting to read past end of atom");
  EXPECT_EQ(esdsMessage(esdsWithConfig(raw({0xff, 0xff, 0xff, 0x7f}), raw({1, 2, 3, 4}))),
            "attempting to read past end of atom");
  EXPECT_EQ(esdsMessage(esdsWithConfig(raw({0xff, 0xff, 0xff, 0xff}), raw({1, 2, 3, 4}))),
            "attempting to read past end of atom");
  EXPECT_EQ(counting.allocations(), 0u);
}

TEST(ElementaryStream, BoxCutAtAnyLengthEndsPastTheAtom) {
  const Bytes payload = join(full(0), streamHeader(), decoderHeader(), u8(5), u8(2), u16(0x1190));
  for (size_t size = 0; size < payload.size(); ++size) {
    const Bytes cut = cutTo(payload, size);
    EXPECT_EQ(esdsMessage(join(box("esds", cut), zeros(64))), "attempting to read past end of atom")
        << size;
  }
  EXPECT_EQ(esdsMessage(box("esds", payload)), "");
}

TEST(ElementaryStream, FieldsReadBeforeAFailureStay) {
  SampleDescription description;
  EXPECT_THROWS_MESSAGE(
      readEsds(box("esds", full(0), streamHeader(), decoderHeader()), description),
      "attempting to read past end of atom");
  EXPECT_EQ(description.objectType, 0x40u);
  EXPECT_EQ(description.averageBitrate, 100u);
}

TEST(Deliberate, D306_FieldsAnnouncedByTheStreamFlagsAreNotSkipped) {
  const uint8_t streamDependence = 0x80;
  EXPECT_EQ(esdsMessage(box("esds", full(0), streamHeader(streamDependence), u16(0x0102),
                            decoderHeader(), u8(6))),
            "invalid esds atom (2)");
  // A stream number that looks like the tag and a length is taken for them.
  SampleDescription description;
  readEsds(
      box("esds", full(0), streamHeader(streamDependence), u16(0x0410), decoderHeader(), u8(6)),
      description);
  EXPECT_EQ(description.objectType, 4u);
}

TEST(Deliberate, D307_BoxWithoutAStreamDescriptorLosesTwoBytesAndGoesOn) {
  SampleDescription description;
  readEsds(box("esds", full(0), u8(0), u16(0xffff), decoderHeader(), u8(5), u8(1), u8(0x33)),
           description);
  EXPECT_EQ(description.objectType, 0x40u);
  EXPECT_EQ(bytesOf(description.decoderConfig), raw({0x33}));
}

TEST(Deliberate, D308_ConfigurationOfAnEarlierEntryStaysWithoutANewOne) {
  SampleDescription description;
  const Bytes both = stsd(alac(), mp4a({.child = esds({.config = {}})}));
  readBox(both, [&](AtomReader& reader, uint64_t size) {
    readSampleDescriptions(kWantAudio, description, reader, size);
  });
  EXPECT_EQ(description.codecKind, CodecKind::mp4a);
  EXPECT_EQ(bytesOf(description.decoderConfig), join(full(0), repeat(0x61, 24)));
}

TEST(Deliberate, D312_DescriptorLengthsSetAMinimumAndNoEnd) {
  // The DecoderConfigDescriptor's length ends before the DecoderSpecificInfo, which is found all
  // the same.
  SampleDescription description;
  readEsds(box("esds", full(0), u8(3), u8(20), u16(1), u8(0), u8(4), u8(13), decoderFields(), u8(5),
               u8(1), u8(0x77)),
           description);
  EXPECT_EQ(bytesOf(description.decoderConfig), raw({0x77}));
  // The tag is read although the descriptor has ended, here together with the box.
  EXPECT_EQ(esdsMessage(
                box("esds", full(0), u8(3), u8(20), u16(1), u8(0), u8(4), u8(13), decoderFields())),
            "attempting to read past end of atom");
}
