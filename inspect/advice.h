// What a refusal means, and what can be done about it.
#pragma once
#include <string>

#include "inspect/movie_map.h"
#include "inspect/opening.h"

namespace inspect {

struct Advice {
  std::string meaning;  ///< the rule in plain words, about this file
  std::string remedy;   ///< what a user can do
};

/// What a track is that the plug-in does not play: "hvc1", "mp4a of object type 0x6c".
std::string unplayableKind(const TrackMap& track);

Advice adviceFor(const Refusal& refusal, const File& file, const MovieMap& map);

}  // namespace inspect
