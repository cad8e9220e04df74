// Properties of trimming: wherever a host seeks, and however a file is cut into chapters, exactly
// the frames of the range are played. Compared with a plain model of the tables.
#include <algorithm>
#include <random>

#include "tests/frontend/open_session.h"

using namespace boxes;
using vela::TIOResult;

namespace {

/// Runs of unlike durations, so that times can't be found by one division.
const std::vector<std::pair<uint32_t, uint32_t>> kAudioRuns = {{40, 1024}, {1, 512},  {30, 1024},
                                                               {25, 960},  {7, 2048}, {60, 1024}};
const std::vector<std::pair<uint32_t, uint32_t>> kVideoRuns = {
    {30, 1001}, {10, 2002}, {20, 500}, {180, 1001}};
const std::vector<uint32_t> kSyncSamples = {0, 7, 8, 20, 33, 60, 61, 90, 150, 199};

/// Start of every sample in ticks, and the end of the last one.
std::vector<uint64_t> startsOf(const std::vector<std::pair<uint32_t, uint32_t>>& runs) {
  std::vector<uint64_t> starts = {0};
  for (const auto& [count, delta] : runs) {
    for (uint32_t i = 0; i < count; ++i) starts.push_back(starts.back() + delta);
  }
  return starts;
}

uint32_t sampleAt(const std::vector<uint64_t>& starts, uint64_t time) {
  const auto after = std::upper_bound(starts.begin(), starts.end(), time);
  return static_cast<uint32_t>(after - starts.begin() - 1);
}

/// The sync sample for a seek to `sample`: one that begins with the next sample counts as reached.
uint32_t syncFor(uint32_t sample) {
  const auto after = std::upper_bound(kSyncSamples.begin(), kSyncSamples.end(), sample + 1);
  return after == kSyncSamples.begin() ? kSyncSamples.front() : *(after - 1);
}

MediaTrack audioTrack(uint32_t rate) {
  MediaTrack track = aacTrack(
      {.samples = static_cast<uint32_t>(startsOf(kAudioRuns).size() - 1), .timescale = rate});
  track.boxes.stts = stts(kAudioRuns);
  track.boxes.duration = startsOf(kAudioRuns).back();
  return track;
}

MediaTrack videoTrack() {
  MediaTrack track = avcTrack(
      {.samples = static_cast<uint32_t>(startsOf(kVideoRuns).size() - 1), .timescale = 30000});
  track.boxes.stts = stts(kVideoRuns);
  track.boxes.duration = startsOf(kVideoRuns).back();
  std::vector<uint32_t> oneBased;
  for (const uint32_t sample : kSyncSamples) oneBased.push_back(sample + 1);
  track.boxes.stss = stss(oneBased);
  return track;
}

/// Frames of the file that were played, as positions in the track: [first, end).
struct Span {
  uint64_t first;
  uint64_t end;
  bool operator==(const Span&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Span& span) {
  return out << "[" << span.first << ", " << span.end << ")";
}

/// The span that the packets play together; reports a gap, an overlap or an out-of-order packet.
Span playedSpan(const std::vector<Heard>& heard, const std::vector<uint64_t>& starts,
                uint64_t expectedFirst) {
  Span span{expectedFirst, expectedFirst};
  for (const Heard& packet : heard) {
    if (packet.frames == 0) continue;
    EXPECT_EQ(starts[packet.sample] + packet.startOffset, span.end) << packet;
    span.end += packet.frames;
    EXPECT_LE(span.end, starts[packet.sample + 1]) << packet;
  }
  return span;
}

class SeekPoints : public ::testing::TestWithParam<uint32_t> {};

}  // namespace

TEST_P(SeekPoints, Give200TimesTheExactFramesAndTheRightSyncSample) {
  const uint32_t rate = GetParam();
  const std::vector<uint64_t> audioStarts = startsOf(kAudioRuns);
  const std::vector<uint64_t> videoStarts = startsOf(kVideoRuns);
  const BuiltMovie file = movieFile({.tracks = {audioTrack(rate), videoTrack()}});
  OpenSession open(file.bytes, ReadPath::throughCache);
  ASSERT_EQ(open.startBoth(), TIOResult::success);
  const uint64_t rangeEnd = vela::ticksToHostUnits(audioStarts.back(), rate);
  const uint64_t videoEnd = vela::ticksToHostUnits(videoStarts.back(), 30000);
  ASSERT_GT(videoEnd, rangeEnd) << "every seek point lies in the video too";

  std::mt19937_64 random(20240611);
  for (int i = 0; i < 200; ++i) {
    const uint64_t target = random() % rangeEnd;
    SCOPED_TRACE("target " + std::to_string(target));
    ASSERT_EQ(open.seek(target), TIOResult::success);

    // Audio: from the target's frame to the end of the range, nothing else.
    const uint64_t first = vela::hostUnitsToTicks(target, rate);
    const uint64_t left = vela::hostUnitsToTicks(rangeEnd - target, rate);
    const std::vector<Heard> heard = playAudio(open);
    const uint64_t end = std::min(first + left, audioStarts.back());
    if (first < audioStarts.back()) {
      EXPECT_EQ(playedSpan(heard, audioStarts, first), (Span{first, end}));
      EXPECT_GE(end + 1, audioStarts.back()) << "rounding costs a frame at most";
    }
    // Whole packets of pre-roll before it.
    const uint32_t sample = sampleAt(audioStarts, first);
    const uint32_t preroll = std::min(sample, 10u);
    ASSERT_GT(heard.size(), preroll);
    for (uint32_t k = 0; k < preroll; ++k) {
      EXPECT_EQ(heard[k], (Heard{sample - preroll + k, 0, 0}));
    }

    // Video: from the sync sample on, in order, up to the range's end.
    const uint32_t sync = syncFor(sampleAt(videoStarts, vela::hostUnitsToTicks(target, 30000)));
    const std::vector<Seen> seen = playVideo(open);
    uint32_t next = sync;
    for (const Seen& picture : seen) {
      EXPECT_EQ(picture, (Seen{next, vela::ticksToHostUnits(videoStarts[next], 30000)}));
      ++next;
    }
    EXPECT_GE(vela::ticksToHostUnits(videoStarts[next], 30000), rangeEnd);
    if (HasFailure()) break;
  }
}

INSTANTIATE_TEST_SUITE_P(SampleRates, SeekPoints, ::testing::Values(48000u, 44100u, 22050u, 32000u),
                         [](const auto& rate) { return std::to_string(rate.param); });

TEST(ChapterPlayback, OneAfterTheOtherGivesTheFramesOfTheWhole) {
  // Chapter starts on whole frames, none of them on a packet border.
  const std::vector<uint64_t> starts = startsOf(kAudioRuns);
  const std::vector<uint64_t> chapterFrames = {0, 3, 5001, 5004, 17400, 60000, 99999};
  std::vector<Mark> marks;
  for (const uint64_t frame : chapterFrames) {
    marks.push_back({hundredNsAt48k(frame), "Chapter"});
  }
  for (size_t i = 1; i < chapterFrames.size(); ++i) {
    EXPECT_EQ(std::count(starts.begin(), starts.end(), chapterFrames[i]), 0);
  }
  OpenSession open(movieFile({.tracks = {audioTrack(48000)}, .udta = chpl(marks)}).bytes,
                   ReadPath::throughCache);
  ASSERT_EQ(open.session.getItemCount(), chapterFrames.size());

  for (uint32_t i = 0; i < chapterFrames.size(); ++i) {
    SCOPED_TRACE("chapter " + std::to_string(i));
    ASSERT_EQ(open.startAudio(open.session.getItemId(i)), TIOResult::success);
    const uint64_t end = i + 1 < chapterFrames.size() ? chapterFrames[i + 1] : starts.back();
    EXPECT_EQ(playedSpan(playAudio(open), starts, chapterFrames[i]), (Span{chapterFrames[i], end}));
  }
  ASSERT_EQ(open.startAudio(0), TIOResult::success);
  EXPECT_EQ(playedSpan(playAudio(open), starts, 0), (Span{0, starts.back()}));
}

TEST(ChapterPlayback, OnWholeFramesIsExactAtRatesWhereAFrameIsNoWholeNumberOfUnits) {
  const std::vector<uint64_t> starts = startsOf(kAudioRuns);
  std::mt19937_64 random(7);
  for (const uint32_t rate : {44100u, 22050u, 11025u}) {
    std::vector<uint64_t> chapterFrames = {0};
    while (chapterFrames.size() < 60) chapterFrames.push_back(random() % starts.back());
    std::sort(chapterFrames.begin(), chapterFrames.end());
    chapterFrames.erase(std::unique(chapterFrames.begin(), chapterFrames.end()),
                        chapterFrames.end());
    std::vector<Mark> marks;
    for (const uint64_t frame : chapterFrames) {
      marks.push_back({(frame * 10000000 + rate / 2) / rate, "Chapter"});
    }
    OpenSession open(movieFile({.tracks = {audioTrack(rate)}, .udta = chpl(marks)}).bytes,
                     ReadPath::throughCache);
    for (uint32_t i = 0; i < chapterFrames.size(); ++i) {
      SCOPED_TRACE("rate " + std::to_string(rate) + " chapter " + std::to_string(i));
      ASSERT_EQ(open.startAudio(i + 1), TIOResult::success);
      const uint64_t end = i + 1 < chapterFrames.size() ? chapterFrames[i + 1] : starts.back();
      EXPECT_EQ(playedSpan(playAudio(open), starts, chapterFrames[i]),
                (Span{chapterFrames[i], end}));
    }
  }
}

TEST(Deliberate, D046_ChapterBoundsBetweenTwoFramesMayLeaveOutOrRepeatOne) {
  // Bounds and length are rounded each by itself: [0.4, 0.8) of a frame is 0 frames long and begins
  // at frame 0, but the next chapter begins at frame 1.
  const uint64_t frames04 = 83;   // 100 ns: 0.3984 frames at 48 kHz
  const uint64_t frames08 = 167;  // 0.8016 frames
  OpenSession open(
      movieFile({.tracks = {audioTrack(48000)}, .udta = chpl({{frames04, "a"}, {frames08, "b"}})})
          .bytes);
  ASSERT_EQ(open.startAudio(1), TIOResult::success);
  EXPECT_EQ(playAudio(open), std::vector<Heard>{});
  ASSERT_EQ(open.startAudio(2), TIOResult::success);
  EXPECT_EQ(playAudio(open, 1), (std::vector<Heard>{{0, 1023, 1}}));
}
