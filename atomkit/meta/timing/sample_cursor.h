// SampleCursor: a sample of a track with its decoding time, composition offset and place in the
// file, which are carried from sample to sample.
#pragma once
#include <cstdint>

#include "atomkit/meta/timing/track_record.h"

namespace atomkit {

struct SampleCursor {
  uint32_t sample = 0;               ///< zero-based
  uint32_t track = 0;                ///< index in the movie; the operations below leave it alone
  uint32_t compositionRun = 0;       ///< 'ctts' run that holds the sample; kNoIndex for none
  uint32_t compositionPosition = 0;  ///< place in that run; kNoIndex for none
  uint32_t timeRun = 0;              ///< 'stts' run that holds the sample; kNoIndex past the table
  uint32_t timePosition = 0;         ///< place in that run; kNoIndex past the table
  uint64_t decodeTime = 0;           ///< ticks
  uint64_t offsetInChunk = 0;        ///< bytes
  ChunkMapPosition chunkMap;
  ChunkLocation chunk;
};

struct SampleInfo {
  uint32_t duration = 0;          ///< ticks
  uint64_t compositionTime = 0;   ///< ticks: decoding time plus composition offset
  int32_t compositionOffset = 0;  ///< ticks
  uint32_t timescale = 0;         ///< ticks per second
  uint64_t fileOffset = 0;        ///< bytes
  uint32_t size = 0;              ///< bytes
};

/// Sets every field of the cursor but the track index for `sample`.
/// @return the sample's offset in its chunk, in bytes
/// @throws exception "frame out of range", "array access out of range"
uint64_t reposition(const TrackRecord& record, SampleCursor& cursor, uint32_t sample);

/// Moves the cursor to the next sample. In each of the two timing tables it goes on by one run at
/// most, even when the next run holds no sample.
/// @return false, with nothing changed, when the cursor stands on the last sample
/// @throws exception "frame out of range", "array access out of range"
bool step(const TrackRecord& record, SampleCursor& cursor);

/// Goes to `sample` in the cheapest way: not at all, by one step, or by a reposition.
/// @throws exception as those two; "error advancing iterator" when the step finds no next sample
void move(const TrackRecord& record, SampleCursor& cursor, uint32_t sample);

/// Describes the cursor's sample. @return its size in bytes
/// @throws exception "array access out of range"
uint32_t sampleInfo(const TrackRecord& record, const SampleCursor& cursor, SampleInfo& info);

}  // namespace atomkit
