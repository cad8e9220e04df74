#include "atomkit/core/tables/sample_tables.h"

#include <algorithm>
#include <cstddef>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/value_readers.h"

namespace atomkit {
namespace {

// Where the media data begins when a media data box with a short header opens the file.
constexpr uint64_t kOffsetWithoutTable = 8;

}  // namespace

// 'stsz' SampleSizeBox
//   u8 version, u24 flags (both ignored), u32 sample_size, u32 sample_count,
//   only when sample_size is 0: sample_count x u32 size
// With a sample_size the count is dropped: the number of samples is that of 'stts'.
void SampleTables::readSampleSizes(AtomReader& reader) {
  skipVersionAndFlags(reader);
  const uint32_t sampleSize = readU32(reader);
  const uint32_t sampleCount = readU32(reader);
  constantSampleSize_ = sampleSize;
  if (constantSampleSize_ != 0) return;
  requireEntries(reader, sampleCount, sizeof(uint32_t));
  readU32Table(reader, sampleSizes_, sampleCount);
  indexTable(sampleSizes_, sampleCount, sizeIndex_);
}

// 'stsc' SampleToChunkBox
//   u8 version, u24 flags (both ignored), u32 entry_count,
//   entry_count x { u32 first_chunk (one-based, rising), u32 samples_per_chunk,
//                   u32 description_index (one-based) }
void SampleTables::readChunkMap(AtomReader& reader) {
  skipVersionAndFlags(reader);
  const uint32_t entries = readU32(reader);
  chunkMapEntries_ = 0;
  // The bytes of the table fit 32 bits from here on, and so does its number of words.
  requireEntries(reader, entries, kChunkMapWords * sizeof(uint32_t));
  readU32Table(reader, chunkMap_, kChunkMapWords * entries);
  indexTable(chunkMap_, entries, chunkMapIndex_);
  chunkMapEntries_ = entries;
}

// 'stco' ChunkOffsetBox, 'co64' ChunkLargeOffsetBox
//   u8 version, u24 flags (both ignored), u32 entry_count,
//   entry_count x u32 ('stco') or u64 ('co64') file offset in bytes
void SampleTables::readChunkOffsets(AtomReader& reader, ChunkOffsetWidth width) {
  skipVersionAndFlags(reader);
  const uint32_t entries = readU32(reader);
  const bool wide = width == ChunkOffsetWidth::bits64;
  requireEntries(reader, entries, wide ? sizeof(uint64_t) : sizeof(uint32_t));
  shortChunkOffsets_.resize(0);
  longChunkOffsets_.resize(0);
  if (wide) {
    readU64Table(reader, longChunkOffsets_, entries);
  } else {
    readU32Table(reader, shortChunkOffsets_, entries);
  }
}

// DELIBERATE D-201: the size is signed and the number of samples an unsigned 32-bit word, so a size
// with the top bit set, or an end before the first sample, gives a wrapped product.
uint64_t SampleTables::bytesOfConstantSize(uint32_t samples) const noexcept {
  return samples * static_cast<uint64_t>(int64_t{static_cast<int32_t>(constantSampleSize_)});
}

// DELIBERATE D-202: the end must be an existing sample, although its size is not added.
uint64_t SampleTables::bytesBetween(uint32_t first, uint32_t end) const {
  if (constantSampleSize_ != 0) return bytesOfConstantSize(end - first);
  if (end >= sampleSizes_.count()) throw exception(kFrameOutOfRange);
  // Whole blocks between the two are the difference of two marks.
  const uint32_t firstBlock = first / kBlockEntries + 1;
  const uint32_t endBlock = end / kBlockEntries;
  if (firstBlock >= endBlock || endBlock > sizeIndex_.markedBlocks()) return addSizes(first, end);
  return addSizes(first, firstBlock * kBlockEntries) +
         (sizeIndex_.bytesBefore(endBlock) - sizeIndex_.bytesBefore(firstBlock)) +
         addSizes(endBlock * kBlockEntries, end);
}

uint64_t SampleTables::addSizes(uint32_t first, uint32_t end) const noexcept {
  const uint32_t* const sizes = sampleSizes_.data();
  uint64_t bytes = 0;
  for (uint32_t sample = first; sample < end; ++sample) bytes += sizes[sample];
  return bytes;
}

// All arithmetic is modulo 2^32: first chunks that don't rise, or runs that are too long, give some
// chunk, but never an access outside the tables.
ChunkLocation SampleTables::locateChunk(uint32_t sample, ChunkMapPosition& position) const {
  MapEntry run = position.entry > 0 ? mapEntry(position.entry - 1) : kRunBeforeTheMap;
  while (position.entry < chunkMapEntries_) {
    if (position.entry % kBlockEntries == 0 && skipBlocks(sample, position)) {
      run = mapEntry(position.entry - 1);
    }
    const MapEntry next = mapEntry(position.entry);
    const uint32_t end = position.firstSample + samplesBetween(run, next);
    if (sample < end) break;
    run = next;
    position.firstSample = end;
    ++position.entry;
  }
  if (run.samplesPerChunk == 0) return {1, position.firstSample};
  const uint32_t chunksIntoRun = (sample - position.firstSample) / run.samplesPerChunk;
  return {chunksIntoRun + run.firstChunk,
          position.firstSample + chunksIntoRun * run.samplesPerChunk};
}

/// Moves a position at the start of a block on to the block in which the walk will end. The index
/// knows the walk that began at the first entry; a position that is not on its way, or past its end
/// as after a step back, stays.
/// @return whether the position moved
bool SampleTables::skipBlocks(uint32_t sample, ChunkMapPosition& position) const noexcept {
  const RunIndex<uint32_t>& samples = chunkMapIndex_.samples();
  const uint32_t block = position.entry / kBlockEntries;
  const uint32_t target = samples.blockOf(sample);
  if (target <= block || samples.totalBefore(block) != position.firstSample) return false;
  position = {target * kBlockEntries, samples.totalBefore(target)};
  return true;
}

// Within a run the sample is mostly in the same chunk as the last one or in the next, which saves
// the division. The differences don't wrap: a position that a walk has reached is never past its
// sample.
void SampleTables::locateNext(uint32_t sample, ChunkMapPosition& position,
                              ChunkLocation& location) const {
  if (position.entry > 0) {
    const MapEntry run = mapEntry(position.entry - 1);
    const uint32_t before = location.firstSample - position.firstSample;
    const uint32_t inRun = sample - position.firstSample;
    if (staysInRun(sample, position, run)) {
      if (inRun - before < run.samplesPerChunk) return;
      if (inRun - before - run.samplesPerChunk < run.samplesPerChunk) {
        location = {location.chunk + 1, location.firstSample + run.samplesPerChunk};
        return;
      }
    }
  }
  location = locateChunk(sample, position);
}

uint64_t SampleTables::chunkOffset(uint32_t chunk) const {
  // DELIBERATE D-204: a chunk number past the table means the last chunk. Chunk 0 wraps to an index
  // that no table has.
  const uint32_t shortCount = shortChunkOffsets_.count();
  if (shortCount != 0) return shortChunkOffsets_[std::min(chunk, shortCount) - 1];
  const uint32_t longCount = longChunkOffsets_.count();
  if (longCount != 0) return longChunkOffsets_[std::min(chunk, longCount) - 1];
  // DELIBERATE D-203: the chunks of a track without chunk offsets begin right after the header of a
  // media data box that opens the file.
  return kOffsetWithoutTable;
}

bool SampleTables::staysInRun(uint32_t sample, const ChunkMapPosition& position,
                              const MapEntry& run) const {
  if (position.entry >= chunkMapEntries_) return true;  // the last run goes on without end
  return sample < position.firstSample + samplesBetween(run, mapEntry(position.entry));
}

// Compared as entries: the index of a word could wrap.
SampleTables::MapEntry SampleTables::mapEntry(uint32_t entry) const {
  const uint32_t* const words =
      chunkMap_.data() + size_t{kChunkMapWords} * checkedIndex(entry, chunkMapEntries_);
  return {words[kFirstChunk], words[kSamplesPerChunk]};
}

}  // namespace atomkit
