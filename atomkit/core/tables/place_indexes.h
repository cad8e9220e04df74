// The indexes of the tables that tell places: sample sizes and the sample-to-chunk map. See
// readIndexedTable() for how they take their tables.
#pragma once
#include <cstdint>

#include "atomkit/core/tables/run_index.h"

namespace atomkit {

/// Index of 'stsz': bytes before a sample.
class SizeIndex {
 public:
  static constexpr uint32_t kBlockWords = kBlockEntries;
  static constexpr TableBlocks::Sums kSums = TableBlocks::Sums::wanted;

  void start(uint32_t entries) noexcept;
  void take(const uint32_t* words, uint32_t count, uint64_t sum) noexcept;

  /// Blocks of samples for which bytesBefore() answers, beside the first one.
  uint32_t markedBlocks() const noexcept { return totals_.markedBlocks(); }
  /// Bytes of all samples before the first one of a block.
  uint64_t bytesBefore(uint32_t block) const noexcept { return totals_.totalBefore(block); }

 private:
  RunIndex<uint64_t> totals_;  // can't fall: 2^32 sizes of 32 bits fit
  uint64_t bytes_ = 0;
};

/// Words of an entry of the sample-to-chunk map.
enum ChunkMapWord : uint32_t { kFirstChunk, kSamplesPerChunk, kDescription, kChunkMapWords };

/// Index of 'stsc': the first sample of the run before an entry. An entry ends the run of the one
/// before it, so its total is the sum of all runs that have ended, modulo 2^32.
class ChunkMapIndex {
 public:
  static constexpr uint32_t kBlockWords = kBlockEntries * kChunkMapWords;
  static constexpr TableBlocks::Sums kSums = TableBlocks::Sums::unwanted;

  void start(uint32_t entries) noexcept;
  void take(const uint32_t* words, uint32_t count, uint64_t) noexcept;

  const RunIndex<uint32_t>& samples() const noexcept { return totals_; }

 private:
  RunIndex<uint32_t> totals_;
  uint32_t runFirstChunk_ = 1;
  uint32_t samplesPerChunk_ = 0;
  uint32_t samples_ = 0;
};

}  // namespace atomkit
