// Bare streams: what ADTS and start codes can say, and what is refused.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "host/adts.h"
#include "host/annex_b.h"
#include "host/checksum.h"
#include "host/failure.h"

namespace {

using Bytes = std::vector<uint8_t>;
using testing::ElementsAre;

/// Packs fields of the given widths, most significant bit first, and fills the last byte with 0.
Bytes bits(std::initializer_list<std::pair<int, uint32_t>> fields) {
  Bytes out;
  int used = 0;
  for (const auto& [width, value] : fields) {
    for (int i = width - 1; i >= 0; --i, ++used) {
      if (used % 8 == 0) out.push_back(0);
      out.back() = static_cast<uint8_t>(out.back() | (value >> i & 1) << (7 - used % 8));
    }
  }
  return out;
}

/// An AudioSpecificConfig of a plain AAC type.
Bytes config(uint32_t objectType, uint32_t frequencyIndex, uint32_t channels,
             uint32_t frameLengthFlag = 0) {
  return bits({{5, objectType}, {4, frequencyIndex}, {4, channels}, {1, frameLengthFlag}, {2, 0}});
}

#define EXPECT_REFUSED(statement, words)                                   \
  do {                                                                     \
    try {                                                                  \
      statement;                                                           \
      ADD_FAILURE() << #statement " was not refused";                      \
    } catch (const velahost::Failure& failure) {                           \
      EXPECT_EQ(failure.status(), 65);                                     \
      EXPECT_THAT(std::string(failure.what()), testing::HasSubstr(words)); \
    }                                                                      \
  } while (false)

TEST(Adts, TakesProfileRateAndChannelsFromTheConfiguration) {
  constexpr uint32_t kLowComplexity = 2;
  const velahost::AdtsSettings settings = velahost::adtsSettings(config(kLowComplexity, 4, 2));
  EXPECT_EQ(settings.profile, 1);
  EXPECT_EQ(settings.frequencyIndex, 4);
  EXPECT_EQ(settings.channels, 2);
}

TEST(Adts, WritesTheHeaderOfSevenBytes) {
  // sync fff, MPEG-4, layer 0, no checksum; LC, 44100 Hz, 2 channels; length 107; full buffer
  EXPECT_THAT(velahost::adtsHeader({1, 4, 2}, 100),
              ElementsAre(0xff, 0xf1, 0x50, 0x80, 0x0d, 0x7f, 0xfc));
  EXPECT_THAT(velahost::adtsHeader({0, 12, 7}, 8184),
              ElementsAre(0xff, 0xf1, 0x31, 0xc3, 0xff, 0xff, 0xfc));
}

TEST(Adts, RefusesPacketsLongerThanTheLengthFieldAllows) {
  EXPECT_NO_THROW(velahost::adtsHeader({1, 4, 2}, 8184));
  EXPECT_REFUSED(velahost::adtsHeader({1, 4, 2}, 8185), "8185 bytes is too long");
}

TEST(Adts, CarriesHighEfficiencyAacAsItsCore) {
  for (const uint32_t extended : {5u, 29u}) {
    const Bytes he = bits({{5, extended}, {4, 7}, {4, 2}, {4, 4}, {5, 2}, {3, 0}});
    const velahost::AdtsSettings settings = velahost::adtsSettings(he);
    EXPECT_EQ(settings.profile, 1);
    EXPECT_EQ(settings.frequencyIndex, 7) << "the rate of the core";
    EXPECT_EQ(settings.channels, 2);
  }
}

TEST(Adts, FindsAnExplicitRateInItsTable) {
  const auto explicitRate = [](uint32_t hz) {
    return bits({{5, 2}, {4, 15}, {24, hz}, {4, 1}, {3, 0}});
  };
  EXPECT_EQ(velahost::adtsSettings(explicitRate(7350)).frequencyIndex, 12);
  EXPECT_EQ(velahost::adtsSettings(explicitRate(96000)).frequencyIndex, 0);
  EXPECT_REFUSED(velahost::adtsSettings(explicitRate(44000)), "44000 Hz is not in its table");
}

TEST(Adts, RefusesWhatItCantSay) {
  EXPECT_REFUSED(velahost::adtsSettings(config(2, 13, 2)), "reserved");
  EXPECT_REFUSED(velahost::adtsSettings(config(2, 4, 0)), "program config element");
  EXPECT_REFUSED(velahost::adtsSettings(config(2, 4, 8)), "channel configuration 8");
  EXPECT_REFUSED(velahost::adtsSettings(config(2, 4, 2, 1)), "960 frames");
  EXPECT_REFUSED(velahost::adtsSettings(config(0, 4, 2)), "object type 0");
  EXPECT_REFUSED(velahost::adtsSettings(config(17, 4, 2)), "object type 17");
  const Bytes escaped = bits({{5, 31}, {6, 10}, {4, 4}, {4, 2}, {1, 0}});
  EXPECT_REFUSED(velahost::adtsSettings(escaped), "object type 42");
}

TEST(Adts, RefusesAConfigurationThatIsCutShort) {
  const Bytes whole = config(2, 4, 2);
  EXPECT_REFUSED(velahost::adtsSettings({}), "cut short");
  EXPECT_REFUSED(velahost::adtsSettings({whole[0]}), "cut short");
  EXPECT_NO_THROW(velahost::adtsSettings(whole));
}

TEST(AnnexB, PutsAStartCodeBeforeEveryParameterSet) {
  EXPECT_THAT(velahost::annexBParameterSets({0, 2, 0x67, 0x42, 0, 1, 0x68}),
              ElementsAre(0, 0, 0, 1, 0x67, 0x42, 0, 0, 0, 1, 0x68));
}

TEST(AnnexB, RefusesParameterSetsThatDontAddUp) {
  EXPECT_REFUSED(velahost::annexBParameterSets({}), "no parameter sets");
  EXPECT_REFUSED(velahost::annexBParameterSets({0}), "parameter sets don't add up");
  EXPECT_REFUSED(velahost::annexBParameterSets({0, 3, 0x67, 0x42}), "parameter sets don't add up");
}

TEST(AnnexB, ReplacesLengthsOfFourBytesInPlace) {
  Bytes packet = {0, 0, 0, 2, 9, 0xf0, 0, 0, 0, 1, 0x65, 0, 0, 0, 0};
  velahost::convertToAnnexB(packet);
  EXPECT_THAT(packet, ElementsAre(0, 0, 0, 1, 9, 0xf0, 0, 0, 0, 1, 0x65, 0, 0, 0, 1));
}

TEST(AnnexB, RefusesUnitsThatDontAddUpToThePacket) {
  for (const Bytes& bad : {Bytes{0, 0, 0}, Bytes{0, 0, 0, 3, 1, 2}, Bytes{0, 0, 0, 1, 9, 0},
                           Bytes{0xff, 0xff, 0xff, 0xff, 1}, Bytes{0, 2, 9, 0xf0}}) {
    Bytes packet = bad;
    EXPECT_REFUSED(velahost::convertToAnnexB(packet), "do not carry lengths of four bytes");
  }
}

TEST(Checksum, IsTheOneOfTheCatalogues) {
  const Bytes check = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  EXPECT_EQ(velahost::crc32(check.data(), check.size()), 0xcbf43926u);
  EXPECT_EQ(velahost::crc32(nullptr, 0), 0u);
}

}  // namespace
