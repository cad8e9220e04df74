// State changes and seeks at random moments from several threads, and sources that take their time:
// nothing waits, nothing hangs.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <random>
#include <thread>

#include "tests/gst/support/media.h"
#include "tests/gst/support/pipeline.h"
#include "tests/gst/support/player.h"

namespace {

using namespace pipelines;
using std::chrono::milliseconds;
using Clock = std::chrono::steady_clock;

constexpr milliseconds kLimit(2000);

/// Runs a step and notes how long the longest one took.
class Stopwatch {
 public:
  template <class Step>
  void time(Step step) {
    const auto begin = Clock::now();
    step();
    longest_ = std::max(longest_, std::chrono::duration_cast<milliseconds>(Clock::now() - begin));
  }
  milliseconds longest() const { return longest_; }

 private:
  milliseconds longest_{0};
};

void sleepUpTo(std::mt19937& random, unsigned microseconds) {
  std::this_thread::sleep_for(std::chrono::microseconds(random() % microseconds));
}

TEST(Stress, StateChangesAndSeeksAtRandomMomentsEndInTime) {
  constexpr int kStateChanges = 1000;
  constexpr int kSeeks = 500;
  Player player;
  Pipeline& pipeline = player.pipeline;
  std::atomic<bool> done{false};
  std::atomic<int> seeks{0};
  Stopwatch seeking;
  std::thread seeker([&] {
    std::mt19937 random(31);
    const auto flags = [&] {
      const auto kind = random() % 3;
      return static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | (kind == 0   ? GST_SEEK_FLAG_ACCURATE
                                                              : kind == 1 ? GST_SEEK_FLAG_KEY_UNIT
                                                                          : GST_SEEK_FLAG_NONE));
    };
    while (!done || seeks < kSeeks) {
      const auto start = static_cast<gint64>(random() % 3500) * 1000000;
      seeking.time([&] {
        GstEvent* const event = gst_event_new_seek(1, GST_FORMAT_TIME, flags(), GST_SEEK_TYPE_SET,
                                                   start, GST_SEEK_TYPE_NONE, -1);
        // Counted when the element was there to follow it.
        if (gst_element_send_event(player.demuxer.get(), event)) ++seeks;
      });
      sleepUpTo(random, 2000);
    }
  });
  std::mt19937 random(32);
  Stopwatch changing;
  const GstState states[] = {GST_STATE_NULL, GST_STATE_READY, GST_STATE_PAUSED, GST_STATE_PLAYING};
  for (int i = 0; i < kStateChanges || seeks < kSeeks; ++i) {
    changing.time([&] { pipeline.setState(states[i < kStateChanges ? random() % 4 : 3]); });
    sleepUpTo(random, 4000);
  }
  done = true;
  seeker.join();
  changing.time([&] { pipeline.setState(GST_STATE_NULL); });
  std::printf("longest state change %lld ms, longest of %d seeks %lld ms\n",
              static_cast<long long>(changing.longest().count()), seeks.load(),
              static_cast<long long>(seeking.longest().count()));
  EXPECT_LT(changing.longest(), kLimit);
  EXPECT_LT(seeking.longest(), kLimit);
}

TEST(Stress, SeeksWhilePlayingLeadToTheEnd) {
  Player player;
  Pipeline& pipeline = player.pipeline;
  pipeline.setState(GST_STATE_PAUSED);
  ASSERT_TRUE(pipeline.waitForState());
  pipeline.setState(GST_STATE_PLAYING);
  std::mt19937 random(33);
  for (int i = 0; i < 100; ++i) {
    const auto flags = i % 2 ? GST_SEEK_FLAG_ACCURATE : GST_SEEK_FLAG_KEY_UNIT;
    pipeline.seek(1, static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | flags),
                  static_cast<int64_t>(random() % 3000) * 1000000);
    sleepUpTo(random, 3000);
  }
  // Ends of stream that were posted before the last seek may be waiting.
  pipeline.setState(GST_STATE_PAUSED);
  ASSERT_TRUE(pipeline.waitForState());
  EXPECT_EQ(pipeline.waitForEnd().kind, Outcome::Kind::eos);
}

TEST(Stress, CapsAreAnsweredWhileAnotherThreadClosesThePad) {
  constexpr int kRounds = 50000;
  Pipeline pipeline(source(media::File{"mp3-only.mp4"}.path().string()) +
                    " d.audio_0 ! fakesink sync=false");
  const auto demuxer = pipeline.element("d");
  pipeline.setState(GST_STATE_PLAYING);
  ASSERT_EQ(pipeline.waitForEnd().kind, Outcome::Kind::eos);
  // From now on nobody but this test pushes anything.
  const Owned<GstPad> pad(gst_element_get_static_pad(demuxer.get(), "audio_0"));
  const Owned<GstPad> peer(gst_pad_get_peer(pad.get()));
  ASSERT_TRUE(gst_pad_unlink(pad.get(), peer.get()));
  GstCaps* const stream = gst_pad_get_current_caps(pad.get());
  GstCaps* const model = gst_pad_get_pad_template_caps(pad.get());

  std::atomic<bool> done{false};
  int unknown = 0;
  std::thread asker([&] {
    while (!done) {
      GstCaps* const caps = gst_pad_query_caps(pad.get(), nullptr);
      unknown += !gst_caps_is_equal(caps, stream) && !gst_caps_is_equal(caps, model);
      gst_caps_unref(caps);
    }
  });
  for (int i = 0; i < kRounds; ++i) {
    gst_pad_set_active(pad.get(), FALSE);
    gst_pad_set_active(pad.get(), TRUE);
    gst_pad_push_event(pad.get(), gst_event_new_stream_start("stream"));
    GstCaps* const caps = gst_caps_copy(stream);
    gst_pad_push_event(pad.get(), gst_event_new_caps(caps));
    gst_caps_unref(caps);
  }
  done = true;
  asker.join();
  EXPECT_EQ(unknown, 0);
  gst_caps_unref(model);
  gst_caps_unref(stream);
}

/// A source pad that reads a file in memory, and takes its time, whatever is flushed.
class SlowSource {
 public:
  /// @param mostBytes  of each read
  SlowSource(const std::string& file, milliseconds delay, size_t mostBytes = SIZE_MAX)
      : delay_(delay), mostBytes_(mostBytes) {
    std::ifstream in(file, std::ios::binary);
    bytes_.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    pad_ = gst_pad_new("src", GST_PAD_SRC);
    gst_object_ref_sink(pad_);
    gst_pad_set_element_private(pad_, this);
    gst_pad_set_getrange_function(pad_, read);
    gst_pad_set_query_function(pad_, answer);
    gst_pad_set_activatemode_function(
        pad_, [](GstPad*, GstObject*, GstPadMode, gboolean) -> gboolean { return TRUE; });
  }
  ~SlowSource() {
    gst_pad_set_active(pad_, FALSE);
    gst_object_unref(pad_);
  }

  GstPad* pad() const { return pad_; }
  int reads() const { return reads_; }
  void setDelay(milliseconds delay) { delay_ = delay; }
  void failFromNowOn() { fails_ = true; }

 private:
  static SlowSource& self(GstPad* pad) {
    return *static_cast<SlowSource*>(gst_pad_get_element_private(pad));
  }
  static GstFlowReturn read(GstPad* pad, GstObject*, guint64 offset, guint length,
                            GstBuffer** buffer) {
    SlowSource& source = self(pad);
    ++source.reads_;
    std::this_thread::sleep_for(source.delay_.load());
    if (source.fails_) return GST_FLOW_ERROR;
    if (offset >= source.bytes_.size()) return GST_FLOW_EOS;
    const size_t left = source.bytes_.size() - offset;
    const size_t count = std::min({size_t{length}, left, source.mostBytes_});
    *buffer = gst_buffer_new_memdup(&source.bytes_[offset], count);
    return GST_FLOW_OK;
  }
  static gboolean answer(GstPad* pad, GstObject* parent, GstQuery* query) {
    if (GST_QUERY_TYPE(query) == GST_QUERY_SCHEDULING) {
      gst_query_set_scheduling(query, GST_SCHEDULING_FLAG_SEEKABLE, 1, -1, 0);
      gst_query_add_scheduling_mode(query, GST_PAD_MODE_PULL);
      return TRUE;
    }
    if (GST_QUERY_TYPE(query) == GST_QUERY_DURATION) {
      gst_query_set_duration(query, GST_FORMAT_BYTES, static_cast<gint64>(self(pad).bytes_.size()));
      return TRUE;
    }
    return gst_pad_query_default(pad, parent, query);
  }

  std::atomic<milliseconds> delay_;
  const size_t mostBytes_;
  std::atomic<bool> fails_{false};
  std::atomic<int> reads_{0};
  std::string bytes_;
  GstPad* pad_;
};

/// A pipeline that plays such a source through the element.
class SourcePlayer {
 public:
  explicit SourcePlayer(SlowSource& source)
      : pipeline(std::string("velademux name=d") + kQueue + "fakesink"), source_(source) {
    const auto demuxer = pipeline.element("d");
    sink_.reset(gst_element_get_static_pad(demuxer.get(), "sink"));
    EXPECT_EQ(gst_pad_link_full(source.pad(), sink_.get(), GST_PAD_LINK_CHECK_NOTHING),
              GST_PAD_LINK_OK);
  }
  SourcePlayer(const SourcePlayer&) = delete;
  SourcePlayer& operator=(const SourcePlayer&) = delete;
  ~SourcePlayer() {
    pipeline.setState(GST_STATE_NULL);
    gst_pad_unlink(source_.pad(), sink_.get());
  }

  Pipeline pipeline;

 private:
  SlowSource& source_;
  Owned<GstPad> sink_;
};

bool waitUntil(const std::function<bool()>& condition) {
  for (int i = 0; i < 10000; ++i) {
    if (condition()) return true;
    std::this_thread::sleep_for(milliseconds(1));
  }
  return false;
}

TEST(SlowSources, KeepNoStateChangeWaitingForMoreThanTheReadUnderWay) {
  // Opening takes several reads, each a quarter of a second.
  constexpr milliseconds kDelay(250);
  SlowSource slow(media::File{"audiobook.m4a"}.path().string(), kDelay);
  SourcePlayer player(slow);
  Pipeline& pipeline = player.pipeline;
  for (int round = 0; round < 3; ++round) {
    const int before = slow.reads();
    pipeline.setState(GST_STATE_PAUSED);
    ASSERT_TRUE(waitUntil([&] { return slow.reads() > before; }));
    Stopwatch closing;
    closing.time([&] { pipeline.setState(GST_STATE_NULL); });
    EXPECT_LT(closing.longest(), kDelay + milliseconds(500));
    EXPECT_EQ(slow.reads(), before + 1) << "the read under way was the last one";
  }
}

/// More than the plug-in and the queues hold.
std::string minuteOfSound() {
  return media::made("minute.m4a", "-f lavfi -i \"sine=440:r=44100:d=60\" -c:a aac -b:a 128k")
      .string();
}

TEST(SlowSources, KeepNoFlushingSeekWaitingForMoreThanTheReadUnderWay) {
  // A block of the plug-in's cache is 16 reads, which take 0.8 s where nobody ends them.
  constexpr milliseconds kDelay(50);
  SlowSource slow(minuteOfSound(), milliseconds(0), 1024);
  SourcePlayer player(slow);
  Pipeline& pipeline = player.pipeline;
  pipeline.setState(GST_STATE_PAUSED);
  ASSERT_TRUE(pipeline.waitForState());
  slow.setDelay(kDelay);
  const auto seek = [&](int64_t seconds) {
    const auto flags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);
    EXPECT_TRUE(pipeline.seek(1, flags, seconds * 1000000000));
  };
  seek(20);
  for (const int64_t seconds : {40, 10, 50}) {
    const int begun = slow.reads();
    ASSERT_TRUE(waitUntil([&] { return slow.reads() >= begun + 2; })) << "a block is being read";
    const int before = slow.reads();
    Stopwatch seeking;
    seeking.time([&] { seek(seconds); });
    EXPECT_LE(slow.reads(), before + 2) << "one that began meanwhile, and the first of the seek";
    EXPECT_LT(seeking.longest(), milliseconds(500));
  }
  slow.setDelay(milliseconds(0));
  EXPECT_TRUE(pipeline.waitForState());
}

TEST(FailingSources, AreAnErrorThatSaysSo) {
  SlowSource source(minuteOfSound(), milliseconds(0));
  SourcePlayer player(source);
  Pipeline& pipeline = player.pipeline;
  pipeline.setState(GST_STATE_PAUSED);
  ASSERT_TRUE(pipeline.waitForState());
  source.failFromNowOn();
  pipeline.setState(GST_STATE_PLAYING);
  const Outcome outcome = pipeline.waitForEnd();
  EXPECT_EQ(outcome.kind, Outcome::Kind::error);
  EXPECT_EQ(outcome.text, "The source could not be read.");
}

}  // namespace
