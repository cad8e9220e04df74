// A pipeline of the element with a film of two streams that stands ready to be sought in.
#pragma once
#include "tests/gst/support/pipeline.h"

namespace pipelines {

/// Both streams end in fakesinks that don't wait for a clock. The pads are linked anew each time
/// that they appear.
class Player {
 public:
  /// @throws std::runtime_error without the framework's own elements
  Player();

  Pipeline pipeline;
  Owned<GstElement> demuxer;
};

}  // namespace pipelines
