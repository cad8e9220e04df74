// What a host does not get of a file that opens, and why.
#pragma once
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "inspect/movie_map.h"
#include "inspect/opening.h"

namespace inspect {

struct Loss {
  const char* code;               ///< for scripts: "track_not_taken" and so on
  std::optional<uint32_t> track;  ///< that loses it, where it is one
  uint64_t count;                 ///< of what the sentence counts
  std::string text;               ///< a sentence without its full stop; made safe for a terminal
};

/// @param opening  of a file that was not refused
/// @param poll     called now and then; may throw to end a long look
std::vector<Loss> findLosses(File& file, const Opening& opening, const MovieMap& map,
                             const std::function<void()>& poll);

}  // namespace inspect
