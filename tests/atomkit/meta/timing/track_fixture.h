// Tracks for the tests of timing and cursor: tables, and the same entries expanded.
#pragma once
#include <cstdint>
#include <utility>
#include <vector>

#include "atomkit/meta/timing/track_record.h"
#include "tests/atomkit/box_reading.h"
#include "tests/support/movie_builder.h"
#include "tests/support/seeded_random.h"

using TimeEntry = std::pair<uint32_t, uint32_t>;   // sample count, delta
using OffsetEntry = std::pair<uint32_t, int32_t>;  // sample count, offset

inline void readStts(atomkit::TimingTables& timing, const boxes::Bytes& bytes) {
  readBox(bytes, [&](atomkit::AtomReader& reader, uint64_t) { timing.readTimeToSample(reader); });
}
inline void readCtts(atomkit::TimingTables& timing, const boxes::Bytes& bytes) {
  readBox(bytes,
          [&](atomkit::AtomReader& reader, uint64_t) { timing.readCompositionOffsets(reader); });
}
inline void readStss(atomkit::TimingTables& timing, const boxes::Bytes& bytes) {
  readBox(bytes, [&](atomkit::AtomReader& reader, uint64_t) { timing.readSyncSamples(reader); });
}

/// The tables of a track; an empty vector leaves its box out.
struct TrackTables {
  uint32_t timescale = 48000;
  std::vector<TimeEntry> times = {};
  std::vector<OffsetEntry> offsets = {};
  uint32_t constantSize = 0;  // 0: `sizes` are listed
  std::vector<uint32_t> sizes = {};
  std::vector<boxes::ChunkRun> chunkRuns = {};
  std::vector<uint64_t> chunkOffsets = {};
};

inline void fillTrack(atomkit::TrackRecord& record, const TrackTables& tables) {
  using namespace atomkit;
  record.mediaTimescale = tables.timescale;
  if (!tables.times.empty()) readStts(record.timing, boxes::stts(tables.times));
  if (!tables.offsets.empty()) readCtts(record.timing, boxes::ctts(tables.offsets));
  readBox(
      tables.constantSize ? boxes::stszConstant(tables.constantSize, 0) : boxes::stsz(tables.sizes),
      [&](AtomReader& reader, uint64_t) { record.samples.readSampleSizes(reader); });
  readBox(boxes::stsc(tables.chunkRuns),
          [&](AtomReader& reader, uint64_t) { record.samples.readChunkMap(reader); });
  readBox(boxes::co64(tables.chunkOffsets), [&](AtomReader& reader, uint64_t) {
    record.samples.readChunkOffsets(reader, ChunkOffsetWidth::bits64);
  });
}

/// Up to 8 runs; some are empty, some have no duration.
inline std::vector<TimeEntry> randomTimeEntries(SeededRandom& random) {
  std::vector<TimeEntry> entries;
  for (uint32_t i = random.below(8); i > 0; --i) {
    entries.emplace_back(random.oneIn(4) ? 0 : random.below(12),
                         random.oneIn(5) ? 0 : random.below(30));
  }
  return entries;
}

/// Up to 8 runs with offsets of both signs; some are empty.
inline std::vector<OffsetEntry> randomOffsetEntries(SeededRandom& random) {
  std::vector<OffsetEntry> entries;
  for (uint32_t i = random.below(8); i > 0; --i) {
    entries.emplace_back(random.oneIn(4) ? 0 : random.below(12),
                         static_cast<int32_t>(random.below(2000)) - 1000);
  }
  return entries;
}

inline std::vector<int32_t> expandedOffsets(const std::vector<OffsetEntry>& entries) {
  std::vector<int32_t> offsets;
  for (const auto& [count, offset] : entries) offsets.insert(offsets.end(), count, offset);
  return offsets;
}
