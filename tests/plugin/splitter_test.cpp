// The splitters of the built plug-in, slot by slot.
#include "tests/plugin/loaded_plugin.h"
#include "tests/support/movie_builder.h"

using namespace boxes;
using raw_host::Log;
using raw_host::toWords;

namespace {

constexpr uint64_t kSecond = 16777216;                // host units
constexpr uint64_t kFourGiUnits = uint64_t{1} << 32;  // 256 seconds

class SplitterSlots : public PluginTest {
 protected:
  void* informationSplitter(Bytes file) {
    stream.bytes = std::move(file);
    void* splitter = nullptr;
    EXPECT_EQ(create(factory_slot::kCreateMode0, &splitter), 0u);
    return splitter;
  }
  uint32_t startBoth(void* splitter) {
    video.table = raw_host::Format::kVideo;
    return call<uint32_t>(splitter, 8, uint32_t{0}, static_cast<void*>(&audio),
                          static_cast<void*>(&video), anyToken());
  }
  uint32_t readAudio(void* splitter, raw_host::AudioPacket& packet) {
    return call<uint32_t>(splitter, 9, static_cast<void*>(&packet), &endOfStream, anyToken());
  }
  uint32_t readVideo(void* splitter, raw_host::VideoPacket& packet) {
    return call<uint32_t>(splitter, 10, static_cast<void*>(&packet), &endOfStream, &time,
                          anyToken());
  }
  void* anyToken() { return &token; }

  raw_host::Format audio;
  raw_host::Format video;
  uint8_t endOfStream = 99;
  uint64_t time = 99;
};

BuiltMovie film() {
  return movieFile(
      {.tracks = {aacTrack({.samples = 47}), avcTrack({.samples = 25, .width = 64, .height = 48})},
       .udta = chpl({{0, "One"}, {5'000'000, "Two"}})});
}

/// Two chapters of half a second.
BuiltMovie audioBook() {
  MediaTrack track = aacTrack({.samples = 47});
  return movieFile({.tracks = {track},
                    .mvhd = mvhd({.timescale = 1000, .duration = 1000}),
                    .udta = chpl({{0, "One"}, {5'000'000, "Two"}})});
}

}  // namespace

TEST_F(SplitterSlots, Slots0And1CountAndTheLastReleaseFrees) {
  void* const splitter = informationSplitter(film().bytes);
  EXPECT_EQ(call<uint32_t>(splitter, 0), 2u);
  EXPECT_EQ(call<uint32_t>(splitter, 0), 3u);
  EXPECT_EQ(call<uint32_t>(splitter, 1), 2u);
  EXPECT_EQ(call<uint32_t>(splitter, 1), 1u);
  EXPECT_EQ(stream.count, 1u);
  EXPECT_EQ(call<uint32_t>(splitter, 1), 0u);
  EXPECT_EQ(stream.timesFreed, 1u);
}

TEST_F(SplitterSlots, Slot2AnswersByIdentifier) {
  void* const information = informationSplitter(film().bytes);
  void* out = nullptr;
  EXPECT_EQ(call<uint32_t>(information, 2, ids::kSplitterEx.data(), &out), 0u);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(call<uint32_t>(information, 2, ids::kSplitter.data(), &out), 1u);
  EXPECT_EQ(out, information);
  EXPECT_EQ(release(out), 1u);
  release(information);

  void* const playback = playbackSplitter(film().bytes);
  out = nullptr;
  EXPECT_EQ(call<uint32_t>(playback, 2, ids::kSplitterEx.data(), &out), 1u);
  EXPECT_EQ(call<uint32_t>(playback, 2, ids::kSplitter.data(), &out), 1u);
  EXPECT_EQ(call<uint32_t>(playback, 2, ids::kSplitterAlt.data(), &out), 0u);
  EXPECT_EQ(release(out), 1u) << "the second answer gave the first one's reference back";
  release(playback);
}

TEST_F(SplitterSlots, Slot3DestroysAndFreesLikeTheLastRelease) {
  void* const splitter = playbackSplitter(film().bytes);
  call<void>(splitter, 3, uint32_t{1});
  EXPECT_EQ(stream.timesFreed, 1u);
}

TEST_F(SplitterSlots, Slots4And5OfferAFileWithVideoAsOneItemZero) {
  void* const splitter = informationSplitter(film().bytes);
  EXPECT_EQ(call<uint32_t>(splitter, 4), 1u);
  EXPECT_EQ(call<uint32_t>(splitter, 5, uint32_t{0}), 0u);
  EXPECT_EQ(call<uint32_t>(splitter, 5, uint32_t{7}), 0u);
  release(splitter);
}

TEST_F(SplitterSlots, Slots4And5OfferAnAudioFileChapterByChapter) {
  void* const splitter = informationSplitter(audioBook().bytes);
  EXPECT_EQ(call<uint32_t>(splitter, 4), 2u);
  EXPECT_EQ(call<uint32_t>(splitter, 5, uint32_t{0}), 1u);
  EXPECT_EQ(call<uint32_t>(splitter, 5, uint32_t{1}), 2u);
  EXPECT_EQ(call<uint32_t>(splitter, 5, uint32_t{0xFFFFFFFF}), 0u) << "32 bits wrap";
  release(splitter);
}

TEST_F(SplitterSlots, Slot6DescribesAFilmWithItsChapters) {
  const BuiltMovie built = film();
  void* const splitter = informationSplitter(built.bytes);
  raw_host::MediaInfo info;
  EXPECT_EQ(call<uint32_t>(splitter, 6, uint32_t{0}, static_cast<void*>(&info), anyToken()), 0u);
  const uint64_t duration = (47 * 1024 * kSecond + 24000) / 48000;
  EXPECT_EQ(info.log, (Log{"duration " + std::to_string(duration), "description", "chapters 2",
                           "chapter 0 at 0 One 4294967295", "chapter 1 at 8388608 Two 4294967295",
                           "flags 0"}));
  const auto word = [&](size_t offset) {
    return raw_table::field<uint32_t>(info.description.data(), offset);
  };
  EXPECT_EQ(word(0), built.bytes.size() * 8 * kSecond / duration);
  EXPECT_EQ(word(4), 48000u);
  EXPECT_EQ(word(8), 2u);
  EXPECT_EQ(word(12), 64u);
  EXPECT_EQ(word(16), 48u);
  EXPECT_EQ(word(20), 0u);
  EXPECT_STREQ(reinterpret_cast<const char*>(info.description.data()) + 24, "AAC");
  EXPECT_STREQ(reinterpret_cast<const char*>(info.description.data()) + 56, "MPEG-4 AVC");
  release(splitter);
}

TEST_F(SplitterSlots, Slot6DescribesAChapterWithItsTags) {
  void* const splitter = informationSplitter(audioBook().bytes);
  raw_host::MediaInfo info;
  EXPECT_EQ(call<uint32_t>(splitter, 6, uint32_t{1}, static_cast<void*>(&info), anyToken()), 0u);
  ASSERT_GE(info.log.size(), 4u);
  EXPECT_EQ(info.log[0], "duration 8388608");
  EXPECT_EQ(info.log[1], "description");
  EXPECT_EQ(info.log[2], "flags 0");
  EXPECT_EQ(info.log[3], "tag title = One, 4294967295 1 4294967295 4294967295");
  release(splitter);
}

TEST_F(SplitterSlots, Slot6TellsTimesOfMoreThan32Bits) {
  MediaTrack sound = aacTrack();
  sound.boxes.duration = uint64_t{600} * 48000;
  void* const splitter = informationSplitter(
      movieFile({.tracks = {sound, avcTrack()},
                 .udta = chpl({{0, "One"}, {2'560'000'000, "Two"}, {3'000'000'000, "Three"}})})
          .bytes);
  raw_host::MediaInfo info;
  ASSERT_EQ(call<uint32_t>(splitter, 6, uint32_t{0}, static_cast<void*>(&info), anyToken()), 0u);
  EXPECT_EQ(info.log, (Log{"duration " + std::to_string(600 * kSecond), "description", "chapters 3",
                           "chapter 0 at 0 One 4294967295",
                           "chapter 1 at " + std::to_string(kFourGiUnits) + " Two 4294967295",
                           "chapter 2 at " + std::to_string(300 * kSecond) + " Three 4294967295",
                           "flags 0"}));
  release(splitter);
}

TEST_F(SplitterSlots, Slot6TellsEachReplayGainValueInASlotOfItsOwn) {
  void* const splitter = informationSplitter(
      movieFile({.tracks = {aacTrack()},
                 .udta = metaWith(ilstNamed("replaygain_track_gain", "-6.54 dB"),
                                  ilstNamed("replaygain_album_gain", "+1.5 dB"),
                                  ilstNamed("replaygain_track_peak", "0.5"),
                                  ilstNamed("replaygain_album_peak", "1.0"))})
          .bytes);
  raw_host::MediaInfo info;
  ASSERT_EQ(call<uint32_t>(splitter, 6, uint32_t{1}, static_cast<void*>(&info), anyToken()), 0u);
  EXPECT_EQ(Log(info.log.begin() + 1, info.log.end()),
            (Log{"description", "flags 0",                        //
                 "which flags", "flags 1", "track gain -65400",   //
                 "which flags", "flags 3", "album gain 15000",    //
                 "which flags", "flags 7", "track peak 4194304",  //
                 "which flags", "flags 15", "album peak 8388608"}));
  release(splitter);
}

TEST_F(SplitterSlots, Slot6HandsItsOwnTokenToTheHostStream) {
  void* const splitter = informationSplitter(film().bytes);
  raw_host::Token another;
  raw_host::MediaInfo info;
  ASSERT_EQ(call<uint32_t>(splitter, 6, uint32_t{0}, static_cast<void*>(&info),
                           static_cast<void*>(&another)),
            0u);
  EXPECT_EQ(stream.lastToken, &another);
  release(splitter);
}

TEST_F(SplitterSlots, Slot7ForwardsToSlot11OfTheHostStream) {
  void* const splitter = informationSplitter(film().bytes);
  stream.log.clear();
  EXPECT_EQ(call<uint32_t>(splitter, 7, uintptr_t{5}, ~uintptr_t{0}), 0xCAFE0002u);
  EXPECT_EQ(stream.log, Log{"two 5 " + std::to_string(~uintptr_t{0})});
  release(splitter);
}

TEST_F(SplitterSlots, Slot8TellsTheFormats) {
  void* const splitter = playbackSplitter(film().bytes);
  EXPECT_EQ(startBoth(splitter), 0u);
  EXPECT_EQ(audio.mediaId, ids::kAac);
  EXPECT_EQ(audio.config, raw({0x11, 0x90}));
  EXPECT_EQ(video.mediaId, ids::kH264);
  EXPECT_GT(video.config.size(), 4u);
  EXPECT_EQ(video.width, 64);
  EXPECT_EQ(video.height, 48);
  EXPECT_EQ(audio.clears + video.clears, 0u);
  EXPECT_EQ(call<uint32_t>(splitter, 8, uint32_t{0}, static_cast<void*>(nullptr),
                           static_cast<void*>(nullptr), anyToken()),
            5u);
  release(splitter);
}

TEST_F(SplitterSlots, Slot8NamesTheOtherTwoMedia) {
  void* const splitter = playbackSplitter(
      movieFile({.tracks = {aacTrack({.objectType = 0x6B, .config = {}}), mpeg4Track()}}).bytes);
  EXPECT_EQ(startBoth(splitter), 0u);
  EXPECT_EQ(audio.mediaId, ids::kMp3);
  EXPECT_EQ(video.mediaId, ids::kMpeg4);
  release(splitter);
}

TEST_F(SplitterSlots, Slots9And10DeliverEverySampleAndTheEnd) {
  const BuiltMovie built = film();
  void* const splitter = playbackSplitter(built.bytes);
  ASSERT_EQ(startBoth(splitter), 0u);
  for (const Bytes& sample : built.samples[0]) {
    raw_host::AudioPacket packet;
    ASSERT_EQ(readAudio(splitter, packet), 0u);
    EXPECT_EQ(endOfStream, 0);
    EXPECT_EQ(packet.mediaId, ids::kAac);
    EXPECT_EQ(packet.payload, sample);
    EXPECT_EQ(packet.rate, 48000u);
    EXPECT_EQ(packet.frames, 1024u);
    EXPECT_EQ(packet.startOffset, 0u);
    EXPECT_EQ(packet.further, 0u);
  }
  uint64_t number = 0;
  for (const Bytes& sample : built.samples[1]) {
    raw_host::VideoPacket packet;
    ASSERT_EQ(readVideo(splitter, packet), 0u);
    EXPECT_EQ(endOfStream, 0);
    EXPECT_EQ(packet.mediaId, ids::kH264);
    EXPECT_EQ(packet.payload, sample);
    EXPECT_EQ(packet.width, 64);
    EXPECT_EQ(packet.height, 48);
    EXPECT_EQ(time, (number++ * 1000 * kSecond + 12500) / 25000);
  }
  raw_host::AudioPacket lastAudio;
  EXPECT_EQ(readAudio(splitter, lastAudio), 0u);
  EXPECT_EQ(endOfStream, 1);
  endOfStream = 99;
  raw_host::VideoPacket lastVideo;
  EXPECT_EQ(readVideo(splitter, lastVideo), 0u);
  EXPECT_EQ(endOfStream, 1);
  release(splitter);
}

TEST_F(SplitterSlots, Slots9And10And13HandTheirOwnTokenToThePacket) {
  void* const splitter = playbackSplitter(film().bytes);
  ASSERT_EQ(startBoth(splitter), 0u);
  raw_host::Token ofAudio;
  raw_host::AudioPacket audioPacket;
  ASSERT_EQ(call<uint32_t>(splitter, 9, static_cast<void*>(&audioPacket), &endOfStream,
                           static_cast<void*>(&ofAudio)),
            0u);
  EXPECT_EQ(audioPacket.token, &ofAudio);
  raw_host::Token ofVideo;
  raw_host::VideoPacket videoPacket;
  ASSERT_EQ(call<uint32_t>(splitter, 10, static_cast<void*>(&videoPacket), &endOfStream, &time,
                           static_cast<void*>(&ofVideo)),
            0u);
  EXPECT_EQ(videoPacket.token, &ofVideo);
  raw_host::Token ofSeek;
  raw_host::VideoPacket shown;
  ASSERT_EQ(call<uint32_t>(splitter, 13, static_cast<void*>(&shown), toWords(kSecond / 2),
                           static_cast<void*>(&ofSeek)),
            0u);
  EXPECT_EQ(shown.token, &ofSeek);
  release(splitter);
}

TEST_F(SplitterSlots, Slot9CutsTheHeadOfAPacketInTheSlotOfTheStartOffset) {
  void* const splitter = playbackSplitter(film().bytes);
  ASSERT_EQ(startBoth(splitter), 0u);
  constexpr uint64_t kHundredFrames = (100 * kSecond + 24000) / 48000;
  ASSERT_EQ(call<uint32_t>(splitter, 12, toWords(kHundredFrames), anyToken()), 0u);
  raw_host::AudioPacket packet;
  ASSERT_EQ(readAudio(splitter, packet), 0u);
  EXPECT_EQ(packet.startOffset, 100u);
  EXPECT_EQ(packet.frames, 924u);
  EXPECT_EQ(packet.further, 0u);
  release(splitter);
}

TEST_F(SplitterSlots, Slots9And10Give5ForAStreamThatWasNotStarted) {
  void* const splitter = playbackSplitter(film().bytes);
  raw_host::AudioPacket audioPacket;
  raw_host::VideoPacket videoPacket;
  EXPECT_EQ(readAudio(splitter, audioPacket), 5u);
  EXPECT_EQ(readVideo(splitter, videoPacket), 5u);
  uint32_t which = 99;
  EXPECT_EQ(call<uint32_t>(splitter, 11, &which), 5u);
  release(splitter);
}

TEST_F(SplitterSlots, Slot11TellsWhichStreamComesNextUpToTheEnd) {
  const BuiltMovie built = film();
  void* const splitter = playbackSplitter(built.bytes);
  ASSERT_EQ(startBoth(splitter), 0u);
  size_t audioPackets = 0;
  size_t videoPackets = 0;
  for (;;) {
    uint32_t which = 99;
    ASSERT_EQ(call<uint32_t>(splitter, 11, &which), 0u);
    if (which == 0) break;
    raw_host::AudioPacket audioPacket;
    raw_host::VideoPacket videoPacket;
    ASSERT_TRUE(which == 1 || which == 2);
    ASSERT_EQ(which == 2 ? readAudio(splitter, audioPacket) : readVideo(splitter, videoPacket), 0u);
    ASSERT_EQ(endOfStream, 0);
    ++(which == 2 ? audioPackets : videoPackets);
  }
  EXPECT_EQ(audioPackets, built.samples[0].size());
  EXPECT_EQ(videoPackets, built.samples[1].size());
  release(splitter);
}

TEST_F(SplitterSlots, Slot12TakesA64BitOffsetInOneArgument) {
  void* const splitter = playbackSplitter(film().bytes);
  ASSERT_EQ(startBoth(splitter), 0u);
  EXPECT_EQ(call<uint32_t>(splitter, 12, toWords(kSecond / 2), anyToken()), 0u);
  raw_host::VideoPacket packet;
  ASSERT_EQ(readVideo(splitter, packet), 0u);
  EXPECT_EQ(time, (uint64_t{10} * 1000 * kSecond + 12500) / 25000) << "the sync sample before";
  raw_host::AudioPacket priming;
  ASSERT_EQ(readAudio(splitter, priming), 0u);
  EXPECT_EQ(priming.frames, 0u);
  // An offset that only fits 64 bits lies past the end, not somewhere in the first second.
  EXPECT_EQ(call<uint32_t>(splitter, 12, toWords(kFourGiUnits), anyToken()), 0u);
  ASSERT_EQ(readVideo(splitter, packet), 0u);
  EXPECT_EQ(endOfStream, 1);
  release(splitter);
}

TEST_F(SplitterSlots, Slot13ShowsTheKeyFrameAndDeliversItAgain) {
  const BuiltMovie built = film();
  void* const splitter = playbackSplitter(built.bytes);
  ASSERT_EQ(startBoth(splitter), 0u);
  raw_host::VideoPacket shown;
  EXPECT_EQ(
      call<uint32_t>(splitter, 13, static_cast<void*>(&shown), toWords(kSecond / 2), anyToken()),
      0u);
  EXPECT_EQ(shown.payload, built.samples[1][10]);
  raw_host::VideoPacket next;
  ASSERT_EQ(readVideo(splitter, next), 0u);
  EXPECT_EQ(next.payload, shown.payload);
  raw_host::VideoPacket pastTheEnd;
  EXPECT_EQ(call<uint32_t>(splitter, 13, static_cast<void*>(&pastTheEnd), toWords(100 * kSecond),
                           anyToken()),
            0u);
  EXPECT_EQ(pastTheEnd.resets, 1u);
  release(splitter);
}

TEST_F(SplitterSlots, Slot13TakesA64BitOffset) {
  void* const splitter = playbackSplitter(film().bytes);
  ASSERT_EQ(startBoth(splitter), 0u);
  raw_host::VideoPacket pastTheEnd;  // not the key frame that its low word alone would find
  ASSERT_EQ(call<uint32_t>(splitter, 13, static_cast<void*>(&pastTheEnd), toWords(kFourGiUnits),
                           anyToken()),
            0u);
  EXPECT_EQ(pastTheEnd.resets, 1u);
  EXPECT_EQ(pastTheEnd.payload, Bytes{});
  raw_host::VideoPacket packet;
  ASSERT_EQ(readVideo(splitter, packet), 0u);
  EXPECT_EQ(endOfStream, 1);
  release(splitter);
}

TEST_F(SplitterSlots, Slot14GivesOne) {
  void* const splitter = playbackSplitter(film().bytes);
  EXPECT_EQ(call<uint32_t>(splitter, 14), 1u);
  release(splitter);
}

TEST_F(SplitterSlots, Slot15ForwardsToSlot12OfTheHostStream) {
  void* const splitter = playbackSplitter(film().bytes);
  stream.log.clear();
  EXPECT_EQ(call<uint32_t>(splitter, 15, uintptr_t{77}), 0xCAFE0001u);
  EXPECT_EQ(stream.log, Log{"one 77"});
  release(splitter);
}

TEST_F(SplitterSlots, PlaysAStreamThatCannotSeekForward) {
  const BuiltMovie built = film();
  stream.canSeekAnswer = 0;
  void* const splitter = playbackSplitter(built.bytes);
  ASSERT_EQ(startBoth(splitter), 0u);
  for (size_t i = 0; i < 4; ++i) {
    raw_host::AudioPacket packet;
    ASSERT_EQ(readAudio(splitter, packet), 0u);
    EXPECT_EQ(packet.payload, built.samples[0][i]);
  }
  for (const std::string& line : stream.log) EXPECT_FALSE(line.starts_with("seek")) << line;
  release(splitter);
}

TEST_F(SplitterSlots, ReadsTheHostStreamInWholeBlocksOnly) {
  void* const splitter = playbackSplitter(film().bytes);
  ASSERT_EQ(startBoth(splitter), 0u);
  raw_host::AudioPacket packet;
  ASSERT_EQ(readAudio(splitter, packet), 0u);
  EXPECT_EQ(stream.log.front(), "seek 0");
  for (const std::string& line : stream.log) {
    EXPECT_TRUE(line.starts_with("seek ") || line == "read 16384") << line;
  }
  release(splitter);
}

TEST_F(SplitterSlots, PassesTheHostsCodeOfAPacketOn) {
  BuiltMovie built = movieFile({.tracks = {aacTrack({.samples = 100, .sampleSize = 1000})}});
  void* const splitter = playbackSplitter(built.bytes);
  ASSERT_EQ(call<uint32_t>(splitter, 8, uint32_t{0}, static_cast<void*>(&audio),
                           static_cast<void*>(nullptr), anyToken()),
            0u);
  stream.failAfter = 0;
  stream.failCode = 0x4711;
  uint32_t result = 0;
  for (int i = 0; i < 50 && result == 0; ++i) {
    raw_host::AudioPacket packet;
    result = readAudio(splitter, packet);
  }
  EXPECT_EQ(result, 0x4711u);
  release(splitter);
}
