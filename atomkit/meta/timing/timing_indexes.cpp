#include "atomkit/meta/timing/timing_indexes.h"

#include <algorithm>

#include "atomkit/core/streams/word_order.h"

namespace atomkit {

void CompositionIndexBuilder::take(const uint32_t* words, uint32_t count, uint64_t) noexcept {
  // Totals that don't wrap only rise, so that the last one is the highest.
  const uint64_t total = samples_ + pairSumsOf(words, count).firsts;
  if (total <= UINT32_MAX) {
    samples_ = static_cast<uint32_t>(total);
    totals_.append(samples_, samples_);
    return;
  }
  uint32_t highest = 0;
  for (const uint32_t* const end = words + count; words != end; words += kRunWords) {
    samples_ += words[kRunSamples];
    highest = std::max(highest, samples_);
  }
  totals_.append(samples_, highest);
}

void TimeIndexBuilder::take(const uint32_t* words, uint32_t count, uint64_t) noexcept {
  // The common blocks: one entry per sample, and totals that don't wrap, which only rise.
  const PairSums sums = pairSumsOf(words, count);
  if (sums.firstsAreOne && samples_ + sums.firsts <= UINT32_MAX && time_ + sums.seconds >= time_) {
    samples_ += static_cast<uint32_t>(sums.firsts);
    time_ += sums.seconds;
    sampleTotals_.append(samples_, samples_);
    timeTotals_.append(time_, time_);
    return;
  }
  uint32_t highestSamples = 0;
  uint64_t highestTime = 0;
  for (const uint32_t* const end = words + count; words != end; words += kRunWords) {
    samples_ += words[kRunSamples];
    time_ += uint64_t{words[kRunSamples]} * words[kRunValue];
    highestSamples = std::max(highestSamples, samples_);
    highestTime = std::max(highestTime, time_);
  }
  sampleTotals_.append(samples_, highestSamples);
  timeTotals_.append(time_, highestTime);
}

TimeRunStart TimeIndex::beforeSample(uint32_t sample) const noexcept {
  return startOf(samples_.blockOf(sample));
}

TimeRunStart TimeIndex::beforeTime(uint64_t time) const noexcept {
  return startOf(times_.blockOf(time));
}

// Where there was memory for one kind of marks only, the walk begins at the first entry.
TimeRunStart TimeIndex::startOf(uint32_t block) const noexcept {
  if (block > std::min(samples_.markedBlocks(), times_.markedBlocks())) return {};
  return {block * kBlockEntries, static_cast<uint32_t>(samples_.totalBefore(block)),
          times_.totalBefore(block)};
}

}  // namespace atomkit
