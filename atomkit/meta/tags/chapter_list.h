// The flat chapter list of a movie's user data ('chpl').
#pragma once
#include <cstdint>

#include "atomkit/core/containers/object_array.h"
#include "atomkit/core/containers/shared_string.h"
#include "atomkit/core/streams/byte_stream.h"

namespace atomkit {

/// Most chapters that the list of a file may have.
inline constexpr uint32_t kMaxChapters = 1024;

/// One mark of the list.
struct ChapterEntry {
  uint64_t start = 0;  ///< 100 ns
  SharedString title;  ///< bytes as in the file
};

using ChapterMarks = ObjectArray<ChapterEntry>;

/// Reads the payload of a 'chpl' box into `marks`. A box of a version other than 0 and 1, or with a
/// count of 0, leaves them as they were.
/// @throws exception "invalid chapter count" above kMaxChapters, before anything is stored; past
///         end; out of memory
void readChapterList(ChapterMarks& marks, AtomReader& reader);

}  // namespace atomkit
