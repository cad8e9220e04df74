// The sample tables of a track read in the plainest way, every sample by itself: what the packets
// of the plug-in are compared with. Shares no code with it.
#pragma once
#include <cstdint>
#include <string_view>
#include <vector>

namespace plain {

struct Sample {
  uint32_t size;         ///< bytes
  uint64_t offset;       ///< bytes from the start of the file
  uint64_t decode;       ///< ticks
  int64_t presentation;  ///< ticks
  bool sync;
};

/// The samples of the movie box's zero-based track, up to the last one that a chunk holds.
/// @pre the file is well formed
std::vector<Sample> samplesOf(std::string_view file, uint32_t track);

}  // namespace plain
