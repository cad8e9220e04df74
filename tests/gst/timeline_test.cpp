#include "gst/timeline.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace velagst {
namespace {

TEST(Timeline, HostUnitsOfTheNearestNanosecondComeBack) {
  for (uint64_t units = 1; units < uint64_t{1} << 50; units = units * 3 + 1) {
    EXPECT_EQ(hostUnitsFromNs(nsFromHostUnits(units)), units);
  }
}

TEST(Timeline, ASecondIsASecondInAllClocks) {
  EXPECT_EQ(hostUnitsFromNs(kNsPerSecond), vela::kHostUnitsPerSecond);
  EXPECT_EQ(nsFromHostUnits(vela::kHostUnitsPerSecond), kNsPerSecond);
  EXPECT_EQ(framesFromHostUnits(vela::kHostUnitsPerSecond, 44100), 44100u);
  EXPECT_EQ(bufferNs(44100, 44100), kNsPerSecond);
}

TEST(Timeline, TimesBeyondTheFrameworkAreTheLargestOnesThatAreValid) {
  EXPECT_EQ(nsFromHostUnits(~uint64_t{0} - 5), ~uint64_t{0} - 1);
}

TEST(Timeline, TheFrameThatATimeStampNamesIsFoundAgain) {
  for (const uint32_t rate : {8000u, 11025u, 22050u, 44100u, 48000u, 96000u}) {
    for (uint64_t frame = 0; frame < 40000000; frame += 3571) {
      EXPECT_EQ(framesFromHostUnits(hostUnitsFromNs(bufferNs(frame, rate)), rate), frame);
    }
  }
}

// What a decoder does with a buffer and a segment, in the framework's own arithmetic.
uint64_t framesCut(uint64_t ns, uint32_t rate) { return scaleDown(ns, rate, kNsPerSecond); }

TEST(Timeline, ADecoderCutsExactlyTheFramesBeforeTheSegment) {
  for (const uint32_t rate : {8000u, 11025u, 22050u, 44100u, 48000u, 96000u}) {
    for (uint64_t begin = 0; begin < 4000000; begin += 1024 * 7) {
      for (uint64_t cut = 0; cut < 1024; cut += 31) {
        const uint64_t late = segmentStartNs(begin + cut, rate) - bufferNs(begin, rate);
        EXPECT_EQ(framesCut(late, rate), cut) << rate << " " << begin;
      }
    }
  }
}

TEST(Timeline, ADecoderCutsExactlyTheFramesAfterTheSegment) {
  for (const uint32_t rate : {8000u, 11025u, 22050u, 44100u, 48000u, 96000u}) {
    for (uint64_t begin = 0; begin < 4000000; begin += 1024 * 7) {
      // A decoder rounds the duration of what it has made to the nearest nanosecond.
      const uint64_t end = bufferNs(begin, rate) + scaleNearest(1024, kNsPerSecond, rate);
      for (uint64_t cut = 0; cut < 1024; cut += 31) {
        const uint64_t stop = segmentStopNs(begin + 1024 - cut, rate);
        EXPECT_EQ(framesCut(end - std::min(stop, end), rate), cut) << rate << " " << begin;
      }
    }
  }
}

}  // namespace
}  // namespace velagst
