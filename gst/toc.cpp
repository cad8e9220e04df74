#include "gst/toc.h"

#include <algorithm>
#include <string>

#include "gst/timeline.h"

namespace velagst {
namespace {

std::string uidOf(size_t index) { return "chapter-" + std::to_string(index + 1); }

}  // namespace

GstToc* makeToc(const std::vector<ChapterMark>& chapters, uint64_t endNs) {
  if (chapters.size() < 2) return nullptr;
  GstToc* const toc = gst_toc_new(GST_TOC_SCOPE_GLOBAL);
  for (size_t i = 0; i < chapters.size(); ++i) {
    GstTocEntry* const entry = gst_toc_entry_new(GST_TOC_ENTRY_TYPE_CHAPTER, uidOf(i).c_str());
    const uint64_t start = nsFromHostUnits(chapters[i].start);
    const bool last = i + 1 == chapters.size();
    const uint64_t stop = last ? endNs : nsFromHostUnits(chapters[i + 1].start);
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

bool chapterStart(const std::vector<ChapterMark>& chapters, const char* uid, uint64_t& startNs) {
  for (size_t i = 0; i < chapters.size(); ++i) {
    if (uidOf(i) != uid) continue;
    startNs = nsFromHostUnits(chapters[i].start);
    return true;
  }
  return false;
}

}  // namespace velagst
