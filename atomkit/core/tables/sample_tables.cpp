#include "atomkit/core/tables/sample_tables.h"

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/value_readers.h"

namespace atomkit {
namespace {

// Words of an entry of the sample-to-chunk map.
enum MapWord : uint32_t { kFirstChunk, kSamplesPerChunk, kDescription, kWordsPerEntry };

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
  requireEntries(reader, entries, kWordsPerEntry * sizeof(uint32_t));
  readU32Table(reader, chunkMap_, kWordsPerEntry * entries);
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
  if (wide) {
    readU64Table(reader, chunkOffsets_, entries);
  } else {
    readU32TableWidened(reader, chunkOffsets_, entries);
  }
}

uint32_t SampleTables::sampleSize(uint32_t sample) const {
  return constantSampleSize_ != 0 ? constantSampleSize_ : sampleSizes_[sample];
}

uint64_t SampleTables::bytesBetween(uint32_t first, uint32_t end) const {
  if (constantSampleSize_ != 0) {
    // DELIBERATE D-201: the size is signed and the number of samples an unsigned 32-bit word, so a
    // size with the top bit set, or an end before the first sample, gives a wrapped product.
    const auto size = static_cast<uint64_t>(int64_t{static_cast<int32_t>(constantSampleSize_)});
    return uint64_t{end - first} * size;
  }
  // DELIBERATE D-202: the end must be an existing sample, although its size is not added.
  if (end >= sampleSizes_.count()) throw exception(kFrameOutOfRange);
  uint64_t bytes = 0;
  for (uint32_t sample = first; sample < end; ++sample) bytes += sampleSizes_[sample];
  return bytes;
}

ChunkLocation SampleTables::locateChunk(uint32_t sample, ChunkMapPosition& position) const {
  // All arithmetic is modulo 2^32: first chunks that don't rise, or runs that are too long, give
  // some chunk, but never an access outside the tables.
  uint32_t runFirstChunk = 1;
  uint32_t samplesPerChunk = 0;
  if (position.entry > 0) {
    runFirstChunk = mapWord(position.entry - 1, kFirstChunk);
    samplesPerChunk = mapWord(position.entry - 1, kSamplesPerChunk);
  }
  while (position.entry < chunkMapEntries_) {
    const uint32_t nextFirstChunk = mapWord(position.entry, kFirstChunk);
    const uint32_t span = (nextFirstChunk - runFirstChunk) * samplesPerChunk;
    if (sample < position.firstSample + span) break;
    samplesPerChunk = mapWord(position.entry, kSamplesPerChunk);
    runFirstChunk = nextFirstChunk;
    position.firstSample += span;
    ++position.entry;
  }
  if (samplesPerChunk == 0) return {1, position.firstSample};
  const uint32_t chunksIntoRun = (sample - position.firstSample) / samplesPerChunk;
  return {chunksIntoRun + runFirstChunk, position.firstSample + chunksIntoRun * samplesPerChunk};
}

uint64_t SampleTables::chunkOffset(uint32_t chunk) const {
  // DELIBERATE D-203: the chunks of a track without chunk offsets begin right after the header of a
  // media data box that opens the file.
  if (chunkOffsets_.count() == 0) return kOffsetWithoutTable;
  // DELIBERATE D-204: a chunk number past the table means the last chunk.
  if (chunk > chunkOffsets_.count()) return chunkOffsets_[chunkOffsets_.count() - 1];
  return chunkOffsets_[chunk - 1];  // chunk 0 wraps to an index that no table has
}

uint32_t SampleTables::mapWord(uint32_t entry, uint32_t word) const {
  // Compared as entries: the index of a word could wrap.
  const uint32_t checked = checkedIndex(entry, chunkMap_.count() / kWordsPerEntry);
  return chunkMap_[kWordsPerEntry * checked + word];
}

}  // namespace atomkit
