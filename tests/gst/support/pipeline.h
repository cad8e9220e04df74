// Pipelines of the tests, each with a time limit for everything that it does.
#pragma once
#include <gst/app/gstappsink.h>
#include <gst/gst.h>

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace pipelines {

struct Unref {
  void operator()(gpointer object) const { gst_object_unref(object); }
};
template <class Object>
using Owned = std::unique_ptr<Object, Unref>;

struct UnrefSample {
  void operator()(GstSample* sample) const { gst_sample_unref(sample); }
};
using Sample = std::unique_ptr<GstSample, UnrefSample>;

/// How a pipeline came to its end.
struct Outcome {
  enum class Kind { eos, error, timeout } kind = Kind::timeout;
  std::string text;                ///< of the error
  std::vector<std::string> infos;  ///< info messages that were posted
};
std::ostream& operator<<(std::ostream& out, const Outcome& outcome);

/// A pipeline out of a description as gst-launch takes it. Stopped with the object.
class Pipeline {
 public:
  /// @throws std::runtime_error for a description that can't be made
  explicit Pipeline(const std::string& description);
  ~Pipeline();

  Owned<GstElement> element(const char* name) const;
  GstElement* get() const { return pipeline_.get(); }

  void setState(GstState state);
  /// Waits for a change of state to end. @return whether it ended well and in time
  bool waitForState(std::chrono::milliseconds limit = std::chrono::seconds(10));
  /// Waits for the end or an error.
  Outcome waitForEnd(std::chrono::milliseconds limit = std::chrono::seconds(10));
  /// The next message of these types, or null. The caller unrefs it.
  GstMessage* waitForMessage(GstMessageType types, std::chrono::milliseconds limit);

  bool seek(double rate, GstSeekFlags flags, int64_t start, int64_t stop = -1);
  int64_t query(gboolean (*ask)(GstElement*, GstFormat, gint64*));

 private:
  Owned<GstElement> pipeline_;
};

/// The next sample of an appsink; null at its end or when the time is up.
Sample pull(GstElement* appsink, std::chrono::milliseconds limit = std::chrono::seconds(10));

std::string quoted(const std::string& path);

/// A queue that holds as much as the splitter's order of the file may ask for: up to 1.75 s of one
/// stream come before the other one.
inline constexpr char kQueue[] =
    " ! queue max-size-time=4000000000 max-size-buffers=0 max-size-bytes=0 ! ";
/// The end of a decoder's branch: frames with the values of their channels side by side.
inline constexpr char kSoundSink[] =
    " ! audioconvert ! audio/x-raw, layout=interleaved ! appsink sync=false name=";

/// filesrc and the element under test, or another demuxer: "filesrc ... ! velademux name=d".
std::string source(const std::string& file, const std::string& demuxer = "velademux");

}  // namespace pipelines
