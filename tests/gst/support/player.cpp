#include "tests/gst/support/player.h"

#include "tests/gst/support/media.h"

namespace pipelines {
namespace {

std::string branch(const char* pad) {
  return std::string(" queue max-size-time=4000000000 name=") + pad + " ! fakesink sync=false";
}

std::string description(const std::string& film) {
  return source(media::File{film}.path().string()) + branch("video_0") + branch("audio_0");
}

void link(GstElement*, GstPad* pad, gpointer pipeline) {
  GstElement* const queue = gst_bin_get_by_name(GST_BIN(pipeline), GST_PAD_NAME(pad));
  GstPad* const sink = gst_element_get_static_pad(queue, "sink");
  gst_pad_link(pad, sink);
  gst_object_unref(sink);
  gst_object_unref(queue);
}

}  // namespace

Player::Player(const std::string& film)
    : pipeline(description(film)), demuxer(pipeline.element("d")) {
  g_signal_connect(demuxer.get(), "pad-added", G_CALLBACK(link), pipeline.get());
}

}  // namespace pipelines
