// Finishing the model after the walk: the movie's tags, its duration, and its final chapter list.
#include "atomkit/core/movie/hundred_ns.h"
#include "atomkit/core/movie/movie.h"
#include "atomkit/meta/tags/decimal_text.h"

namespace atomkit {
namespace {

bool lacks(const TagStore& tags, const char* name) { return tags.find(name) == TagStore::kNoTag; }

}  // namespace

void Movie::finish() {
  // The two tag formats are never merged: a writer that knows the tagging box repeats in it what
  // the item list says.
  const TagStore* tagSource = nullptr;
  if (tagging_.seen) {
    tagSource = &tagging_.fields;
  } else if (itemList_.seen) {
    tagSource = &itemList_.tags;
  }
  if (tagSource) tags_.copyFrom(*tagSource);

  if (chapters_.count() != 0) return;  // finished before

  const uint64_t start = determineDuration();
  if (chapterMarks_.count() != 0) {
    buildMarkedChapters(tagSource);
  } else {
    chapters_.resize(1);
    if (tagSource) chapters_[0].tags.copyFrom(*tagSource);
    chapters_[0].start = start;
  }
}

uint64_t Movie::determineDuration() {
  uint32_t audioTracks = 0;
  bool videoPresent = false;
  uint64_t start = 0;
  uint64_t end = 0;
  for (uint32_t i = 0; i < tracks_.count(); ++i) {
    const TrackRecord& record = track(i);
    if (isAudio(record.description.codecKind)) {
      ++audioTracks;
      start = toHundredNs(leadingAudioOffset(record), record.mediaTimescale);
      end = toHundredNs(record.mediaDuration, record.mediaTimescale);
    } else if (isVideo(record.description.codecKind)) {
      videoPresent = true;
    }
  }
  // A single audio track governs: its own header is exact, the movie's is rounded to coarser ticks.
  if (!videoPresent && audioTracks == 1 && start < end) {
    duration_ = end;
    return start;
  }
  // DELIBERATE D-207: the 32-bit duration counts as signed here, so that one with the top bit set
  // wraps to a very large time.
  const int64_t duration = static_cast<int32_t>(header_.duration);
  duration_ = toHundredNs(static_cast<uint64_t>(duration), header_.timescale);
  return 0;
}

void Movie::buildMarkedChapters(const TagStore* tagSource) {
  const uint32_t count = chapterMarks_.count();
  chapters_.resize(count);
  for (uint32_t i = 0; i < count; ++i) {
    Chapter& chapter = chapters_[i];
    chapter.start = chapterMarks_[i].start;
    if (tagSource) chapter.tags.copyFrom(*tagSource);
  }
  mergeChapterTags();
  for (uint32_t i = 0; i < count; ++i) {
    const ChapterEntry& mark = chapterMarks_[i];
    Chapter& chapter = chapters_[i];
    if (mark.title && !mark.title->empty() && lacks(chapter.tags, "title")) {
      chapter.tags.set("title", mark.title, TagFlag::extensible);
    }
    if (count > 1 && !tagging_.seen && lacks(chapter.tags, "track")) {
      chapter.tags.set("track", makeDecimalText(i + 1), TagFlag::extensible);
    }
  }
}

// A chapter takes the first segment that bears its number; that segment is used up. One walk over
// the segments serves all chapters, however many of either a file has.
void Movie::mergeChapterTags() {
  bool served[kMaxChapters] = {};
  auto* segment = tagging_.segments.first();
  while (segment) {
    auto* const next = segment->next;
    const uint32_t chapter = segment->key;
    if (chapter < chapters_.count() && !served[chapter]) {
      served[chapter] = true;
      chapters_[chapter].tags.merge(segment->payload);
      tagging_.segments.remove(*segment);
    }
    segment = next;
  }
}

}  // namespace atomkit
