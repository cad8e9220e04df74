// SampleTables answers "how large is sample n, in which chunk does it lie, and where in the file?"
// for one track: the boxes stsz, stsc, stco and co64. Samples are zero-based, chunks one-based as
// in the file. Lifetime: owns its tables; keeps no reference to the stream.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/core/tables/place_indexes.h"

namespace atomkit {

/// A place in the sample-to-chunk map, carried from lookup to lookup. It only moves forward: a
/// caller that goes back to an earlier sample starts again from zeros.
struct ChunkMapPosition {
  uint32_t entry = 0;        ///< zero-based index of the map entry after the current run
  uint32_t firstSample = 0;  ///< first sample of the current run
};

/// Where a sample lies.
struct ChunkLocation {
  uint32_t chunk = 0;        ///< one-based
  uint32_t firstSample = 0;  ///< first sample of that chunk
};

enum class ChunkOffsetWidth { bits32, bits64 };

class SampleTables {
 public:
  /// 'stsz'. Replaces what an earlier box gave. @throws exception (past end; out of memory)
  void readSampleSizes(AtomReader& reader);
  /// 'stsc'. Replaces what an earlier box gave. @throws exception (past end; out of memory)
  void readChunkMap(AtomReader& reader);
  /// 'stco' or 'co64'. Replaces what an earlier box gave.
  /// @throws exception (past end; out of memory)
  void readChunkOffsets(AtomReader& reader, ChunkOffsetWidth width);

  /// Size of a sample in bytes. A constant size answers for any sample number.
  /// @throws exception "array access out of range"
  uint32_t sampleSize(uint32_t sample) const {
    return constantSampleSize_ != 0 ? constantSampleSize_ : sampleSizes_[sample];
  }

  /// Bytes of the samples `first` to `end` - 1.
  /// @throws exception "frame out of range" when sizes are listed and `end` is not an existing
  ///         sample
  /// Cost: that of at most 128 samples, however many there are between the two.
  uint64_t bytesBetween(uint32_t first, uint32_t end) const;

  /// bytesBetween() of the sample before `sample` and itself. @pre sample > 0
  uint64_t bytesOfSampleBefore(uint32_t sample) const {
    if (constantSampleSize_ != 0) return bytesOfConstantSize(1);
    if (sample >= sampleSizes_.count()) throw exception(kFrameOutOfRange);
    return sampleSizes_.data()[sample - 1];
  }

  /// Chunk that holds `sample`. Samples beyond the last map entry continue its run without end.
  /// @param position  where the last lookup ended; moved forward
  /// @throws exception "array access out of range"
  /// Cost: logarithmic in the map entries between the two samples.
  ChunkLocation locateChunk(uint32_t sample, ChunkMapPosition& position) const;

  /// locateChunk() for a sample after the one that was located last.
  /// @param position  carried from zeros on
  /// @param location  what locateChunk() gave for that sample; replaced
  void locateNext(uint32_t sample, ChunkMapPosition& position, ChunkLocation& location) const {
    // Within a run the sample is mostly in the same chunk as the last one or in the next, which
    // saves the division. The differences don't wrap: a position that a walk has reached is never
    // past its sample.
    if (position.entry > 0) {
      const MapEntry run = uncheckedMapEntry(checkedIndex(position.entry - 1, chunkMapEntries_));
      // The last run goes on without end.
      if (position.entry == chunkMapEntries_ ||
          sample < position.firstSample + samplesBetween(run, uncheckedMapEntry(position.entry))) {
        const uint32_t inChunk = sample - location.firstSample;
        if (inChunk < run.samplesPerChunk) return;
        if (inChunk - run.samplesPerChunk < run.samplesPerChunk) {
          location = {location.chunk + 1, location.firstSample + run.samplesPerChunk};
          return;
        }
      }
    }
    location = locateChunk(sample, position);
  }

  /// File offset of a chunk in bytes: 8 when the track has no chunk offsets, that of the last chunk
  /// for a number past it.
  /// @throws exception "array access out of range" for chunk 0
  uint64_t chunkOffset(uint32_t chunk) const {
    // DELIBERATE D-204: a chunk number past the table means the last chunk. Chunk 0 wraps to an
    // index that no table has.
    const uint32_t shortCount = shortChunkOffsets_.count();
    if (shortCount != 0) return shortChunkOffsets_[std::min(chunk, shortCount) - 1];
    const uint32_t longCount = longChunkOffsets_.count();
    if (longCount != 0) return longChunkOffsets_[std::min(chunk, longCount) - 1];
    return kOffsetWithoutTable;
  }

 private:
  /// An entry of the sample-to-chunk map.
  struct MapEntry {
    uint32_t firstChunk;
    uint32_t samplesPerChunk;
  };

  /// DELIBERATE D-203: the chunks of a track without chunk offsets begin right after the short
  /// header of a media data box that opens the file.
  static constexpr uint64_t kOffsetWithoutTable = 8;

  /// Samples of the run that `next` ends.
  static uint32_t samplesBetween(const MapEntry& run, const MapEntry& next) noexcept {
    return (next.firstChunk - run.firstChunk) * run.samplesPerChunk;
  }
  /// @pre entry < chunkMapEntries_
  MapEntry uncheckedMapEntry(uint32_t entry) const noexcept {
    const uint32_t* const words = chunkMap_.data() + size_t{kChunkMapWords} * entry;
    return {words[kFirstChunk], words[kSamplesPerChunk]};
  }
  /// The run in which a position stands: before the first entry there are no samples, from chunk 1
  /// on. @pre the position is in the map or at its end
  MapEntry runBefore(const ChunkMapPosition& position) const noexcept {
    return position.entry > 0 ? uncheckedMapEntry(position.entry - 1) : MapEntry{1, 0};
  }
  bool walkInBlock(uint32_t sample, ChunkMapPosition& position) const noexcept;
  void skipBlocks(uint32_t sample, ChunkMapPosition& position) const noexcept;
  uint64_t bytesOfConstantSize(uint32_t samples) const noexcept;
  uint64_t addSizes(uint32_t first, uint32_t end) const noexcept;

  uint32_t constantSampleSize_ = 0;  // bytes; 0 when the sizes are listed
  PlainArray<uint32_t> sampleSizes_;
  RunIndex sizeIndex_;             // bytes
  PlainArray<uint32_t> chunkMap_;  // kChunkMapWords words per entry
  uint32_t chunkMapEntries_ = 0;
  RunIndex chunkMapIndex_;  // samples
  // One of the two is empty: 'stco' keeps its width.
  PlainArray<uint32_t> shortChunkOffsets_;
  PlainArray<uint64_t> longChunkOffsets_;
};

}  // namespace atomkit
