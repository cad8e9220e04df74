// The sink pad as a source of the plug-in, over a source pad that notes what is pulled.
#include "gst/pull_stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "gst/cancel_token.h"

namespace velagst {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using vela::TIOResult;

constexpr uint32_t kRead = 16384;    // bytes of one read of the plug-in
constexpr uint32_t kAhead = 131072;  // bytes of a pull that serves several
using Pull = std::pair<uint64_t, uint32_t>;

uint8_t byteAt(uint64_t place) { return static_cast<uint8_t>(place * 7 + place / 251); }

std::vector<uint8_t> bytesAt(uint64_t place, size_t count) {
  std::vector<uint8_t> bytes(count);
  for (uint8_t& byte : bytes) byte = byteAt(place++);
  return bytes;
}

// A source of numbered bytes and the pad that it is linked to, both in pull mode.
class PullStreamTest : public testing::Test {
 protected:
  void SetUp() override {
    g_object_set_data(G_OBJECT(source_), "test", this);
    gst_pad_set_getrange_function(source_, getRange);
    gst_pad_set_query_function(source_, answer);
    ASSERT_EQ(gst_pad_link(source_, sink_), GST_PAD_LINK_OK);
    ASSERT_TRUE(gst_pad_activate_mode(sink_, GST_PAD_MODE_PULL, TRUE));
  }
  void TearDown() override {
    if (stream_) stream_->release();
    gst_pad_set_active(sink_, FALSE);
    gst_object_unref(sink_);
    gst_object_unref(source_);
  }

  /// The stream, made when it is first asked for.
  PullStream& stream() {
    if (!stream_) {
      stream_ = new PullStream(sink_);
      stream_->addRef();
    }
    return *stream_;
  }
  TIOResult tryRead(uint32_t count) {
    read_.assign(count, 0);
    uint32_t done = 0;
    const TIOResult result = stream().read(read_.data(), count, &done, &token_);
    read_.resize(done);
    return result;
  }
  std::vector<uint8_t> read(uint32_t count) {
    EXPECT_EQ(tryRead(count), TIOResult::success);
    return read_;
  }
  void seek(uint64_t place) {
    const vela::Word64 words = vela::toWord64(place);
    EXPECT_EQ(stream().seek(words.low, words.high, &token_), TIOResult::success);
  }

  uint64_t length_ = 1'000'000;  // bytes
  uint32_t largestPull_ = 1'000'000;
  size_t memory_ = 1'000'000;  // bytes of one memory of a buffer
  uint64_t more_ = 0;          // bytes that a pull gives and were not asked for
  GstFlowReturn flow_ = GST_FLOW_OK;
  GstSchedulingFlags flags_ = GST_SCHEDULING_FLAG_SEEKABLE;
  std::vector<Pull> pulls_;
  CancelToken token_;

 private:
  static PullStreamTest& testOf(GstPad* pad) {
    return *static_cast<PullStreamTest*>(g_object_get_data(G_OBJECT(pad), "test"));
  }
  static GstFlowReturn getRange(GstPad* pad, GstObject*, guint64 place, guint count,
                                GstBuffer** buffer) {
    PullStreamTest& test = testOf(pad);
    test.pulls_.push_back({place, count});
    if (test.flow_ != GST_FLOW_OK) return test.flow_;
    if (place >= test.length_) return GST_FLOW_EOS;
    const uint64_t there = std::min<uint64_t>({count, test.largestPull_, test.length_ - place});
    const std::vector<uint8_t> bytes = bytesAt(place, there + test.more_);
    *buffer = gst_buffer_new();
    for (size_t at = 0; at < bytes.size(); at += test.memory_) {
      const size_t part = std::min(test.memory_, bytes.size() - at);
      gpointer const copy = g_memdup2(bytes.data() + at, part);
      gst_buffer_append_memory(*buffer, gst_memory_new_wrapped(static_cast<GstMemoryFlags>(0), copy,
                                                               part, 0, part, copy, g_free));
    }
    return GST_FLOW_OK;
  }
  static gboolean answer(GstPad* pad, GstObject* parent, GstQuery* query) {
    if (GST_QUERY_TYPE(query) != GST_QUERY_SCHEDULING) {
      return gst_pad_query_default(pad, parent, query);
    }
    gst_query_set_scheduling(query, testOf(pad).flags_, 1, -1, 0);
    gst_query_add_scheduling_mode(query, GST_PAD_MODE_PULL);
    return TRUE;
  }

  GstPad* source_ = gst_pad_new("src", GST_PAD_SRC);
  GstPad* sink_ = gst_pad_new("sink", GST_PAD_SINK);
  PullStream* stream_ = nullptr;
  std::vector<uint8_t> read_;
};

TEST_F(PullStreamTest, PullsOnlyWhatTheFirstReadAsksFor) {
  seek(5000);
  EXPECT_EQ(read(kRead), bytesAt(5000, kRead));
  EXPECT_THAT(pulls_, ElementsAre(Pull{5000, kRead}));
}

TEST_F(PullStreamTest, ServesReadsThatFollowEachOtherFromLargerPulls) {
  for (uint64_t i = 0; i < 10; ++i) EXPECT_EQ(read(kRead), bytesAt(i * kRead, kRead));
  EXPECT_THAT(pulls_, ElementsAre(Pull{0, kRead}, Pull{kRead, kAhead},
                                  Pull{uint64_t{kRead} + kAhead, kAhead}));
}

TEST_F(PullStreamTest, PullsNothingAheadFromASourceOfLimitedBandwidth) {
  flags_ = static_cast<GstSchedulingFlags>(flags_ | GST_SCHEDULING_FLAG_BANDWIDTH_LIMITED);
  for (uint64_t i = 0; i < 3; ++i) EXPECT_EQ(read(kRead), bytesAt(i * kRead, kRead));
  EXPECT_THAT(pulls_,
              ElementsAre(Pull{0, kRead}, Pull{kRead, kRead}, Pull{2 * uint64_t{kRead}, kRead}));
}

TEST_F(PullStreamTest, PullsNothingAheadAtAnotherPlace) {
  read(kRead);
  read(kRead);
  pulls_.clear();
  seek(700'000);
  EXPECT_EQ(read(100), bytesAt(700'000, 100));
  EXPECT_THAT(pulls_, ElementsAre(Pull{700'000, 100}));
}

TEST_F(PullStreamTest, ReadsAgainWhatItStillHolds) {
  read(kRead);
  read(kRead);
  pulls_.clear();
  seek(kRead + 9);
  EXPECT_EQ(read(50), bytesAt(kRead + 9, 50));
  EXPECT_THAT(pulls_, IsEmpty());
}

TEST_F(PullStreamTest, PullsAgainWhatLiesBeforeWhatItHolds) {
  read(kRead);
  read(kRead);
  pulls_.clear();
  seek(kRead - 1);
  EXPECT_EQ(read(3), bytesAt(kRead - 1, 3));
  EXPECT_EQ(pulls_.front(), (Pull{kRead - 1, 3}));
}

TEST_F(PullStreamTest, PullsMoreThanItReadsAheadInOnePieceWhenThatIsAskedFor) {
  read(kRead);
  pulls_.clear();
  EXPECT_EQ(read(2 * kAhead), bytesAt(kRead, 2 * kAhead));
  EXPECT_THAT(pulls_, ElementsAre(Pull{kRead, 2 * kAhead}));
}

TEST_F(PullStreamTest, ReadsOnWhereTheSourceCutsAPull) {
  largestPull_ = 1000;
  EXPECT_EQ(read(2500), bytesAt(0, 2500));
}

TEST_F(PullStreamTest, ReadsOnThroughAllMemoriesOfABuffer) {
  memory_ = 100;
  EXPECT_EQ(read(2500), bytesAt(0, 2500));
  EXPECT_EQ(pulls_.size(), 1u);
}

TEST_F(PullStreamTest, TakesMoreThanItAskedForAsItComes) {
  more_ = 50;
  EXPECT_EQ(read(100), bytesAt(0, 100));
  EXPECT_EQ(read(100), bytesAt(100, 100));
}

TEST_F(PullStreamTest, EndsWhereTheSourceEnds) {
  length_ = kRead + 100;
  EXPECT_EQ(read(kRead).size(), kRead);
  EXPECT_EQ(read(kRead), bytesAt(kRead, 100));
  EXPECT_THAT(read(kRead), IsEmpty());
  seek(length_ + 5);
  EXPECT_THAT(read(1), IsEmpty());
}

TEST_F(PullStreamTest, ReadsWhatASourceHasGrownBy) {
  length_ = 100;
  EXPECT_EQ(read(kRead).size(), 100u);
  length_ = 300;
  EXPECT_EQ(read(kRead), bytesAt(100, 200));
}

TEST_F(PullStreamTest, IsCancelledByAFlush) {
  flow_ = GST_FLOW_FLUSHING;
  EXPECT_EQ(tryRead(kRead), TIOResult::cancelled);
}

TEST_F(PullStreamTest, IsCancelledByTheTokenWhereItHoldsTheBytes) {
  read(kRead);
  seek(0);
  token_.setFlushing(true);
  pulls_.clear();
  EXPECT_EQ(tryRead(kRead), TIOResult::cancelled);
  EXPECT_THAT(pulls_, IsEmpty());
}

TEST_F(PullStreamTest, TellsAFailedPullAndReadsOnAfterIt) {
  read(kRead);
  flow_ = GST_FLOW_ERROR;
  EXPECT_EQ(tryRead(kRead), kPullFailed);
  flow_ = GST_FLOW_OK;
  EXPECT_EQ(read(kRead), bytesAt(kRead, kRead));
}

}  // namespace
}  // namespace velagst
