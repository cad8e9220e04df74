// SampleReader: the samples of a track, one after the other, straight from the file's tables.
#pragma once
#include <algorithm>
#include <cstdint>

#include "inspect/file.h"
#include "inspect/movie_map.h"

namespace inspect {

struct Sample {
  uint32_t number = 0;            ///< from 0
  uint64_t decodeTime = 0;        ///< ticks
  uint32_t duration = 0;          ///< ticks
  int32_t compositionOffset = 0;  ///< ticks, signed as the format means it
  uint32_t size = 0;              ///< bytes
  uint64_t offset = 0;            ///< bytes from the file's start
  uint32_t chunk = 0;             ///< from 0
  uint32_t description = 0;       ///< number of the sample entry, from 1 as in the file; 0 for none
  bool sync = true;
  bool hasSize = true;   ///< false past the end of the size table
  bool hasPlace = true;  ///< false for a chunk without an offset, whose samples the library takes
                         ///< from the last chunk

  /// When it is shown, in ticks.
  int64_t compositionTime() const { return static_cast<int64_t>(decodeTime) + compositionOffset; }
  uint64_t end() const { return offset + size; }
};

/// Samples of a track that are followed where nothing else limits them: more than a day of any
/// medium has, and one for each byte of the file. A damaged table of a few bytes claims thousands
/// of millions.
inline uint64_t mostSamplesFollowed(const File& file) {
  return std::min<uint64_t>(8'000'000, file.size());
}

/// Memory: a small piece of each table. A run of no samples is passed over.
class SampleReader {
 public:
  /// @param file, track  borrowed
  SampleReader(File& file, const TrackMap& track);

  /// The next sample. @return false past the last one
  bool next(Sample& sample);

  /// Samples that next() gives in all. More than 2^32 - 1 can't be numbered.
  uint64_t count() const { return count_; }

 private:
  struct Run {
    uint32_t index = 0;
    uint32_t position = 0;
  };

  /// Goes on to the run that holds the next sample. @return false past the table
  static bool enter(Table& table, Run& run);
  void locate(uint32_t sample);
  uint32_t sizeOf(uint32_t sample, bool& known);

  const TrackMap& track_;
  Table times_;
  Table compositions_;
  Table syncs_;
  Table sizes_;
  Table chunkMap_;
  Table chunks_;
  uint64_t count_;
  uint64_t nextSample_ = 0;
  Run timeRun_;
  Run compositionRun_;
  uint32_t nextSync_ = 0;
  uint64_t decodeTime_ = 0;
  // The place in the chunk map, in the 32-bit arithmetic of the library.
  uint32_t mapEntry_ = 0;
  uint32_t mapFirst_ = 0;
  uint32_t chunk_ = 0;  ///< one-based
  uint32_t chunkFirst_ = 0;
  uint32_t description_ = 0;
  uint64_t offsetInChunk_ = 0;
  bool placeKnown_ = true;
};

}  // namespace inspect
