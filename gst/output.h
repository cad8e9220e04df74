// The stream that leaves through one source pad: its segment, its end, its first announcements.
#pragma once
#include <gst/gst.h>

#include <cstdint>

#include "gst/item_reader.h"

namespace velagst {

struct Output {
  GstPad* pad = nullptr;  ///< owned by the element
  StreamKind kind = StreamKind::none;
  bool told = false;         ///< tags and table of contents were pushed
  bool needsSegment = true;  ///< before the next buffer
  bool discont = true;       ///< the next buffer does not follow the one before it
  bool ended = false;
  uint32_t late = 0;  ///< video packets in a row that are shown at or after the stop
};

}  // namespace velagst
