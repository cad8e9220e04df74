// The library's lookups beside those of a plain walk, over many random tracks: the same answers,
// the same messages, and the same cursor after each operation, whether it threw or not.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string_view>
#include <vector>

#include "atomkit/meta/timing/sample_cursor.h"
#include "tests/atomkit/box_reading.h"
#include "tests/atomkit/meta/timing/plain_track.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/every_nth.h"
#include "tests/support/memory_source.h"
#include "tests/support/seeded_random.h"

using namespace atomkit;

namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr uint32_t kRounds = 20'000;
#else
constexpr uint32_t kRounds = 110'000;
#endif

// ---- the tables of a track, as bytes

class TableBytes {
 public:
  explicit TableBytes(size_t words) { bytes_.reserve(4 * (words + 3)); }
  TableBytes& u32(uint32_t word) {
    for (int shift = 24; shift >= 0; shift -= 8) {
      bytes_.push_back(static_cast<uint8_t>(word >> shift));
    }
    return *this;
  }
  TableBytes& u64(uint64_t word) {
    return u32(static_cast<uint32_t>(word >> 32)).u32(static_cast<uint32_t>(word));
  }
  boxes::Bytes take() { return std::move(bytes_); }

 private:
  boxes::Bytes bytes_;
};

/// @param failAt  the allocation that fails; the first one is that of the table
template <class Read>
void readPayload(TableBytes& payload, uint64_t failAt, Read read) {
  MemorySource source(payload.take());
  HostStreamAdapter stream(source, source.size());
  AtomReader reader(stream, source.size());
  FailingAllocation memory(failAt);
  read(reader);
}

void fill(TrackRecord& record, const PlainTrack& track, uint64_t failAt) {
  record.mediaTimescale = track.timescale;
  TableBytes stts(2 * track.times.size());
  stts.u32(0).u32(static_cast<uint32_t>(track.times.size()));
  for (const auto& [count, delta] : track.times) stts.u32(count).u32(delta);
  readPayload(stts, failAt, [&](AtomReader& reader) { record.timing.readTimeToSample(reader); });

  TableBytes ctts(2 * track.offsets.size());
  ctts.u32(0).u32(static_cast<uint32_t>(track.offsets.size()));
  for (const auto& [count, offset] : track.offsets) ctts.u32(count).u32(offset);
  readPayload(ctts, failAt,
              [&](AtomReader& reader) { record.timing.readCompositionOffsets(reader); });

  TableBytes stss(track.syncSamples.size());
  stss.u32(0).u32(static_cast<uint32_t>(track.syncSamples.size()));
  for (const uint32_t sample : track.syncSamples) stss.u32(sample + 1);
  readPayload(stss, failAt, [&](AtomReader& reader) { record.timing.readSyncSamples(reader); });

  TableBytes stsz(track.sizes.size());
  stsz.u32(0).u32(track.constantSize).u32(static_cast<uint32_t>(track.sizes.size()));
  for (const uint32_t size : track.sizes) stsz.u32(size);
  readPayload(stsz, failAt, [&](AtomReader& reader) { record.samples.readSampleSizes(reader); });

  TableBytes stsc(3 * track.chunkMap.size());
  stsc.u32(0).u32(static_cast<uint32_t>(track.chunkMap.size()));
  for (const auto& entry : track.chunkMap) {
    stsc.u32(entry.firstChunk).u32(entry.samplesPerChunk).u32(1);
  }
  readPayload(stsc, failAt, [&](AtomReader& reader) { record.samples.readChunkMap(reader); });

  const bool fits32Bits = std::all_of(track.chunkOffsets.begin(), track.chunkOffsets.end(),
                                      [](uint64_t offset) { return offset <= UINT32_MAX; });
  TableBytes offsets(2 * track.chunkOffsets.size());
  offsets.u32(0).u32(static_cast<uint32_t>(track.chunkOffsets.size()));
  for (const uint64_t offset : track.chunkOffsets) {
    fits32Bits ? offsets.u32(static_cast<uint32_t>(offset)) : offsets.u64(offset);
  }
  readPayload(offsets, failAt, [&](AtomReader& reader) {
    record.samples.readChunkOffsets(
        reader, fits32Bits ? ChunkOffsetWidth::bits32 : ChunkOffsetWidth::bits64);
  });
}

// ---- random tracks

// Mostly short tables, many around one and two blocks of an index, and some beyond 64 of them.
uint32_t randomLength(SeededRandom& random) {
  const uint32_t kind = random.below(1000);
  if (kind < 2) return 64 * 64 - 3 + random.below(700);
  if (kind < 130) return 55 + random.below(90);
  if (kind < 160) return 120 + random.below(160);
  return random.below(9);
}

// How the words of one table are drawn.
enum class Shape { small, withZeros, mostlyZeros, falling, wild, kShapes };

Shape randomShape(SeededRandom& random) {
  // Half of the tables are as files have them.
  return random.oneIn(2) ? Shape::small
                         : static_cast<Shape>(random.below(static_cast<uint32_t>(Shape::kShapes)));
}

uint32_t randomWord(SeededRandom& random, Shape shape) {
  switch (shape) {
    case Shape::withZeros:
      return random.oneIn(3) ? 0 : random.below(5);
    case Shape::mostlyZeros:
      return random.oneIn(40) ? 1 + random.below(9) : 0;
    case Shape::falling:  // a few steps back, modulo 2^32
      return random.oneIn(5) ? 0 - random.below(12) : random.below(9);
    case Shape::wild:
      return random.oneIn(3) ? random.word() : random.word() >> random.below(32);
    default:
      return 1 + random.below(6);
  }
}

PlainTrack randomTrack(SeededRandom& random) {
  PlainTrack track;
  track.timescale = 1 + random.below(90000);
  const Shape timeCounts = randomShape(random);
  const Shape deltas = randomShape(random);
  for (uint32_t i = randomLength(random); i > 0; --i) {
    track.times.emplace_back(randomWord(random, timeCounts), randomWord(random, deltas));
  }
  const Shape offsetCounts = randomShape(random);
  for (uint32_t i = randomLength(random); i > 0; --i) {
    track.offsets.emplace_back(randomWord(random, offsetCounts), random.below(200) - 100);
  }
  if (random.oneIn(3)) {
    track.constantSize = randomWord(random, randomShape(random));
  }
  if (track.constantSize == 0) {
    const Shape sizes = randomShape(random);
    const uint32_t count = std::min(3 * randomLength(random), 9000u);
    for (uint32_t i = 0; i < count; ++i) track.sizes.push_back(randomWord(random, sizes));
  }
  const Shape chunks = randomShape(random);
  const Shape perChunk = randomShape(random);
  uint32_t firstChunk = random.oneIn(5) ? random.word() : 1;
  for (uint32_t i = randomLength(random); i > 0; --i) {
    track.chunkMap.push_back({firstChunk, randomWord(random, perChunk)});
    firstChunk += randomWord(random, chunks);
  }
  const uint32_t widest = random.oneIn(2) ? 32 : 64;
  for (uint32_t i = random.below(12); i > 0; --i) {
    track.chunkOffsets.push_back((uint64_t{random.word()} << 32 | random.word()) >> (64 - widest));
  }
  uint32_t sync = random.below(3);
  for (uint32_t i = random.oneIn(2) ? 0 : randomLength(random); i > 0; --i) {
    track.syncSamples.push_back(sync);
    sync += 1 + random.below(9);
  }
  return track;
}

// ---- comparison

// What an operation gave: its message, its results, and what it left. Kept small and without
// memory of its own, as there are tens of millions.
class Outcome {
 public:
  template <class Operation>
  explicit Outcome(Operation operation) {
    try {
      operation(*this);
    } catch (const exception& error) {
      message_ = error.message();
    }
  }

  template <class... Values>
  void add(Values... values) {
    ((values_[count_++] = static_cast<uint64_t>(values)), ...);
  }
  void add(const SampleCursor& c) {
    add(c.sample, c.track, c.compositionRun, c.compositionPosition, c.timeRun, c.timePosition,
        c.decodeTime, c.offsetInChunk, c.chunkMap.entry, c.chunkMap.firstSample, c.chunk.chunk,
        c.chunk.firstSample);
  }
  void add(const SampleInfo& i) {
    add(i.duration, i.compositionTime, i.compositionOffset, i.timescale, i.fileOffset, i.size);
  }

  bool operator==(const Outcome& other) const {
    return std::string_view(message_) == other.message_ && count_ == other.count_ &&
           std::equal(values_, values_ + count_, other.values_);
  }
  friend std::ostream& operator<<(std::ostream& out, const Outcome& outcome) {
    out << '"' << outcome.message_ << '"';
    for (uint32_t i = 0; i < outcome.count_; ++i) out << ' ' << outcome.values_[i];
    return out;
  }

 private:
  const char* message_ = "";
  uint32_t count_ = 0;
  uint64_t values_[16];
};

// ASSERT_EQ, but dear only where it fails.
#define ASSERT_SAME(did, should, about)                                              \
  do {                                                                               \
    const Outcome didValue = (did);                                                  \
    const Outcome shouldValue = (should);                                            \
    if (!(didValue == shouldValue)) {                                                \
      FAIL() << about << ":\n  " << didValue << "\n  instead of\n  " << shouldValue; \
    }                                                                                \
  } while (false)

// A track of the library and its model, asked the same questions.
class Pair {
 public:
  Pair(const PlainTrack& plain, SeededRandom& random, uint64_t failAt)
      : plain_(plain), random_(random) {
    fill(record_, plain, failAt);
    collectEdges();
  }

  void askEverything() {
    EXPECT_EQ(record_.timing.sampleCount(), plain_.sampleCount());
    for (int i = 0; i < 2; ++i) {
      askTables();
      walk();
    }
    carryAPosition();
  }

 private:
  // Samples and times at which something changes.
  void collectEdges() {
    uint32_t samples = 0;
    uint64_t time = 0;
    for (const auto& [count, delta] : plain_.times) {
      edges_.push_back(samples += count);
      times_.push_back(time += uint64_t{count} * delta);
    }
    samples = 0;
    for (const auto& run : plain_.offsets) edges_.push_back(samples += run.first);
    ChunkMapPosition position;
    for (uint32_t i = 1; i < plain_.chunkMap.size(); ++i) {
      const auto& run = plain_.chunkMap[i - 1];
      edges_.push_back(position.firstSample +=
                       (plain_.chunkMap[i].firstChunk - run.firstChunk) * run.samplesPerChunk);
    }
  }

  uint32_t randomSample() {
    switch (random_.below(8)) {
      case 0:
        return random_.below(4) - 2;
      case 1:
        return random_.word();
      case 2:
      case 3:
        if (!plain_.sizes.empty()) {
          return random_.below(static_cast<uint32_t>(plain_.sizes.size()) + 2);
        }
        [[fallthrough]];
      default:
        if (edges_.empty()) return random_.below(9);
        return edges_[random_.below(static_cast<uint32_t>(edges_.size()))] + random_.below(5) - 2;
    }
  }

  uint64_t randomTime() {
    if (random_.oneIn(9)) return uint64_t{random_.word()} << 32 | random_.word();
    if (times_.empty() || random_.oneIn(9)) return random_.below(40);
    return times_[random_.below(static_cast<uint32_t>(times_.size()))] + random_.below(5) - 2;
  }

  void askTables() {
    const uint64_t time = randomTime();
    const uint32_t sample = randomSample();
    const uint32_t other = random_.oneIn(3) ? randomSample() : sample + random_.below(200);
    const auto at = [&](const auto& track) {
      return Outcome([&](Outcome& outcome) {
        const SampleAtTime found = track.sampleAt(time);
        outcome.add(found.sample, found.remainder);
      });
    };
    ASSERT_SAME(at(record_.timing), at(plain_), "time " << time);
    const auto offset = [&](const auto& track) {
      return Outcome([&](Outcome& outcome) {
        outcome.add(track.compositionOffset(sample),
                    track.nearestSyncSample(sample, Direction::backward),
                    track.nearestSyncSample(sample, Direction::forward));
      });
    };
    ASSERT_SAME(offset(record_.timing), offset(plain_), "sample " << sample);
    const auto size = [&](const auto& track) {
      return Outcome([&](Outcome& outcome) { outcome.add(track.sampleSize(sample)); });
    };
    ASSERT_SAME(size(record_.samples), size(plain_), "sample " << sample);
    const auto place = [&](const auto& track) {
      return Outcome([&](Outcome& outcome) { outcome.add(track.chunkOffset(sample)); });
    };
    ASSERT_SAME(place(record_.samples), place(plain_), "chunk " << sample);
    const auto between = [&](const auto& track) {
      return Outcome([&](Outcome& outcome) { outcome.add(track.bytesBetween(sample, other)); });
    };
    ASSERT_SAME(between(record_.samples), between(plain_), sample << " to " << other);
  }

  // One operation on both cursors, and a description of both.
  template <class Library, class Plain>
  void onBoth(const char* name, Library library, Plain plain) {
    const auto act = [](auto operation, const SampleCursor& cursor) {
      Outcome outcome([&](Outcome& result) { result.add(operation()); });
      outcome.add(cursor);
      return outcome;
    };
    ASSERT_SAME(act(library, cursor_), act(plain, model_), name);
    const auto info = [](auto describe) {
      SampleInfo described{1, 2, 3, 4, 5, 6};
      Outcome outcome([&](Outcome& result) { result.add(describe(described)); });
      outcome.add(described);
      return outcome;
    };
    ASSERT_SAME(info([&](SampleInfo& i) { return sampleInfo(record_, cursor_, i); }),
                info([&](SampleInfo& i) { return plain_.sampleInfo(model_, i); }), name);
  }

  // A reposition and the steps after it.
  void walk() {
    const uint32_t sample = randomSample();
    if (random_.oneIn(16)) cursor_ = model_ = {};  // one that was never put anywhere
    if (!random_.oneIn(16)) {
      onBoth(
          "reposition", [&] { return reposition(record_, cursor_, sample); },
          [&] { return plain_.reposition(model_, sample); });
    }
    for (uint32_t i = random_.oneIn(60) ? 150 : random_.below(9); i > 0; --i) {
      if (testing::Test::HasFatalFailure()) return;
      onBoth(
          "step", [&] { return uint64_t{step(record_, cursor_)}; },
          [&] { return uint64_t{plain_.step(model_)}; });
    }
  }

  // Positions in the chunk map that no cursor has are walked on from all the same.
  void carryAPosition() {
    ChunkMapPosition carried;
    ChunkMapPosition expected;
    for (int i = 0; i < 4; ++i) {
      if (random_.oneIn(4)) {
        const auto entries = static_cast<uint32_t>(plain_.chunkMap.size());
        carried = expected = {random_.below(entries + 3),
                              random_.oneIn(2) ? randomSample() : random_.below(9)};
      }
      const uint32_t sample = randomSample();
      const auto located = [&](const auto& track, ChunkMapPosition& position) {
        Outcome outcome([&](Outcome& result) {
          const ChunkLocation location = track.locateChunk(sample, position);
          result.add(location.chunk, location.firstSample);
        });
        outcome.add(position.entry, position.firstSample);
        return outcome;
      };
      ASSERT_SAME(located(record_.samples, carried), located(plain_, expected), sample);
    }
  }

  const PlainTrack& plain_;
  SeededRandom& random_;
  TrackRecord record_;
  std::vector<uint32_t> edges_;
  std::vector<uint64_t> times_;
  SampleCursor cursor_;
  SampleCursor model_;
};

}  // namespace

TEST(LookupEquivalence, EveryLookupAgreesWithAPlainWalk) {
  SeededRandom random(20);
  for (uint32_t round = 0; round < kRounds / everyNth(); ++round) {
    SCOPED_TRACE(testing::Message() << "round " << round);
    const PlainTrack track = randomTrack(random);
    // Without memory for its marks a table is walked from its first entry.
    const uint64_t failAt = random.oneIn(8) ? 1 + random.below(3) : FailingAllocation::kNever;
    Pair(track, random, failAt).askEverything();
    if (HasFailure()) return;
  }
}
