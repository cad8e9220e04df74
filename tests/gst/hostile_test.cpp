// Damaged files: an error message or an end within two seconds, never a hang or a crash.
//
// VELA_GST_CHANGED_COPIES=2000 makes the run longer.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>

#include "tests/gst/support/media.h"
#include "tests/gst/support/pipeline.h"

namespace {

using namespace pipelines;
using std::chrono::milliseconds;

constexpr milliseconds kLimit(2000);

void linkToSink(GstElement*, GstPad* pad, gpointer pipeline) {
  auto* const bin = GST_BIN(static_cast<GstElement*>(pipeline));
  GstElement* const queue = gst_element_factory_make("queue", nullptr);
  GstElement* const sink = gst_element_factory_make("fakesink", nullptr);
  g_object_set(queue, "max-size-buffers", 0u, "max-size-bytes", 0u, "max-size-time",
               guint64{4000000000}, nullptr);
  g_object_set(sink, "sync", FALSE, "async", FALSE, nullptr);
  gst_bin_add_many(bin, queue, sink, nullptr);
  gst_element_link(queue, sink);
  gst_element_sync_state_with_parent(sink);
  gst_element_sync_state_with_parent(queue);
  GstPad* const input = gst_element_get_static_pad(queue, "sink");
  gst_pad_link(pad, input);
  gst_object_unref(input);
}

/// Plays whatever the file still has.
Outcome play(const std::string& file) {
  Pipeline pipeline(source(file));
  const auto demuxer = pipeline.element("d");
  g_signal_connect(demuxer.get(), "pad-added", G_CALLBACK(linkToSink), pipeline.get());
  pipeline.setState(GST_STATE_PLAYING);
  return pipeline.waitForEnd(kLimit);
}

class BrokenFiles : public testing::TestWithParam<media::File> {};

TEST_P(BrokenFiles, EndInAnErrorWithASentence) {
  SKIP_WITHOUT_CORPUS(GetParam());
  const Outcome outcome = play(GetParam().path().string());
  EXPECT_EQ(outcome.kind, Outcome::Kind::error) << outcome;
  EXPECT_GT(outcome.text.size(), 20u) << outcome;
}

INSTANTIATE_TEST_SUITE_P(Files, BrokenFiles, testing::ValuesIn(media::brokenFiles()),
                         media::caseName);

std::string read(const std::string& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

/// Where the movie box lies: changes there do most.
std::pair<size_t, size_t> movieBox(const std::string& bytes) {
  const size_t type = bytes.find("moov");
  size_t size = 0;
  for (size_t i = 0; i < 4; ++i) size = size << 8 | static_cast<uint8_t>(bytes[type - 4 + i]);
  return {type - 4, size};
}

void change(std::string& bytes, std::mt19937& random) {
  const auto [begin, size] = movieBox(bytes);
  switch (random() % 8) {
    case 0:
      bytes.resize(random() % bytes.size());
      break;
    case 1:  // anywhere, the media data included
      for (int i = 0; i < 20; ++i) bytes[random() % bytes.size()] = static_cast<char>(random());
      break;
    default: {
      const auto changes = 1 + random() % 6;
      for (auto left = changes; left > 0; --left) {
        const char values[] = {0, 1, '\x7f', '\xff', static_cast<char>(random())};
        bytes[begin + random() % size] = values[random() % sizeof values];
      }
    }
  }
}

TEST(ChangedCopies, EndInTime) {
  const char* const wanted = std::getenv("VELA_GST_CHANGED_COPIES");
  const int copies = wanted ? std::atoi(wanted) : 200;
  const media::ScratchFolder scratch;
  const std::string copy = (scratch / "changed.mp4").string();
  const char* const seeds[] = {"sample.mp4", "audiobook.m4a", "asp-mp3.mp4", "mp3-only.mp4",
                               "h264-only.mp4"};
  std::vector<std::string> originals;
  for (const char* seed : seeds) originals.push_back(read(media::File{seed}.path().string()));
  std::mt19937 random(41);
  int errors = 0, ends = 0;
  for (int i = 0; i < copies; ++i) {
    std::string bytes = originals[static_cast<size_t>(i) % originals.size()];
    change(bytes, random);
    std::ofstream(copy, std::ios::binary) << bytes;
    const Outcome outcome = play(copy);
    (outcome.kind == Outcome::Kind::eos ? ends : errors) += 1;
    ASSERT_NE(outcome.kind, Outcome::Kind::timeout) << "copy " << i;
  }
  std::printf("%d copies: %d errors, %d ends\n", copies, errors, ends);
  EXPECT_GT(errors, 0);
  EXPECT_GT(ends, 0);
}

}  // namespace
