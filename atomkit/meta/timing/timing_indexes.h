// The indexes of the two tables of runs, 'stts' and 'ctts', and their makers, each of which takes
// the table that readU32Table() reads.
#pragma once
#include <cstdint>
#include <utility>

#include "atomkit/core/streams/table_readers.h"
#include "atomkit/core/tables/run_index.h"

namespace atomkit {

/// Words of an entry of 'stts' and 'ctts': samples, and the value that they share.
enum RunWord : uint32_t { kRunSamples, kRunValue, kRunWords };

/// Index of 'ctts': samples before an entry, modulo 2^32.
class CompositionIndexBuilder final : public TableBlocks {
 public:
  explicit CompositionIndexBuilder(uint32_t entries) noexcept
      : TableBlocks(kBlockEntries * kRunWords, Sums::unwanted), totals_(entries) {}

  void take(const uint32_t* words, uint32_t count, uint64_t) noexcept override;
  RunIndex finish() noexcept { return totals_.finish(); }

 private:
  RunIndexBuilder totals_;
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
  TimeIndex() noexcept = default;
  /// @param sampleCount  samples of all entries, modulo 2^32
  TimeIndex(RunIndex samples, RunIndex times, uint32_t sampleCount) noexcept
      : samples_(std::move(samples)), times_(std::move(times)), sampleCount_(sampleCount) {}

  /// Samples of all entries, modulo 2^32.
  uint32_t sampleCount() const noexcept { return sampleCount_; }

  /// Where a walk begins that looks for the first entry that ends after a sample, or after a time.
  TimeRunStart beforeSample(uint32_t sample) const noexcept;
  TimeRunStart beforeTime(uint64_t time) const noexcept;

 private:
  TimeRunStart startOf(uint32_t block) const noexcept;

  RunIndex samples_;
  RunIndex times_;
  uint32_t sampleCount_ = 0;
};

class TimeIndexBuilder final : public TableBlocks {
 public:
  explicit TimeIndexBuilder(uint32_t entries) noexcept
      : TableBlocks(kBlockEntries * kRunWords, Sums::unwanted),
        sampleTotals_(entries),
        timeTotals_(entries) {}

  void take(const uint32_t* words, uint32_t count, uint64_t) noexcept override;
  TimeIndex finish() noexcept { return {sampleTotals_.finish(), timeTotals_.finish(), samples_}; }

 private:
  RunIndexBuilder sampleTotals_;
  RunIndexBuilder timeTotals_;
  uint32_t samples_ = 0;
  uint64_t time_ = 0;
};

}  // namespace atomkit
