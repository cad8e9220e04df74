// The indexes of the two tables of runs, 'stts' and 'ctts'. See readIndexedTable() for how they
// take their tables.
#pragma once
#include <cstdint>

#include "atomkit/core/tables/run_index.h"

namespace atomkit {

/// Words of an entry of 'stts' and 'ctts': samples, and the value that they share.
enum RunWord : uint32_t { kRunSamples, kRunValue, kRunWords };

/// Index of 'ctts': samples before an entry, modulo 2^32.
class CompositionIndex {
 public:
  static constexpr uint32_t kBlockWords = kBlockEntries * kRunWords;
  static constexpr TableBlocks::Sums kSums = TableBlocks::Sums::unwanted;

  void start(uint32_t entries) noexcept;
  void take(const uint32_t* words, uint32_t count, uint64_t) noexcept;

  const RunIndex<uint32_t>& samples() const noexcept { return totals_; }

 private:
  RunIndex<uint32_t> totals_;
  uint32_t samples_ = 0;
};

/// An entry of 'stts' with what lies before it.
struct TimeRunStart {
  uint32_t run = 0;
  uint32_t samples = 0;  ///< modulo 2^32
  uint64_t time = 0;     ///< ticks, modulo 2^64
};

/// Index of 'stts': samples and ticks before an entry.
class TimeIndex {
 public:
  static constexpr uint32_t kBlockWords = kBlockEntries * kRunWords;
  static constexpr TableBlocks::Sums kSums = TableBlocks::Sums::unwanted;

  void start(uint32_t entries) noexcept;
  void take(const uint32_t* words, uint32_t count, uint64_t) noexcept;

  /// Samples of all entries that were taken, modulo 2^32.
  uint32_t sampleCount() const noexcept { return samples_; }

  /// Where a walk begins that looks for the first entry that ends after a sample, or after a time.
  TimeRunStart beforeSample(uint32_t sample) const noexcept;
  TimeRunStart beforeTime(uint64_t time) const noexcept;

 private:
  TimeRunStart startOf(uint32_t block) const noexcept;

  RunIndex<uint32_t> sampleTotals_;
  RunIndex<uint64_t> timeTotals_;
  uint32_t samples_ = 0;
  uint64_t time_ = 0;
};

}  // namespace atomkit
