// Movie: the root object of the MP4 library. Parsed once, front to back; then only queried.
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
#include "atomkit/meta/timing/sample_cursor.h"
#include "atomkit/meta/timing/track_record.h"

namespace atomkit {

/// What a caller wants to know of a track in one go: twelve 32-bit words.
struct TrackSummary {
  uint32_t sampleRate = 0;  ///< Hz; the low 16 bits
  uint32_t channelCount = 0;
  uint32_t averageBitrate = 0;  ///< bits per second
  uint32_t sampleSize = 0;      ///< bits
  uint32_t timescale = 0;       ///< ticks per second
  uint32_t sampleCount = 0;
  uint32_t maximumBitrate = 0;      ///< bits per second
  uint32_t leadingAudioOffset = 0;  ///< ticks
  uint32_t width = 0;               ///< pixels
  uint32_t height = 0;              ///< pixels
  uint32_t durationLow = 0;         ///< ticks, low word
  uint32_t durationHigh = 0;        ///< ticks, high word; both all ones when unknown

  uint64_t duration() const noexcept { return uint64_t{durationHigh} << 32 | durationLow; }
};
static_assert(sizeof(TrackSummary) == 48);

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

/// How far the parse may read.
enum class ScanRange {
  upToMediaData,  ///< stop at 'mdat'; the movie box must come before it (a source that can't seek)
  wholeFile,
};

/// Where the tags, chapters and tracks of one file live. Every failure is an exception; a movie
/// whose parse threw is to be thrown away.
class Movie {
 public:
  Movie() = default;
  Movie(const Movie&) = delete;
  Movie& operator=(const Movie&) = delete;

  /// Reads the file and finishes the model.
  /// @param source  stands at the file's first byte; not used after the call
  /// @param sourceLength  bytes of the source, or kUnknownLength; guards the memory that declared
  ///        counts may claim
  /// @throws exception for a file that is not well formed; what the source throws
  void parse(ByteSource& source, ScanRange range, ParseOptions options,
             uint64_t sourceLength = kUnknownLength);

  uint32_t trackCount() const noexcept { return tracks_.count(); }

  // All track operations throw exception "array access out of range" for a track that isn't there.
  CodecKind codecKind(uint32_t track) const;
  /// objectTypeIndication (ISO/IEC 14496-1).
  uint32_t objectType(uint32_t track) const;
  /// Copies the decoder configuration into `config`.
  void decoderConfig(uint32_t track, ByteArray& config) const;
  void summary(uint32_t track, TrackSummary& summary) const;

  /// Sample that is decoded at `time` (ticks). @throws exception "frame out of range"
  SampleAtTime sampleAt(uint32_t track, uint64_t time) const;
  uint32_t nearestSyncSample(uint32_t track, uint32_t sample, Direction direction) const;

  /// Clears the cursor, binds it to `track` and puts it on sample 0.
  void open(SampleCursor& cursor, uint32_t track) const;
  /// Puts the cursor on `sample` of its track.
  void reposition(SampleCursor& cursor, uint32_t sample) const;
  /// @return false when the cursor stands on the last sample
  bool step(SampleCursor& cursor) const;
  /// Goes to `sample` in the cheapest way: not at all, by one step, or by a reposition.
  /// @throws exception "error advancing iterator"
  void move(SampleCursor& cursor, uint32_t sample) const;
  uint32_t sampleInfo(const SampleCursor& cursor, SampleInfo& info) const;

  uint32_t chapterCount() const noexcept { return chapters_.count(); }
  /// 100 ns. @throws exception "array access out of range"
  uint64_t chapterStart(uint32_t index) const;
  /// 100 ns: the start of the next chapter, or the movie's duration. Never throws for a large
  /// index.
  uint64_t chapterEnd(uint32_t index) const;
  /// @throws exception "array access out of range"
  const Chapter& chapter(uint32_t index) const;

  /// The movie's playing time in 100 ns.
  uint64_t duration() const noexcept { return duration_; }
  /// The tags of the whole file.
  const TagStore& tags() const noexcept { return tags_; }
  /// The cover picture of the item list, as it is stored; empty when there is none.
  const ByteArray& cover() const noexcept { return itemList_.cover; }
  /// Place and size of the movie box in the file, in bytes.
  uint64_t moovOffset() const noexcept { return moovOffset_; }
  uint64_t moovSize() const noexcept { return moovSize_; }
  /// Type of the last top-level box whose header was read, and the offset just behind it.
  FourCC lastTopLevelType() const noexcept { return lastTopLevelType_; }
  uint64_t scannedEnd() const noexcept { return scannedEnd_; }

 private:
  friend class MovieBoxHandler;
  friend class UserDataBoxHandler;

  void walkTopLevel(ByteStream& stream, ScanRange range);
  /// Derives tags, duration and chapters; a second call changes no chapter.
  void finish();
  /// Sets the duration. @return start of a file without chapter marks, in 100 ns
  uint64_t determineDuration();
  void buildMarkedChapters(const TagStore* tagSource);
  void mergeChapterTags();
  const TrackRecord& track(uint32_t index) const;

  ParseOptions options_ = 0;
  bool moovSeen_ = false;
  uint64_t moovOffset_ = 0;
  uint64_t moovSize_ = 0;
  FourCC lastTopLevelType_ = 0;
  uint64_t scannedEnd_ = 0;
  MovieHeader header_;
  // Appended one by one; a hostile file holds as many as there is room for empty boxes.
  GrowingArray<LazyHandle<TrackRecord>> tracks_;
  ObjectArray<Chapter> chapters_;
  TagStore tags_;
  uint64_t duration_ = 0;
  ItemListTags itemList_;
  ChapterMarks chapterMarks_;
  TaggingBox tagging_;
};

}  // namespace atomkit
