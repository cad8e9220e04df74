#include "tests/gst/support/pipeline.h"

#include <algorithm>
#include <stdexcept>

namespace pipelines {
namespace {

GstClockTime inNs(std::chrono::milliseconds limit) {
  return static_cast<GstClockTime>(limit.count()) * GST_MSECOND;
}

std::string textOf(GstMessage* message, void (*parse)(GstMessage*, GError**, gchar**)) {
  GError* error = nullptr;
  gchar* debug = nullptr;
  parse(message, &error, &debug);
  const std::string text = error->message;
  g_error_free(error);
  g_free(debug);
  return text;
}

}  // namespace

std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
  switch (outcome.kind) {
    case Outcome::Kind::eos:
      return out << "end of stream";
    case Outcome::Kind::error:
      return out << "error: " << outcome.text;
    case Outcome::Kind::timeout:
      break;
  }
  return out << "no end in time";
}

Pipeline::Pipeline(const std::string& description) {
  GError* error = nullptr;
  pipeline_.reset(gst_parse_launch(description.c_str(), &error));
  if (error) {
    const std::string text = error->message;
    g_error_free(error);
    throw std::runtime_error(description + ": " + text);
  }
  gst_object_ref_sink(pipeline_.get());
}

Pipeline::~Pipeline() { gst_element_set_state(pipeline_.get(), GST_STATE_NULL); }

Owned<GstElement> Pipeline::element(const char* name) const {
  GstElement* const found = gst_bin_get_by_name(GST_BIN(pipeline_.get()), name);
  if (!found) throw std::runtime_error(std::string("no element ") + name);
  return Owned<GstElement>(found);
}

void Pipeline::setState(GstState state) { gst_element_set_state(pipeline_.get(), state); }

bool Pipeline::waitForState(std::chrono::milliseconds limit) {
  return gst_element_get_state(pipeline_.get(), nullptr, nullptr, inNs(limit)) ==
         GST_STATE_CHANGE_SUCCESS;
}

GstMessage* Pipeline::waitForMessage(GstMessageType types, std::chrono::milliseconds limit) {
  GstBus* const bus = gst_element_get_bus(pipeline_.get());
  GstMessage* const message = gst_bus_timed_pop_filtered(bus, inNs(limit), types);
  gst_object_unref(bus);
  return message;
}

Outcome Pipeline::waitForEnd(std::chrono::milliseconds limit) {
  constexpr auto kAwaited =
      static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR | GST_MESSAGE_INFO);
  const auto end = std::chrono::steady_clock::now() + limit;
  Outcome outcome;
  for (;;) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
        end - std::chrono::steady_clock::now());
    GstMessage* const message =
        waitForMessage(kAwaited, std::max(left, std::chrono::milliseconds(0)));
    if (!message) return outcome;
    const GstMessageType type = GST_MESSAGE_TYPE(message);
    if (type == GST_MESSAGE_INFO) {
      outcome.infos.push_back(textOf(message, gst_message_parse_info));
    } else if (type == GST_MESSAGE_ERROR) {
      outcome.kind = Outcome::Kind::error;
      outcome.text = textOf(message, gst_message_parse_error);
    } else {
      outcome.kind = Outcome::Kind::eos;
    }
    gst_message_unref(message);
    if (type != GST_MESSAGE_INFO) return outcome;
  }
}

bool Pipeline::seek(double rate, GstSeekFlags flags, int64_t start, int64_t stop) {
  const GstSeekType stopType = stop < 0 ? GST_SEEK_TYPE_NONE : GST_SEEK_TYPE_SET;
  return gst_element_seek(pipeline_.get(), rate, GST_FORMAT_TIME, flags, GST_SEEK_TYPE_SET, start,
                          stopType, stop);
}

int64_t Pipeline::query(gboolean (*ask)(GstElement*, GstFormat, gint64*)) {
  gint64 value = -1;
  return ask(pipeline_.get(), GST_FORMAT_TIME, &value) ? value : -1;
}

// After an error no end may follow, so the bus is looked at while nothing comes.
Sample pull(GstElement* appsink, std::chrono::milliseconds limit) {
  constexpr std::chrono::milliseconds kSlice(50);
  auto* const pipeline = GST_ELEMENT(gst_object_get_parent(GST_OBJECT(appsink)));
  GstBus* const bus = gst_element_get_bus(pipeline);
  gst_object_unref(pipeline);
  Sample sample;
  for (auto waited = std::chrono::milliseconds(0); waited < limit && !sample; waited += kSlice) {
    sample.reset(gst_app_sink_try_pull_sample(GST_APP_SINK(appsink), inNs(kSlice)));
    if (sample || gst_app_sink_is_eos(GST_APP_SINK(appsink))) break;
    if (GstMessage* const message = gst_bus_pop_filtered(bus, GST_MESSAGE_ERROR)) {
      gst_message_unref(message);
      break;
    }
  }
  gst_object_unref(bus);
  return sample;
}

std::string quoted(const std::string& path) { return "\"" + path + "\""; }

std::string source(const std::string& file, const std::string& demuxer) {
  return "filesrc location=" + quoted(file) + " ! " + demuxer + " name=d";
}

}  // namespace pipelines
