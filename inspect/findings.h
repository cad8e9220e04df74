// What is wrong with the structure of a file, whoever plays it.
#pragma once
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "inspect/movie_map.h"

namespace inspect {

enum class Severity {
  note,     ///< unusual, and harmless
  warning,  ///< costs a player something: seeks, a wrong length, a sample without a time
  error,    ///< data is lost or wrong
};
const char* name(Severity severity);

struct Finding {
  Severity severity;
  const char* code;               ///< for scripts: "overlap" and so on
  std::optional<uint32_t> track;  ///< where it is one track's
  uint64_t count;                 ///< of what the text counts
  std::string text;               ///< a sentence without its full stop
};

/// A packet that does not follow the one read before.
struct Jump {
  double seconds = 0;  ///< when it is shown
  uint64_t from = 0;   ///< bytes from the file's start, past the packet before
  uint64_t to = 0;
};

/// How the samples of the played tracks lie, and what playing them from a file costs.
struct Interleaving {
  uint64_t packets = 0;            ///< that were looked at
  uint64_t jumps = 0;              ///< packets that don't follow the one read before
  std::vector<Jump> firstJumps;    ///< at most kMostJumpsKept
  uint64_t largestJumpBytes = 0;   ///< between the end of a packet and the next one read
  uint64_t jumpedBytes = 0;        ///< in all
  double largestLeadSeconds = 0;   ///< by which one track is ahead of the other in the file
  uint64_t largestLeadOffset = 0;  ///< where in the file
};

/// Looks at the headers and the sample tables of all tracks. Memory: a few words for each chunk.
/// @param poll  called now and then; may throw to end a long look
std::vector<Finding> findFaults(File& file, const MovieMap& map, const std::function<void()>& poll);

/// Follows the order in which the plug-in reads: that of the file, unless one track is 1.75 s
/// ahead.
/// @param audio, video  at least one of them
Interleaving measureInterleaving(File& file, const TrackMap* audio, const TrackMap* video,
                                 const std::function<void()>& poll);

inline constexpr size_t kMostJumpsKept = 2000;

/// How far a track may be ahead in the file before a host has to seek, in seconds.
inline constexpr double kTolerableLead = 1.75;

}  // namespace inspect
