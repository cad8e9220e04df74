// Video packets: what is asked of the stream and of the packet, times, and the ends.
#include "tests/frontend/open_session.h"

using namespace boxes;
using vela::TIOResult;

namespace {

constexpr uint64_t kSecond = vela::kHostUnitsPerSecond;

/// Host units of a video sample of avcTrack(), which has 25 samples per second.
uint64_t at(uint32_t sample) { return vela::ticksToHostUnits(sample * 1000, 25000); }

}  // namespace

TEST(VideoDelivery, FillsAPacketInItsFixedOrder) {
  const BuiltMovie file = movieFile({.tracks = {avcTrack({.width = 64, .height = 48})}});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  FakeVideoPacket packet;
  packet.alsoTo = &open.stream;
  ASSERT_EQ(open.readVideo(packet), TIOResult::success);
  EXPECT_EQ(open.stream.calls,
            (Calls{"seek " + std::to_string(file.offsets[0][0]), "setMediaId H.264",
                   "readPayload 40", "read 40 -> 40", "setPictureSize 64x48"}));
  EXPECT_EQ(packet.payload.bytes, file.samples[0][0]);
  EXPECT_EQ(open.endOfStream, 0);
  EXPECT_EQ(open.time, 0u);
}

TEST(VideoDelivery, NamesMpeg4VisualAndAnUnknownPictureSize) {
  OpenSession open(movieFile({.tracks = {mpeg4Track({.width = 0, .height = 0})}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  FakeVideoPacket packet;
  ASSERT_EQ(open.readVideo(packet), TIOResult::success);
  EXPECT_EQ(packet.calls,
            (Calls{"setMediaId MPEG-4 Visual", "readPayload 40", "setPictureSize -1x-1"}));
}

TEST(VideoDelivery, GivesThePacketTheReaderFaceOfItsStreamAndTheTokenOfTheCall) {
  OpenSession open(movieFile({.tracks = {avcTrack()}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  FakeVideoPacket packet;
  ASSERT_EQ(open.readVideo(packet), TIOResult::success);
  EXPECT_EQ(packet.payload.lastReader, open.stream.reader());
  EXPECT_EQ(packet.payload.lastToken, &open.token);
}

TEST(VideoDelivery, StampsEverySampleWithItsPresentationTime) {
  MediaTrack track = avcTrack({.samples = 4, .syncEvery = 0});
  track.boxes.ctts = ctts({{1, 0}, {1, 2000}, {1, -1000}, {1, 500}});
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  // The offset of -1000 ticks counts as 2^32 - 1000: such a sample lies past every range.
  EXPECT_EQ(playVideo(open), (std::vector<Seen>{{0, 0}, {1, at(3)}}));
  EXPECT_EQ(open.endOfStream, 1);
}

TEST(VideoDelivery, DeliversEverySampleOnceAndThenReportsTheEndAgainAndAgain) {
  OpenSession open(movieFile({.tracks = {avcTrack({.samples = 7})}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  const std::vector<Seen> seen = playVideo(open);
  ASSERT_EQ(seen.size(), 7u);
  for (uint32_t i = 0; i < 7; ++i) EXPECT_EQ(seen[i], (Seen{i, at(i)}));
  open.stream.calls.clear();
  for (int i = 0; i < 2; ++i) {
    FakeVideoPacket packet;
    open.endOfStream = 0;
    open.time = 77;
    EXPECT_EQ(open.readVideo(packet), TIOResult::success);
    EXPECT_EQ(open.endOfStream, 1);
    EXPECT_EQ(open.time, 77u);
    EXPECT_EQ(packet.calls, Calls{});
  }
  EXPECT_EQ(open.stream.calls, Calls{});
}

TEST(VideoDelivery, EndsAtASampleThatIsShownAtOrAfterTheEndOfTheRange) {
  // The audio track ends the range exactly where video sample 3 would be shown, or one tick later.
  for (const auto& [audioTicks, shown] : {std::pair{5760u, 3u}, std::pair{5761u, 4u}}) {
    MediaTrack audio = aacTrack({.samples = 20});
    audio.boxes.duration = audioTicks;  // 5760 at 48 kHz last as long as 3 at 25 per second
    OpenSession open(movieFile({.tracks = {audio, avcTrack({.samples = 10})}}).bytes);
    ASSERT_EQ(open.startVideo(), TIOResult::success);
    EXPECT_EQ(playVideo(open).size(), shown);
    EXPECT_EQ(open.endOfStream, 1);
  }
}

TEST(Deliberate, D044_VideoEndsAtTheFirstSamplePastTheRangeInDecodingOrder) {
  // Sample 1 is shown after the range, sample 2 would be shown in it.
  MediaTrack video = avcTrack({.samples = 3, .syncEvery = 0});
  video.boxes.ctts = ctts({{1, 0}, {1, 4000}, {1, 0}});
  MediaTrack audio = aacTrack({.samples = 20});
  audio.boxes.duration = 4 * 1920;
  OpenSession open(movieFile({.tracks = {audio, video}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  EXPECT_EQ(playVideo(open), (std::vector<Seen>{{0, 0}}));
  FakeVideoPacket packet;
  open.endOfStream = 0;
  EXPECT_EQ(open.readVideo(packet), TIOResult::success);
  EXPECT_EQ(open.endOfStream, 1) << "it is not passed over";
}

TEST(VideoDelivery, OfAStreamThatWasNotStartedFailsAndClearsTheEndMark) {
  OpenSession open(movieFile({.tracks = {aacTrack(), avcTrack()}}).bytes);
  FakeVideoPacket packet;
  open.endOfStream = 1;
  EXPECT_EQ(open.readVideo(packet), TIOResult::failed);
  EXPECT_EQ(open.endOfStream, 0);
  ASSERT_EQ(open.startAudio(), TIOResult::success);
  EXPECT_EQ(open.readVideo(packet), TIOResult::failed);
  EXPECT_EQ(packet.calls, Calls{});
}

TEST(VideoDelivery, OfASampleOfSizeZeroFailsAndStaysThere) {
  MediaTrack track = avcTrack({.samples = 4});
  track.samples[1] = {};
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  playVideo(open, 1);
  open.stream.calls.clear();
  for (int i = 0; i < 2; ++i) {
    FakeVideoPacket packet;
    EXPECT_EQ(open.readVideo(packet), TIOResult::failed);
    EXPECT_EQ(open.endOfStream, 0);
    EXPECT_EQ(packet.calls, Calls{});
  }
  EXPECT_EQ(open.stream.calls, Calls{});
}

TEST(VideoDelivery, OfASampleOfSizeZeroPastTheRangeIsTheEnd) {
  MediaTrack video = avcTrack({.samples = 3});
  video.samples[2] = {};
  MediaTrack audio = aacTrack({.samples = 4});
  audio.boxes.duration = 2 * 1920;
  OpenSession open(movieFile({.tracks = {audio, video}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  EXPECT_EQ(playVideo(open).size(), 2u);
  EXPECT_EQ(open.endOfStream, 1);
}

TEST(VideoDelivery, PassesAFailedSeekBackAndSeeksAgain) {
  const BuiltMovie file = movieFile({.tracks = {avcTrack()}});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  open.stream.failCall("seek", 0, kHostCode);
  FakeVideoPacket packet;
  EXPECT_EQ(open.readVideo(packet), kHostCode);
  EXPECT_EQ(packet.calls, Calls{});
  EXPECT_EQ(open.readVideo(packet), TIOResult::success);
  EXPECT_EQ(packet.payload.bytes, file.samples[0][0]);
  EXPECT_EQ(open.stream.count("seek "), 2u);
}

TEST(VideoDelivery, GivesItsSeekTheTokenOfTheCall) {
  OpenSession open(movieFile({.tracks = {avcTrack()}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  open.stream.lastToken = nullptr;
  open.stream.failCall("seek", 0, kHostCode);
  FakeVideoPacket packet;
  EXPECT_EQ(open.readVideo(packet), kHostCode);
  EXPECT_EQ(open.stream.lastToken, &open.token);
}

TEST(VideoDelivery, SeeksToAFirstSampleAtTheOffsetOfAllOnes) {
  MediaTrack track = avcTrack({.samples = 2});
  track.boxes.stco = co64({vela::kUnknown64});
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  open.stream.calls.clear();
  FakeVideoPacket packet;
  EXPECT_EQ(open.readVideo(packet), TIOResult::failed);
  EXPECT_EQ(open.stream.calls, (Calls{"seek " + std::to_string(vela::kUnknown64), "read 40 -> 0"}));
  EXPECT_EQ(packet.payload.bytes, Bytes{});
}

TEST(VideoDelivery, ResetsThePacketOfAFailedPayloadAndSeeksForTheRetry) {
  const BuiltMovie file = movieFile({.tracks = {avcTrack()}});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  playVideo(open, 1);
  open.stream.calls.clear();
  open.stream.failCall("read", 0, kHostCode);
  FakeVideoPacket packet;
  open.time = 77;
  EXPECT_EQ(open.readVideo(packet), kHostCode);
  EXPECT_EQ(packet.calls, (Calls{"setMediaId H.264", "readPayload 41", "reset"}));
  EXPECT_EQ(open.time, 77u);
  EXPECT_EQ(open.readVideo(packet), TIOResult::success);
  EXPECT_EQ(packet.payload.bytes, file.samples[0][1]);
  EXPECT_EQ(open.time, at(1));
  EXPECT_EQ(open.stream.calls,
            (Calls{"read 41 failed 4660", "seek " + std::to_string(file.offsets[0][1]),
                   "read 41 -> 41"}));
}

TEST(VideoDelivery, AFailedAudioPacketMakesTheNextVideoPacketSeek) {
  // The two samples are neighbours in the file.
  const BuiltMovie file = movieFile({.tracks = {aacTrack({.samples = 4, .samplesPerChunk = 1}),
                                                avcTrack({.samples = 4, .samplesPerChunk = 1})}});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  FakeAudioPacket broken;
  broken.payload.result = kHostCode;
  EXPECT_EQ(open.readAudio(broken), kHostCode);
  open.stream.calls.clear();
  playVideo(open, 1);
  EXPECT_EQ(open.stream.calls.at(0), "seek " + std::to_string(file.offsets[1][0]));
}

TEST(VideoDelivery, OfASampleThatTheTablesDoNotDescribeFails) {
  MediaTrack track = avcTrack({.samples = 4});
  track.boxes.stsz = stsz({40});
  OpenSession open(movieFile({.tracks = {track}}).bytes);
  ASSERT_EQ(open.startVideo(), TIOResult::success);
  playVideo(open, 1);
  FakeVideoPacket packet;
  EXPECT_EQ(open.readVideo(packet), TIOResult::failed);
}

TEST(Interleaved, AlternateReadingNeverSeeksAfterTheFirstRead) {
  const BuiltMovie file = movieFile({.tracks = {aacTrack({.samples = 12, .samplesPerChunk = 1}),
                                                avcTrack({.samples = 12, .samplesPerChunk = 1})}});
  for (const ReadPath path : {ReadPath::direct, ReadPath::throughCache}) {
    OpenSession open(file.bytes, path);
    ASSERT_EQ(open.startBoth(), TIOResult::success);
    for (uint32_t i = 0; i < 12; ++i) {
      playAudio(open, 1);
      if (i == 0) {
        EXPECT_LE(open.stream.count("seek "), 1u);
        open.stream.calls.clear();
      }
      // The audio track, 256 ms, ends the range before the last of the video samples.
      if (i < 7) playVideo(open, 1);
      if (i < 7) {
        EXPECT_EQ(open.stream.count("seek "), 0u) << i;
      }
    }
  }
}

TEST(Interleaved, FollowingNextStreamReadsALongFileFromFrontToBack) {
  const BuiltMovie file =
      movieFile({.tracks = {aacTrack({.samples = 200, .sampleSize = 300, .samplesPerChunk = 10}),
                            avcTrack({.samples = 106, .sampleSize = 900, .samplesPerChunk = 5})}});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  uint32_t audio = 0;
  uint32_t video = 0;
  for (uint32_t which = open.next(); which != vela::kNextNone; which = open.next()) {
    if (which == vela::kNextAudio) {
      ASSERT_EQ(playAudio(open, 1).size(), 1u);
      ++audio;
    } else {
      ASSERT_EQ(playVideo(open, 1).size(), 1u);
      ++video;
    }
  }
  EXPECT_EQ(audio, 200u);
  EXPECT_EQ(video, 106u);
  EXPECT_EQ(open.stream.count("seek "), 1u);
}

TEST(Interleaved, BothReadersShareOneKnowledgeOfWhereTheStreamStands) {
  // Audio 0 and 1 are neighbours; reading video between them costs two seeks.
  const BuiltMovie file =
      movieFile({.tracks = {aacTrack({.samples = 4}), avcTrack({.samples = 4})}});
  OpenSession open(file.bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  playAudio(open, 1);
  playVideo(open, 1);
  playAudio(open, 1);
  EXPECT_EQ(open.stream.count("seek "), 3u);
}

TEST(Deliberate, D042_AnUnknownDurationLeavesNoAudioFramesButAllVideo) {
  MediaTrack audio = aacTrack({.samples = 6});
  audio.boxes.duration = 0xffffffff;
  OpenSession open(movieFile({.tracks = {audio, avcTrack({.samples = 6})}}).bytes);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  EXPECT_EQ(vela::SessionProbe::framesLeft(open.session), 0u);
  EXPECT_EQ(playAudio(open), std::vector<Heard>{});
  EXPECT_EQ(playVideo(open).size(), 6u);
  ASSERT_EQ(open.seek(kSecond / 1000), TIOResult::success);
  EXPECT_EQ(playAudio(open).size(), 6u) << "a short way into the file the wrap is over";
}
