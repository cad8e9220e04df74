// What the element tells its neighbours: caps, events, segments, queries, tags, messages.
#include <gst/audio/audio.h>
#include <gst/check/gstharness.h>
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include "tests/gst/support/media.h"
#include "tests/gst/support/pipeline.h"
#include "tests/gst/support/player.h"

namespace {

using namespace pipelines;
using std::chrono::milliseconds;

std::string data(const std::string& name) { return media::File{name}.path().string(); }

/// One source pad of the element, with what came out of it.
class Output {
 public:
  Output(const std::string& file, const char* pad, const std::string& options = "")
      : pipeline_(source(file, "velademux " + options)), harness_(nullptr) {
    const auto demuxer = pipeline_.element("d");
    pad_ = pad;
    // The other pad stays without a peer.
    g_signal_connect(demuxer.get(), "pad-added", G_CALLBACK(&Output::onPad), this);
    pipeline_.setState(GST_STATE_PLAYING);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!harness_ && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(milliseconds(1));
    }
    if (!harness_) throw std::runtime_error("no such pad");
  }
  ~Output() {
    pipeline_.setState(GST_STATE_NULL);
    if (harness_) gst_harness_teardown(harness_);
  }

  GstHarness* get() const { return harness_; }
  Pipeline& pipeline() { return pipeline_; }

  /// The next event of a type. The caller unrefs it.
  GstEvent* next(GstEventType type) {
    while (GstEvent* const event = gst_harness_pull_event(harness_)) {
      if (GST_EVENT_TYPE(event) == type) return event;
      gst_event_unref(event);
    }
    return nullptr;
  }

  GstSegment segment() {
    GstEvent* const event = next(GST_EVENT_SEGMENT);
    GstSegment segment;
    gst_event_copy_segment(event, &segment);
    gst_event_unref(event);
    return segment;
  }

  std::string caps() {
    GstEvent* const event = next(GST_EVENT_CAPS);
    GstCaps* caps = nullptr;
    gst_event_parse_caps(event, &caps);
    gchar* const text = gst_caps_to_string(caps);
    const std::string copy = text;
    g_free(text);
    gst_event_unref(event);
    return copy;
  }

 private:
  static void onPad(GstElement*, GstPad* pad, gpointer self) {
    auto* const output = static_cast<Output*>(self);
    if (output->pad_ != GST_PAD_NAME(pad)) return;
    GstHarness* const harness = gst_harness_new_empty();
    gst_harness_add_element_src_pad(harness, pad);
    output->harness_ = harness;
  }

  Pipeline pipeline_;
  std::string pad_;
  std::atomic<GstHarness*> harness_;
};

bool has(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(Caps, OfAacHaveTheConfigurationAndTheRate) {
  const std::string caps = Output(data("sample.mp4"), "audio_0").caps();
  for (const char* part : {"audio/mpeg, mpegversion=(int)4", "stream-format=(string)raw",
                           "codec_data=(buffer)120856e500", "rate=(int)44100", "channels=(int)1"}) {
    EXPECT_TRUE(has(caps, part)) << part << " in " << caps;
  }
}

TEST(Caps, OfMp3TellVersionAndLayer) {
  const std::string caps = Output(data("mp3-only.mp4"), "audio_0").caps();
  EXPECT_TRUE(has(caps, "audio/mpeg, mpegversion=(int)1, layer=(int)3")) << caps;
  EXPECT_TRUE(has(caps, "rate=(int)22050")) << caps;
  EXPECT_FALSE(has(caps, "codec_data")) << caps;
}

TEST(Caps, OfH264HaveAnAvcRecordAndThePictureSize) {
  const std::string caps = Output(data("h264-only.mp4"), "video_0").caps();
  for (const char* part :
       {"video/x-h264, stream-format=(string)avc, alignment=(string)au", "codec_data=(buffer)0164",
        "profile=(string)high", "width=(int)128", "height=(int)96"}) {
    EXPECT_TRUE(has(caps, part)) << part << " in " << caps;
  }
}

TEST(Caps, OfMpeg4VisualHaveTheHeaders) {
  const std::string caps = Output(data("asp-mp3.mp4"), "video_0").caps();
  for (const char* part : {"video/mpeg, mpegversion=(int)4, systemstream=(boolean)false",
                           "codec_data=(buffer)000001b0", "width=(int)96", "height=(int)64"}) {
    EXPECT_TRUE(has(caps, part)) << part << " in " << caps;
  }
}

TEST(Buffers, HavePresentationTimesAndNoDecodingTimes) {
  for (const char* pad : {"audio_0", "video_0"}) {
    Output output(data("sample.mp4"), pad);
    for (int i = 0; i < 20; ++i) {
      GstBuffer* const buffer = gst_harness_pull(output.get());
      ASSERT_TRUE(buffer);
      EXPECT_TRUE(GST_BUFFER_PTS_IS_VALID(buffer));
      EXPECT_FALSE(GST_BUFFER_DTS_IS_VALID(buffer));
      EXPECT_EQ(gst_buffer_get_audio_clipping_meta(buffer), nullptr);
      EXPECT_EQ(GST_BUFFER_FLAG_IS_SET(buffer, GST_BUFFER_FLAG_DISCONT), i == 0);
      gst_buffer_unref(buffer);
    }
  }
}

TEST(Buffers, OfSoundAreWholePacketsWithTheirTimesRoundedDown) {
  Output output(data("sample.mp4"), "audio_0");
  for (uint64_t frame = 0; frame < 50 * 1024; frame += 1024) {
    GstBuffer* const buffer = gst_harness_pull(output.get());
    ASSERT_TRUE(buffer);
    EXPECT_EQ(GST_BUFFER_PTS(buffer), gst_util_uint64_scale(frame, GST_SECOND, 44100));
    gst_buffer_unref(buffer);
  }
}

TEST(Segments, OfTheWholeFileBeginAtZeroAndEndWithTheItem) {
  const GstSegment segment = Output(data("sample.mp4"), "audio_0").segment();
  EXPECT_EQ(segment.format, GST_FORMAT_TIME);
  EXPECT_EQ(segment.start, 0u);
  EXPECT_EQ(segment.time, 0u);
  // 142144 frames at 44100 Hz last 3.22321995 s; the stop lies 2 ns before, for decoders' rounding.
  EXPECT_EQ(segment.stop, gst_util_uint64_scale(142144, GST_SECOND, 44100) - 2);
}

TEST(Segments, OfAnItemBeginInTheFileAndCountFromTheItem) {
  const GstSegment segment = Output(data("audiobook.m4a"), "audio_0", "item=2").segment();
  // The chapter begins at 2.5 s, which is frame 55125.
  EXPECT_EQ(segment.start, gst_util_uint64_scale_ceil(55125, GST_SECOND, 22050));
  EXPECT_EQ(segment.time, 0u);
  Output output(data("audiobook.m4a"), "audio_0", "item=2");
  GstBuffer* const buffer = gst_harness_pull(output.get());
  ASSERT_TRUE(buffer);
  EXPECT_EQ(GST_BUFFER_PTS(buffer),
            gst_util_uint64_scale((55125 / 1024 - 10) * 1024, GST_SECOND, 22050))
      << "ten packets before the one that holds the first frame";
  gst_buffer_unref(buffer);
}

TEST(Segments, AfterASeekBeginAtTheFrameThatIsNearest) {
  Output output(data("audiobook.m4a"), "audio_0");
  gst_buffer_unref(gst_harness_pull(output.get()));
  const auto seek = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE);
  output.segment();
  EXPECT_TRUE(gst_harness_push_upstream_event(
      output.get(), gst_event_new_seek(2.0, GST_FORMAT_TIME, seek, GST_SEEK_TYPE_SET, 3333333333,
                                       GST_SEEK_TYPE_SET, 5000000000)));
  gst_event_unref(output.next(GST_EVENT_FLUSH_STOP));
  const GstSegment segment = output.segment();
  EXPECT_EQ(segment.rate, 2.0);
  EXPECT_EQ(segment.start, gst_util_uint64_scale_ceil(73500, GST_SECOND, 22050));
  EXPECT_EQ(segment.time, segment.start);
  EXPECT_EQ(segment.base, 0u);
  EXPECT_EQ(segment.stop, gst_util_uint64_scale(5 * 22050, GST_SECOND, 22050) - 2);
}

TEST(Events, OfSeeksThatCantBeFollowedAreRefused) {
  Output output(data("audiobook.m4a"), "audio_0");
  gst_buffer_unref(gst_harness_pull(output.get()));
  const auto seek = [&](double rate, GstFormat format) {
    return gst_harness_push_upstream_event(
        output.get(), gst_event_new_seek(rate, format, GST_SEEK_FLAG_FLUSH, GST_SEEK_TYPE_SET, 1000,
                                         GST_SEEK_TYPE_NONE, -1));
  };
  EXPECT_FALSE(seek(-1, GST_FORMAT_TIME)) << "backwards";
  EXPECT_FALSE(seek(1, GST_FORMAT_BYTES));
  EXPECT_TRUE(seek(1, GST_FORMAT_TIME));
}

TEST(Events, OfASegmentSeekEndInASegmentDone) {
  Output output(data("audiobook.m4a"), "audio_0");
  gst_buffer_unref(gst_harness_pull(output.get()));
  const auto flags = static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | GST_SEEK_FLAG_ACCURATE |
                                               GST_SEEK_FLAG_SEGMENT);
  EXPECT_TRUE(gst_harness_push_upstream_event(
      output.get(), gst_event_new_seek(1, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET, 0,
                                       GST_SEEK_TYPE_SET, GST_SECOND)));
  GstEvent* const done = output.next(GST_EVENT_SEGMENT_DONE);
  ASSERT_TRUE(done);
  gint64 position = 0;
  gst_event_parse_segment_done(done, nullptr, &position);
  EXPECT_EQ(position, static_cast<gint64>(GST_SECOND));
  gst_event_unref(done);
}

TEST(Events, TheTableOfContentsHasEveryChapterAndCanBeSelectedFrom) {
  Output output(data("audiobook.m4a"), "audio_0");
  GstEvent* const event = output.next(GST_EVENT_TOC);
  ASSERT_TRUE(event);
  GstToc* toc = nullptr;
  gst_event_parse_toc(event, &toc, nullptr);
  GList* const entries = gst_toc_get_entries(toc);
  ASSERT_EQ(g_list_length(entries), 4u);
  auto* const third = static_cast<GstTocEntry*>(g_list_nth_data(entries, 2));
  gint64 start = 0, stop = 0;
  gst_toc_entry_get_start_stop_times(third, &start, &stop);
  EXPECT_EQ(start, 5123000000);
  EXPECT_EQ(stop, 7777000000);
  const std::string uid = gst_toc_entry_get_uid(third);
  gst_toc_unref(toc);
  gst_event_unref(event);

  gst_buffer_unref(gst_harness_pull(output.get()));
  EXPECT_FALSE(
      gst_harness_push_upstream_event(output.get(), gst_event_new_toc_select("chapter-5")));
  ASSERT_TRUE(gst_harness_push_upstream_event(output.get(), gst_event_new_toc_select(uid.c_str())));
  gst_event_unref(output.next(GST_EVENT_FLUSH_STOP));
  const uint64_t frame = gst_util_uint64_scale_round(5123, 22050, 1000);
  EXPECT_EQ(output.segment().start, gst_util_uint64_scale_ceil(frame, GST_SECOND, 22050));
}

TEST(Tags, OfABookAreNumbersTextsAndAComment) {
  Output output(data("audiobook.m4a"), "audio_0");
  GstEvent* const event = output.next(GST_EVENT_TAG);
  ASSERT_TRUE(event);
  GstTagList* tags = nullptr;
  gst_event_parse_tag(event, &tags);
  EXPECT_EQ(gst_tag_list_get_scope(tags), GST_TAG_SCOPE_GLOBAL);
  guint number = 0;
  EXPECT_TRUE(gst_tag_list_get_uint(tags, GST_TAG_TRACK_NUMBER, &number));
  EXPECT_EQ(number, 3u);
  EXPECT_TRUE(gst_tag_list_get_uint(tags, GST_TAG_TRACK_COUNT, &number));
  EXPECT_EQ(number, 12u);
  gdouble value = 0;
  EXPECT_TRUE(gst_tag_list_get_double(tags, GST_TAG_BEATS_PER_MINUTE, &value));
  EXPECT_EQ(value, 120);
  EXPECT_TRUE(gst_tag_list_get_double(tags, GST_TAG_TRACK_GAIN, &value));
  EXPECT_NEAR(value, -6.54, 1e-9);
  EXPECT_TRUE(gst_tag_list_get_double(tags, GST_TAG_ALBUM_GAIN, &value));
  EXPECT_NEAR(value, 1.2, 1e-9);
  EXPECT_TRUE(gst_tag_list_get_double(tags, GST_TAG_TRACK_PEAK, &value));
  EXPECT_NEAR(value, 0.988553, 1e-6);
  EXPECT_TRUE(gst_tag_list_get_double(tags, GST_TAG_ALBUM_PEAK, &value));
  EXPECT_EQ(value, 1);
  EXPECT_TRUE(gst_tag_list_get_double(tags, GST_TAG_REFERENCE_LEVEL, &value));
  EXPECT_EQ(value, 89);
  EXPECT_EQ(gst_tag_list_get_tag_size(tags, GST_TAG_ARTIST), 3u);
  GstDateTime* date = nullptr;
  ASSERT_TRUE(gst_tag_list_get_date_time(tags, GST_TAG_DATE_TIME, &date));
  EXPECT_EQ(gst_date_time_get_year(date), 2023);
  gst_date_time_unref(date);
  gchar* comment = nullptr;
  ASSERT_TRUE(gst_tag_list_get_string(tags, GST_TAG_EXTENDED_COMMENT, &comment));
  EXPECT_STREQ(comment, "compilation=1");
  g_free(comment);
  EXPECT_EQ(gst_tag_list_get_tag_size(tags, GST_TAG_TITLE), 0u)
      << "the title of the first chapter is not the book's";
  gst_event_unref(event);
}

/// The tags of a file whose year is this text.
GstTagList* tagsOfYear(const std::string& name, const std::string& year) {
  const std::string file =
      media::made(name, "-f lavfi -i sine=d=1 -c:a aac -metadata date=" + year).string();
  Output output(file, "audio_0");
  GstEvent* const event = output.next(GST_EVENT_TAG);
  GstTagList* tags = nullptr;
  gst_event_parse_tag(event, &tags);
  GstTagList* const copy = gst_tag_list_copy(tags);
  gst_event_unref(event);
  return copy;
}

TEST(Tags, OfAYearThatTheFrameworkCantReadAreComments) {
  // It ends the program for the first two of them.
  int number = 0;
  for (const char* year :
       {"2034-03-00T03:33:49-998", "2081-00-25T08:12:15-0299", "0000", "2021-13", "2021-02-30",
        "2021-02-03T24:00Z", "2021-02-03T10:00:00+12:30", "2021-02-03T10:00:00+01", "soon"}) {
    GstTagList* const tags = tagsOfYear("year-" + std::to_string(number++) + ".m4a", year);
    EXPECT_EQ(gst_tag_list_get_tag_size(tags, GST_TAG_DATE_TIME), 0u) << year;
    gchar* comment = nullptr;
    EXPECT_TRUE(gst_tag_list_get_string(tags, GST_TAG_EXTENDED_COMMENT, &comment)) << year;
    EXPECT_EQ(std::string(comment ? comment : ""), std::string("year=") + year);
    g_free(comment);
    gst_tag_list_unref(tags);
  }
}

TEST(Tags, OfAYearAreTheDateAndTimeThatItTells) {
  int number = 0;
  for (const char* year : {"1999", "2021-12", "2020-02-29", "2021-02-03T10:30Z",
                           "2008-03-11T07:00:00Z", "2021-02-03T10:30:15-0930"}) {
    GstTagList* const tags = tagsOfYear("date-" + std::to_string(number++) + ".m4a", year);
    GstDateTime* date = nullptr;
    EXPECT_TRUE(gst_tag_list_get_date_time(tags, GST_TAG_DATE_TIME, &date)) << year;
    if (date) {
      gchar* const told = gst_date_time_to_iso8601_string(date);
      EXPECT_STREQ(told, year);
      g_free(told);
      gst_date_time_unref(date);
    }
    gst_tag_list_unref(tags);
  }
}

TEST(Tags, OfAnItemHaveItsTitle) {
  Output output(data("audiobook.m4a"), "audio_0", "item=3");
  GstEvent* const event = output.next(GST_EVENT_TAG);
  ASSERT_TRUE(event);
  GstTagList* tags = nullptr;
  gst_event_parse_tag(event, &tags);
  gchar* title = nullptr;
  ASSERT_TRUE(gst_tag_list_get_string(tags, GST_TAG_TITLE, &title));
  EXPECT_STREQ(title, "第三章");
  g_free(title);
  gst_event_unref(event);
}

TEST(Queries, AreAnsweredInTheTimeOfTheItem) {
  Pipeline pipeline(source(data("audiobook.m4a"), "velademux item=2") + kQueue + "fakesink");
  pipeline.setState(GST_STATE_PAUSED);
  ASSERT_TRUE(pipeline.waitForState());
  const auto demuxer = pipeline.element("d");
  GstPad* const pad = gst_element_get_static_pad(demuxer.get(), "audio_0");
  ASSERT_TRUE(pad);
  gint64 ns = -1;
  EXPECT_TRUE(gst_pad_query_duration(pad, GST_FORMAT_TIME, &ns));
  EXPECT_NEAR(static_cast<double>(ns), 2623e6, 23e3) << "2.5 to 5.123 s, in whole frames";
  EXPECT_FALSE(gst_pad_query_duration(pad, GST_FORMAT_BYTES, &ns));
  EXPECT_TRUE(gst_pad_query_position(pad, GST_FORMAT_TIME, &ns));
  EXPECT_GE(ns, 0);
  EXPECT_LE(ns, 2624000000);

  GstQuery* const seeking = gst_query_new_seeking(GST_FORMAT_TIME);
  ASSERT_TRUE(gst_pad_query(pad, seeking));
  gboolean seekable = FALSE;
  gint64 start = -1, end = -1;
  gst_query_parse_seeking(seeking, nullptr, &seekable, &start, &end);
  EXPECT_TRUE(seekable);
  EXPECT_EQ(start, 0);
  EXPECT_NEAR(static_cast<double>(end), 2623e6, 23e3);
  gst_query_unref(seeking);

  GstQuery* const segment = gst_query_new_segment(GST_FORMAT_TIME);
  ASSERT_TRUE(gst_pad_query(pad, segment));
  gdouble rate = 0;
  gst_query_parse_segment(segment, &rate, nullptr, &start, &end);
  EXPECT_EQ(rate, 1);
  EXPECT_EQ(start, 0);
  EXPECT_NEAR(static_cast<double>(end), 2623e6, 23e3);
  gst_query_unref(segment);
  gst_object_unref(pad);
}

TEST(Queries, ForCapsAreAnsweredWithTheStreamsOwn) {
  Output output(data("mp3-only.mp4"), "audio_0");
  ASSERT_NE(output.caps(), "");
  GstPad* const pad = gst_pad_get_peer(output.get()->sinkpad);
  const auto answer = [&](const char* filter) {
    GstCaps* const wanted = filter ? gst_caps_from_string(filter) : nullptr;
    GstCaps* const caps = gst_pad_query_caps(pad, wanted);
    gchar* const text = gst_caps_to_string(caps);
    const std::string copy = text;
    g_free(text);
    gst_caps_unref(caps);
    if (wanted) gst_caps_unref(wanted);
    return copy;
  };
  const std::string all = answer(nullptr);
  EXPECT_TRUE(has(all, "audio/mpeg, mpegversion=(int)1, layer=(int)3, rate=(int)22050")) << all;
  EXPECT_EQ(answer("audio/mpeg, mpegversion=(int)1, layer=(int)3, rate=(int){ 22050, 44100 }"),
            all);
  EXPECT_EQ(answer("audio/mpeg, rate=(int)44100"), "EMPTY");
  gst_object_unref(pad);
}

TEST(Failures, OfTheSplitterAreErrorsWithItsSentence) {
  const media::ScratchFolder scratch;
  const std::string file = (scratch / "cut.mp4").string();
  std::ofstream(file, std::ios::binary) << std::string("\0\0\0\x20moov", 8);
  Pipeline pipeline(source(file) + kQueue + "fakesink");
  pipeline.setState(GST_STATE_PLAYING);
  const Outcome outcome = pipeline.waitForEnd();
  EXPECT_EQ(outcome.text,
            "The file is damaged, or it holds no stream that the splitter can play (result 5).");
}

/// The sample with one byte changed, `place` bytes after the name of its first box of a type.
void writeChanged(const std::string& to, const std::string& type, size_t place, uint8_t byte) {
  std::ifstream in(data("sample.mp4"), std::ios::binary);
  std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  bytes.at(bytes.find(type) + type.size() + place) = static_cast<char>(byte);
  std::ofstream(to, std::ios::binary) << bytes;
}

TEST(Failures, OfConfigurationsThatAreEmptyOrDamagedAreErrorsThatSaySo) {
  constexpr size_t kNumberOfSequenceSets = 5;  // with three bits above it
  constexpr size_t kFirstSequenceSet = 8;
  constexpr size_t kTagOfSpecificInfo = 30;
  struct Case {
    const char* box;
    size_t place;
    uint8_t byte;
    const char* sentence;
  };
  const media::ScratchFolder scratch;
  const std::string file = (scratch / "changed.mp4").string();
  for (const Case& one : {Case{"avcC", kNumberOfSequenceSets, 0xe0,
                               "The file holds no parameter sets for its H.264 pictures."},
                          Case{"avcC", kFirstSequenceSet, 0x65,
                               "The parameter sets of the H.264 pictures are damaged."},
                          Case{"esds", kTagOfSpecificInfo, 0x0e,
                               "The file holds no decoder configuration for its AAC sound."}}) {
    SCOPED_TRACE(one.sentence);
    writeChanged(file, one.box, one.place, one.byte);
    Pipeline pipeline(source(file) + kQueue + "fakesink");
    pipeline.setState(GST_STATE_PLAYING);
    const Outcome outcome = pipeline.waitForEnd();
    EXPECT_EQ(outcome.kind, Outcome::Kind::error);
    EXPECT_EQ(outcome.text, one.sentence);
  }
}

/// Counts the ends of stream that leave through a pad.
class Ends {
 public:
  explicit Ends(GstPad* pad) {
    gst_pad_add_probe(pad, GST_PAD_PROBE_TYPE_EVENT_DOWNSTREAM, see, &count_, nullptr);
  }
  int count() const { return count_; }

 private:
  static GstPadProbeReturn see(GstPad*, GstPadProbeInfo* info, gpointer count) {
    const bool end = GST_EVENT_TYPE(GST_PAD_PROBE_INFO_EVENT(info)) == GST_EVENT_EOS;
    if (end) ++*static_cast<std::atomic<int>*>(count);
    return GST_PAD_PROBE_OK;
  }

  std::atomic<int> count_{0};
};

TEST(Failures, OfLaterElementsEndTheStreamAlsoInsideASegment) {
  for (const bool segment : {false, true}) {
    SCOPED_TRACE(segment);
    Pipeline pipeline(source(data("audiobook.m4a")) +
                      " ! identity error-after=100 ! fakesink sync=false");
    pipeline.setState(GST_STATE_PAUSED);
    ASSERT_TRUE(pipeline.waitForState());
    const auto flags =
        static_cast<GstSeekFlags>(GST_SEEK_FLAG_FLUSH | (segment ? GST_SEEK_FLAG_SEGMENT : 0));
    ASSERT_TRUE(pipeline.seek(1, flags, 1000000000));
    ASSERT_TRUE(pipeline.waitForState());
    const auto demuxer = pipeline.element("d");
    GstPad* const pad = gst_element_get_static_pad(demuxer.get(), "audio_0");
    const Ends ends(pad);
    gst_object_unref(pad);
    pipeline.setState(GST_STATE_PLAYING);
    EXPECT_EQ(pipeline.waitForEnd().kind, Outcome::Kind::error);
    for (int i = 0; i < 1000 && ends.count() == 0; ++i) {
      std::this_thread::sleep_for(milliseconds(1));
    }
    pipeline.setState(GST_STATE_NULL);
    EXPECT_EQ(ends.count(), 1);
  }
}

TEST(Streams, ThatNobodyWantsAnyMoreEndWithoutAnError) {
  Pipeline pipeline(source(data("sample.mp4")) + " d.video_0" + kQueue +
                    "identity eos-after=3 ! fakesink sync=false name=video d.audio_0" + kQueue +
                    "fakesink sync=false");
  pipeline.setState(GST_STATE_PLAYING);
  const Outcome outcome = pipeline.waitForEnd();
  EXPECT_EQ(outcome.kind, Outcome::Kind::eos) << outcome.text;
  EXPECT_TRUE(outcome.infos.empty()) << "the pictures that are left were not wanted";
}

TEST(Failures, OfALibraryThatCantBeLoadedAreErrors) {
  Pipeline pipeline(source(data("sample.mp4"), "velademux library=/nowhere/libnone.so") + kQueue +
                    "fakesink");
  pipeline.setState(GST_STATE_READY);
  const Outcome outcome = pipeline.waitForEnd();
  EXPECT_EQ(outcome.kind, Outcome::Kind::error);
  EXPECT_TRUE(has(outcome.text, "The splitter library can't be loaded: /nowhere/libnone.so"))
      << outcome.text;
}

TEST(Failures, OfALibraryWithoutTheEntryAreErrors) {
  // The element's own library is one.
  const std::string library = std::string(std::getenv("GST_PLUGIN_PATH_1_0")) + "/libgstvela.so";
  Pipeline pipeline(source(data("sample.mp4"), "velademux library=" + quoted(library)) + kQueue +
                    "fakesink");
  pipeline.setState(GST_STATE_READY);
  EXPECT_EQ(pipeline.waitForEnd().text,
            "The library " + library + " is no splitter: it does not export VelaEntry.");
}

TEST(Failures, OfAFileWithoutAnyoneBehindItEndWithItsNextStart) {
  Pipeline pipeline(source(data("audiobook.m4a")) + " fakesink name=sink sync=false");
  pipeline.setState(GST_STATE_PLAYING);
  EXPECT_EQ(pipeline.waitForEnd().kind, Outcome::Kind::error) << "no pad is linked";
  pipeline.setState(GST_STATE_NULL);
  const auto demuxer = pipeline.element("d");
  const auto sink = pipeline.element("sink");
  g_signal_connect(demuxer.get(), "pad-added",
                   G_CALLBACK(+[](GstElement* from, GstPad* pad, gpointer to) {
                     gst_element_link_pads(from, GST_PAD_NAME(pad), GST_ELEMENT(to), "sink");
                   }),
                   sink.get());
  pipeline.setState(GST_STATE_PLAYING);
  EXPECT_EQ(pipeline.waitForEnd().kind, Outcome::Kind::eos);
}

TEST(Sources, ThatCantBePulledAreAnErrorThatSaysSo) {
  Pipeline pipeline("filesrc location=" + quoted(data("sample.mp4")) + " ! queue ! velademux" +
                    kQueue + "fakesink");
  pipeline.setState(GST_STATE_PLAYING);
  const Outcome outcome = pipeline.waitForEnd();
  EXPECT_TRUE(has(outcome.text, "The source can't be read at any place of the file")) << outcome;
}

TEST(Sources, ThatCantBePulledWorkThroughATemporaryFile) {
  const media::ScratchFolder scratch;
  const std::string spare = (scratch / "spare-XXXXXX").string();
  Pipeline pipeline("filesrc location=" + quoted(data("sample.mp4")) + " ! queue ! queue2 " +
                    "temp-template=" + quoted(spare) + " ! velademux name=d d.video_0" + kQueue +
                    "fakesink d.audio_0" + kQueue + "fakesink");
  pipeline.setState(GST_STATE_PLAYING);
  EXPECT_EQ(pipeline.waitForEnd().kind, Outcome::Kind::eos);
}

TEST(Films, WhoseVideoEndsEarlySaySoOnce) {
  Pipeline pipeline(source(data("negative-offsets.mp4")) + " d.video_0" + kQueue +
                    "fakesink sync=false d.audio_0" + kQueue + "fakesink sync=false");
  pipeline.setState(GST_STATE_PLAYING);
  const Outcome outcome = pipeline.waitForEnd();
  EXPECT_EQ(outcome.kind, Outcome::Kind::eos);
  ASSERT_EQ(outcome.infos.size(), 1u);
  EXPECT_TRUE(has(outcome.infos[0], "The video ends before the last picture of the file"));
}

TEST(Films, WhoseVideoEndsEarlySaySoAlsoAfterOneThatWasCutShort) {
  Player player("negative-offsets.mp4");
  player.pipeline.setState(GST_STATE_PAUSED);
  ASSERT_TRUE(player.pipeline.waitForState());
  ASSERT_TRUE(player.pipeline.seek(1, GST_SEEK_FLAG_FLUSH, 0, 200000000));
  player.pipeline.setState(GST_STATE_PLAYING);
  EXPECT_EQ(player.pipeline.waitForEnd().kind, Outcome::Kind::eos);
  player.pipeline.setState(GST_STATE_NULL);
  player.pipeline.setState(GST_STATE_PLAYING);
  const Outcome outcome = player.pipeline.waitForEnd();
  EXPECT_EQ(outcome.kind, Outcome::Kind::eos) << outcome.text;
  EXPECT_EQ(outcome.infos.size(), 1u);
}

TEST(Films, ThatEndWithTheirLastPictureSayNothing) {
  Pipeline pipeline(source(data("asp-mp3.mp4")) + " d.video_0" + kQueue +
                    "fakesink sync=false d.audio_0" + kQueue + "fakesink sync=false");
  pipeline.setState(GST_STATE_PLAYING);
  const Outcome outcome = pipeline.waitForEnd();
  EXPECT_EQ(outcome.kind, Outcome::Kind::eos);
  EXPECT_TRUE(outcome.infos.empty());
}

TEST(Rank, IsNoneUnlessTheUserSetsIt) {
  GstElementFactory* const factory = gst_element_factory_find("velademux");
  ASSERT_TRUE(factory);
  EXPECT_EQ(gst_plugin_feature_get_rank(GST_PLUGIN_FEATURE(factory)),
            static_cast<guint>(GST_RANK_NONE));
  gst_object_unref(factory);
}

}  // namespace
