#include "gst/item_span.h"

#include <gtest/gtest.h>

#include "gst/timeline.h"

namespace velagst {
namespace {

constexpr uint64_t kSecond = vela::kHostUnitsPerSecond;
constexpr uint64_t kUnknown = vela::kUnknown64;
constexpr uint32_t kRate = 44100;

TEST(ItemSpan, ItsEndIsThatOfItsLastFrame) {
  // A third of a second is not a whole number of frames.
  const ItemSpan sound(0, kSecond / 3, kRate);
  EXPECT_EQ(sound.endNs(), segmentStartNs(14700, kRate));
  const ItemSpan pictures(0, kSecond / 3, 0);
  EXPECT_EQ(pictures.endNs(), nsFromHostUnits(kSecond / 3));
}

TEST(ItemSpan, ItsLengthIsThatOfItsOwnFramesWhereverItBegins) {
  // Half a frame later both ends would round up; the length stays.
  const uint64_t halfAFrame = kSecond / kRate / 2;
  const ItemSpan chapter(10 * kSecond + halfAFrame, kSecond, kRate);
  const uint64_t first = framesFromHostUnits(10 * kSecond + halfAFrame, kRate);
  EXPECT_EQ(chapter.endNs(), segmentStartNs(first + kRate, kRate) - segmentStartNs(first, kRate));
  EXPECT_FALSE(chapter.isPastStop(first + kRate - 1));
  EXPECT_TRUE(chapter.isPastStop(first + kRate));
}

TEST(ItemSpan, WithoutALengthNothingIsPastItsStop) {
  const ItemSpan endless(kSecond, kUnknown, kRate);
  EXPECT_EQ(endless.endNs(), kUnknown);
  EXPECT_FALSE(endless.isPastStop(~uint64_t{0}));
  EXPECT_FALSE(endless.isPastStopTime(~uint64_t{0}));
  EXPECT_EQ(endless.audioBounds(kRate).stop, kUnknown);
  EXPECT_EQ(endless.videoBounds(0).stop, kUnknown);
}

TEST(ItemSpan, AStopIsAFrameOfTheFile) {
  ItemSpan span(10 * kSecond, 20 * kSecond, kRate);
  span.stopAt(kSecond + kSecond / 3);
  const uint64_t stop = framesFromHostUnits(11 * kSecond + kSecond / 3, kRate);
  EXPECT_FALSE(span.isPastStop(stop - 1));
  EXPECT_TRUE(span.isPastStop(stop));
  EXPECT_FALSE(span.isPastStopTime(11 * kSecond + kSecond / 3 - 1));
  EXPECT_TRUE(span.isPastStopTime(11 * kSecond + kSecond / 3));
  EXPECT_EQ(span.endNs(), 20 * kNsPerSecond) << "the item is as long as before";
}

TEST(ItemSpan, AStopMayBeTakenBackAndNeverMovesTheEnd) {
  ItemSpan span(0, 20 * kSecond, kRate);
  span.stopAt(kSecond);
  span.stopAt(kUnknown);
  EXPECT_FALSE(span.isPastStop(20 * kRate - 1));
  EXPECT_TRUE(span.isPastStop(20 * kRate));
  span.stopAt(30 * kSecond);
  EXPECT_TRUE(span.isPastStop(20 * kRate));
}

TEST(ItemSpan, ASegmentOfSoundTellsTheItemsOwnTime) {
  ItemSpan span(10 * kSecond, 20 * kSecond, kRate);
  span.stopAt(5 * kSecond);
  const SegmentBounds bounds = span.audioBounds(12 * kRate + 1);
  EXPECT_EQ(bounds.start, segmentStartNs(12 * kRate + 1, kRate));
  EXPECT_EQ(bounds.time, bounds.start - 10 * kNsPerSecond);
  EXPECT_EQ(bounds.stop, segmentStopNs(15 * kRate, kRate));
}

TEST(ItemSpan, SoundBeforeTheItemHasTheTimeOfItsStart) {
  const ItemSpan span(10 * kSecond, 20 * kSecond, kRate);
  EXPECT_EQ(span.audioBounds(9 * kRate).time, 0u);
}

TEST(ItemSpan, ASegmentOfPicturesBeginsLateEnoughForThePictureBefore) {
  ItemSpan span(10 * kSecond, 20 * kSecond, 0);
  span.stopAt(5 * kSecond);
  const SegmentBounds whole = span.videoBounds(0);
  EXPECT_EQ(whole.start, 10 * kNsPerSecond);
  EXPECT_EQ(whole.time, 0u);
  EXPECT_EQ(whole.stop, 15 * kNsPerSecond);
  const SegmentBounds later = span.videoBounds(2 * kSecond);
  EXPECT_EQ(later.start, nsFromHostUnits(12 * kSecond + 1));
  EXPECT_EQ(later.time, later.start - 10 * kNsPerSecond);
}

TEST(ItemSpan, ASegmentNeverStopsBeforeItStarts) {
  ItemSpan span(0, 20 * kSecond, kRate);
  span.stopAt(kSecond);
  const SegmentBounds sound = span.audioBounds(2 * kRate);
  EXPECT_EQ(sound.stop, sound.start);
  const SegmentBounds pictures = span.videoBounds(2 * kSecond);
  EXPECT_EQ(pictures.stop, pictures.start);
}

}  // namespace
}  // namespace velagst
