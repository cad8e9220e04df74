// The headers of a movie ('mvhd') and of a track's media ('mdhd'): timescales and durations.
#pragma once
#include <cstdint>

#include "atomkit/core/streams/byte_stream.h"

namespace atomkit {

struct MovieHeader {
  uint32_t timescale = 0;  ///< ticks per second
  uint32_t duration = 0;   ///< ticks
};

struct MediaHeader {
  uint32_t timescale = 0;  ///< ticks per second
  uint64_t duration = 0;   ///< ticks; all ones when unknown
};

/// Reads the payload of an 'mvhd' box. @throws exception (past end)
MovieHeader readMovieHeader(AtomReader& reader);

/// Reads the payload of an 'mdhd' box. @throws exception (past end)
MediaHeader readMediaHeader(AtomReader& reader);

}  // namespace atomkit
