#include "atomkit/core/tables/sample_tables.h"

#include <algorithm>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/table_readers.h"
#include "atomkit/core/streams/value_readers.h"

namespace atomkit {

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
  sizeIndex_ = {};
  SizeIndexBuilder index(sampleCount);
  readU32Table(reader, sampleSizes_, sampleCount, &index);
  sizeIndex_ = index.finish();
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
  chunkMapIndex_ = {};
  ChunkMapIndexBuilder index(entries);
  readU32Table(reader, chunkMap_, entries * kChunkMapWords, &index);
  chunkMapIndex_ = index.finish();
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
    readU32Table(reader, shortChunkOffsets_, entries, nullptr, kShortReads);
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
         (sizeIndex_.totalBefore(endBlock) - sizeIndex_.totalBefore(firstBlock)) +
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
  if (position.entry > 0) checkedIndex(position.entry - 1, chunkMapEntries_);
  while (position.entry < chunkMapEntries_) {
    if (position.entry % kBlockEntries == 0) skipBlocks(sample, position);
    if (walkInBlock(sample, position)) break;
  }
  const MapEntry run = runBefore(position);
  if (run.samplesPerChunk == 0) return {1, position.firstSample};
  const uint32_t chunksIntoRun = (sample - position.firstSample) / run.samplesPerChunk;
  return {chunksIntoRun + run.firstChunk,
          position.firstSample + chunksIntoRun * run.samplesPerChunk};
}

/// Moves a position on to the entry that ends the sample's run, or to the end of its block.
/// @return whether it found the entry
bool SampleTables::walkInBlock(uint32_t sample, ChunkMapPosition& position) const noexcept {
  const uint32_t blockEnd = position.entry / kBlockEntries * kBlockEntries + kBlockEntries;
  const uint32_t* words = chunkMap_.data() + size_t{kChunkMapWords} * position.entry;
  const uint32_t* const end =
      chunkMap_.data() + size_t{kChunkMapWords} * std::min(blockEnd, chunkMapEntries_);
  auto [runFirstChunk, samplesPerChunk] = runBefore(position);
  uint32_t firstSample = position.firstSample;
  for (; words != end; words += kChunkMapWords) {
    const uint32_t runEnd = firstSample + (words[kFirstChunk] - runFirstChunk) * samplesPerChunk;
    if (sample < runEnd) break;
    runFirstChunk = words[kFirstChunk];
    samplesPerChunk = words[kSamplesPerChunk];
    firstSample = runEnd;
  }
  position = {static_cast<uint32_t>(words - chunkMap_.data()) / kChunkMapWords, firstSample};
  return words != end;
}

/// Moves a position at the start of a block on to the block in which the walk will end. The index
/// knows the walk that began at the first entry; a position that is not on its way, or past its end
/// as after a step back, stays.
void SampleTables::skipBlocks(uint32_t sample, ChunkMapPosition& position) const noexcept {
  const uint32_t block = position.entry / kBlockEntries;
  const uint32_t target = chunkMapIndex_.blockOf(sample);
  if (target <= block || chunkMapIndex_.totalBefore(block) != position.firstSample) return;
  position = {target * kBlockEntries, static_cast<uint32_t>(chunkMapIndex_.totalBefore(target))};
}

}  // namespace atomkit
