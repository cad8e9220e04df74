// MovieModel: what a parse collects about one file, and what it derives from that in the end.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/growing_array.h"
#include "atomkit/core/containers/object_array.h"
#include "atomkit/core/containers/shared.h"
#include "atomkit/core/movie/header_boxes.h"
#include "atomkit/core/streams/fourcc.h"
#include "atomkit/core/streams/parse_options.h"
#include "atomkit/meta/tags/chapter_list.h"
#include "atomkit/meta/tags/item_list.h"
#include "atomkit/meta/tags/tag_store.h"
#include "atomkit/meta/tags/tagging_box.h"
#include "atomkit/meta/timing/track_record.h"

namespace atomkit {

/// A chapter ends where the next begins; the last one ends at the movie's duration.
struct Chapter {
  Chapter() = default;
  Chapter& operator=(const Chapter& other) {
    tags.copyFrom(other.tags);
    start = other.start;
    return *this;
  }

  TagStore tags;
  uint64_t start = 0;  ///< 100 ns
};

/// Plain data: the box handlers fill it, Movie answers from it. The order of the fields is fixed.
struct MovieModel {
  ParseOptions options = 0;
  bool moovSeen = false;
  uint64_t moovOffset = 0;  ///< file offset of the 'moov' box, in bytes
  uint64_t moovSize = 0;    ///< bytes, header included
  FourCC lastTopLevelType = 0;
  uint64_t scannedEnd = 0;  ///< file offset past the last top-level box that was met
  MovieHeader header;
  // The record of a track is made when a box fills it.
  // DELIBERATE D-212: the list grows with spare room, unlike the arrays that are sized from a
  // count. A hostile file may hold as many tracks as it has room for empty boxes.
  GrowingArray<LazyHandle<TrackRecord>> tracks;
  ObjectArray<Chapter> chapters;  ///< derived by finish()
  TagStore tags;                  ///< of the whole file; derived by finish()
  uint64_t duration = 0;          ///< 100 ns; derived by finish()
  ItemListTags itemList;
  ChapterMarks chapterMarks;
  TaggingBox tagging;
};

/// Derives the tags, the duration and the chapters from what the parse has collected. A model that
/// has chapters keeps them and its duration.
/// @throws exception (out of memory)
void finish(MovieModel& model);

}  // namespace atomkit
