// Audio packets: what is asked of the stream and of the packet, trimming, and the ends.
#include "tests/frontend/open_session.h"

using namespace boxes;
using vela::TIOResult;

namespace {

constexpr uint32_t kFrames = 1024;  // of every packet of aacTrack()

std::string seekTo(uint64_t offset) { return "seek " + std::to_string(offset); }
std::string reads(const Bytes& sample) {
  return "read " + std::to_string(sample.size()) + " -> " + std::to_string(sample.size());
}

/// A file of 40 packets whose first item ends after `frames` frames (a multiple of 3).
BuiltMovie fileWithFirstItemOf(uint64_t frames) {
  return movieFile({.tracks = {aacTrack({.samples = 40})},
                    .udta = chpl({{0, "One"}, {hundredNsAt48k(frames), "Two"}})});
}

}  // namespace

TEST(AudioDelivery, FillsAPacketInItsFixedOrder) {
  const BuiltMovie file = movieFile({.tracks = {aacTrack()}});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  FakeAudioPacket packet;
  packet.alsoTo = &open.stream;
  ASSERT_EQ(open.readAudio(packet), TIOResult::success);
  EXPECT_EQ(open.stream.calls, (Calls{seekTo(file.offsets[0][0]), "setMediaId AAC",
                                      "readPayload 24", "read 24 -> 24", "setSampleRate 48000",
                                      "setFrameCount 1024", "setStartOffset 0", "setFurtherValue 0",
                                      // nothing is cut from this one
                                      "getFrameCount", "setFrameCount 1024", "getStartOffset",
                                      "setStartOffset 0", "getFrameCount"}));
  EXPECT_EQ(packet.payload.bytes, file.samples[0][0]);
  EXPECT_EQ(open.endOfStream, 0);
}

TEST(AudioDelivery, GivesThePacketTheReaderFaceOfItsStreamAndTheTokenOfTheCall) {
  OpenSession open(movieFile({.tracks = {aacTrack()}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  FakeAudioPacket packet;
  ASSERT_EQ(open.readAudio(packet), TIOResult::success);
  EXPECT_EQ(packet.payload.lastReader, open.stream.reader());
  EXPECT_EQ(packet.payload.lastToken, &open.token);
  EXPECT_EQ(open.stream.lastToken, &open.token);
}

TEST(AudioDelivery, ReadsThroughTheCacheOfItsSession) {
  const BuiltMovie file = movieFile({.tracks = {aacTrack()}});
  OpenSession open(file.bytes, ReadPath::throughCache);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  for (const Bytes& sample : file.samples[0]) {
    FakeAudioPacket packet;
    ASSERT_EQ(open.readAudio(packet), TIOResult::success);
    EXPECT_EQ(packet.payload.bytes, sample);
    EXPECT_NE(packet.payload.lastReader, open.stream.reader());
  }
  EXPECT_EQ(open.stream.count("read "), 0u)
      << "the parse has left the whole small file in the cache";
}

TEST(AudioDelivery, DeliversEverySampleOnceAndThenReportsTheEndAgainAndAgain) {
  const BuiltMovie file = movieFile({.tracks = {aacTrack({.samples = 9})}});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  const std::vector<Heard> heard = playAudio(open);
  ASSERT_EQ(heard.size(), 9u);
  for (uint32_t i = 0; i < 9; ++i) EXPECT_EQ(heard[i], (Heard{i, kFrames, 0}));
  open.stream.calls.clear();
  for (int i = 0; i < 2; ++i) {
    FakeAudioPacket packet;
    open.endOfStream = 0;
    EXPECT_EQ(open.readAudio(packet), TIOResult::success);
    EXPECT_EQ(open.endOfStream, 1);
    EXPECT_EQ(packet.calls, Calls{});
  }
  EXPECT_EQ(open.stream.calls, Calls{});
}

TEST(AudioDelivery, SeeksOnlyWhenASampleDoesNotFollowTheLastOneInTheFile) {
  const BuiltMovie file = movieFile(
      {.tracks = {aacTrack({.samples = 6, .samplesPerChunk = 3}), avcTrack({.samples = 4})}});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  playAudio(open);
  const auto& samples = file.samples[0];
  EXPECT_EQ(
      open.stream.calls,
      (Calls{seekTo(file.offsets[0][0]), reads(samples[0]), reads(samples[1]),
             reads(samples[2]),  // a video chunk between
             seekTo(file.offsets[0][3]), reads(samples[3]), reads(samples[4]), reads(samples[5])}));
}

TEST(AudioDelivery, OfAStreamThatWasNotStartedFailsAndClearsTheEndMark) {
  OpenSession open(movieFile({.tracks = {aacTrack(), avcTrack()}}).bytes);
  FakeAudioPacket packet;
  open.endOfStream = 1;
  EXPECT_EQ(open.readAudio(packet), TIOResult::failed);
  EXPECT_EQ(open.endOfStream, 0);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  EXPECT_EQ(open.readAudio(packet), TIOResult::failed);
  EXPECT_EQ(packet.calls, Calls{});
}

TEST(AudioDelivery, OfASampleOfSizeZeroFailsAndStaysThere) {
  MediaTrack track = aacTrack({.samples = 5});
  track.samples[2] = {};
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  playAudio(open, 2);
  open.stream.calls.clear();
  for (int i = 0; i < 2; ++i) {
    FakeAudioPacket packet;
    EXPECT_EQ(open.readAudio(packet), TIOResult::failed);
    EXPECT_EQ(open.endOfStream, 0);
    EXPECT_EQ(packet.calls, Calls{});
  }
  EXPECT_EQ(open.stream.calls, Calls{});
}

TEST(AudioDelivery, EndsAtASampleWithoutFrames) {
  MediaTrack track = aacTrack({.samples = 6});
  track.boxes.stts = stts({{2, kFrames}, {1, 0}, {3, kFrames}});
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  EXPECT_EQ(playAudio(open).size(), 2u);
  EXPECT_EQ(open.endOfStream, 1);
}

TEST(AudioDelivery, EndsAtASampleWithoutFramesEvenWhenItsSizeIsZero) {
  MediaTrack track = aacTrack({.samples = 2});
  track.boxes.stts = stts({{1, kFrames}, {1, 0}});
  track.samples[1] = {};
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  playAudio(open, 1);
  FakeAudioPacket packet;
  EXPECT_EQ(open.readAudio(packet), TIOResult::success);
  EXPECT_EQ(open.endOfStream, 1);
}

TEST(AudioDelivery, CutsAFrameCountTo32BitsBeforeItIsTested) {
  // 2^31 ticks of 1/24000 s are 2^32 frames at 48 kHz.
  MediaTrack track = aacTrack({.samples = 2, .timescale = 24000, .delta = 0x80000000});
  track.boxes.stsd = stsd(mp4a({.rate = 48000}));
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  FakeAudioPacket packet;
  EXPECT_EQ(open.readAudio(packet), TIOResult::success);
  EXPECT_EQ(open.endOfStream, 1);
  EXPECT_EQ(packet.calls, Calls{});
}

TEST(AudioDelivery, CountsFramesOfTheSamplingRateNotTicks) {
  MediaTrack track = aacTrack({.samples = 3, .timescale = 24000});
  track.boxes.stsd = stsd(mp4a({.rate = 48000}));
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  EXPECT_EQ(playAudio(open), (std::vector<Heard>{{0, 2048, 0}, {1, 2048, 0}, {2, 2048, 0}}));
}

TEST(AudioDelivery, SeekToSampleThreeDeliversThreePacketsOfPreroll) {
  OpenSession open(movieFile({.tracks = {aacTrack()}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  ASSERT_EQ(open.seek(framesAt48k(3 * kFrames)), TIOResult::success);
  EXPECT_EQ(
      playAudio(open, 5),
      (std::vector<Heard>{{0, 0, 0}, {1, 0, 0}, {2, 0, 0}, {3, kFrames, 0}, {4, kFrames, 0}}));
}

TEST(AudioDelivery, PrerollIsTenPacketsFromSampleTenOn) {
  for (const uint32_t target : {9u, 10u, 11u, 25u}) {
    OpenSession open(movieFile({.tracks = {aacTrack({.samples = 40})}}).bytes);
    ASSERT_EQ(open.startAudio(), TIOResult::success);
    ASSERT_EQ(open.seek(framesAt48k(target * kFrames)), TIOResult::success);
    const std::vector<Heard> heard = playAudio(open);
    const uint32_t preroll = target < 10 ? target : 10;
    ASSERT_EQ(heard.size(), 40 - target + preroll) << target;
    for (uint32_t i = 0; i < heard.size(); ++i) {
      EXPECT_EQ(heard[i], (Heard{target - preroll + i, i < preroll ? 0 : kFrames, 0})) << target;
    }
  }
}

TEST(AudioDelivery, APrerollPacketIsFilledAndThenOnlyItsFrameCountIsCleared) {
  OpenSession open(movieFile({.tracks = {aacTrack()}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  ASSERT_EQ(open.seek(framesAt48k(kFrames)), TIOResult::success);
  FakeAudioPacket packet;
  ASSERT_EQ(open.readAudio(packet), TIOResult::success);
  EXPECT_EQ(packet.calls,
            (Calls{"setMediaId AAC", "readPayload 24", "setSampleRate 48000", "setFrameCount 1024",
                   "setStartOffset 0", "setFurtherValue 0", "setFrameCount 0"}));
}

TEST(AudioDelivery, SeekIntoASampleCutsItsHead) {
  OpenSession open(movieFile({.tracks = {aacTrack()}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  ASSERT_EQ(open.seek(framesAt48k(100)), TIOResult::success);
  EXPECT_EQ(playAudio(open, 2), (std::vector<Heard>{{0, 924, 100}, {1, kFrames, 0}}));
}

TEST(AudioDelivery, HeadIsCutAfterThePreroll) {
  OpenSession open(movieFile({.tracks = {aacTrack({.samples = 40})}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  ASSERT_EQ(open.seek(framesAt48k(2 * kFrames + 1023)), TIOResult::success);
  EXPECT_EQ(playAudio(open, 4),
            (std::vector<Heard>{{0, 0, 0}, {1, 0, 0}, {2, 1, 1023}, {3, kFrames, 0}}));
}

TEST(Deliberate, D051_AHeadIsCutFromTheFramesThatThePacketKept) {
  // The host's packet keeps no more than 400 frames; 900 are to go.
  OpenSession open(movieFile({.tracks = {aacTrack()}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  ASSERT_EQ(open.seek(framesAt48k(900)), TIOResult::success);
  std::vector<Heard> heard;
  for (int i = 0; i < 4; ++i) {
    FakeAudioPacket packet;
    packet.mostFrames = 400;
    ASSERT_EQ(open.readAudio(packet), TIOResult::success);
    heard.push_back({packet.payload.bytes[1], packet.frameCount, packet.startOffset});
  }
  EXPECT_EQ(heard, (std::vector<Heard>{{0, 0, 400}, {1, 0, 400}, {2, 300, 100}, {3, 400, 0}}));
}

TEST(Deliberate, D051_AHeadIsCutOnTopOfThePacketsOwnStartOffset) {
  OpenSession open(movieFile({.tracks = {aacTrack()}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  ASSERT_EQ(open.seek(framesAt48k(100)), TIOResult::success);
  FakeAudioPacket packet;
  packet.leastStartOffset = 7;
  ASSERT_EQ(open.readAudio(packet), TIOResult::success);
  EXPECT_EQ(packet.startOffset, 107u);
}

TEST(AudioDelivery, HeadIsCutByTheLow32BitsOfItsFrames) {
  // The seek goes 2^17 + 1 ticks of a second into the sample, which are 2^32 + 32,768 frames.
  constexpr uint32_t kRate = 32768;
  constexpr uint32_t kTicks = 131072 + 1;
  MediaTrack track = aacTrack({.samples = 2, .timescale = 1, .delta = kTicks + 2});
  track.boxes.stsd = stsd(mp4a({.rate = kRate}));
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  ASSERT_EQ(open.seek(vela::ticksToHostUnits(kTicks, 1)), TIOResult::success);
  EXPECT_EQ(playAudio(open, 2), (std::vector<Heard>{{0, 2 * kRate, kRate}, {1, 3 * kRate, 0}}));
}

TEST(AudioDelivery, LastPacketOfAChapterIsCutToTheFramesLeft) {
  OpenSession open(fileWithFirstItemOf(2 * kFrames + 100).bytes);
  ASSERT_EQ(open.startAudio(1), TIOResult::success);
  EXPECT_EQ(playAudio(open), (std::vector<Heard>{{0, kFrames, 0}, {1, kFrames, 0}, {2, 100, 0}}));
  EXPECT_EQ(open.endOfStream, 1);
}

TEST(AudioDelivery, CutAtTheEndSetsTheFrameCountOnceMore) {
  OpenSession open(fileWithFirstItemOf(99).bytes);
  ASSERT_EQ(open.startAudio(1), TIOResult::success);
  FakeAudioPacket packet;
  ASSERT_EQ(open.readAudio(packet), TIOResult::success);
  EXPECT_EQ(packet.calls,
            (Calls{"setMediaId AAC", "readPayload 24", "setSampleRate 48000", "setFrameCount 1024",
                   "setStartOffset 0", "setFurtherValue 0", "getFrameCount", "setFrameCount 1024",
                   "getStartOffset", "setStartOffset 0", "getFrameCount", "setFrameCount 99"}));
}

TEST(AudioDelivery, HeadAndEndOfOnePacketAreCutTogether) {
  OpenSession open(fileWithFirstItemOf(600).bytes);
  ASSERT_EQ(open.startAudio(1), TIOResult::success);
  ASSERT_EQ(open.seek(framesAt48k(150)), TIOResult::success);
  EXPECT_EQ(playAudio(open), (std::vector<Heard>{{0, 450, 150}}));
}

TEST(AudioDelivery, ItemThatEndsOnAPacketBorderHasNeitherACutNorAnEmptyPacket) {
  OpenSession open(fileWithFirstItemOf(3 * kFrames).bytes);
  ASSERT_EQ(open.startAudio(1), TIOResult::success);
  EXPECT_EQ(playAudio(open, 2), (std::vector<Heard>{{0, kFrames, 0}, {1, kFrames, 0}}));
  FakeAudioPacket last;
  ASSERT_EQ(open.readAudio(last), TIOResult::success);
  EXPECT_EQ(last.frameCount, kFrames);
  EXPECT_EQ(last.count("setFrameCount "), 2u) << "filled, and cut at the head by nothing";
  EXPECT_EQ(playAudio(open), std::vector<Heard>{});
}

TEST(AudioDelivery, FramesLeftOfMoreThan32BitsCutNothing) {
  // Of the frames left after two packets the low 32 bits are 0.
  const uint64_t frames = (uint64_t{1} << 32) + uint64_t{2} * kFrames;
  OpenSession open(movieFile({.tracks = {aacTrack({.samples = 4})},
                              .udta = chpl({{0, "Long"}, {hundredNsAt48k(frames), "Two"}})})
                       .bytes);
  ASSERT_EQ(open.startAudio(1), TIOResult::success);
  EXPECT_EQ(vela::SessionProbe::framesLeft(open.session), frames);
  const std::vector<Heard> heard = playAudio(open);
  ASSERT_EQ(heard.size(), 4u);
  for (const Heard& packet : heard) EXPECT_EQ(packet.frames, kFrames);
  EXPECT_EQ(vela::SessionProbe::framesLeft(open.session), frames - 4 * kFrames);
}

TEST(AudioDelivery, PassesAFailedSeekBackAndSeeksAgain) {
  const BuiltMovie file = movieFile({.tracks = {aacTrack()}});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  open.stream.failCall("seek", 0, kHostCode);
  FakeAudioPacket packet;
  EXPECT_EQ(open.readAudio(packet), kHostCode);
  EXPECT_EQ(packet.calls, Calls{});
  EXPECT_EQ(open.readAudio(packet), TIOResult::success);
  EXPECT_EQ(packet.payload.bytes, file.samples[0][0]);
  EXPECT_EQ(open.stream.calls, (Calls{seekTo(file.offsets[0][0]) + " failed 4660",
                                      seekTo(file.offsets[0][0]), reads(file.samples[0][0])}));
}

TEST(AudioDelivery, GivesItsSeekTheTokenOfTheCall) {
  OpenSession open(movieFile({.tracks = {aacTrack()}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  open.stream.lastToken = nullptr;
  open.stream.failCall("seek", 0, kHostCode);
  FakeAudioPacket packet;
  EXPECT_EQ(open.readAudio(packet), kHostCode);
  EXPECT_EQ(open.stream.lastToken, &open.token);
}

TEST(AudioDelivery, SeeksToAFirstSampleAtTheOffsetOfAllOnes) {
  // The number that marks an unknown place is an offset like any other in the file.
  MediaTrack track = aacTrack({.samples = 4});
  track.boxes.stco = co64({vela::kUnknown64});
  const BuiltMovie file = movieFile({.tracks = {track}});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  open.stream.calls.clear();
  FakeAudioPacket packet;
  EXPECT_EQ(open.readAudio(packet), TIOResult::failed);
  EXPECT_EQ(open.stream.calls, (Calls{seekTo(vela::kUnknown64), "read 24 -> 0"}));
  EXPECT_EQ(packet.payload.bytes, zeros(24)) << "nothing was read into it";

  OpenSession cached(file.bytes, ReadPath::throughCache);
  ASSERT_EQ(cached.startAudio(), TIOResult::success);
  FakeAudioPacket cachedPacket;
  EXPECT_EQ(cached.readAudio(cachedPacket), TIOResult::failed);
  EXPECT_EQ(cachedPacket.payload.bytes, zeros(24));
}

TEST(AudioDelivery, PassesAFailedPayloadBackAtOnceAndSeeksForTheRetry) {
  const BuiltMovie file = movieFile({.tracks = {aacTrack()}});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  playAudio(open, 1);
  open.stream.calls.clear();
  open.stream.failCall("read", 0, kHostCode);
  FakeAudioPacket packet;
  EXPECT_EQ(open.readAudio(packet), kHostCode);
  EXPECT_EQ(packet.calls, (Calls{"setMediaId AAC", "readPayload 25"}));
  EXPECT_EQ(open.readAudio(packet), TIOResult::success);
  EXPECT_EQ(packet.payload.bytes, file.samples[0][1]);
  EXPECT_EQ(open.stream.calls,
            (Calls{"read 25 failed 4660", seekTo(file.offsets[0][1]), reads(file.samples[0][1])}));
}

TEST(AudioDelivery, AFailureKeepsPrerollHeadAndFramesForTheRetry) {
  OpenSession open(movieFile({.tracks = {aacTrack()}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  ASSERT_EQ(open.seek(framesAt48k(2 * kFrames + 10)), TIOResult::success);
  const uint64_t framesLeft = vela::SessionProbe::framesLeft(open.session);
  std::vector<Heard> heard;
  for (int i = 0; i < 3; ++i) {
    FakeAudioPacket broken;
    broken.payload.result = kHostCode;
    EXPECT_EQ(open.readAudio(broken), kHostCode);
    const std::vector<Heard> one = playAudio(open, 1);
    heard.insert(heard.end(), one.begin(), one.end());
  }
  EXPECT_EQ(heard, (std::vector<Heard>{{0, 0, 0}, {1, 0, 0}, {2, 1014, 10}}));
  EXPECT_EQ(vela::SessionProbe::framesLeft(open.session), framesLeft - 1014);
}

TEST(AudioDelivery, ACancelledReadGivesItsCodeAndCanBeRepeated) {
  const BuiltMovie file = movieFile({.tracks = {aacTrack({.samples = 8, .sampleSize = 30000})}});
  OpenSession open(file.bytes, ReadPath::throughCache);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  open.token.cancelAt = 1;  // the first block is copied, the second not
  FakeAudioPacket packet;
  EXPECT_EQ(open.readAudio(packet), TIOResult::cancelled);
  open.token.cancelAt = FakeCancelToken::kNever;
  EXPECT_EQ(open.readAudio(packet), TIOResult::success);
  EXPECT_EQ(packet.payload.bytes, file.samples[0][0]);
}

TEST(AudioDelivery, PlaysForwardOnAStreamThatCannotSeek) {
  const BuiltMovie file = movieFile({.tracks = {aacTrack({.samples = 9, .sampleSize = 9000})}});
  OpenSession open(file.bytes, ReadPath::throughCache, Seekable::no);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  for (const Bytes& sample : file.samples[0]) {
    FakeAudioPacket packet;
    ASSERT_EQ(open.readAudio(packet), TIOResult::success);
    EXPECT_EQ(packet.payload.bytes, sample);
  }
  EXPECT_EQ(open.stream.count("seek "), 0u);
}

TEST(AudioDelivery, OfASampleThatTheTablesDoNotDescribeFails) {
  MediaTrack track = aacTrack({.samples = 4});
  track.boxes.stsz = stsz({24, 25});
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  playAudio(open, 2);
  FakeAudioPacket packet;
  EXPECT_EQ(open.readAudio(packet), TIOResult::failed);
}
