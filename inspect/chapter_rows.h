// The chapters of a file beside what the plug-in tells of them.
#pragma once
#include <optional>
#include <string>
#include <vector>

#include "inspect/plugin_view.h"
#include "inspect/raw_chapters.h"

namespace inspect {

/// The list that the library takes its chapters from: the last one of the movie's user data that
/// it can read and that is not empty. @return null when there is none
const RawChapterList* listThatIsRead(const std::vector<RawChapterList>& lists);

/// One chapter, in the file and as it is told; either may be missing.
struct ChapterRow {
  std::optional<RawChapter> raw;
  std::optional<velahost::ChapterMark> told;

  /// The same chapter, to the millisecond.
  bool isToldAsItIs() const;
};

/// @param list    null when there is none
/// @param report  null when the plug-in tells nothing
std::vector<ChapterRow> chapterRows(const RawChapterList* list, const velahost::FileReport* report);

/// Times as h:mm:ss.mmm, rounded to the nearest millisecond.
std::string hundredNsClock(uint64_t hundredNs);

}  // namespace inspect
