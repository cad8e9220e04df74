#include "atomkit/core/streams/value_readers.h"

#include <algorithm>
#include <cstring>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/word_order.h"

namespace atomkit {
namespace {

template <unsigned bytes>
uint64_t bigEndian(const uint8_t* raw) {
  uint64_t value = 0;
  for (unsigned i = 0; i < bytes; ++i) value = value << 8 | raw[i];
  return value;
}

// Reads a value of `bytes` bytes where it lies, or with one exact read.
template <unsigned bytes>
uint64_t readBigEndian(ByteStream& stream) {
  if (const uint8_t* const raw = stream.take(bytes)) return bigEndian<bytes>(raw);
  uint8_t raw[bytes];
  stream.readExact(raw, bytes);
  return bigEndian<bytes>(raw);
}

// The bytes of words that are about to be brought into the order of this machine.
const uint8_t* bytesOf(const void* words) { return static_cast<const uint8_t*>(words); }

}  // namespace

uint8_t readU8(ByteStream& stream) { return static_cast<uint8_t>(readBigEndian<1>(stream)); }
uint16_t readU16(ByteStream& stream) { return static_cast<uint16_t>(readBigEndian<2>(stream)); }
uint32_t readU24(ByteStream& stream) { return static_cast<uint32_t>(readBigEndian<3>(stream)); }
uint32_t readU32(ByteStream& stream) { return static_cast<uint32_t>(readBigEndian<4>(stream)); }
uint64_t readU64(ByteStream& stream) { return readBigEndian<8>(stream); }

void readU32Array(ByteStream& stream, uint32_t* values, uint32_t count) {
  stream.readExact(values, count * static_cast<uint32_t>(sizeof *values));
  copyWords(values, bytesOf(values), count);
}

void readU64Array(ByteStream& stream, uint64_t* values, uint32_t count) {
  stream.readExact(values, count * static_cast<uint32_t>(sizeof *values));
  copyLongWords(values, bytesOf(values), count);
}

void* readBlock(ByteStream& stream, uint32_t count, SpareRoom spare, const char* outOfMemory) {
  // To the boxes it is one exact read, which counts as a whole or not at all.
  uint32_t counted = 0;
  const auto read = [&](uint8_t* to, uint32_t bytes) {
    try {
      stream.readExact(to, bytes);
    } catch (...) {
      stream.head().loseCounted(counted);
      throw;
    }
    counted += bytes;
  };
  ArrivingBlock block(stream, count, spare, outOfMemory);
  block.fill(read);
  return block.take();
}

void readBytes(ByteStream& stream, ByteArray& bytes, uint32_t count) {
  stream.requireBytes(count);
  bytes.resize(0);
  if (count == 0) return;
  void* const block = readBlock(stream, count, {}, kOutOfMemoryInArray);
  bytes.adopt(static_cast<uint8_t*>(block), count);
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
