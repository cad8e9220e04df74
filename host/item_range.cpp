#include "host/item_range.h"

#include <algorithm>

#include "host/failure.h"

namespace velahost {

FileParts partsOf(vela::IMediaSplitter& splitter, Token& token) {
  FileParts parts;
  parts.film = splitter.getItemId(0) == 0;
  parts.whole = describe(splitter, 0, token);
  const std::vector<ChapterMark>& marks = parts.whole.chapters;
  for (size_t i = 0; i < marks.size(); ++i) {
    Range range;
    if (parts.film) {
      range.fromKeyFrame = true;
      range.start = marks[i].start;
      if (i + 1 < marks.size()) range.end = std::max(marks[i].start, marks[i + 1].start);
    } else {
      range.itemId = static_cast<uint32_t>(i + 1);
    }
    parts.chapters.push_back(range);
  }
  return parts;
}

Range rangeOf(const FileParts& parts, uint32_t itemId) {
  if (itemId == 0) return Range{};
  if (itemId <= parts.chapters.size()) return parts.chapters[itemId - 1];
  throw Failure(ExitStatus::usage,
                "There is no item " + std::to_string(itemId) +
                    ". The items are 0 (the whole file) and " +
                    (parts.chapters.size() < 2
                         ? "1 (its first chapter)."
                         : "1 to " + std::to_string(parts.chapters.size()) + " (its chapters)."));
}

MediaInfoRecord tagsOf(vela::IMediaSplitter& splitter, const FileParts& parts, uint32_t itemId,
                       Token& token) {
  return describe(splitter, parts.film || itemId == 0 ? 1 : itemId, token);
}

}  // namespace velahost
