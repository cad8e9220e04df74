// Finishing the model after the walk: the movie's tags, its duration, and its final chapter list.
#include "atomkit/core/movie/hundred_ns.h"
#include "atomkit/core/movie/movie_model.h"
#include "atomkit/meta/tags/decimal_text.h"

namespace atomkit {
namespace {

bool lacks(const TagStore& tags, const char* name) { return tags.find(name) == TagStore::kNoTag; }

// Sets the duration. Returns the start of a file without chapter marks, in 100 ns.
uint64_t determineDuration(MovieModel& model) {
  uint32_t audioTracks = 0;
  bool videoPresent = false;
  uint64_t start = 0;
  uint64_t end = 0;
  for (uint32_t i = 0; i < model.tracks.count(); ++i) {
    const TrackRecord* const record = model.tracks[i].peek();
    if (!record) continue;  // a track of which the file says nothing
    if (isAudio(record->description.codecKind)) {
      ++audioTracks;
      start = toHundredNs(leadingAudioOffset(*record), record->mediaTimescale);
      end = toHundredNs(record->mediaDuration, record->mediaTimescale);
    } else if (isVideo(record->description.codecKind)) {
      videoPresent = true;
    }
  }
  // A single audio track governs: its own header is exact, the movie's is rounded to coarser ticks.
  if (!videoPresent && audioTracks == 1 && start < end) {
    model.duration = end;
    return start;
  }
  // DELIBERATE D-207: the 32-bit duration counts as signed here, so that one with the top bit set
  // wraps to a very large time.
  const int64_t duration = static_cast<int32_t>(model.header.duration);
  model.duration = toHundredNs(static_cast<uint64_t>(duration), model.header.timescale);
  return 0;
}

// A chapter takes the first segment that bears its number; that segment is used up. One walk over
// the segments serves all chapters, however many of either a file has.
void mergeChapterTags(MovieModel& model) {
  bool served[kMaxChapters] = {};
  auto* segment = model.tagging.segments.first();
  while (segment) {
    auto* const next = segment->next;
    const uint32_t chapter = segment->key;
    if (chapter < model.chapters.count() && !served[chapter]) {
      served[chapter] = true;
      model.chapters[chapter].tags.merge(segment->payload);
      model.tagging.segments.remove(*segment);
    }
    segment = next;
  }
}

void buildMarkedChapters(MovieModel& model, const TagStore* tagSource) {
  const uint32_t count = model.chapterMarks.count();
  model.chapters.resize(count);
  for (uint32_t i = 0; i < count; ++i) {
    Chapter& chapter = model.chapters[i];
    chapter.start = model.chapterMarks[i].start;
    if (tagSource) chapter.tags.copyFrom(*tagSource);
  }
  mergeChapterTags(model);
  for (uint32_t i = 0; i < count; ++i) {
    const ChapterEntry& mark = model.chapterMarks[i];
    Chapter& chapter = model.chapters[i];
    // DELIBERATE D-213: a title that the tags give the whole file hides the names of its marks.
    if (!mark.title.empty() && lacks(chapter.tags, "title")) {
      chapter.tags.set("title", mark.title, TagFlag::extensible);
    }
    if (count > 1 && !model.tagging.seen && lacks(chapter.tags, "track")) {
      chapter.tags.set("track", makeDecimalText(i + 1), TagFlag::extensible);
    }
  }
}

}  // namespace

void finish(MovieModel& model) {
  // The two tag formats are never merged: a writer that knows the tagging box repeats in it what
  // the item list says.
  const TagStore* tagSource = nullptr;
  if (model.tagging.seen) {
    tagSource = &model.tagging.fields;
  } else if (model.itemList.seen) {
    tagSource = &model.itemList.tags;
  }
  if (tagSource) model.tags.copyFrom(*tagSource);

  if (model.chapters.count() != 0) return;  // finished before

  const uint64_t start = determineDuration(model);
  if (model.chapterMarks.count() != 0) {
    buildMarkedChapters(model, tagSource);
  } else {
    model.chapters.resize(1);
    if (tagSource) model.chapters[0].tags.copyFrom(*tagSource);
    model.chapters[0].start = start;
  }
}

}  // namespace atomkit
