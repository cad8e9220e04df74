// Chapters played one by one, and what is told about them.
#include <gtest/gtest.h>

#include <fstream>

#include "tests/gst/support/fed_decoder.h"
#include "tests/gst/support/media.h"

namespace {

using namespace pipelines;

constexpr uint32_t kRate = 48000;

/// An audio book whose chapters meet on whole frames, or between two.
std::string book(const std::string& name, const std::vector<uint32_t>& startsMs) {
  const media::ScratchFolder scratch;
  const std::string marks = (scratch / "marks.txt").string();
  std::ofstream text(marks);
  text << ";FFMETADATA1\n";
  for (size_t i = 0; i < startsMs.size(); ++i) {
    const uint32_t end = i + 1 < startsMs.size() ? startsMs[i + 1] : 20000;
    text << "[CHAPTER]\nTIMEBASE=1/1000\nSTART=" << startsMs[i] << "\nEND=" << end
         << "\ntitle=Chapter " << i + 1 << "\n";
  }
  text.close();
  const std::string rate = std::to_string(name == "whole.m4a" ? kRate : 44100);
  return media::made(name, "-f lavfi -i anoisesrc=r=" + rate + ":d=20:a=0.3:seed=9 -i " + marks +
                               " -map_chapters 1 -c:a aac -aac_pns 0 -fflags +bitexact")
      .string();
}

Sound played(const std::string& file, uint32_t item) {
  Pipeline pipeline(source(file, "velademux item=" + std::to_string(item)) + kQueue + "avdec_aac" +
                    kSoundSink + "sound");
  pipeline.setState(GST_STATE_PLAYING);
  return soundOf(pipeline.element("sound").get());
}

/// Frames that the chapters of a file leave out (or, negative, play twice) where they meet, from
/// the first to the last; every one of them is the whole's.
std::vector<int64_t> gapsBetweenItems(const std::string& file, uint32_t count) {
  const Sound whole = played(file, 0);
  std::vector<int64_t> gaps;
  uint64_t place = 0;
  for (uint32_t item = 1; item <= count; ++item) {
    const Sound chapter = played(file, item);
    EXPECT_EQ(chapter.begin(), 0u) << "an item has a time line of its own";
    const uint64_t frames = chapter.end();
    EXPECT_EQ(frames, playedFrames(readPackets(file, item)))
        << "item " << item << " by the reference host";
    // Where the chapter begins in the whole: at the end of the one before, or a frame aside.
    int64_t aside = 2;
    for (const int64_t by : {0, 1, -1}) {
      if (chapter.isPartOf(whole, static_cast<int64_t>(place) + by)) {
        aside = by;
        break;
      }
    }
    EXPECT_LT(aside, 2) << "item " << item << " is not a part of the whole";
    gaps.push_back(aside);
    place += frames + static_cast<uint64_t>(aside);
  }
  gaps.push_back(static_cast<int64_t>(whole.end() - place));
  return gaps;
}

TEST(Items, AddUpToTheWholeWhereTheyMeetOnWholeFrames) {
  const std::string file = book("whole.m4a", {0, 2500, 5123, 7777, 12345, 19000});
  EXPECT_EQ(gapsBetweenItems(file, 6), (std::vector<int64_t>{0, 0, 0, 0, 0, 0, 0}));
}

// docs/gstreamer.md names these places. Start and length are rounded to frames each by itself.
TEST(Items, LeaveOutOrPlayTwiceOneFrameWhereTheyMeetBetweenFrames) {
  const std::string file = book("between.m4a", {0, 2501, 5123, 7777, 12345, 19003});
  EXPECT_EQ(gapsBetweenItems(file, 6), (std::vector<int64_t>{0, 0, 0, 1, 0, -1, 0}));
}

TEST(Items, AreSoughtInTheirOwnTime) {
  const std::string file = book("whole.m4a", {0, 2500, 5123, 7777, 12345, 19000});
  const Sound chapter = played(file, 3);
  Pipeline pipeline(source(file, "velademux item=3") + kQueue + "avdec_aac" + kSoundSink + "sound");
  const auto sink = pipeline.element("sound");
  pipeline.setState(GST_STATE_PLAYING);
  ASSERT_TRUE(pull(sink.get()));
  EXPECT_EQ(pipeline.query(gst_element_query_duration), 2654000000);
  constexpr auto kAccurate =
      static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);
  for (const int64_t ms : {1000, 0, 2600, 10, 1777}) {
    ASSERT_TRUE(pipeline.seek(1, kAccurate, ms * GST_MSECOND));
    const Sound heard = someSound(sink.get(), 1500);
    EXPECT_EQ(heard.begin(), static_cast<uint64_t>(ms * kRate / 1000));
    EXPECT_TRUE(heard.isPartOf(chapter)) << ms;
  }
}

TEST(Items, KeepTheirLastFrameAfterASeekThatLeavesTheEnd) {
  // The chapter begins and ends half-way between frames.
  const std::string file = book("halfway.m4a", {0, 1035, 5080});
  const Sound chapter = played(file, 2);
  Pipeline pipeline(source(file, "velademux item=2") + kQueue + "avdec_aac" + kSoundSink + "sound");
  const auto sink = pipeline.element("sound");
  pipeline.setState(GST_STATE_PAUSED);
  ASSERT_TRUE(pipeline.waitForState());
  constexpr auto kAccurate =
      static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);
  ASSERT_TRUE(pipeline.seek(1, kAccurate, 0));
  pipeline.setState(GST_STATE_PLAYING);
  const Sound again = soundOf(sink.get());
  EXPECT_EQ(again.begin(), chapter.begin());
  EXPECT_EQ(again.end(), chapter.end());
  EXPECT_EQ(again.end(), playedFrames(readPackets(file, 2)));
}

TEST(Items, ThatAreNotThereAreAnError) {
  const std::string file = book("whole.m4a", {0, 2500, 5123, 7777, 12345, 19000});
  Pipeline pipeline(source(file, "velademux item=7") + kQueue + "fakesink");
  pipeline.setState(GST_STATE_PLAYING);
  EXPECT_EQ(pipeline.waitForEnd().text, "There is no item 7; the last one is 6.");
}

}  // namespace
