// Which part of a file an item identifier or a chapter stands for.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "host/range_reader.h"
#include "host/splitter_file.h"

namespace velahost {

/// What can be cut out of a file.
struct FileParts {
  bool film = false;            ///< has video: its chapters are parts of item 0
  MediaInfoRecord whole;        ///< duration, record and chapters
  std::vector<Range> chapters;  ///< one for each chapter, in order
};

/// @throws Failure
FileParts partsOf(vela::IMediaSplitter& splitter, Token& token);

/// The part with an identifier: 0 is the whole file, n its chapter n.
/// @throws Failure (usage) when there is no such chapter
Range rangeOf(const FileParts& parts, uint32_t itemId);

/// The tags of a part: a film's are those of its first chapter. @throws Failure
MediaInfoRecord tagsOf(vela::IMediaSplitter& splitter, const FileParts& parts, uint32_t itemId,
                       Token& token);

}  // namespace velahost
