// A pipeline of the element with a film of two streams that stands ready to be sought in.
#pragma once
#include <string>

#include "tests/gst/support/pipeline.h"

namespace pipelines {

/// Both streams end in fakesinks that don't wait for a clock. The pads are linked anew each time
/// that they appear.
class Player {
 public:
  /// @param film  one of the project's own files
  /// @throws std::runtime_error without the framework's own elements
  explicit Player(const std::string& film = "sample.mp4");

  Pipeline pipeline;
  Owned<GstElement> demuxer;
};

}  // namespace pipelines
