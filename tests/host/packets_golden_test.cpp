// The packets of every clean file against what another demultiplexer says about them.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "host/checksum.h"
#include "tests/host/golden_packets.h"
#include "tests/host/plugin_session.h"

namespace {

using velahost::StreamKind;

uint32_t checksum(const velahost::Payload& payload) {
  return velahost::crc32(payload.bytes.data(), payload.bytes.size());
}

void expectSameBytes(const velahost::Payload& payload, const golden::Packet& expected) {
  ASSERT_EQ(payload.bytes.size(), expected.size);
  ASSERT_EQ(payload.fileOffset, expected.offset);
  ASSERT_EQ(checksum(payload), expected.checksum);
}

/// Packets that an item of the given length delivers: all up to the first one shown at its end.
size_t videoPacketsBefore(uint64_t end, const golden::Stream& stream) {
  const auto last =
      std::find_if(stream.packets.begin(), stream.packets.end(), [&](const golden::Packet& packet) {
        return golden::presentationTime(stream, packet) >= end;
      });
  return static_cast<size_t>(last - stream.packets.begin());
}

class GoldenPackets : public testing::TestWithParam<media::File> {
 protected:
  void compareAudio(PlayedFile& file, const golden::Stream& stream, size_t index) {
    SCOPED_TRACE("audio packet " + std::to_string(index));
    const velahost::AudioPacketRecord& packet = file.playback.audio;
    if (index >= stream.packets.size()) return;  // the number of packets is looked at in the end
    expectSameBytes(packet.payload, stream.packets[index]);
    // Only the last packet may be cut, to the end of the item.
    const uint64_t frames = stream.frames(index, packet.sampleRate);
    const uint64_t left = golden::ticks(file.duration(0), packet.sampleRate) - framesBefore_;
    ASSERT_EQ(packet.frames, std::min(frames, left));
    ASSERT_EQ(packet.startOffset, 0u);
    framesBefore_ += packet.frames;
  }

  void compareVideo(const PlayedFile& file, const golden::Stream& stream, size_t index) {
    SCOPED_TRACE("video packet " + std::to_string(index));
    ASSERT_LT(index, stream.packets.size());
    const golden::Packet& expected = stream.packets[index];
    expectSameBytes(file.playback.video.payload, expected);
    ASSERT_EQ(static_cast<uint64_t>(file.playback.videoTime),
              golden::presentationTime(stream, expected));
  }

  uint64_t framesBefore_ = 0;
};

TEST_P(GoldenPackets, AgreeInSizePlaceTimeAndBytesOneByOne) {
  SKIP_WITHOUT_CORPUS(GetParam());
  const golden::Table table = golden::read(GetParam());
  PlayedFile file(GetParam());
  file.playback.start(0, velahost::Wanted::both);
  EXPECT_EQ(file.playback.audioFormat.present, table.audio.has_value());
  EXPECT_EQ(file.playback.videoFormat.present, table.video.has_value());

  size_t audio = 0;
  const size_t firstVideo = table.video ? table.video->syncFor(0) : 0;
  size_t video = firstVideo;
  for (StreamKind kind = file.playback.next(); kind != StreamKind::none;
       kind = file.playback.next()) {
    if (kind == StreamKind::audio) {
      compareAudio(file, table.audio.value(), audio++);
    } else {
      compareVideo(file, table.video.value(), video++);
    }
    if (HasFatalFailure()) return;
  }
  const size_t audioTold = table.audio ? table.audio->count : 0;
  const size_t videoTold = table.video ? table.video->count : 0;
  EXPECT_EQ(video, table.video ? videoPacketsBefore(file.duration(0), *table.video) : 0);
  if (GetParam().origin == media::File::Origin::own) {
    EXPECT_EQ(audio, audioTold);
    return;
  }
  const golden::Outcome outcome = golden::outcomeOf(GetParam());
  EXPECT_EQ(audio, outcome.audioPackets);
  EXPECT_EQ(video - firstVideo, outcome.videoPackets);
  EXPECT_EQ(audio == audioTold && video - firstVideo == videoTold, outcome.remark == "-")
      << "a file with more or fewer packets than ffprobe names, and only such a file, has a remark";
}

INSTANTIATE_TEST_SUITE_P(Media, GoldenPackets, testing::ValuesIn(golden::files()), media::caseName);

TEST(GoldenTables, CoverEveryFileOfTheProject) {
  const std::vector<media::File> files = golden::files();
  size_t own = 0;
  for (const auto& entry : std::filesystem::directory_iterator(media::dataFolder())) {
    const std::string extension = entry.path().extension().string();
    if (extension != ".mp4" && extension != ".m4a") continue;
    ++own;
    EXPECT_TRUE(std::any_of(files.begin(), files.end(), [&](const media::File& file) {
      return file.origin == media::File::Origin::own && file.name == entry.path().filename();
    })) << entry.path();
  }
  EXPECT_GE(own, 7u);
}

}  // namespace
