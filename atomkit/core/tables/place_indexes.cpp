#include "atomkit/core/tables/place_indexes.h"

#include <algorithm>

namespace atomkit {

void SizeIndex::start(uint32_t entries) noexcept {
  totals_.start(entries);
  bytes_ = 0;
}

void SizeIndex::take(const uint32_t*, uint32_t, uint64_t sum) noexcept {
  bytes_ += sum;
  totals_.append(bytes_, bytes_);
}

void ChunkMapIndex::start(uint32_t entries) noexcept {
  totals_.start(entries);
  runFirstChunk_ = 1;
  samplesPerChunk_ = 0;
  samples_ = 0;
}

void ChunkMapIndex::take(const uint32_t* words, uint32_t count, uint64_t) noexcept {
  uint32_t highest = 0;
  for (const uint32_t* const end = words + count; words != end; words += kChunkMapWords) {
    samples_ += (words[kFirstChunk] - runFirstChunk_) * samplesPerChunk_;
    highest = std::max(highest, samples_);
    runFirstChunk_ = words[kFirstChunk];
    samplesPerChunk_ = words[kSamplesPerChunk];
  }
  totals_.append(samples_, highest);
}

}  // namespace atomkit
