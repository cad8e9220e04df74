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

/// Ticks from the start of an 'mp4a' track to its first sample: the composition offset of that
/// sample, but no more than the media duration, both compared as unsigned 32-bit words unless the
/// duration needs more. 0 for other kinds.
uint32_t leadingAudioOffset(const TrackRecord& record);

}  // namespace atomkit
