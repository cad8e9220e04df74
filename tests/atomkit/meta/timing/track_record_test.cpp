#include "atomkit/meta/timing/track_record.h"

#include <gtest/gtest.h>

#include "tests/atomkit/meta/timing/track_fixture.h"

using namespace atomkit;
using namespace boxes;

namespace {

uint32_t offsetOf(CodecKind kind, const std::vector<OffsetEntry>& offsets, uint64_t duration) {
  TrackRecord record;
  record.description.codecKind = kind;
  record.mediaDuration = duration;
  readCtts(record.timing, ctts(offsets));
  return leadingAudioOffset(record);
}

}  // namespace

TEST(LeadingAudioOffset, IsTheCompositionOffsetOfSampleZero) {
  EXPECT_EQ(offsetOf(CodecKind::mp4a, {{1, 2112}, {5, 7}}, 100000), 2112u);
  EXPECT_EQ(offsetOf(CodecKind::mp4a, {{0, 9}, {1, 2112}}, 100000), 2112u);
}

TEST(LeadingAudioOffset, IsZeroWithoutACompositionTable) {
  EXPECT_EQ(offsetOf(CodecKind::mp4a, {}, 100000), 0u);
}

TEST(LeadingAudioOffset, IsZeroForOtherKinds) {
  for (const CodecKind kind :
       {CodecKind::none, CodecKind::other, CodecKind::alac, CodecKind::mp4v, CodecKind::avc1}) {
    EXPECT_EQ(offsetOf(kind, {{1, 2112}}, 100000), 0u);
  }
}

TEST(LeadingAudioOffset, IsNoMoreThanTheMediaDuration) {
  EXPECT_EQ(offsetOf(CodecKind::mp4a, {{1, 2112}}, 2112), 2112u);
  EXPECT_EQ(offsetOf(CodecKind::mp4a, {{1, 2112}}, 2111), 2111u);
  EXPECT_EQ(offsetOf(CodecKind::mp4a, {{1, 2112}}, 0), 0u);
}

TEST(LeadingAudioOffset, IsNotLimitedByADurationOf32BitsAndMore) {
  EXPECT_EQ(offsetOf(CodecKind::mp4a, {{1, -1}}, 0xfffffffe), 0xfffffffeu);
  EXPECT_EQ(offsetOf(CodecKind::mp4a, {{1, -1}}, 0x100000000), 0xffffffffu);
  EXPECT_EQ(offsetOf(CodecKind::mp4a, {{1, 2112}}, UINT64_MAX), 2112u);
}

TEST(Deliberate, D324_NegativeLeadingOffsetCountsAsTheMediaDuration) {
  EXPECT_EQ(offsetOf(CodecKind::mp4a, {{1, -1024}}, 5000), 5000u);
}
