#include "atomkit/core/streams/value_readers.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/containers/memory.h"
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

template <class Word>
void toMachineOrder(Word* words, uint32_t count) {
  const void* const bytes = words;
  copyInMachineOrder(words, static_cast<const uint8_t*>(bytes), count);
}

template <class Word>
void readArray(ByteStream& stream, Word* values, uint32_t count) {
  stream.readExact(values, count * static_cast<uint32_t>(sizeof(Word)));
  toMachineOrder(values, count);
}

// One read of many bytes, which goes on to the end of each block of the source's memory, whatever
// else of it holds the same bytes. A window for values may end sooner, so a read of more than that
// closes it.
class LongRead {
 public:
  LongRead(ReadHead& head, uint64_t bytes) noexcept
      : head_(&head), outgrowsWindow_(bytes > head.left()) {
    if (outgrowsWindow_) head_->closeWindow();
  }
  LongRead(const LongRead&) = delete;
  LongRead& operator=(const LongRead&) = delete;
  ~LongRead() {
    if (!outgrowsWindow_) return;
    head_->closeWindow();
    head_->openWindow();
  }

 private:
  ReadHead* head_;
  bool outgrowsWindow_;
};

size_t refill(ReadHead& head) {
  const size_t bytes = head.refillWindow();
  if (bytes == 0) throw exception(kReadPastFile);
  return bytes;
}

// A word that lies in several windows.
template <class Word>
void takeDividedWord(ByteStream& stream, Word& word) {
  uint8_t raw[sizeof(Word)];
  for (uint32_t done = 0; done < sizeof raw;) {
    const auto bytes =
        static_cast<uint32_t>(std::min<size_t>(refill(stream.head()), sizeof raw - done));
    std::memcpy(raw + done, stream.take(bytes), bytes);
    done += bytes;
  }
  copyInMachineOrder(&word, raw, 1);
}

// Reads words of a table, whose bytes were required. They are copied out of the windows of the
// source, without a second pass over memory.
template <class Word>
void readWords(ByteStream& stream, Word* words, uint32_t count) {
  while (count > 0) {
    const size_t inWindow = refill(stream.head()) / sizeof(Word);
    const auto whole = static_cast<uint32_t>(std::min<size_t>(count, inWindow));
    if (whole == 0) {
      takeDividedWord(stream, *words++);
      --count;
      continue;
    }
    copyInMachineOrder(words, stream.take(static_cast<uint32_t>(whole * sizeof(Word))), whole);
    words += whole;
    count -= whole;
  }
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

// Reads `count` bytes with read(to, bytes) into a block with `spare` room around them: see
// readBlock().
template <class Read>
uint8_t* readPieces(ByteStream& stream, uint32_t count, SpareRoom spare, const char* outOfMemory,
                    Read read) {
  uint32_t room = stream.isLengthKnown() ? count : std::min(count, kFirstPiece);
  GrowingBlock block;
  for (uint32_t done = 0;;) {
    const uint32_t kept = done > 0 ? spare.before + done : 0;
    block.grow(kept, uint64_t{spare.before} + room + spare.after, outOfMemory);
    read(block.bytes() + spare.before + done, room - done);
    if (room == count) return block.take();
    done = room;
    room = static_cast<uint32_t>(std::min<uint64_t>(count, uint64_t{room} * 2));
  }
}

// A piece holds whole words, and a block is aligned for them.
template <class Word>
void readTable(ByteStream& stream, PlainArray<Word>& table, uint32_t count) {
  table.resize(0);
  if (count == 0) return;
  const auto bytes = static_cast<uint32_t>(count * sizeof(Word));
  const auto readPiece = [&](void* to, uint32_t piece) {
    const auto words = static_cast<uint32_t>(piece / sizeof(Word));
    if (stream.head().hasLender()) {
      readWords(stream, static_cast<Word*>(to), words);
    } else {
      readArray(stream, static_cast<Word*>(to), words);
    }
  };
  const LongRead longRead(stream.head(), bytes);
  void* const block = readPieces(stream, bytes, {}, kOutOfMemoryInArray, readPiece);
  table.adopt(static_cast<Word*>(block), count);
}

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

void* readBlock(ByteStream& stream, uint32_t count, SpareRoom spare, const char* outOfMemory) {
  return readPieces(stream, count, spare, outOfMemory,
                    [&](uint8_t* to, uint32_t bytes) { stream.readExact(to, bytes); });
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
