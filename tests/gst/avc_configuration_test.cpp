#include "gst/avc_configuration.h"

#include <gmock/gmock.h>

namespace velagst {
namespace {

using Bytes = std::vector<uint8_t>;
using testing::ElementsAre;

std::optional<AvcConfiguration> build(const Bytes& config) {
  return buildAvcConfiguration(config.data(), config.size());
}

const Bytes kSequence = {0x67, 0x64, 0x00, 0x1e};  // high profile, level 3.0
const Bytes kPicture = {0x68, 0xee};

Bytes withLengths(std::initializer_list<Bytes> sets) {
  Bytes config;
  for (const Bytes& set : sets) {
    config.push_back(static_cast<uint8_t>(set.size() >> 8));
    config.push_back(static_cast<uint8_t>(set.size()));
    config.insert(config.end(), set.begin(), set.end());
  }
  return config;
}

TEST(AvcConfiguration, HasProfileCountsAndSetsInTheirPlaces) {
  const auto built = build(withLengths({kSequence, kPicture}));
  ASSERT_TRUE(built);
  EXPECT_THAT(built->record, ElementsAre(1, 0x64, 0x00, 0x1e, 0xff, 0xe1, 0, 4, 0x67, 0x64, 0x00,
                                         0x1e, 1, 0, 2, 0x68, 0xee));
  EXPECT_EQ(built->firstSequenceSet, kSequence);
}

TEST(AvcConfiguration, TellsTheSetsApartByTheirTypeNotByTheirOrder) {
  const auto built = build(withLengths({kPicture, kSequence, kPicture}));
  ASSERT_TRUE(built);
  EXPECT_EQ(built->record[5], 0xe1);
  EXPECT_EQ(built->record[12], 2) << "picture parameter sets";
}

TEST(AvcConfiguration, LeavesOutUnitsThatAreNoParameterSets) {
  const Bytes extension = {0x6d, 1, 2, 3};
  const auto built = build(withLengths({kSequence, extension, Bytes(), kPicture}));
  const auto plain = build(withLengths({kSequence, kPicture}));
  ASSERT_TRUE(built && plain);
  EXPECT_EQ(built->record, plain->record);
}

TEST(AvcConfiguration, RefusesALengthThatRunsPastTheEnd) {
  Bytes config = withLengths({kSequence, kPicture});
  for (size_t size = 1; size < config.size(); ++size) {
    EXPECT_FALSE(buildAvcConfiguration(config.data(), size)) << size;
  }
}

TEST(AvcConfiguration, RefusesAConfigurationWithoutOneOfTheTwoKinds) {
  EXPECT_FALSE(build({}));
  EXPECT_FALSE(build(withLengths({kSequence})));
  EXPECT_FALSE(build(withLengths({kPicture})));
  EXPECT_FALSE(build(withLengths({{0x67, 0x64, 0x00}, kPicture}))) << "no room for the level";
}

TEST(AvcConfiguration, RefusesMoreSequenceSetsThanTheRecordCounts) {
  Bytes config = withLengths({kPicture});
  for (int i = 0; i < 31; ++i) {
    const Bytes one = withLengths({kSequence});
    config.insert(config.end(), one.begin(), one.end());
  }
  ASSERT_TRUE(build(config));
  const Bytes one = withLengths({kSequence});
  config.insert(config.end(), one.begin(), one.end());
  EXPECT_FALSE(build(config));
}

}  // namespace
}  // namespace velagst
