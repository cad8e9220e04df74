// TrackRecord: all that is known about one track.
#pragma once
#include <cstdint>

#include "atomkit/core/tables/sample_tables.h"
#include "atomkit/meta/codec/sample_description.h"
#include "atomkit/meta/timing/timing_tables.h"

namespace atomkit {

struct TrackRecord {
  uint32_t mediaTimescale = 0;  ///< ticks per second ('mdhd')
  uint64_t mediaDuration = 0;   ///< ticks ('mdhd'); all ones when unknown
  SampleDescription description;
  TimingTables timing;
  SampleTables samples;
};

/// Ticks by which the first sample of an 'mp4a' track is shown late: its composition offset, but no
/// more than the media duration (compared as 32-bit values unless the duration needs more). 0 for
/// other kinds.
uint32_t leadingAudioOffset(const TrackRecord& record);

}  // namespace atomkit
