// PlainTrack: the tables of one track, as the file lists them, and the answers that follow from
// them. Every lookup walks its table from the start; nothing is clever, so that a reader can hold
// it against the file format's rules.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace plain {

enum class Kind { none, other, mp4a, alac, mp4v, avc1 };

inline bool isAudio(Kind kind) { return kind == Kind::mp4a || kind == Kind::alac; }
inline bool isVideo(Kind kind) { return kind == Kind::mp4v || kind == Kind::avc1; }

inline constexpr uint32_t kNone = 0xffffffff;

struct Run {
  uint32_t samples;
  uint32_t value;  // ticks for each sample, or a composition offset
};
struct ChunkRun {
  uint32_t firstChunk;
  uint32_t samplesPerChunk;
};

/// A sample and a time inside it, in ticks.
struct At {
  uint32_t sample;
  uint64_t remainder;
};

/// What is known about one sample.
struct Sample {
  uint32_t duration = 0;  // ticks
  uint64_t shownAt = 0;   // ticks
  uint64_t offset = 0;    // bytes
  uint32_t size = 0;      // bytes
};

/// A place in a track: the number of a sample and what a walk to it has gathered.
struct Place {
  uint32_t sample = 0;
  uint32_t offsetRun = 0;
  uint32_t inOffsetRun = 0;
  uint32_t timeRun = 0;
  uint32_t inTimeRun = 0;
  uint64_t decodedAt = 0;  // ticks
  uint32_t mapEntry = 0;   // entries of the chunk map before the place
  uint32_t mapFirst = 0;   // first sample of the last one of them
  uint32_t chunk = 0;      // one-based
  uint32_t chunkFirst = 0;
  uint64_t inChunk = 0;  // bytes
};

/// Lookups throw Refused where there is no answer.
struct PlainTrack {
  Kind kind = Kind::none;
  uint32_t objectType = 0;
  uint32_t channels = 0;
  uint32_t rate = 0;  // Hz
  uint32_t width = 0;
  uint32_t height = 0;
  std::string config;
  uint32_t timescale = 0;
  uint64_t duration = 0;  // ticks

  std::vector<Run> times;
  std::vector<Run> offsets;
  std::vector<uint32_t> sync;  // zero-based
  uint32_t constantSize = 0;
  std::vector<uint32_t> sizes;
  std::vector<ChunkRun> map;
  std::vector<uint64_t> chunks;

  /// The sum of the counts, modulo 2^32.
  uint32_t sampleCount() const;
  At sampleAt(uint64_t ticks) const;
  int32_t offsetOf(uint32_t sample) const;
  /// The key frame for `sample`: the number that follows it where that is one, else the nearest one
  /// on that side.
  uint32_t syncFor(uint32_t sample, bool forward) const;
  uint32_t leadingOffset() const;

  void place(Place& at, uint32_t sample) const;
  bool step(Place& at) const;
  /// Nothing, a step or a new place, whichever leads to `sample`.
  void move(Place& at, uint32_t sample) const;
  Sample describe(const Place& at) const;

 private:
  void locateChunk(Place& at) const;
  uint64_t bytesBetween(uint32_t first, uint32_t end) const;
};

}  // namespace plain
