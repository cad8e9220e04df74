// The makers of the indexes of the tables that tell places: sample sizes and the sample-to-chunk
// map. Each takes the table that readU32Table() reads.
#pragma once
#include <cstdint>

#include "atomkit/core/streams/table_readers.h"
#include "atomkit/core/tables/run_index.h"

namespace atomkit {

/// Index of 'stsz': bytes before a sample.
class SizeIndexBuilder final : public TableBlocks {
 public:
  explicit SizeIndexBuilder(uint32_t entries) noexcept
      : TableBlocks(kBlockEntries, Sums::wanted), totals_(entries) {}

  void take(const uint32_t* words, uint32_t count, uint64_t sum) noexcept override;
  RunIndex finish() noexcept { return totals_.finish(); }

 private:
  RunIndexBuilder totals_;  // can't fall: 2^32 sizes of 32 bits fit
  uint64_t bytes_ = 0;
};

/// Words of an entry of the sample-to-chunk map.
enum ChunkMapWord : uint32_t { kFirstChunk, kSamplesPerChunk, kDescription, kChunkMapWords };

/// Index of 'stsc': the first sample of the run before an entry. An entry ends the run of the one
/// before it, so its total is the sum of all runs that have ended, modulo 2^32.
class ChunkMapIndexBuilder final : public TableBlocks {
 public:
  explicit ChunkMapIndexBuilder(uint32_t entries) noexcept
      : TableBlocks(kBlockEntries * kChunkMapWords, Sums::unwanted), totals_(entries) {}

  void take(const uint32_t* words, uint32_t count, uint64_t) noexcept override;
  RunIndex finish() noexcept { return totals_.finish(); }

 private:
  RunIndexBuilder totals_;
  uint32_t runFirstChunk_ = 1;
  uint32_t samplesPerChunk_ = 0;
  uint32_t samples_ = 0;
};

}  // namespace atomkit
