// Seeking: from wherever it starts, an item plays to its end with no frame too many or too few.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

#include "host/failure.h"
#include "tests/host/golden_packets.h"
#include "tests/host/plugin_session.h"

namespace {

constexpr int kSeekPoints = 200;
constexpr size_t kPrerollPackets = 10;
/// Longer streams would take minutes, because every seek point is played to the end.
constexpr size_t kLongestStream = 1500;

std::vector<media::File> filesOfModestLength() {
  std::vector<media::File> files = golden::files();
  for (const golden::StreamLine& line : golden::streamLines()) {
    // The last packets of one file have no place of their own, so its places don't tell packets
    // apart.
    if (line.packets <= kLongestStream && line.file.name != "h264-camera-core-media.mp4") continue;
    std::erase_if(files, [&](const media::File& file) { return file.name == line.file.name; });
  }
  return files;
}

class Seeking : public testing::TestWithParam<media::File> {
 protected:
  /// Plays the audio to its end and compares with the packets from the target on.
  void expectExactAudio(PlayedFile& file, const golden::Stream& stream, uint64_t target,
                        uint64_t end) {
    ASSERT_TRUE(file.playback.nextAudio());
    const uint32_t rate = file.playback.audio.sampleRate;
    const uint64_t time = golden::ticks(target, stream.timescale);
    const size_t first = stream.packetAt(time);
    const size_t preroll = std::min(first, kPrerollPackets);
    const uint64_t cut =
        ((time - stream.packets[first].decode) * rate + stream.timescale / 2) / stream.timescale;
    uint64_t available = 0;
    for (size_t i = first; i < stream.packets.size(); ++i) available += stream.frames(i, rate);
    available -= cut;

    size_t index = first - preroll;
    uint64_t heard = 0;
    uint64_t dropped = 0;
    do {
      ASSERT_LT(index, stream.packets.size());
      ASSERT_EQ(file.playback.audio.payload.fileOffset, stream.packets[index].offset);
      if (index < first) {
        ASSERT_EQ(file.playback.audio.frames, 0u) << "pre-roll is not heard";
        ASSERT_EQ(file.playback.audio.startOffset, 0u);
      }
      heard += file.playback.audio.frames;
      dropped += file.playback.audio.startOffset;
      ++index;
    } while (file.playback.nextAudio());
    ASSERT_EQ(dropped, cut);
    ASSERT_EQ(heard, std::min(golden::ticks(end - target, rate), available));
  }

  void expectKeyFrame(PlayedFile& file, const golden::Stream& stream, uint64_t target,
                      uint64_t end) {
    const size_t wanted = stream.packetAt(golden::ticks(target, stream.timescale));
    const size_t sync = stream.syncFor(wanted);
    const uint64_t shown = golden::presentationTime(stream, stream.packets[sync]);
    ASSERT_EQ(file.playback.nextVideo(), shown < end);
    if (shown >= end) return;
    ASSERT_EQ(file.playback.video.payload.fileOffset, stream.packets[sync].offset);
    ASSERT_EQ(static_cast<uint64_t>(file.playback.videoTime), shown);
  }
};

/// A target past the last sample of either track has no sample to land on.
bool hasSample(const std::optional<golden::Stream>& stream, uint64_t target) {
  return !stream || golden::ticks(target, stream->timescale) < stream->end();
}

TEST_P(Seeking, FromTwoHundredPointsPlaysTheRestExactly) {
  SKIP_WITHOUT_CORPUS(GetParam());
  const golden::Table table = golden::read(GetParam());
  PlayedFile file(GetParam());
  file.playback.start(0, velahost::Wanted::both);
  const uint64_t end = file.duration(0);
  std::mt19937_64 random(20240229);  // a fixed seed: the same points on every run
  std::uniform_int_distribution<uint64_t> anywhere(0, end - 1);
  for (int i = 0; i < kSeekPoints; ++i) {
    const uint64_t target = anywhere(random);
    SCOPED_TRACE("target " + std::to_string(target));
    if (!hasSample(table.audio, target) || !hasSample(table.video, target)) {
      EXPECT_THROW(file.playback.seek(target), velahost::Failure);
      continue;
    }
    file.playback.seek(target);
    if (table.audio) expectExactAudio(file, *table.audio, target, end);
    if (HasFatalFailure()) return;
    if (table.video) expectKeyFrame(file, *table.video, target, end);
    if (HasFatalFailure()) return;
  }
}

TEST_P(Seeking, ToTheEndAndBeyondEndsBothStreamsAtOnce) {
  SKIP_WITHOUT_CORPUS(GetParam());
  PlayedFile file(GetParam());
  file.playback.start(0, velahost::Wanted::both);
  const uint64_t end = file.duration(0);
  for (const uint64_t target : {end, end + 1, uint64_t{1} << 62}) {
    file.playback.seek(target);
    if (file.playback.audioFormat.present) {
      EXPECT_FALSE(file.playback.nextAudio());
    }
    if (file.playback.videoFormat.present) {
      EXPECT_FALSE(file.playback.nextVideo());
    }
    EXPECT_EQ(file.playback.next(), velahost::StreamKind::none);
  }
}

INSTANTIATE_TEST_SUITE_P(Media, Seeking, testing::ValuesIn(filesOfModestLength()), media::caseName);

}  // namespace
