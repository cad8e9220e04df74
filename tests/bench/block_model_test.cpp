// The floor's model of the read cache against the read cache: the same host calls for the same
// reads.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "bench/floor.h"
#include "frontend/out_slot.h"
#include "frontend/read_cache.h"
#include "tests/bench/written_file.h"

namespace {

using bench::HostCall;

constexpr uint32_t kFileSize = 200'000;

boxes::Bytes pattern() {
  boxes::Bytes bytes(kFileSize);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<uint8_t>(i * 31 + i / 256);
  return bytes;
}

/// A read cache over a file, whose host calls are written down.
class CachedFile {
 public:
  CachedFile() : file_(pattern()), stream_(file_.name()), cache_(new vela::ReadCache(&stream_)) {
    stream_.record(&calls);
  }

  boxes::Bytes read(uint64_t position, uint32_t count) {
    const vela::Word64 target = vela::toWord64(position);
    cache_->seek(target.low, target.high, nullptr);
    boxes::Bytes bytes(count);
    uint32_t done = 0;
    cache_->read(bytes.data(), count, &done, nullptr);
    bytes.resize(done);
    return bytes;
  }

  std::vector<HostCall> calls;

 private:
  WrittenFile file_;
  bench::FileStream stream_;
  std::unique_ptr<vela::ReadCache> cache_;
};

struct Payload {
  uint64_t position;
  uint32_t size;
};

/// Payloads that mostly follow each other, with jumps back and far away.
std::vector<Payload> payloads(uint32_t seed) {
  std::mt19937 random(seed);
  std::vector<Payload> all;
  uint64_t position = 0;
  for (int i = 0; i < 400; ++i) {
    const uint32_t size = 1 + static_cast<uint32_t>(random() % (i % 20 == 0 ? 40'000 : 900));
    if (random() % 10 == 0) position = random() % kFileSize;
    if (position + size > kFileSize) position = random() % (kFileSize - size);
    all.push_back({position, size});
    position += size;
  }
  return all;
}

TEST(BlockModel, MakesTheHostCallsOfTheReadCache) {
  for (uint32_t seed = 0; seed < 20; ++seed) {
    CachedFile cached;
    bench::BlockModel model;
    model.endOfFile(kFileSize);
    bench::PayloadPlan plan;
    std::vector<HostCall> expected;
    for (const Payload& payload : payloads(seed)) {
      ASSERT_EQ(cached.read(payload.position, payload.size).size(), payload.size);
      model.take(payload.position, payload.size, plan, expected);
      ASSERT_EQ(cached.calls, expected) << "seed " << seed;
    }
    EXPECT_GT(expected.size(), 50u);
  }
}

TEST(BlockModel, ItsPiecesAddUpToThePayloadsAndLieInTheirBlocks) {
  bench::BlockModel model;
  model.endOfFile(kFileSize);
  const boxes::Bytes file = pattern();
  boxes::Bytes blocks[bench::kBlockCount];
  for (const Payload& payload : payloads(7)) {
    bench::PayloadPlan plan;
    std::vector<HostCall> calls;
    model.take(payload.position, payload.size, plan, calls);
    boxes::Bytes taken;
    size_t fill = 0;
    for (const bench::PayloadPiece& piece : plan.pieces) {
      boxes::Bytes& block = blocks[piece.block];
      if (piece.fills) {
        const auto start = static_cast<std::ptrdiff_t>(plan.fills.at(fill++).start);
        const auto end = std::min<std::ptrdiff_t>(start + bench::kBlockSize, kFileSize);
        block.assign(file.begin() + start, file.begin() + end);
      }
      ASSERT_LE(size_t{piece.offset} + piece.length, block.size());
      taken.insert(taken.end(), block.begin() + piece.offset,
                   block.begin() + piece.offset + piece.length);
    }
    const auto first = file.begin() + static_cast<std::ptrdiff_t>(payload.position);
    ASSERT_TRUE(std::equal(taken.begin(), taken.end(), first, first + payload.size));
  }
}

}  // namespace
