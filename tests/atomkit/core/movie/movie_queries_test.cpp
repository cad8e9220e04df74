// What a parsed movie answers.
#include <gtest/gtest.h>

#include <vector>

#include "atomkit/core/movie/movie.h"
#include "tests/atomkit/core/movie/movie_reading.h"
#include "tests/support/boxes.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/movie_builder.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;

constexpr char kOutOfRange[] = "array access out of range";

TEST(Queries, AnEmptyMovieHasNothing) {
  const Movie movie;
  EXPECT_EQ(movie.trackCount(), 0u);
  EXPECT_EQ(movie.chapterCount(), 0u);
  EXPECT_EQ(movie.chapterEnd(0), 0u);
  EXPECT_EQ(movie.duration(), 0u);
  EXPECT_EQ(movie.itemListCover().count(), 0u);
  EXPECT_EQ(movie.taggingCover().count(), 0u);
}

TEST(Queries, EveryTrackOperationChecksItsIndex) {
  const ParsedMovie movie(movieFile({.tracks = {aacTrack()}}).bytes);
  ASSERT_EQ(movie.trackCount(), 1u);
  for (const uint32_t track : {1u, 0xffffffffu}) {
    DecoderConfig config;
    TrackSummary summary;
    SampleCursor cursor;
    SampleInfo info;
    EXPECT_THROWS_MESSAGE(movie.codecKind(track), kOutOfRange);
    EXPECT_THROWS_MESSAGE(movie.objectType(track), kOutOfRange);
    EXPECT_THROWS_MESSAGE(movie.decoderConfig(track, config), kOutOfRange);
    EXPECT_THROWS_MESSAGE(movie.summary(track, summary), kOutOfRange);
    EXPECT_THROWS_MESSAGE(movie.sampleAt(track, 0), kOutOfRange);
    EXPECT_THROWS_MESSAGE(movie.nearestSyncSample(track, 0, Direction::forward), kOutOfRange);
    EXPECT_THROWS_MESSAGE(movie.open(cursor, track), kOutOfRange);
    cursor.track = track;
    EXPECT_THROWS_MESSAGE(movie.reposition(cursor, 0), kOutOfRange);
    EXPECT_THROWS_MESSAGE(movie.step(cursor), kOutOfRange);
    EXPECT_THROWS_MESSAGE(movie.sampleInfo(cursor, info), kOutOfRange);
    EXPECT_THROWS_MESSAGE(movie.move(cursor, 7), kOutOfRange);
  }
}

TEST(Queries, ChapterOperationsCheckTheirIndexExceptTheEnd) {
  const ParsedMovie movie(moov({.udta = chpl({{5, "One"}, {9, "Two"}})}));
  EXPECT_THROWS_MESSAGE(movie.chapterStart(2), kOutOfRange);
  EXPECT_THROWS_MESSAGE(movie.chapter(2), kOutOfRange);
  EXPECT_EQ(movie.chapterEnd(0), 9u);
  for (const uint32_t index : {1u, 2u, 0xfffffffeu, 0xffffffffu}) {
    EXPECT_EQ(movie.chapterEnd(index), movie.duration());
  }
}

TEST(Queries, TheDecoderConfigurationIsCopied) {
  const Bytes config = raw({0x12, 0x10, 0x56});
  const ParsedMovie movie(movieFile({.tracks = {aacTrack({.config = config})}}).bytes);
  DecoderConfig copy;
  copy.resize(9);
  movie.decoderConfig(0, copy);
  EXPECT_EQ(Bytes(copy.data(), copy.data() + copy.count()), config);
  copy[0] = 0;
  movie.decoderConfig(0, copy);
  EXPECT_EQ(copy[0], 0x12);
}

TEST(Queries, ADecoderConfigurationOfOneByteIsCopied) {
  const ParsedMovie movie(movieFile({.tracks = {aacTrack({.config = raw({0x5a})})}}).bytes);
  DecoderConfig copy;
  copy.resize(1);
  copy[0] = 0;
  movie.decoderConfig(0, copy);
  ASSERT_EQ(copy.count(), 1u);
  EXPECT_EQ(copy[0], 0x5a);
}

TEST(Queries, AnEmptyDecoderConfigurationEmptiesTheCallersArray) {
  const ParsedMovie movie(movieFile({.tracks = {aacTrack({.config = {}})}}).bytes);
  DecoderConfig copy;
  copy.resize(9);
  movie.decoderConfig(0, copy);
  EXPECT_EQ(copy.count(), 0u);
}

TEST(Queries, TheSummaryOfAnAudioTrack) {
  MediaTrack track = aacTrack({.samples = 30, .timescale = 44100, .objectType = 0x67});
  track.boxes.ctts = ctts({{1, 2112}});
  const ParsedMovie movie(movieFile({.tracks = {track}}).bytes);
  TrackSummary summary;
  movie.summary(0, summary);
  EXPECT_EQ(movie.codecKind(0), CodecKind::mp4a);
  EXPECT_EQ(movie.objectType(0), 0x67u);
  EXPECT_EQ(summary.sampleRate, 44100u);
  EXPECT_EQ(summary.channelCount, 2u);
  EXPECT_EQ(summary.averageBitrate, 128000u);
  EXPECT_EQ(summary.sampleSize, 16u);
  EXPECT_EQ(summary.timescale, 44100u);
  EXPECT_EQ(summary.sampleCount, 30u);
  EXPECT_EQ(summary.maximumBitrate, 160000u);
  EXPECT_EQ(summary.leadingAudioOffset, 2112u);
  EXPECT_EQ(summary.width, 0u);
  EXPECT_EQ(summary.height, 0u);
  EXPECT_EQ(summary.duration(), 30u * 1024);
}

TEST(Queries, TheSummaryOfAVideoTrack) {
  const ParsedMovie movie(
      movieFile({.tracks = {aacTrack(), avcTrack({.samples = 12, .width = 640, .height = 360})}})
          .bytes);
  TrackSummary summary;
  movie.summary(1, summary);
  EXPECT_EQ(movie.codecKind(1), CodecKind::avc1);
  EXPECT_EQ(summary.sampleRate, 0u);
  EXPECT_EQ(summary.timescale, 25000u);
  EXPECT_EQ(summary.sampleCount, 12u);
  EXPECT_EQ(summary.width, 640u);
  EXPECT_EQ(summary.height, 360u);
  EXPECT_EQ(summary.duration(), 12000u);
}

TEST(Queries, TheSummaryHasTheDurationInTwoWords) {
  TrackSummary summary;
  summary.durationLow = 1;
  summary.durationHigh = 2;
  EXPECT_EQ(summary.duration(), 0x200000001u);
}

TEST(Queries, TimeAndSyncLookupsGoToTheTrack) {
  const ParsedMovie movie(
      movieFile({.tracks = {aacTrack(), avcTrack({.samples = 12, .syncEvery = 5})}}).bytes);
  EXPECT_EQ(movie.sampleAt(0, 2500).sample, 2u);
  EXPECT_EQ(movie.sampleAt(0, 2500).remainder, 452u);
  EXPECT_EQ(movie.sampleAt(1, 2500).sample, 2u);
  EXPECT_THROWS_MESSAGE(movie.sampleAt(1, 12000), "frame out of range");
  EXPECT_EQ(movie.nearestSyncSample(1, 7, Direction::backward), 5u);
  EXPECT_EQ(movie.nearestSyncSample(1, 7, Direction::forward), 10u);
  EXPECT_EQ(movie.nearestSyncSample(0, 7, Direction::forward), 7u);
}

// ---- cursors

/// Audio and video whose chunks alternate; the samples and their offsets are known.
BuiltMovie twoTracks() {
  return movieFile({.tracks = {aacTrack({.samples = 30}), avcTrack({.samples = 12})}});
}

TEST(Cursor, WalksEverySampleOfEveryTrackWhereTheFileHasIt) {
  const BuiltMovie file = twoTracks();
  const ParsedMovie movie(file.bytes);
  for (uint32_t track = 0; track < 2; ++track) {
    SampleCursor cursor;
    movie.open(cursor, track);
    for (uint32_t sample = 0;; ++sample) {
      SampleInfo info;
      EXPECT_EQ(movie.sampleInfo(cursor, info), file.samples[track][sample].size());
      EXPECT_EQ(cursor.sample, sample);
      EXPECT_EQ(info.fileOffset, file.offsets[track][sample]);
      const auto* bytes = file.bytes.data() + info.fileOffset;
      EXPECT_EQ(Bytes(bytes, bytes + info.size), file.samples[track][sample]);
      if (!movie.step(cursor)) break;
    }
    EXPECT_EQ(cursor.sample + 1, file.samples[track].size());
  }
}

TEST(Cursor, LargeFilesHaveTheirOffsetsIn64Bits) {
  MediaTrack track = aacTrack({.samples = 8, .samplesPerChunk = 4});
  track.boxes.stco = co64({0x100000000, 0x200000000});
  const ParsedMovie movie(movieFile({.tracks = {track}}).bytes);
  SampleCursor cursor;
  movie.open(cursor, 0);
  movie.move(cursor, 5);
  SampleInfo info;
  movie.sampleInfo(cursor, info);
  EXPECT_EQ(info.fileOffset, 0x200000000u + track.samples[4].size());
}

TEST(Cursor, OpeningClearsItAndKeepsTheTrack) {
  const ParsedMovie movie(twoTracks().bytes);
  SampleCursor cursor;
  movie.open(cursor, 0);
  movie.reposition(cursor, 17);
  movie.open(cursor, 1);
  EXPECT_EQ(cursor.track, 1u);
  EXPECT_EQ(cursor.sample, 0u);
  EXPECT_EQ(cursor.decodeTime, 0u);
  EXPECT_EQ(cursor.offsetInChunk, 0u);
}

TEST(Cursor, OpeningClearsItAlsoWhenTheTrackIsNotThere) {
  const ParsedMovie movie(twoTracks().bytes);
  SampleCursor cursor;
  movie.open(cursor, 0);
  movie.move(cursor, 17);
  EXPECT_THROWS_MESSAGE(movie.open(cursor, 2), kOutOfRange);
  EXPECT_EQ(cursor.track, 2u);
  EXPECT_EQ(cursor.sample, 0u);
  EXPECT_EQ(cursor.decodeTime, 0u);
  EXPECT_EQ(cursor.chunk.chunk, 0u);
}

TEST(Cursor, MovingToItsOwnSampleDoesNothing) {
  const ParsedMovie movie(twoTracks().bytes);
  SampleCursor cursor;
  cursor.sample = 5;
  cursor.track = 99;  // any lookup would fail on a track that is not there
  cursor.decodeTime = 77;
  movie.move(cursor, 5);
  EXPECT_EQ(cursor.decodeTime, 77u);
}

TEST(Cursor, MovingToTheNextSampleIsOneStep) {
  const ParsedMovie movie(twoTracks().bytes);
  SampleCursor cursor;
  movie.open(cursor, 0);
  cursor.decodeTime = 5000;  // a step adds to it; a reposition computes it
  movie.move(cursor, 1);
  EXPECT_EQ(cursor.sample, 1u);
  EXPECT_EQ(cursor.decodeTime, 6024u);
}

TEST(Cursor, MovingAnywhereElseIsAReposition) {
  const ParsedMovie movie(twoTracks().bytes);
  SampleCursor cursor;
  movie.open(cursor, 0);
  for (const uint32_t sample : {10u, 9u, 2u, 29u, 0u}) {
    cursor.decodeTime = 5;
    movie.move(cursor, sample);
    EXPECT_EQ(cursor.sample, sample);
    EXPECT_EQ(cursor.decodeTime, sample * 1024u);
  }
}

TEST(Cursor, AStepThatFailsDuringAMoveIsAnError) {
  const ParsedMovie movie(twoTracks().bytes);
  SampleCursor cursor;
  movie.open(cursor, 0);
  movie.move(cursor, 29);
  EXPECT_FALSE(movie.step(cursor));
  EXPECT_EQ(cursor.sample, 29u);
  EXPECT_THROWS_MESSAGE(movie.move(cursor, 30), "error advancing iterator");
}

TEST(Cursor, SampleZeroDoesNotFollowTheLargestNumber) {
  const ParsedMovie movie(twoTracks().bytes);
  SampleCursor cursor;
  movie.open(cursor, 0);
  cursor.sample = 0xffffffff;
  cursor.decodeTime = 77;
  movie.move(cursor, 0);
  EXPECT_EQ(cursor.sample, 0u);
  EXPECT_EQ(cursor.decodeTime, 0u);
}

TEST(Cursor, WalkingAllocatesNothing) {
  const ParsedMovie movie(twoTracks().bytes);
  FailingAllocation memory;
  SampleCursor cursor;
  SampleInfo info;
  movie.open(cursor, 1);
  do {
    movie.sampleInfo(cursor, info);
  } while (movie.step(cursor));
  movie.move(cursor, 3);
  EXPECT_EQ(memory.allocations(), 0u);
}

}  // namespace
}  // namespace atomkit
