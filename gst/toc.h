// Chapters as a table of contents of the framework.
#pragma once
#include <gst/gst.h>

#include <vector>

#include "gst/item_info.h"

namespace velagst {

/// A new table of contents of global scope, owned by the caller; null for a file with less than two
/// chapters, as a file without marks counts as one. Entries have the identifiers "chapter-1" and
/// up, their title as a tag, and the times of the file.
/// @param endNs  where the last chapter ends
GstToc* makeToc(const std::vector<ChapterMark>& chapters, uint64_t endNs);

/// Start of the chapter with an identifier of makeToc(), in ns. @return whether there is one
bool chapterStart(const std::vector<ChapterMark>& chapters, const char* uid, uint64_t& start);

}  // namespace velagst
