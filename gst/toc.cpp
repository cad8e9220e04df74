#include "gst/toc.h"

#include <algorithm>
#include <string>

#include "gst/timeline.h"

namespace velagst {
namespace {

std::string uidOf(size_t index) { return "chapter-" + std::to_string(index + 1); }

// The splitter keeps chapters in units of 100 ns, and rounds these to host units of 60 ns.
uint64_t startNs(const ChapterMark& mark) {
  constexpr uint64_t kStep = 100;
  return (nsFromHostUnits(mark.start) + kStep / 2) / kStep * kStep;
}

}  // namespace

GstToc* makeToc(const std::vector<ChapterMark>& chapters, uint64_t endNs) {
  if (chapters.size() < 2) return nullptr;
  GstToc* const toc = gst_toc_new(GST_TOC_SCOPE_GLOBAL);
  for (size_t i = 0; i < chapters.size(); ++i) {
    GstTocEntry* const entry = gst_toc_entry_new(GST_TOC_ENTRY_TYPE_CHAPTER, uidOf(i).c_str());
    const uint64_t start = startNs(chapters[i]);
    const bool last = i + 1 == chapters.size();
    const uint64_t stop = last ? endNs : startNs(chapters[i + 1]);
    gst_toc_entry_set_start_stop_times(entry, static_cast<gint64>(start),
                                       static_cast<gint64>(std::max(start, stop)));
    if (!chapters[i].title.empty()) {
      GstTagList* const tags = gst_tag_list_new_empty();
      gst_tag_list_add(tags, GST_TAG_MERGE_REPLACE, GST_TAG_TITLE, chapters[i].title.c_str(),
                       nullptr);
      gst_toc_entry_set_tags(entry, tags);
    }
    gst_toc_append_entry(toc, entry);
  }
  return toc;
}

bool chapterStart(const std::vector<ChapterMark>& chapters, const char* uid, uint64_t& start) {
  for (size_t i = 0; i < chapters.size(); ++i) {
    if (uidOf(i) != uid) continue;
    start = startNs(chapters[i]);
    return true;
  }
  return false;
}

}  // namespace velagst
