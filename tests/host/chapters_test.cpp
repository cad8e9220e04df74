// Chapters of an audio-only file: items that together are the whole.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/host/golden_packets.h"
#include "tests/host/plugin_session.h"

namespace {

/// Frames that are heard, counted from the start of the track.
struct Interval {
  uint64_t first;
  uint64_t end;
  bool operator==(const Interval&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Interval& interval) {
  return out << interval.first << ".." << interval.end;
}

/// Plays an item from a place in it, and joins what is heard. More than one interval means a gap
/// or a repetition inside the item.
std::vector<Interval> heard(PlayedFile& file, const golden::Stream& stream, uint32_t itemId,
                            uint64_t from) {
  std::vector<Interval> intervals;
  file.playback.start(itemId, velahost::Wanted::audio);
  file.playback.seek(from);
  size_t index = 0;
  while (file.playback.nextAudio()) {
    const velahost::AudioPacketRecord& packet = file.playback.audio;
    while (stream.packets.at(index).offset != packet.payload.fileOffset) ++index;
    if (packet.frames == 0) continue;
    const uint64_t start = stream.packets[index].decode * packet.sampleRate / stream.timescale;
    const Interval now{start + packet.startOffset, start + packet.startOffset + packet.frames};
    if (!intervals.empty() && intervals.back().end == now.first) {
      intervals.back().end = now.end;
    } else {
      intervals.push_back(now);
    }
  }
  return intervals;
}

class Chapters : public testing::TestWithParam<media::File> {};

TEST_P(Chapters, PlayedOneAfterTheOtherGiveTheFramesOfTheWholeRange) {
  SKIP_WITHOUT_CORPUS(GetParam());
  const golden::Stream stream = golden::read(GetParam()).audio.value();
  PlayedFile file(GetParam());
  const uint32_t count = file.splitter->getItemCount();
  ASSERT_GT(count, 1u);
  const auto marks = velahost::describe(*file.splitter.get(), 0, file.session.token).chapters;

  std::vector<Interval> joined;
  for (uint32_t index = 0; index < count; ++index) {
    SCOPED_TRACE("item " + std::to_string(index + 1));
    const std::vector<Interval> item = heard(file, stream, file.splitter->getItemId(index), 0);
    ASSERT_EQ(item.size(), 1u);
    if (joined.empty()) {
      joined = item;
    } else {
      EXPECT_EQ(item[0].first, joined[0].end) << "a frame is heard twice, or never";
      joined[0].end = item[0].end;
    }
  }
  EXPECT_EQ(joined, heard(file, stream, 0, marks.at(0).start));
}

// Chapters of the first file begin in the middle of packets.
INSTANTIATE_TEST_SUITE_P(
    Media, Chapters,
    testing::Values(media::File{media::File::Origin::own, "audiobook.m4a"},
                    media::File{media::File::Origin::corpus, "gen-aac-chapters-tags-cover.m4a"},
                    media::File{media::File::Origin::corpus, "gen-aac-300-chapters-faststart.m4b"}),
    media::caseName);

TEST(Chapters, OfTheAudioBookDoNotBeginOnPacketBorders) {
  const media::File book{media::File::Origin::own, "audiobook.m4a"};
  const golden::Stream stream = golden::read(book).audio.value();
  PlayedFile file(book);
  const auto marks = velahost::describe(*file.splitter.get(), 0, file.session.token).chapters;
  ASSERT_EQ(marks.size(), 4u);
  for (size_t i = 1; i < marks.size(); ++i) {
    const uint64_t time = golden::ticks(marks[i].start, stream.timescale);
    EXPECT_NE(stream.packets[stream.packetAt(time)].decode, time);
  }
}

}  // namespace
