#include "fuzz/model/plain_track.h"

#include <algorithm>

#include "fuzz/model/bytes_in.h"

namespace plain {
namespace {

struct Found {
  uint32_t run = kNone;
  uint32_t in = kNone;
  uint64_t start = 0;  // the sum of what the runs before it stand for
};

/// The run that holds `sample`. The counts are added modulo 2^32.
Found runOf(const std::vector<Run>& runs, uint32_t sample) {
  uint32_t first = 0;
  uint64_t start = 0;
  for (uint32_t i = 0; i < runs.size(); ++i) {
    const uint32_t end = first + runs[i].samples;
    if (sample < end) return {i, sample - first, start};
    first = end;
    start += uint64_t{runs[i].samples} * runs[i].value;
  }
  return {};
}

/// A step goes to the next run whatever its length.
void stepIn(const std::vector<Run>& runs, uint32_t& run, uint32_t& in) {
  if (++in < runs[run].samples) return;
  in = 0;
  if (++run == runs.size()) run = in = kNone;
}

}  // namespace

uint32_t PlainTrack::sampleCount() const {
  uint32_t total = 0;
  for (const Run& run : times) total += run.samples;
  return total;
}

At PlainTrack::sampleAt(uint64_t ticks) const {
  uint32_t first = 0;
  uint64_t start = 0;
  for (const Run& run : times) {
    const uint64_t end = start + uint64_t{run.samples} * run.value;
    if (ticks < end) {
      const uint64_t in = ticks - start;
      return {first + static_cast<uint32_t>(in / run.value), in % run.value};
    }
    first += run.samples;
    start = end;
  }
  throw Refused{};
}

int32_t PlainTrack::offsetOf(uint32_t sample) const {
  const Found found = runOf(offsets, sample);
  return found.run == kNone ? 0 : static_cast<int32_t>(offsets[found.run].value);
}

uint32_t PlainTrack::syncFor(uint32_t sample, bool forward) const {
  if (sync.empty()) return sample;
  const uint32_t next = sample + 1;
  if (next <= sync.front()) return sync.front();
  if (next >= sync.back()) return sync.back();
  const auto notBefore = std::lower_bound(sync.begin(), sync.end(), next);
  if (*notBefore == next || forward) return *notBefore;
  return *(notBefore - 1);
}

uint32_t PlainTrack::leadingOffset() const {
  if (kind != Kind::mp4a) return 0;
  const auto offset = static_cast<uint32_t>(offsetOf(0));
  return duration > 0xffffffff ? offset : std::min(offset, static_cast<uint32_t>(duration));
}

void PlainTrack::place(Place& at, uint32_t sample) const {
  at.sample = sample;
  const Found inOffsets = runOf(offsets, sample);
  at.offsetRun = inOffsets.run;
  at.inOffsetRun = inOffsets.in;
  const Found inTimes = runOf(times, sample);
  at.timeRun = inTimes.run;
  at.inTimeRun = inTimes.in;
  at.decodedAt = 0;
  if (at.timeRun != kNone) {
    at.decodedAt = inTimes.start + uint64_t{times[at.timeRun].value} * at.inTimeRun;
  }
  at.mapEntry = 0;
  at.mapFirst = 0;
  locateChunk(at);
  at.inChunk = bytesBetween(at.chunkFirst, sample);
}

bool PlainTrack::step(Place& at) const {
  if (uint64_t{at.sample} + 1 >= sampleCount()) return false;
  ++at.sample;
  if (at.offsetRun != kNone) stepIn(offsets, at.offsetRun, at.inOffsetRun);
  if (at.timeRun != kNone) {
    at.decodedAt += times[at.timeRun].value;
    stepIn(times, at.timeRun, at.inTimeRun);
  }
  const uint32_t chunkBefore = at.chunkFirst;
  locateChunk(at);
  if (at.chunkFirst != chunkBefore) {
    at.inChunk = bytesBetween(at.chunkFirst, at.sample);
  } else {
    at.inChunk += bytesBetween(at.sample - 1, at.sample);
  }
  return true;
}

void PlainTrack::move(Place& at, uint32_t sample) const {
  if (sample == at.sample) return;
  if (sample != uint64_t{at.sample} + 1) {
    place(at, sample);
  } else if (!step(at)) {
    throw Refused{};
  }
}

// The map is walked on from where the place stands: run after run, until the sample is not past the
// next one's start. All sums are modulo 2^32.
void PlainTrack::locateChunk(Place& at) const {
  ChunkRun run{1, 0};
  if (at.mapEntry > 0) run = map[at.mapEntry - 1];
  for (; at.mapEntry < map.size(); ++at.mapEntry) {
    const ChunkRun& next = map[at.mapEntry];
    const uint32_t samples = (next.firstChunk - run.firstChunk) * run.samplesPerChunk;
    if (at.sample < at.mapFirst + samples) break;
    at.mapFirst += samples;
    run = next;
  }
  at.chunk = 1;
  at.chunkFirst = at.mapFirst;
  if (run.samplesPerChunk == 0) return;
  const uint32_t chunksIn = (at.sample - at.mapFirst) / run.samplesPerChunk;
  at.chunk = run.firstChunk + chunksIn;
  at.chunkFirst = at.mapFirst + chunksIn * run.samplesPerChunk;
}

uint64_t PlainTrack::bytesBetween(uint32_t first, uint32_t end) const {
  if (constantSize != 0) {
    const auto size = static_cast<uint64_t>(int64_t{static_cast<int32_t>(constantSize)});
    return uint64_t{end - first} * size;
  }
  if (end >= sizes.size()) throw Refused{};
  uint64_t bytes = 0;
  for (uint32_t i = first; i < end; ++i) bytes += sizes[i];
  return bytes;
}

Sample PlainTrack::describe(const Place& at) const {
  Sample sample;
  if (at.timeRun != kNone) {
    const uint32_t shift = at.offsetRun == kNone ? 0 : offsets[at.offsetRun].value;
    sample.duration = times[at.timeRun].value;
    sample.shownAt = at.decodedAt + shift;
  }
  uint64_t chunkOffset = 8;
  if (!chunks.empty()) {
    if (at.chunk == 0) throw Refused{};
    chunkOffset = chunks[std::min<size_t>(at.chunk, chunks.size()) - 1];
  }
  sample.offset = chunkOffset + at.inChunk;
  if (constantSize == 0 && at.sample >= sizes.size()) throw Refused{};
  sample.size = constantSize != 0 ? constantSize : sizes[at.sample];
  return sample;
}

}  // namespace plain
