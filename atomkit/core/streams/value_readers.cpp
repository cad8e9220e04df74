#include "atomkit/core/streams/value_readers.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <iterator>
#include <utility>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/containers/memory.h"

namespace atomkit {
namespace {

constexpr uint32_t swapped(uint32_t value) {
  return value >> 24 | (value >> 8 & 0xff00) | (value << 8 & 0xff0000) | value << 24;
}

constexpr uint64_t swapped(uint64_t value) {
  return uint64_t{swapped(static_cast<uint32_t>(value))} << 32 |
         swapped(static_cast<uint32_t>(value >> 32));
}

constexpr bool isLittleEndian() { return std::endian::native == std::endian::little; }

// Reads a value of `bytes` bytes with one exact read.
template <unsigned bytes>
uint64_t readBigEndian(ByteStream& stream) {
  uint8_t raw[bytes];
  stream.readExact(raw, bytes);
  uint64_t value = 0;
  for (const uint8_t byte : raw) value = value << 8 | byte;
  return value;
}

// Brings big-endian words into the order of this machine.
template <class Word>
void toMachineOrder(Word* values, uint32_t count) {
  if (!isLittleEndian()) return;
  for (uint32_t i = 0; i < count; ++i) values[i] = swapped(values[i]);
}

template <class Word>
void readArray(ByteStream& stream, Word* values, uint32_t count) {
  stream.readExact(values, count * static_cast<uint32_t>(sizeof(Word)));
  toMachineOrder(values, count);
}

template <class Word>
void readTable(ByteStream& stream, PlainArray<Word>& table, uint32_t count) {
  table.resize(0);
  if (count == 0) return;
  const uint32_t bytes = count * static_cast<uint32_t>(sizeof(Word));
  Word* const words = static_cast<Word*>(readBlock(stream, bytes, {}, kOutOfMemoryInArray));
  toMachineOrder(words, count);
  table.adopt(words, count);
}

// Bytes of the first piece that is read from a source of unknown length; every further piece
// doubles what has been read.
constexpr uint32_t kFirstPiece = 64 * 1024;

// A block that grows until it is taken; freed if it never is.
class GrowingBlock {
 public:
  GrowingBlock() noexcept = default;
  GrowingBlock(const GrowingBlock&) = delete;
  GrowingBlock& operator=(const GrowingBlock&) = delete;
  ~GrowingBlock() { release(bytes_); }

  uint8_t* bytes() const noexcept { return bytes_; }
  uint8_t* take() noexcept { return std::exchange(bytes_, nullptr); }

  // Gives the block a new size and keeps its first `kept` bytes.
  void grow(uint32_t kept, uint64_t size, const char* outOfMemory) {
    void* const grown = size <= SIZE_MAX ? allocate(static_cast<size_t>(size)) : nullptr;
    if (!grown) throw exception(outOfMemory);
    if (kept > 0) std::memcpy(grown, bytes_, kept);
    release(bytes_);
    bytes_ = static_cast<uint8_t*>(grown);
  }

 private:
  uint8_t* bytes_ = nullptr;
};

}  // namespace

uint8_t readU8(ByteStream& stream) { return static_cast<uint8_t>(readBigEndian<1>(stream)); }
uint16_t readU16(ByteStream& stream) { return static_cast<uint16_t>(readBigEndian<2>(stream)); }
uint32_t readU24(ByteStream& stream) { return static_cast<uint32_t>(readBigEndian<3>(stream)); }
uint32_t readU32(ByteStream& stream) { return static_cast<uint32_t>(readBigEndian<4>(stream)); }
uint64_t readU64(ByteStream& stream) { return readBigEndian<8>(stream); }

void readU32Array(ByteStream& stream, uint32_t* values, uint32_t count) {
  readArray(stream, values, count);
}

void readU64Array(ByteStream& stream, uint64_t* values, uint32_t count) {
  readArray(stream, values, count);
}

void readU32ArrayWidened(ByteStream& stream, uint64_t* values, uint32_t count) {
  uint32_t chunk[256];
  while (count > 0) {
    const uint32_t entries = std::min<uint32_t>(count, std::size(chunk));
    readU32Array(stream, chunk, entries);
    values = std::copy_n(chunk, entries, values);
    count -= entries;
  }
}

void* readBlock(ByteStream& stream, uint32_t count, SpareRoom spare, const char* outOfMemory) {
  uint32_t room = stream.isLengthKnown() ? count : std::min(count, kFirstPiece);
  GrowingBlock block;
  for (uint32_t done = 0;;) {
    const uint32_t kept = done > 0 ? spare.before + done : 0;
    block.grow(kept, uint64_t{spare.before} + room + spare.after, outOfMemory);
    stream.readExact(block.bytes() + spare.before + done, room - done);
    if (room == count) return block.take();
    done = room;
    room = static_cast<uint32_t>(std::min<uint64_t>(count, uint64_t{room} * 2));
  }
}

void readBytes(ByteStream& stream, ByteArray& bytes, uint32_t count) {
  stream.requireBytes(count);
  bytes.resize(0);
  if (count == 0) return;
  void* const block = readBlock(stream, count, {}, kOutOfMemoryInArray);
  bytes.adopt(static_cast<uint8_t*>(block), count);
}

void readU32Table(ByteStream& stream, PlainArray<uint32_t>& table, uint32_t count) {
  readTable(stream, table, count);
}

void readU64Table(ByteStream& stream, PlainArray<uint64_t>& table, uint32_t count) {
  readTable(stream, table, count);
}

void readU32TableWidened(ByteStream& stream, PlainArray<uint64_t>& table, uint32_t count) {
  PlainArray<uint64_t> wide;
  table.resize(0);
  if (stream.isLengthKnown()) {
    wide.resize(count);
    readU32ArrayWidened(stream, wide.data(), count);
  } else {
    PlainArray<uint32_t> narrow;
    readTable(stream, narrow, count);
    wide.resize(count);
    std::copy_n(narrow.data(), count, wide.data());
  }
  table.swap(wide);
}

SharedString readString(ByteStream& stream, uint32_t count) {
  stream.requireBytes(count);
  constexpr SpareRoom kRoom = {.before = SharedString::kHeaderBytes, .after = 1};
  char* const block = static_cast<char*>(readBlock(stream, count, kRoom, kOutOfMemory));
  block[kRoom.before + count] = 0;
  return SharedString::adopt(block);
}

uint32_t readExpandableLength(ByteStream& stream) {
  constexpr uint32_t kLengthBits = 0x7f;
  constexpr uint32_t kMoreLengthBytes = 0x80;
  uint32_t length = 0;
  for (int i = 0; i < 4; ++i) {
    const uint8_t byte = readU8(stream);
    length = length << 7 | (byte & kLengthBits);
    if (!(byte & kMoreLengthBytes)) break;
  }
  return length;
}

void skipVersionAndFlags(ByteStream& stream) {
  readU8(stream);
  readU24(stream);
}

void requireEntries(ByteStream& stream, uint32_t count, uint32_t bytesPerEntry) {
  const uint64_t bytes = uint64_t{count} * bytesPerEntry;
  stream.requireBytes(bytes);
  if (bytes > UINT32_MAX) throw exception(kOutOfMemoryInArray);
}

}  // namespace atomkit
