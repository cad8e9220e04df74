// Seeks out of the thread that pushes the packets: from "pad-added", from a probe at the end of a
// stream, from inside another seek. Whoever sends one gets an answer, and playing goes on.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "tests/gst/support/media.h"
#include "tests/gst/support/player.h"

namespace {

using namespace pipelines;
using std::chrono::milliseconds;

constexpr auto kAccurate = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);
constexpr uint64_t kSecond = GST_SECOND;

/// Goes to the pad itself: an element that is asked waits for the end of its state change first.
bool seekTo(GstElement* demuxer, const char* name, uint64_t ns, GstSeekFlags flags = kAccurate) {
  const Owned<GstPad> pad(gst_element_get_static_pad(demuxer, name));
  return gst_pad_send_event(pad.get(),
                            gst_event_new_seek(1, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET,
                                               static_cast<gint64>(ns), GST_SEEK_TYPE_NONE, -1)) !=
         FALSE;
}

/// Runs a step that must end. Threads that wait for each other can't be helped, so the program ends
/// where they do.
void inTime(const char* what, const std::function<void()>& step) {
  std::future<void> done = std::async(std::launch::async, step);
  if (done.wait_for(std::chrono::seconds(10)) == std::future_status::ready) return done.get();
  std::printf("%s: no end in time\n", what);
  std::fflush(stdout);
  std::_Exit(1);
}

/// What leaves through a pad.
class Watch {
 public:
  using Action = std::function<GstPadProbeReturn(GstEvent*)>;

  /// @param onEvent  called for each event, in the thread that pushes it
  Watch(GstElement* demuxer, const char* pad, Action onEvent)
      : pad_(pad), onEvent_(std::move(onEvent)) {
    g_signal_connect(demuxer, "pad-added", G_CALLBACK(attach), this);
  }

  std::vector<GstSegment> segments() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return segments_;
  }
  std::vector<uint64_t> segmentStarts() const {
    std::vector<uint64_t> starts;
    for (const GstSegment& segment : segments()) starts.push_back(segment.start);
    return starts;
  }
  int flushes() const { return flushes_; }
  int buffers() const { return buffers_; }

 private:
  static void attach(GstElement*, GstPad* pad, gpointer self) {
    auto* const watch = static_cast<Watch*>(self);
    if (watch->pad_ != GST_PAD_NAME(pad)) return;
    const auto kinds =
        static_cast<GstPadProbeType>(GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM |
                                     GST_PAD_PROBE_TYPE_EVENT_FLUSH | GST_PAD_PROBE_TYPE_BUFFER);
    gst_pad_add_probe(pad, kinds, see, watch, nullptr);
  }
  static GstPadProbeReturn see(GstPad*, GstPadProbeInfo* info, gpointer self) {
    auto* const watch = static_cast<Watch*>(self);
    if (GST_PAD_PROBE_INFO_TYPE(info) & GST_PAD_PROBE_TYPE_BUFFER) {
      ++watch->buffers_;
      return GST_PAD_PROBE_OK;
    }
    GstEvent* const event = GST_PAD_PROBE_INFO_EVENT(info);
    if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP) ++watch->flushes_;
    if (GST_EVENT_TYPE(event) == GST_EVENT_SEGMENT) {
      const GstSegment* segment = nullptr;
      gst_event_parse_segment(event, &segment);
      const std::lock_guard<std::mutex> lock(watch->mutex_);
      watch->segments_.push_back(*segment);
    }
    return watch->onEvent_ ? watch->onEvent_(event) : GST_PAD_PROBE_OK;
  }

  std::string pad_;
  Action onEvent_;
  mutable std::mutex mutex_;
  std::vector<GstSegment> segments_;
  std::atomic<int> flushes_{0};
  std::atomic<int> buffers_{0};
};

void waitFor(const std::function<bool()>& condition) {
  while (!condition()) std::this_thread::sleep_for(milliseconds(1));
}

/// A flush while the framework changes the pipeline's state may leave a sink in the old one,
/// whoever flushes; so a thread that is about to seek lets the change end.
void waitForPlaying(const Pipeline& pipeline) {
  waitFor([&] {
    return GST_STATE(pipeline.get()) == GST_STATE_PLAYING &&
           GST_STATE_PENDING(pipeline.get()) == GST_STATE_VOID_PENDING;
  });
}

TEST(SeeksOfTheStreamingThread, FromPadAddedBesideOneOfAnotherThreadEndInTime) {
  inTime("two seeks while pads are added", [] {
    Player player;
    GstElement* const demuxer = player.demuxer.get();
    std::atomic<bool> otherIsInside{false};
    std::thread other;
    bool ownAnswer = false;
    bool otherAnswer = false;
    Watch sound(demuxer, "audio_0", nullptr);
    Watch video(demuxer, "video_0", [&](GstEvent* event) {
      if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_START) otherIsInside = true;
      return GST_PAD_PROBE_OK;
    });
    // The other thread comes in through the first pad, which refuses seeks from then on; the second
    // pad, which is not there yet, doesn't.
    const std::function<void(const std::string&)> onPad = [&](const std::string& pad) {
      if (pad == "video_0") {
        other = std::thread([&] { otherAnswer = seekTo(demuxer, "video_0", kSecond); });
        waitFor([&] { return otherIsInside.load(); });
        // Long enough for the other one to wait for this thread.
        std::this_thread::sleep_for(milliseconds(100));
      } else {
        ownAnswer = seekTo(demuxer, "audio_0", 2 * kSecond);
      }
    };
    g_signal_connect(demuxer, "pad-added",
                     G_CALLBACK(+[](GstElement*, GstPad* pad, gpointer action) {
                       (*static_cast<decltype(onPad)*>(action))(GST_PAD_NAME(pad));
                     }),
                     const_cast<std::function<void(const std::string&)>*>(&onPad));
    player.pipeline.setState(GST_STATE_PLAYING);
    EXPECT_EQ(player.pipeline.waitForEnd().kind, Outcome::Kind::eos);
    other.join();
    EXPECT_TRUE(ownAnswer);
    EXPECT_TRUE(otherAnswer);
    EXPECT_EQ(video.flushes(), 2);
    ASSERT_FALSE(sound.segmentStarts().empty());
    EXPECT_EQ(sound.segmentStarts().back(), 2 * kSecond);
    player.pipeline.setState(GST_STATE_NULL);
  });
}

TEST(SeeksOfTheStreamingThread, FromPadAddedWhileTheElementStopsEndInTime) {
  inTime("a stop while pads are added", [] {
    Player player;
    GstElement* const demuxer = player.demuxer.get();
    std::atomic<bool> inside{false};
    struct Seeker {
      std::atomic<bool>& inside;
      GstElement* demuxer;
    } seeker{inside, demuxer};
    g_signal_connect(demuxer, "pad-added", G_CALLBACK(+[](GstElement*, GstPad* pad, gpointer data) {
                       auto* const self = static_cast<Seeker*>(data);
                       self->inside = true;
                       std::this_thread::sleep_for(milliseconds(50));
                       seekTo(self->demuxer, GST_PAD_NAME(pad), kSecond);
                     }),
                     &seeker);
    for (int i = 0; i < 5; ++i) {
      inside = false;
      player.pipeline.setState(GST_STATE_PAUSED);
      waitFor([&] { return inside.load(); });
      player.pipeline.setState(GST_STATE_NULL);
    }
  });
}

TEST(SeeksOfTheStreamingThread, AtTheEndOfAStreamPlayBothStreamsAgain) {
  inTime("a loop from a probe", [] {
    Player player;
    GstElement* const demuxer = player.demuxer.get();
    int rounds = 0;
    int endsOfVideo = 0;
    // The stream that ends last starts anew, twice.
    Watch video(demuxer, "video_0", [&](GstEvent* event) {
      if (GST_EVENT_TYPE(event) == GST_EVENT_EOS) ++endsOfVideo;
      return GST_PAD_PROBE_OK;
    });
    Watch sound(demuxer, "audio_0", [&](GstEvent* event) {
      if (GST_EVENT_TYPE(event) != GST_EVENT_EOS || rounds == 2) return GST_PAD_PROBE_OK;
      ++rounds;
      waitForPlaying(player.pipeline);
      EXPECT_TRUE(seekTo(demuxer, "video_0", kSecond));
      return GST_PAD_PROBE_DROP;
    });
    player.pipeline.setState(GST_STATE_PLAYING);
    EXPECT_EQ(player.pipeline.waitForEnd().kind, Outcome::Kind::eos);
    EXPECT_EQ(rounds, 2);
    EXPECT_EQ(endsOfVideo, 3);
    EXPECT_EQ(sound.segmentStarts(), (std::vector<uint64_t>{0, kSecond, kSecond}));
    EXPECT_EQ(video.segmentStarts().size(), 3u);
    player.pipeline.setState(GST_STATE_NULL);
  });
}

TEST(Seeks, ThatReachTheElementThroughTwoSinksAreFollowedOnce) {
  Player player;
  Watch video(player.demuxer.get(), "video_0", nullptr);
  Watch sound(player.demuxer.get(), "audio_0", nullptr);
  player.pipeline.setState(GST_STATE_PAUSED);
  ASSERT_TRUE(player.pipeline.waitForState());
  for (int i = 1; i <= 3; ++i) {
    ASSERT_TRUE(player.pipeline.seek(1, kAccurate, i * 500 * 1000000));
    ASSERT_TRUE(player.pipeline.waitForState());
    EXPECT_EQ(video.flushes(), i);
    EXPECT_EQ(sound.flushes(), i);
  }
  player.pipeline.setState(GST_STATE_NULL);
}

TEST(Seeks, FromInsideTheFlushOfAnotherOneAreRefused) {
  inTime("a seek inside a seek", [] {
    Player player;
    GstElement* const demuxer = player.demuxer.get();
    int refused = 0;
    Watch video(demuxer, "video_0", [&](GstEvent* event) {
      const bool flush = GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_START ||
                         GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP;
      if (flush && !seekTo(demuxer, "video_0", 2 * kSecond)) ++refused;
      return GST_PAD_PROBE_OK;
    });
    Watch sound(demuxer, "audio_0", nullptr);
    player.pipeline.setState(GST_STATE_PAUSED);
    ASSERT_TRUE(player.pipeline.waitForState());
    EXPECT_TRUE(seekTo(demuxer, "video_0", kSecond));
    EXPECT_EQ(refused, 2);
    ASSERT_TRUE(player.pipeline.waitForState());
    EXPECT_EQ(sound.segmentStarts().back(), kSecond);
    player.pipeline.setState(GST_STATE_PLAYING);
    EXPECT_EQ(player.pipeline.waitForEnd().kind, Outcome::Kind::eos);
  });
}

/// An audio book before a queue of five packets that nobody empties while the pipeline is paused.
class ShortQueue {
 public:
  ShortQueue()
      : pipeline(source(media::File{"audiobook.m4a"}.path().string()) +
                 " ! queue name=queue max-size-buffers=5 ! fakesink sync=false"),
        demuxer(pipeline.element("d")),
        queue(pipeline.element("queue")) {}

  void pauseWithFullQueue() {
    pipeline.setState(GST_STATE_PAUSED);
    EXPECT_TRUE(pipeline.waitForState());
    waitUntilFull();
  }
  void playToItsEnd() {
    pipeline.setState(GST_STATE_PLAYING);
    EXPECT_EQ(pipeline.waitForEnd().kind, Outcome::Kind::eos);
  }
  void waitUntilFull() const {
    waitFor([&] {
      guint packets = 0;
      g_object_get(queue.get(), "current-level-buffers", &packets, nullptr);
      return packets == 5;
    });
  }

  Pipeline pipeline;
  Owned<GstElement> demuxer;
  Owned<GstElement> queue;
};

constexpr auto kNoFlush = GST_SEEK_FLAG_ACCURATE;
// Long enough for a thread to come to where it waits for another one.
constexpr milliseconds kArrived(100);

TEST(Seeks, WithAFlushSetOneFreeThatWaitsForAFullQueue) {
  inTime("a seek behind one that waits", [] {
    ShortQueue book;
    Watch sound(book.demuxer.get(), "audio_0", nullptr);
    book.pauseWithFullQueue();
    bool firstAnswer = false;
    std::thread first(
        [&] { firstAnswer = seekTo(book.demuxer.get(), "audio_0", kSecond, kNoFlush); });
    std::this_thread::sleep_for(kArrived);
    EXPECT_TRUE(seekTo(book.demuxer.get(), "audio_0", 2 * kSecond));
    first.join();
    EXPECT_TRUE(firstAnswer);
    ASSERT_TRUE(book.pipeline.waitForState());
    book.playToItsEnd();
    EXPECT_EQ(sound.segmentStarts().back(), 2 * kSecond);
  });
}

/// Calls an action once, out of the thread that pushes the first packet through a pad from now on.
class OnFirstPacket {
 public:
  explicit OnFirstPacket(std::function<void()> action) : action_(std::move(action)) {}
  OnFirstPacket(const OnFirstPacket&) = delete;
  OnFirstPacket& operator=(const OnFirstPacket&) = delete;

  void of(GstElement* element, const char* name) {
    const Owned<GstPad> pad(gst_element_get_static_pad(element, name));
    attach(pad.get());
  }
  void ofSound(GstElement* demuxer) {
    g_signal_connect(demuxer, "pad-added", G_CALLBACK(attachToSound), this);
  }

 private:
  static void attachToSound(GstElement*, GstPad* pad, gpointer self) {
    if (std::string("audio_0") == GST_PAD_NAME(pad)) static_cast<OnFirstPacket*>(self)->attach(pad);
  }
  void attach(GstPad* pad) {
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_BUFFER, call, this, nullptr);
  }
  static GstPadProbeReturn call(GstPad*, GstPadProbeInfo*, gpointer self) {
    static_cast<OnFirstPacket*>(self)->action_();
    return GST_PAD_PROBE_REMOVE;
  }

  std::function<void()> action_;
};

TEST(Seeks, OfTheThreadThatEmptiesTheQueueSetOneFreeThatWaitsForIt) {
  inTime("a seek of a queue's thread", [] {
    ShortQueue book;
    Watch sound(book.demuxer.get(), "audio_0", nullptr);
    bool firstAnswer = false;
    bool ownAnswer = false;
    std::thread first;
    OnFirstPacket inQueue([&] {
      book.waitUntilFull();
      first = std::thread(
          [&] { firstAnswer = seekTo(book.demuxer.get(), "audio_0", kSecond, kNoFlush); });
      std::this_thread::sleep_for(kArrived);
      ownAnswer = seekTo(book.demuxer.get(), "audio_0", 2 * kSecond);
    });
    inQueue.of(book.queue.get(), "src");
    book.playToItsEnd();
    first.join();
    EXPECT_TRUE(firstAnswer);
    EXPECT_TRUE(ownAnswer);
    EXPECT_EQ(sound.segmentStarts().back(), 2 * kSecond);
  });
}

TEST(Seeks, OfAQueuesThreadBesideAFlushThatWaitsForItEndInTime) {
  inTime("a seek of a queue's thread beside a flush", [] {
    Player player;
    GstElement* const demuxer = player.demuxer.get();
    std::atomic<bool> videoFlushes{false};
    bool queuesAnswer = false;
    // The flush of the sound follows that of the pictures.
    Watch video(demuxer, "video_0", [&](GstEvent* event) {
      if (GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_START && !videoFlushes.exchange(true)) {
        std::this_thread::sleep_for(kArrived);
      }
      return GST_PAD_PROBE_OK;
    });
    Watch sound(demuxer, "audio_0", nullptr);
    std::atomic<bool> inside{false};
    const auto queue = player.pipeline.element("audio_0");
    // The flush of the sound waits until this returns.
    OnFirstPacket inQueue([&] {
      inside = true;
      waitFor([&] { return videoFlushes.load(); });
      queuesAnswer = seekTo(demuxer, "audio_0", kSecond / 2);
    });
    inQueue.of(queue.get(), "src");
    player.pipeline.setState(GST_STATE_PLAYING);
    waitFor([&] { return inside.load(); });
    EXPECT_TRUE(seekTo(demuxer, "video_0", kSecond));
    EXPECT_TRUE(queuesAnswer);
    // An end that came before the seeks may be told still.
    waitFor([&] { return sound.segmentStarts().back() == kSecond / 2; });
    player.pipeline.setState(GST_STATE_NULL);
  });
}

TEST(Seeks, AfterTheStopOfASegmentGoOnAtItsRunningTime) {
  inTime("a seek behind the end of a segment", [] {
    ShortQueue book;
    GstElement* const demuxer = book.demuxer.get();
    Watch sound(demuxer, "audio_0", nullptr);
    book.pipeline.setState(GST_STATE_PAUSED);
    ASSERT_TRUE(book.pipeline.waitForState());
    const auto flags = static_cast<GstSeekFlags>(kAccurate | GST_SEEK_FLAG_SEGMENT);
    ASSERT_TRUE(book.pipeline.seek(1, flags, 0, kSecond));
    ASSERT_TRUE(book.pipeline.waitForState());
    // The packet that reaches past the stop sends the next seek.
    bool sent = false;
    const Owned<GstPad> sounds(gst_element_get_static_pad(demuxer, "audio_0"));
    gst_pad_add_probe(
        sounds.get(), GST_PAD_PROBE_TYPE_BUFFER,
        +[](GstPad* pad, GstPadProbeInfo* info, gpointer data) {
          GstBuffer* const packet = GST_PAD_PROBE_INFO_BUFFER(info);
          const uint64_t end = GST_BUFFER_PTS(packet) + GST_BUFFER_DURATION(packet);
          bool& isSent = *static_cast<bool*>(data);
          if (end > kSecond && !isSent) {
            GstEvent* const seek =
                gst_event_new_seek(1, GST_FORMAT_TIME, kNoFlush, GST_SEEK_TYPE_SET, 2 * kSecond,
                                   GST_SEEK_TYPE_SET, -1);
            isSent = gst_pad_send_event(pad, seek) != FALSE;
          }
          return GST_PAD_PROBE_OK;
        },
        &sent, nullptr);
    book.playToItsEnd();
    EXPECT_TRUE(sent);
    const GstSegment last = sound.segments().back();
    EXPECT_EQ(last.start, 2 * kSecond);
    EXPECT_EQ(last.base, kSecond);
    book.pipeline.setState(GST_STATE_NULL);
  });
}

TEST(Seeks, WithoutAFlushDontWaitForTheirTurn) {
  inTime("a seek behind a full queue", [] {
    ShortQueue book;
    Watch sound(book.demuxer.get(), "audio_0", nullptr);
    book.pauseWithFullQueue();
    EXPECT_TRUE(seekTo(book.demuxer.get(), "audio_0", kSecond, kNoFlush));
    EXPECT_TRUE(seekTo(book.demuxer.get(), "audio_0", 3 * kSecond, kNoFlush));
    book.playToItsEnd();
    EXPECT_EQ(sound.segmentStarts(), (std::vector<uint64_t>{0, 3 * kSecond}))
        << "nothing is played between two that wait";
    EXPECT_GT(sound.segments().back().base, 0u);
    EXPECT_EQ(sound.flushes(), 0);
  });
}

TEST(Seeks, OfTheThreadsOfTwoQueuesAtOnceEndInTime) {
  inTime("two queues that seek", [] {
    Player player;
    GstElement* const demuxer = player.demuxer.get();
    Watch sound(demuxer, "audio_0", nullptr);
    std::atomic<int> inside{0};
    std::atomic<int> followed{0};
    const auto seekBeside = [&](const char* pad, uint64_t ns) {
      return [&inside, &followed, demuxer, pad, ns] {
        ++inside;
        waitFor([&] { return inside == 2; });
        if (seekTo(demuxer, pad, ns)) ++followed;
      };
    };
    const auto videoQueue = player.pipeline.element("video_0");
    const auto soundQueue = player.pipeline.element("audio_0");
    OnFirstPacket inVideo(seekBeside("video_0", kSecond));
    inVideo.of(videoQueue.get(), "src");
    OnFirstPacket inSound(seekBeside("audio_0", kSecond));
    inSound.of(soundQueue.get(), "src");
    player.pipeline.setState(GST_STATE_PLAYING);
    // One of them may find its pad flushing.
    waitFor([&] { return followed > 0 && sound.segmentStarts().back() == kSecond; });
    player.pipeline.setState(GST_STATE_NULL);
  });
}

TEST(SeeksOfTheStreamingThread, GiveWayToALaterOneOfAnotherThread) {
  inTime("a seek after one of the streaming thread", [] {
    ShortQueue book;
    GstElement* const demuxer = book.demuxer.get();
    Watch sound(demuxer, "audio_0", nullptr);
    bool ownAnswer = false;
    bool otherAnswer = false;
    std::thread other;
    OnFirstPacket push([&] {
      ownAnswer = seekTo(demuxer, "audio_0", kSecond);
      other = std::thread([&] { otherAnswer = seekTo(demuxer, "audio_0", 2 * kSecond); });
      std::this_thread::sleep_for(kArrived);
    });
    push.ofSound(demuxer);
    book.playToItsEnd();
    other.join();
    EXPECT_TRUE(ownAnswer);
    EXPECT_TRUE(otherAnswer);
    EXPECT_EQ(sound.segmentStarts().back(), 2 * kSecond);
  });
}

TEST(SeeksOfTheStreamingThread, AreRefusedFromInsideTheirOwnFlush) {
  inTime("a seek inside the flush of an own one", [] {
    ShortQueue book;
    GstElement* const demuxer = book.demuxer.get();
    int refused = 0;
    int accepted = 0;
    Watch sound(demuxer, "audio_0", [&](GstEvent* event) {
      const bool flush = GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_START ||
                         GST_EVENT_TYPE(event) == GST_EVENT_FLUSH_STOP;
      if (flush) ++(seekTo(demuxer, "audio_0", 2 * kSecond) ? accepted : refused);
      return GST_PAD_PROBE_OK;
    });
    book.pauseWithFullQueue();
    OnFirstPacket push([&] {
      waitForPlaying(book.pipeline);
      EXPECT_TRUE(seekTo(demuxer, "audio_0", kSecond));
    });
    push.of(demuxer, "audio_0");
    book.playToItsEnd();
    EXPECT_EQ(refused, 2);
    EXPECT_EQ(accepted, 0);
    EXPECT_EQ(sound.segmentStarts().back(), kSecond);
  });
}

TEST(Seeks, ThatAreImpossibleDontEndASegmentAgain) {
  inTime("an impossible seek behind a segment", [] {
    ShortQueue book;
    book.pipeline.setState(GST_STATE_PAUSED);
    ASSERT_TRUE(book.pipeline.waitForState());
    const auto flags = static_cast<GstSeekFlags>(kAccurate | GST_SEEK_FLAG_SEGMENT);
    ASSERT_TRUE(book.pipeline.seek(1, flags, 0, kSecond));
    book.pipeline.setState(GST_STATE_PLAYING);
    constexpr auto kDone = GST_MESSAGE_SEGMENT_DONE;
    GstMessage* const done = book.pipeline.waitForMessage(kDone, std::chrono::seconds(5));
    ASSERT_TRUE(done);
    gst_message_unref(done);
    EXPECT_FALSE(seekTo(book.demuxer.get(), "audio_0", 2 * kSecond, kNoFlush))
        << "behind the stop, which stays";
    EXPECT_FALSE(book.pipeline.waitForMessage(kDone, milliseconds(200)));
  });
}

TEST(Seeks, ThatWaitKeepTheEndThatALaterOneLeaves) {
  inTime("seeks of one end each", [] {
    ShortQueue book;
    Watch sound(book.demuxer.get(), "audio_0", nullptr);
    book.pauseWithFullQueue();
    EXPECT_TRUE(seekTo(book.demuxer.get(), "audio_0", 3 * kSecond, kNoFlush));
    const Owned<GstPad> pad(gst_element_get_static_pad(book.demuxer.get(), "audio_0"));
    EXPECT_TRUE(gst_pad_send_event(
        pad.get(), gst_event_new_seek(1, GST_FORMAT_TIME, kNoFlush, GST_SEEK_TYPE_NONE, -1,
                                      GST_SEEK_TYPE_SET, 4 * kSecond)));
    book.playToItsEnd();
    const GstSegment last = sound.segments().back();
    EXPECT_EQ(last.start, 3 * kSecond);
    EXPECT_NEAR(static_cast<double>(last.stop), 4e9, 100);
  });
}

TEST(Seeks, ThatAreImpossibleLeaveThoseThatWait) {
  inTime("an impossible seek behind one that waits", [] {
    ShortQueue book;
    Watch sound(book.demuxer.get(), "audio_0", nullptr);
    book.pipeline.setState(GST_STATE_PAUSED);
    ASSERT_TRUE(book.pipeline.waitForState());
    ASSERT_TRUE(book.pipeline.seek(1, kAccurate, 0, 5 * kSecond));
    ASSERT_TRUE(book.pipeline.waitForState());
    book.waitUntilFull();
    EXPECT_TRUE(seekTo(book.demuxer.get(), "audio_0", 3 * kSecond, kNoFlush));
    EXPECT_FALSE(seekTo(book.demuxer.get(), "audio_0", 6 * kSecond)) << "behind the stop";
    EXPECT_EQ(sound.flushes(), 1);
    book.playToItsEnd();
    EXPECT_EQ(sound.segmentStarts().back(), 3 * kSecond);
  });
}

TEST(Seeks, ThatComeAgainAfterALaterOneAreNotFollowedAgain) {
  Player player;
  GstElement* const demuxer = player.demuxer.get();
  Watch sound(demuxer, "audio_0", nullptr);
  player.pipeline.setState(GST_STATE_PAUSED);
  ASSERT_TRUE(player.pipeline.waitForState());
  GstEvent* const first = gst_event_new_seek(1, GST_FORMAT_TIME, kAccurate, GST_SEEK_TYPE_SET,
                                             kSecond, GST_SEEK_TYPE_NONE, -1);
  const Owned<GstPad> soundPad(gst_element_get_static_pad(demuxer, "audio_0"));
  const Owned<GstPad> videoPad(gst_element_get_static_pad(demuxer, "video_0"));
  EXPECT_TRUE(gst_pad_send_event(soundPad.get(), gst_event_ref(first)));
  EXPECT_TRUE(seekTo(demuxer, "audio_0", 2 * kSecond));
  EXPECT_TRUE(gst_pad_send_event(videoPad.get(), first));
  EXPECT_EQ(sound.flushes(), 2);
  EXPECT_TRUE(player.pipeline.waitForState());
  EXPECT_EQ(sound.segmentStarts().back(), 2 * kSecond);
  player.pipeline.setState(GST_STATE_NULL);
}

TEST(Seeks, WithoutAFlushThatComeDuringAFlushAreFollowedAfterIt) {
  inTime("a seek during a flush", [] {
    ShortQueue book;
    GstElement* const demuxer = book.demuxer.get();
    bool answer = false;
    Watch sound(demuxer, "audio_0", [&](GstEvent* event) {
      if (GST_EVENT_TYPE(event) != GST_EVENT_FLUSH_STOP) return GST_PAD_PROBE_OK;
      // The pad is not flushing any more when its event leaves.
      std::thread other([&] { answer = seekTo(demuxer, "audio_0", 3 * kSecond, kNoFlush); });
      other.join();
      return GST_PAD_PROBE_OK;
    });
    book.pauseWithFullQueue();
    EXPECT_TRUE(seekTo(demuxer, "audio_0", kSecond));
    EXPECT_TRUE(answer);
    book.playToItsEnd();
    EXPECT_EQ(sound.segmentStarts().back(), 3 * kSecond);
  });
}

TEST(Seeks, AreRefusedWhereAHundredWait) {
  inTime("a hundred seeks that wait", [] {
    ShortQueue book;
    Watch sound(book.demuxer.get(), "audio_0", nullptr);
    book.pauseWithFullQueue();
    for (uint64_t i = 1; i <= 100; ++i) {
      EXPECT_TRUE(seekTo(book.demuxer.get(), "audio_0", i * GST_MSECOND, kNoFlush)) << i;
    }
    EXPECT_FALSE(seekTo(book.demuxer.get(), "audio_0", kSecond, kNoFlush));
    book.playToItsEnd();
    EXPECT_EQ(sound.segments().size(), 2u);
    EXPECT_NEAR(static_cast<double>(sound.segmentStarts().back()), 100e6, 100e3);
  });
}

}  // namespace
