// Delivery and description when the host's stream is slow or ends early, and when memory runs out.
#include <optional>

#include "tests/frontend/open_session.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/hal_allocator.h"

using namespace boxes;
using vela::TIOResult;

namespace {

BuiltMovie taggedFilm() {
  return movieFile(
      {.tracks = {aacTrack({.samples = 12}), avcTrack({.samples = 6})},
       .udta = join(chpl({{0, "One"}, {1'000'000, "Two"}}), metaWith(ilstText("\xA9"
                                                                              "ART",
                                                                              "Someone")))});
}

}  // namespace

TEST(SlowStream, OfOneByteAReadDeliversTheSamePackets) {
  const BuiltMovie file = taggedFilm();
  for (const ReadPath path : {ReadPath::direct, ReadPath::throughCache}) {
    OpenSession open(file.bytes, path);
    open.stream.largestRead = 1;
    ASSERT_EQ(open.startBoth(), TIOResult::success);
    for (const Bytes& sample : file.samples[0]) {
      FakeAudioPacket packet;
      ASSERT_EQ(open.readAudio(packet), TIOResult::success);
      EXPECT_EQ(packet.payload.bytes, sample);
    }
    for (const Bytes& sample : file.samples[1]) {
      FakeVideoPacket packet;
      ASSERT_EQ(open.readVideo(packet), TIOResult::success);
      EXPECT_EQ(packet.payload.bytes, sample);
    }
  }
}

TEST(CutFile, EndsInACodeOrInWholePacketsAtEveryLength) {
  const BuiltMovie file = taggedFilm();
  uint32_t opened = 0;
  // A stream that can't seek is read up to the media data only, so that a cut in it is not noticed
  // before a packet runs into it.
  for (const Seekable seekable : {Seekable::yes, Seekable::no}) {
    for (size_t length = 0; length <= file.bytes.size(); ++length) {
      SCOPED_TRACE("cut to " + std::to_string(length));
      FakeHostStream stream(Bytes(file.bytes.begin(), file.bytes.begin() + long(length)), seekable);
      FakeSourceProvider provider(stream);
      FakeHostContext context(provider);
      vela::SplitterSession session(&context);
      if (session.openSession(u"movie.mp4", vela::CreationMode::playback, nullptr) !=
          TIOResult::success) {
        continue;
      }
      ++opened;
      FakeAudioFormat audioFormat;
      ASSERT_EQ(session.startItem(0, &audioFormat, nullptr), TIOResult::success);
      uint8_t endOfStream = 0;
      for (size_t i = 0; i < 12; ++i) {
        FakeAudioPacket packet;
        const TIOResult code =
            vela::guarded([&] { return session.readAudioPacket(packet, endOfStream, nullptr); });
        const bool whole = file.offsets[0][i] + file.samples[0][i].size() <= length;
        ASSERT_EQ(code == TIOResult::success, whole) << static_cast<uint32_t>(code);
        if (!whole) break;
        ASSERT_EQ(packet.payload.bytes, file.samples[0][i]);
      }
    }
  }
  // Where the stream can't seek, every cut after the movie box leaves a file that opens. Where it
  // can, so do the cuts inside the next box header, which end the walk, and the whole file.
  const uint64_t movieEnd = file.offsets[0][0] - 8;
  EXPECT_EQ(opened, file.bytes.size() + 1 - movieEnd + 1 + 8);
}

TEST(OutOfMemory, WhileAnItemStartsFailsAndASecondStartSucceeds) {
  const BuiltMovie file = taggedFilm();
  std::optional<uint64_t> opening;
  uint64_t starting = 0;
  {
    FailingAllocation memory;
    OpenSession open(file.bytes);
    opening = memory.allocations();
    ASSERT_EQ(open.startBoth(), TIOResult::success);
    starting = memory.allocations() - *opening;
  }
  ASSERT_GT(starting, 0u);
  for (uint64_t i = 0; i < starting; ++i) {
    FailingAllocation memory(*opening + i);
    {
      OpenSession open(file.bytes);
      EXPECT_EQ(open.startBoth(), TIOResult::failed);
      EXPECT_TRUE(memory.failed());
      EXPECT_EQ(open.startBoth(), TIOResult::success);
      EXPECT_EQ(playAudio(open).size(), 12u);
    }
    EXPECT_EQ(memory.blocksHeld(), 0u);
  }
}

TEST(OutOfMemory, WhileAnItemStartsLetsNoReadDeliverTheOtherTrack) {
  // Either track comes second in the file; a cursor that was never placed must not read the first.
  for (const size_t audioTrack : {size_t{0}, size_t{1}}) {
    const size_t videoTrack = 1 - audioTrack;
    std::vector<MediaTrack> tracks(2);
    tracks[audioTrack] = aacTrack({.samples = 20});
    tracks[videoTrack] = avcTrack({.samples = 12});
    const BuiltMovie file = movieFile({.tracks = tracks});
    // The configurations of audio and video are copied in this order.
    for (const bool forVideo : {false, true}) {
      SCOPED_TRACE("audio is track " + std::to_string(audioTrack) + ", fails for " +
                   (forVideo ? "video" : "audio"));
      OpenSession open(file.bytes);
      {
        FailingAllocation memory(forVideo ? 1 : 0);
        ASSERT_EQ(open.startBoth(), TIOResult::failed);
        ASSERT_TRUE(memory.failed());
      }
      ASSERT_EQ(open.audioFormat.calls.size(), forVideo ? 1u : 0u);
      // Packet 12 of 1024 frames, with ten of pre-roll, lies in picture 6, after the key frame 5.
      ASSERT_EQ(open.seek(framesAt48k(12 * 1024)), TIOResult::success);
      FakeAudioPacket audio;
      EXPECT_EQ(open.readAudio(audio), TIOResult::success);
      EXPECT_EQ(audio.payload.bytes, file.samples[audioTrack][2]);
      FakeVideoPacket video;
      if (forVideo) {
        EXPECT_EQ(open.readVideo(video), TIOResult::success);
        EXPECT_EQ(video.payload.bytes, file.samples[videoTrack][5]);
      } else {
        EXPECT_EQ(open.readVideo(video), TIOResult::failed);
        EXPECT_EQ(video.calls, Calls{});
      }
    }
  }
}

TEST(OutOfMemory, ForATextEndsTheDescription) {
  const BuiltMovie file = movieFile({.tracks = {aacTrack({.samples = 12})},
                                     .udta = metaWith(ilstText("\xA9"
                                                               "ART",
                                                               "Someone"),
                                                      ilstText("\xA9"
                                                               "alb",
                                                               "Album"))});
  uint64_t opening = 0;
  uint64_t describing = 0;
  {
    FailingHalAllocation memory;
    OpenSession open(file.bytes);
    opening = memory.allocations();
    ASSERT_EQ(open.describe(1), TIOResult::success);
    describing = memory.allocations() - opening;
  }
  ASSERT_GE(describing, 4u);
  for (uint64_t i = 0; i < describing; ++i) {
    FailingHalAllocation memory(opening + i);
    {
      OpenSession open(file.bytes);
      EXPECT_EQ(open.describe(1), TIOResult::failed);
      EXPECT_TRUE(memory.failed());
      for (const auto& tag : open.info.tags) {
        EXPECT_FALSE(tag.key.empty() || tag.value.empty()) << "no part of a tag is told";
      }
    }
    EXPECT_EQ(memory.blocksHeld(), 0u);
  }
}
