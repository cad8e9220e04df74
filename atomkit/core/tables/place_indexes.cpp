#include "atomkit/core/tables/place_indexes.h"

#include <algorithm>

namespace atomkit {

void SizeIndexBuilder::take(const uint32_t*, uint32_t, uint64_t sum) noexcept {
  bytes_ += sum;
  totals_.append(bytes_, bytes_);
}

void ChunkMapIndexBuilder::take(const uint32_t* words, uint32_t count, uint64_t) noexcept {
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
