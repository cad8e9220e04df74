#include "atomkit/meta/codec/avc_configuration.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/atomkit/box_reading.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/failing_source.h"
#include "tests/support/movie_builder.h"
#include "tests/support/seeded_random.h"
#include "tests/support/throws_message.h"

using namespace atomkit;
using namespace boxes;
using testing::AnyOf;

namespace {

void readAvcC(const Bytes& avcCBox, ByteArray& config) {
  readBox(avcCBox, [&](AtomReader& reader, uint64_t) { readAvcConfiguration(config, reader); });
}

std::string_view avcCMessage(const Bytes& avcCBox) {
  return messageOf([&] {
    ByteArray config;
    readAvcC(avcCBox, config);
  });
}

// An 'avcC' without sets and with the given bytes where it has reserved bits.
Bytes emptyAvcC(uint8_t lengthSizeByte, uint8_t sequenceByte) {
  return box("avcC", raw({1, 0x64, 0, 0x1f}), u8(lengthSizeByte), u8(sequenceByte), u8(0));
}

std::vector<Bytes> randomSets(SeededRandom& random, uint32_t count, uint32_t sizeLimit) {
  std::vector<Bytes> sets;
  for (uint32_t i = 0; i < count; ++i) {
    Bytes set(random.below(sizeLimit));
    for (uint8_t& byte : set) byte = static_cast<uint8_t>(random.word());
    sets.push_back(std::move(set));
  }
  return sets;
}

// What the configuration must be: each set after its length.
Bytes repacked(const AvcConfigFields& fields) {
  Bytes all;
  for (const auto* sets : {&fields.sps, &fields.pps}) {
    for (const Bytes& set : *sets) {
      const Bytes length = u16(static_cast<uint16_t>(set.size()));
      all.insert(all.end(), length.begin(), length.end());
      all.insert(all.end(), set.begin(), set.end());
    }
  }
  return all;
}

}  // namespace

TEST(AvcConfiguration, OneSequenceSetOf10AndOnePictureSetOf4BytesGive18Bytes) {
  const Bytes sps = raw({0x67, 1, 2, 3, 4, 5, 6, 7, 8, 9});
  const Bytes pps = raw({0x68, 1, 2, 3});
  ByteArray config;
  readAvcC(avcC({.sps = {sps}, .pps = {pps}}), config);
  EXPECT_EQ(bytesOf(config), join(u16(10), sps, u16(4), pps));
  EXPECT_EQ(config.count(), 18u);
}

TEST(AvcConfiguration, SequenceSetsComeBeforePictureSetsInFileOrder) {
  ByteArray config;
  readAvcC(avcC({.sps = {raw({1}), raw({2, 2})}, .pps = {raw({3}), raw({4}), raw({5})}}), config);
  EXPECT_EQ(bytesOf(config), raw({0, 1, 1, 0, 2, 2, 2, 0, 1, 3, 0, 1, 4, 0, 1, 5}));
}

TEST(AvcConfiguration, WithoutSetsTheConfigurationIsEmptied) {
  ByteArray config;
  config.resize(5);
  readAvcC(emptyAvcC(0xff, 0xe0), config);
  EXPECT_EQ(config.count(), 0u);
}

TEST(AvcConfiguration, EmptySetIsALengthOfZero) {
  ByteArray config;
  readAvcC(avcC({.sps = {Bytes{}}, .pps = {Bytes{}, raw({9})}}), config);
  EXPECT_EQ(bytesOf(config), raw({0, 0, 0, 0, 0, 1, 9}));
}

TEST(AvcConfiguration, ReservedBitsOfTheFifthByteMustBeSet) {
  for (unsigned value = 0; value < 256; ++value) {
    EXPECT_EQ(avcCMessage(emptyAvcC(static_cast<uint8_t>(value), 0xe0)),
              value >= 0xfc ? "" : "invalid avcC chunk (1)")
        << value;
  }
}

TEST(AvcConfiguration, ReservedBitsOfTheSixthByteMustBeSet) {
  for (unsigned value = 0; value < 0xe0; ++value) {
    EXPECT_EQ(avcCMessage(emptyAvcC(0xff, static_cast<uint8_t>(value))), "invalid avcC chunk (2)")
        << value;
  }
}

TEST(AvcConfiguration, RefusedBoxKeepsTheOldConfiguration) {
  ByteArray config;
  config.resize(1);
  config[0] = 42;
  EXPECT_THROWS_MESSAGE(readAvcC(emptyAvcC(0xff, 0x00), config), "invalid avcC chunk (2)");
  EXPECT_EQ(bytesOf(config), raw({42}));
}

TEST(AvcConfiguration, FailureInsideTheSetsLeavesWhatWasAppendedBeforeIt) {
  const Bytes header = raw({1, 0x42, 0, 10, 0xff, 0xe2});
  const Bytes twoSets = join(u16(1), u8(0x67), u16(2), u16(0x6869));
  const struct {
    Bytes sets, appended;
  } cases[] = {
      {{}, {}},
      {join(u16(1), u8(0x67), u8(0)), join(u16(1), u8(0x67))},
      {join(u16(1), u8(0x67), u16(9), u8(0x68)), join(u16(1), u8(0x67), u16(9))},
      {twoSets, twoSets},  // no picture set count
      {join(twoSets, u8(1), u16(1)), join(twoSets, u16(1))},
  };
  for (const auto& c : cases) {
    ByteArray config;
    config.resize(1);
    EXPECT_THROWS_MESSAGE(readAvcC(box("avcC", header, c.sets), config),
                          "attempting to read past end of atom");
    EXPECT_EQ(bytesOf(config), c.appended);
  }
}

TEST(AvcConfiguration, SourceThatEndsInsideASetLeavesTheSetsBeforeIt) {
  const Bytes file = box("avcC", raw({1, 0x42, 0, 10, 0xff, 0xe2}), u16(1), u8(0x67), u16(300),
                         repeat(0x68, 300), u8(0));
  MemorySource source(cutTo(file, 100));
  ByteArray config;
  EXPECT_THROWS_MESSAGE(
      readBox(source, kUnknownLength,
              [&](AtomReader& reader, uint64_t) { readAvcConfiguration(config, reader); }),
      "attempting to read past end of file");
  EXPECT_EQ(bytesOf(config), join(u16(1), u8(0x67), u16(300)));
}

TEST(AvcConfiguration, FailureOfTheSourceIsNeverReplacedByALackOfMemory) {
  const Bytes file = avcC({.sps = {raw({1}), repeat(2, 300)}, .pps = {raw({3})}});
  bool failedInTheSets = false;
  for (uint64_t failAt = 0; failAt < 8; ++failAt) {
    for (uint32_t operation = 0;; ++operation) {
      FailingSource source(file, operation, Failure::forGood);
      FailingAllocation memory(failAt);
      bool thrown = false;
      try {
        ByteArray config;
        readBox(source, source.size(),
                [&](AtomReader& reader, uint64_t) { readAvcConfiguration(config, reader); });
      } catch (const HostCode&) {
        thrown = true;
        failedInTheSets = failedInTheSets || memory.allocations() > 0;
      } catch (const exception&) {
      }
      EXPECT_EQ(thrown, source.failed()) << "allocation " << failAt << " operation " << operation;
      EXPECT_EQ(memory.blocksHeld(), 0u);
      if (!source.failed()) break;
    }
  }
  EXPECT_TRUE(failedInTheSets);
}

TEST(AvcConfiguration, ExtensionsOfTheHighProfilesAreIgnored) {
  ByteArray config;
  readAvcC(box("avcC", raw({1, 100, 0, 31, 0xff, 0xe1}), u16(1), u8(0x67), u8(1), u16(1), u8(0x68),
               raw({0xfd, 0xf8, 0xf8, 0})),
           config);
  EXPECT_EQ(bytesOf(config), raw({0, 1, 0x67, 0, 1, 0x68}));
}

TEST(AvcConfiguration, AllSetCountsAgreeWithAPlainRepack) {
  SeededRandom random(20);
  for (int round = 0; round < 200; ++round) {
    AvcConfigFields fields;
    fields.sps = randomSets(random, random.below(32), 600);
    fields.pps = randomSets(random, random.below(256), 40);
    ByteArray config;
    readAvcC(avcC(fields), config);
    ASSERT_EQ(bytesOf(config), repacked(fields)) << "round " << round;
  }
}

TEST(AvcConfiguration, LargestPossibleSetsAreReadWithFewAllocations) {
  // Sets of 65,535 bytes 0xff, so that the bytes of their lengths are 0xff too.
  const Bytes file = box("avcC", raw({1, 0x42, 0, 10, 0xff, 0xff}), repeat(0xff, 31 * 65537),
                         u8(255), repeat(0xff, 255 * 65537));
  FailingAllocation counting;
  {
    ByteArray config;
    readAvcC(file, config);
    EXPECT_EQ(config.count(), 286u * 65537u);
    EXPECT_EQ(config[config.count() - 1], 0xff);
  }
  // Storage doubles: about log2(286) blocks, not one per set.
  EXPECT_LE(counting.allocations(), 12u);
  EXPECT_EQ(counting.blocksHeld(), 0u);
}

TEST(AvcConfiguration, SetLargerThanItsBoxFailsBeforeMemoryIsAllocatedForIt) {
  FailingAllocation counting;
  const Bytes liar = box("avcC", raw({1, 0x42, 0, 10, 0xff, 0xe1}), u16(0xffff), zeros(100));
  EXPECT_EQ(avcCMessage(join(liar, zeros(70000))), "attempting to read past end of atom");
  EXPECT_EQ(counting.largestBlock(), 2u);  // its length
}

TEST(AvcConfiguration, BoxCutAtAnyLengthEndsPastTheAtom) {
  const Bytes good = avcC({.sps = {raw({1, 2, 3})}, .pps = {raw({4}), raw({5, 6})}});
  const Bytes following = zeros(64);
  for (size_t size = 8; size < good.size(); ++size) {
    const Bytes payload(good.begin() + 8, good.begin() + static_cast<ptrdiff_t>(size));
    EXPECT_EQ(avcCMessage(join(box("avcC", payload), following)),
              "attempting to read past end of atom")
        << size;
  }
}

TEST(AvcConfiguration, EveryFailedAllocationIsReportedAndLeaksNothing) {
  const Bytes good =
      avcC({.sps = {repeat(1, 10), repeat(2, 100)}, .pps = {repeat(3, 1000), repeat(4, 4)}});
  uint64_t failAt = 0;
  for (;; ++failAt) {
    FailingAllocation failing(failAt);
    const std::string_view message = avcCMessage(good);
    EXPECT_EQ(failing.blocksHeld(), 0u);
    if (!failing.failed()) break;
    EXPECT_EQ(message, "out of memory when resizing array");
  }
  EXPECT_GE(failAt, 4u);
}

TEST(Deliberate, D309_PictureSetCountIsTheWholeByte) {
  AvcConfigFields fields;
  fields.sps.assign(31, raw({1}));
  fields.pps.assign(255, raw({2}));
  ByteArray config;
  readAvcC(avcC(fields), config);
  EXPECT_EQ(config.count(), (31u + 255u) * 3u);
}

TEST(Deliberate, D310_LengthSizeProfileAndLevelAreDropped) {
  for (const uint8_t lengthSizeByte : raw({0xfc, 0xfd, 0xfe, 0xff})) {
    ByteArray config;
    readAvcC(box("avcC", raw({9, 8, 7, 6}), u8(lengthSizeByte), u8(0xe1), u16(1), u8(0x67), u8(0)),
             config);
    EXPECT_EQ(bytesOf(config), raw({0, 1, 0x67}));
  }
}
