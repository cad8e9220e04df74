// Movie: the root object of the MP4 library. Parsed once, front to back, and then only queried.
#pragma once
#include <cstdint>

#include "atomkit/core/movie/movie_model.h"
#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/meta/timing/sample_cursor.h"

namespace atomkit {

/// A track in twelve 32-bit words.
struct TrackSummary {
  uint32_t sampleRate = 0;  ///< Hz; 16 bits in the file
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

/// How far the parse may read.
enum class ScanRange {
  upToMediaData,  ///< stop at 'mdat'; the movie box must come before it (a source that can't seek)
  wholeFile,
};

/// The tags, chapters and tracks of one file. Every failure is an exception; a movie whose parse
/// threw must be thrown away.
class Movie {
 public:
  Movie() = default;
  Movie(const Movie&) = delete;
  Movie& operator=(const Movie&) = delete;

  /// Reads the file and finishes the model.
  /// @param source  stands at the file's first byte; not used after the call
  /// @param sourceLength  bytes of the source, or kUnknownLength; guards the memory that declared
  ///        counts may claim
  /// @param windows  windows of the source; null for a source that lends none
  /// @throws exception for a file that is not well formed; what the source throws
  void parse(ByteSource& source, ScanRange range, ParseOptions options,
             uint64_t sourceLength = kUnknownLength, WindowLender* windows = nullptr);

  uint32_t trackCount() const noexcept { return model_.tracks.count(); }

  // All track operations throw exception "array access out of range" for a track that is not there.
  CodecKind codecKind(uint32_t track) const;
  /// objectTypeIndication (ISO/IEC 14496-1).
  uint32_t objectType(uint32_t track) const;
  /// Copies the decoder configuration into `config`.
  void decoderConfig(uint32_t track, DecoderConfig& config) const;
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
  /// @throws exception "error advancing iterator" when the step finds no next sample
  void move(SampleCursor& cursor, uint32_t sample) const;
  /// move() and sampleInfo().
  uint32_t moveAndDescribe(SampleCursor& cursor, uint32_t sample, SampleInfo& info) const;
  /// Describes the cursor's sample. @return its size in bytes
  uint32_t sampleInfo(const SampleCursor& cursor, SampleInfo& info) const;

  uint32_t chapterCount() const noexcept { return model_.chapters.count(); }
  /// 100 ns. @throws exception "array access out of range"
  uint64_t chapterStart(uint32_t index) const;
  /// 100 ns: the start of the next chapter, or the movie's duration; never throws.
  uint64_t chapterEnd(uint32_t index) const;
  /// @throws exception "array access out of range"
  const Chapter& chapter(uint32_t index) const;

  /// The movie's playing time in 100 ns.
  uint64_t duration() const noexcept { return model_.duration; }
  /// The tags of the whole file.
  const TagStore& tags() const noexcept { return model_.tags; }
  /// The cover pictures of the item list and of the tagging box, as they are stored; empty when
  /// there is none. The two are never merged, and neither hides the other.
  const ByteArray& itemListCover() const noexcept { return model_.itemList.cover; }
  const ByteArray& taggingCover() const noexcept { return model_.tagging.cover; }
  /// Place and size of the movie box in the file, in bytes.
  uint64_t moovOffset() const noexcept { return model_.moovOffset; }
  uint64_t moovSize() const noexcept { return model_.moovSize; }
  /// Type of the last top-level box whose header was read, and the offset just past it.
  FourCC lastTopLevelType() const noexcept { return model_.lastTopLevelType; }
  uint64_t scannedEnd() const noexcept { return model_.scannedEnd; }

 private:
  void walkTopLevel(ByteStream& stream, ScanRange range);
  const TrackRecord& track(uint32_t index) const;

  MovieModel model_;
  /// Answers for each track of which the file says nothing.
  const TrackRecord emptyTrack_{};
};

}  // namespace atomkit
