#include "inspect/sample_reader.h"

#include <algorithm>

namespace inspect {
namespace {

constexpr uint32_t kMapFirstChunk = 0;
constexpr uint32_t kMapSamples = 1;
constexpr uint32_t kMapDescription = 2;
constexpr uint64_t kPlaceWithoutOffsets =
    8;  // where the media data of a file begins that has it first

}  // namespace

SampleReader::SampleReader(File& file, const TrackMap& track)
    : track_(track),
      times_(file, track.times),
      compositions_(file, track.compositions),
      syncs_(file, track.syncs),
      sizes_(file, track.sizes),
      chunkMap_(file, track.chunkMap),
      chunks_(file, track.chunks),
      count_(std::min<uint64_t>(track.sampleCount, UINT32_MAX)) {}

bool SampleReader::enter(Table& table, Run& run) {
  while (run.index < table.count() && run.position >= table.at32(run.index, 0)) {
    ++run.index;
    run.position = 0;
  }
  return run.index < table.count();
}

uint32_t SampleReader::sizeOf(uint32_t sample, bool& known) {
  known = true;
  if (track_.constantSize != 0) return track_.constantSize;
  known = sample < sizes_.count();
  return known ? sizes_.at32(sample) : 0;
}

// Samples past the last map entry go on in its run without end.
void SampleReader::locate(uint32_t sample) {
  uint32_t previousFirstChunk = 1;
  uint32_t perChunk = 0;
  const auto take = [&](uint32_t entry) {
    previousFirstChunk = chunkMap_.at32(entry, kMapFirstChunk);
    perChunk = chunkMap_.at32(entry, kMapSamples);
    description_ = chunkMap_.at32(entry, kMapDescription);
  };
  if (mapEntry_ > 0) take(mapEntry_ - 1);
  while (mapEntry_ < chunkMap_.count()) {
    const uint32_t span =
        (chunkMap_.at32(mapEntry_, kMapFirstChunk) - previousFirstChunk) * perChunk;
    if (sample < mapFirst_ + span) break;
    take(mapEntry_);
    mapFirst_ += span;
    ++mapEntry_;
  }
  const uint32_t before = chunkFirst_;
  if (perChunk == 0) {
    chunk_ = 1;
    chunkFirst_ = mapFirst_;
  } else {
    chunk_ = (sample - mapFirst_) / perChunk + previousFirstChunk;
    chunkFirst_ = mapFirst_ + (chunk_ - previousFirstChunk) * perChunk;
  }
  if (sample == 0 || chunkFirst_ != before) {
    offsetInChunk_ = 0;
    // Only a map whose sums wrap begins a chunk before the sample that it is reached with.
    placeKnown_ = chunkFirst_ == sample;
  }
}

bool SampleReader::next(Sample& sample) {
  if (nextSample_ >= count_ || !enter(times_, timeRun_)) return false;
  const auto number = static_cast<uint32_t>(nextSample_++);
  sample = {};
  sample.number = number;
  sample.decodeTime = decodeTime_;
  sample.duration = times_.at32(timeRun_.index, 1);
  decodeTime_ += sample.duration;
  ++timeRun_.position;

  if (enter(compositions_, compositionRun_)) {
    sample.compositionOffset = static_cast<int32_t>(compositions_.at32(compositionRun_.index, 1));
    ++compositionRun_.position;
  }
  if (!syncs_.empty()) {
    while (nextSync_ < syncs_.count() && syncs_.at32(nextSync_) < number + uint64_t{1}) ++nextSync_;
    sample.sync = nextSync_ < syncs_.count() && syncs_.at32(nextSync_) == number + uint64_t{1};
  }

  locate(number);
  sample.size = sizeOf(number, sample.hasSize);
  sample.chunk = chunk_ - 1;
  sample.description = description_;
  sample.hasPlace = placeKnown_ && chunk_ != 0 && (chunks_.empty() || chunk_ <= chunks_.count());
  const uint64_t chunkOffset =
      chunks_.empty() ? kPlaceWithoutOffsets
                      : chunks_.at(std::min(std::max(chunk_, 1u), chunks_.count()) - 1);
  sample.offset = chunkOffset + offsetInChunk_;
  offsetInChunk_ += sample.size;
  return true;
}

}  // namespace inspect
