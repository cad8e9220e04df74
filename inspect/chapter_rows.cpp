#include "inspect/chapter_rows.h"

#include <fmt/format.h>

#include <algorithm>

#include "cli/text.h"
#include "host/text.h"

namespace inspect {

const RawChapterList* listThatIsRead(const std::vector<RawChapterList>& lists) {
  const RawChapterList* read = nullptr;
  for (const RawChapterList& list : lists) {
    if (list.isReadByLibrary) read = &list;
  }
  return read;
}

bool ChapterRow::isToldAsItIs() const {
  return raw && told && hundredNsClock(raw->start) == velahost::clockTime(told->start) &&
         cli::toUtf8(cli::toUtf16(raw->title)) == cli::toUtf8(told->title);
}

std::vector<ChapterRow> chapterRows(const RawChapterList* list,
                                    const velahost::FileReport* report) {
  const size_t inFile = list ? list->chapters.size() : 0;
  const size_t told = report ? report->whole.chapters.size() : 0;
  std::vector<ChapterRow> rows(std::max(inFile, told));
  for (size_t i = 0; i < inFile; ++i) rows[i].raw = list->chapters[i];
  for (size_t i = 0; i < told; ++i) rows[i].told = report->whole.chapters[i];
  return rows;
}

std::string hundredNsClock(uint64_t hundredNs) {
  constexpr uint64_t kPerMillisecond = 10'000;
  const uint64_t ms =
      hundredNs / kPerMillisecond + (hundredNs % kPerMillisecond >= kPerMillisecond / 2 ? 1 : 0);
  return fmt::format("{}:{:02}:{:02}.{:03}", ms / 3'600'000, ms / 60'000 % 60, ms / 1000 % 60,
                     ms % 1000);
}

}  // namespace inspect
