// The flat chapter list of a movie's user data ('chpl').
#pragma once
#include <cstdint>

#include "atomkit/core/containers/object_array.h"
#include "atomkit/core/containers/owned_string.h"
#include "atomkit/core/streams/byte_stream.h"

namespace atomkit {

/// Most chapters that a list may have.
inline constexpr uint32_t kMaxChapters = 1024;

struct ChapterEntry {
  uint64_t start = 0;  ///< 100 ns
  SharedString title;  ///< bytes as in the file; empty handle until read
};

using ChapterMarks = ObjectArray<ChapterEntry>;

/// Reads the payload of a 'chpl' box into `marks`. A version other than 0 or 1 and a count of 0
/// leave them as they were.
/// @throws exception "invalid chapter count" above 1024 chapters, before anything is stored; past
///         end; out of memory
void readChapterList(ChapterMarks& marks, AtomReader& reader);

}  // namespace atomkit
