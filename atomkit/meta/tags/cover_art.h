// The cover picture of the item list ('covr').
#pragma once
#include <cstdint>

#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/streams/byte_stream.h"

namespace atomkit {

/// Reads the picture of a 'covr' item into `cover`; of several, the last one wins.
/// @param payloadSize  bytes of the item's payload
/// @throws exception "cover art atom too big" above 8 MiB, leaving the cover as it was; box header
///         errors; past end; out of memory
void readCoverArt(ByteArray& cover, AtomReader& reader, uint64_t payloadSize);

}  // namespace atomkit
