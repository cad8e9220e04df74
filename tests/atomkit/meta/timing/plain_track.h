// PlainTrack: the tables of a track as vectors, with every lookup made by a walk through all
// entries from the first one on. The model that the library's lookups are compared with.
#pragma once
#include <cstdint>
#include <utility>
#include <vector>

#include "atomkit/core/containers/exception.h"
#include "atomkit/meta/timing/sample_cursor.h"

/// Operations throw what those of the library throw, and leave a cursor as those leave it.
struct PlainTrack {
  struct MapEntry {
    uint32_t firstChunk;
    uint32_t samplesPerChunk;
  };

  uint32_t timescale = 48000;
  std::vector<std::pair<uint32_t, uint32_t>> times = {};    // samples, delta
  std::vector<std::pair<uint32_t, uint32_t>> offsets = {};  // samples, offset
  uint32_t constantSize = 0;                                // 0: `sizes` are listed
  std::vector<uint32_t> sizes = {};
  std::vector<MapEntry> chunkMap = {};
  std::vector<uint64_t> chunkOffsets = {};
  std::vector<uint32_t> syncSamples = {};  // zero-based

  uint32_t sampleCount() const {
    uint32_t total = 0;
    for (const auto& run : times) total += run.first;
    return total;
  }

  atomkit::SampleAtTime sampleAt(uint64_t time) const {
    uint32_t samples = 0;
    uint64_t start = 0;
    for (const auto& [count, delta] : times) {
      const uint64_t end = start + uint64_t{count} * delta;
      if (time < end) {
        return {static_cast<uint32_t>(samples + (time - start) / delta), (time - start) % delta};
      }
      samples += count;
      start = end;
    }
    throw atomkit::exception("frame out of range");
  }

  int32_t compositionOffset(uint32_t sample) const {
    uint32_t end = 0;
    for (const auto& [count, offset] : offsets) {
      end += count;
      if (sample < end) return static_cast<int32_t>(offset);
    }
    return 0;
  }

  uint32_t sampleSize(uint32_t sample) const {
    return constantSize != 0 ? constantSize : entryOf(sizes, sample);
  }

  uint64_t bytesBetween(uint32_t first, uint32_t end) const {
    if (constantSize != 0) {
      return uint64_t{end - first} *
             static_cast<uint64_t>(int64_t{static_cast<int32_t>(constantSize)});
    }
    if (end >= sizes.size()) throw atomkit::exception("frame out of range");
    uint64_t bytes = 0;
    for (uint32_t sample = first; sample < end; ++sample) bytes += sizes[sample];
    return bytes;
  }

  atomkit::ChunkLocation locateChunk(uint32_t sample, atomkit::ChunkMapPosition& position) const {
    MapEntry run = position.entry > 0 ? entryOf(chunkMap, position.entry - 1) : MapEntry{1, 0};
    while (position.entry < chunkMap.size()) {
      const MapEntry next = chunkMap[position.entry];
      const uint32_t span = (next.firstChunk - run.firstChunk) * run.samplesPerChunk;
      if (sample < position.firstSample + span) break;
      run = next;
      position.firstSample += span;
      ++position.entry;
    }
    if (run.samplesPerChunk == 0) return {1, position.firstSample};
    const uint32_t chunks = (sample - position.firstSample) / run.samplesPerChunk;
    return {run.firstChunk + chunks, position.firstSample + chunks * run.samplesPerChunk};
  }

  uint64_t chunkOffset(uint32_t chunk) const {
    if (chunkOffsets.empty()) return 8;
    if (chunk > chunkOffsets.size()) return chunkOffsets.back();
    return entryOf(chunkOffsets, chunk - 1);
  }

  uint32_t nearestSyncSample(uint32_t sample, atomkit::Direction direction) const {
    if (syncSamples.empty()) return sample;
    const uint32_t key = sample + 1;
    if (direction == atomkit::Direction::forward) {
      for (const uint32_t entry : syncSamples) {
        if (entry >= key) return entry;
      }
      return syncSamples.back();
    }
    uint32_t best = syncSamples.front();
    for (const uint32_t entry : syncSamples) {
      if (entry <= key) best = entry;
    }
    return best;
  }

  uint64_t reposition(atomkit::SampleCursor& cursor, uint32_t sample) const {
    cursor.sample = sample;
    cursor.compositionRun = cursor.compositionPosition = atomkit::kNoIndex;
    uint32_t first = 0;
    for (uint32_t run = 0; run < offsets.size(); ++run) {
      const uint32_t end = first + offsets[run].first;
      if (sample < end) {
        cursor.compositionRun = run;
        cursor.compositionPosition = sample - first;
        break;
      }
      first = end;
    }
    cursor.timeRun = cursor.timePosition = atomkit::kNoIndex;
    cursor.decodeTime = 0;
    first = 0;
    uint64_t start = 0;
    for (uint32_t run = 0; run < times.size(); ++run) {
      const auto [count, delta] = times[run];
      const uint32_t end = first + count;
      if (sample < end) {
        cursor.timeRun = run;
        cursor.timePosition = sample - first;
        cursor.decodeTime = start + uint64_t{delta} * cursor.timePosition;
        break;
      }
      first = end;
      start += uint64_t{count} * delta;
    }
    cursor.chunkMap = {};
    cursor.chunk = locateChunk(sample, cursor.chunkMap);
    cursor.offsetInChunk = bytesBetween(cursor.chunk.firstSample, sample);
    return cursor.offsetInChunk;
  }

  bool step(atomkit::SampleCursor& cursor) const {
    if (uint64_t{cursor.sample} + 1 >= sampleCount()) return false;
    ++cursor.sample;
    if (cursor.compositionRun != atomkit::kNoIndex) {
      stepInRuns(offsets, cursor.compositionRun, cursor.compositionPosition);
    }
    if (cursor.timeRun != atomkit::kNoIndex) {
      cursor.decodeTime += entryOf(times, cursor.timeRun).second;
      stepInRuns(times, cursor.timeRun, cursor.timePosition);
    }
    const uint32_t previousFirst = cursor.chunk.firstSample;
    cursor.chunk = locateChunk(cursor.sample, cursor.chunkMap);
    if (cursor.chunk.firstSample != previousFirst) {
      cursor.offsetInChunk = bytesBetween(cursor.chunk.firstSample, cursor.sample);
    } else {
      cursor.offsetInChunk += bytesBetween(cursor.sample - 1, cursor.sample);
    }
    return true;
  }

  uint32_t sampleInfo(const atomkit::SampleCursor& cursor, atomkit::SampleInfo& info) const {
    info.compositionOffset =
        cursor.compositionRun == atomkit::kNoIndex
            ? 0
            : static_cast<int32_t>(entryOf(offsets, cursor.compositionRun).second);
    if (cursor.timeRun == atomkit::kNoIndex) {
      info.duration = 0;
      info.compositionTime = 0;
    } else {
      info.duration = entryOf(times, cursor.timeRun).second;
      info.compositionTime = cursor.decodeTime + static_cast<uint32_t>(info.compositionOffset);
    }
    info.timescale = timescale;
    info.fileOffset = chunkOffset(cursor.chunk.chunk) + cursor.offsetInChunk;
    info.size = sampleSize(cursor.sample);
    return info.size;
  }

 private:
  template <class Entry>
  static Entry entryOf(const std::vector<Entry>& table, uint32_t index) {
    if (index >= table.size()) throw atomkit::exception("array access out of range");
    return table[index];
  }

  template <class Run>
  static void stepInRuns(const std::vector<Run>& runs, uint32_t& run, uint32_t& position) {
    ++position;
    if (position < entryOf(runs, run).first) return;
    position = 0;
    ++run;
    if (run >= runs.size()) run = position = atomkit::kNoIndex;
  }
};
