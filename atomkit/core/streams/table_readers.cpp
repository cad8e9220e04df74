#include "atomkit/core/streams/table_readers.h"

#include <algorithm>
#include <cstring>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/arriving_block.h"
#include "atomkit/core/streams/word_order.h"

namespace atomkit {
namespace {

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

// Counts the words of a table that have been read, and gives every block that is whole away.
class BlockFeeder {
 public:
  /// @param blocks  null when nobody takes the table
  explicit BlockFeeder(TableBlocks* blocks) noexcept : blocks_(blocks) {}

  bool feeds() const noexcept { return blocks_ != nullptr; }
  bool wantsSums() const noexcept {
    return feeds() && blocks_->sums() == TableBlocks::Sums::wanted;
  }
  /// Words that are missing in the current block. @pre feeds()
  uint32_t missing() const noexcept { return blocks_->blockWords() - words_; }
  /// Says where the words go that are read next. @pre no block has begun
  void moveTo(const void* words) noexcept { block_ = static_cast<const uint32_t*>(words); }
  /// @pre feeds(); count <= missing()
  void add(uint32_t count, uint64_t sum) noexcept {
    words_ += count;
    sum_ += sum;
    if (words_ == blocks_->blockWords()) giveBlock();
  }
  /// Gives the last block away.
  void finish() noexcept {
    if (words_ != 0) giveBlock();
  }

 private:
  void giveBlock() noexcept {
    blocks_->take(block_, words_, sum_);
    block_ += words_;
    words_ = 0;
    sum_ = 0;
  }

  TableBlocks* blocks_;
  const uint32_t* block_ = nullptr;
  uint32_t words_ = 0;
  uint64_t sum_ = 0;
};

// How words of one width are copied out of a file. Returns their sum where it is wanted.
using Copy = uint64_t (*)(void* to, const uint8_t* from, uint32_t count);

uint64_t copyNarrow(void* to, const uint8_t* from, uint32_t count) {
  copyWords(static_cast<uint32_t*>(to), from, count);
  return 0;
}

uint64_t copyNarrowAdding(void* to, const uint8_t* from, uint32_t count) {
  return copyAddingWords(static_cast<uint32_t*>(to), from, count);
}

uint64_t copyWide(void* to, const uint8_t* from, uint32_t count) {
  copyLongWords(static_cast<uint64_t*>(to), from, count);
  return 0;
}

constexpr uint32_t kMostWordBytes = sizeof(uint64_t);

// Reads the words of a table.
class TableReader {
 public:
  TableReader(ByteStream& stream, uint32_t wordBytes, uint32_t wordsPerRead, Copy copy,
              BlockFeeder& feeder) noexcept
      : stream_(&stream),
        wordBytes_(wordBytes),
        wordsPerRead_(wordsPerRead),
        copy_(copy),
        feeder_(&feeder) {}

  /// @param to  aligned for the words
  void read(uint8_t* to, uint32_t words);

 private:
  void readLent(uint8_t* to, uint32_t words);
  void gatherDividedWord(uint8_t* raw);
  void readUnlent(uint8_t* to, uint32_t words);
  void copyBlocks(uint8_t* to, const uint8_t* from, uint32_t words);

  ByteStream* stream_;
  uint32_t wordBytes_;
  uint32_t wordsPerRead_;
  Copy copy_;
  BlockFeeder* feeder_;
};

void TableReader::read(uint8_t* to, uint32_t words) {
  feeder_->moveTo(to);
  if (stream_->head().hasLender()) {
    readLent(to, words);
  } else {
    readUnlent(to, words);
  }
}

// Out of the windows of the source, without a second pass over memory.
void TableReader::readLent(uint8_t* to, uint32_t words) {
  while (words > 0) {
    const auto inWindow = static_cast<uint32_t>(refill(stream_->head()) / wordBytes_);
    uint32_t read = std::min(words, inWindow);
    if (read > 0) {
      copyBlocks(to, stream_->take(read * wordBytes_), read);
    } else {
      uint8_t raw[kMostWordBytes];
      gatherDividedWord(raw);
      read = 1;
      copyBlocks(to, raw, read);
    }
    to += size_t{read} * wordBytes_;
    words -= read;
  }
}

// A word that lies in several windows.
void TableReader::gatherDividedWord(uint8_t* raw) {
  for (uint32_t done = 0; done < wordBytes_;) {
    const auto bytes =
        static_cast<uint32_t>(std::min<size_t>(refill(stream_->head()), wordBytes_ - done));
    std::memcpy(raw + done, stream_->take(bytes), bytes);
    done += bytes;
  }
}

void TableReader::readUnlent(uint8_t* to, uint32_t words) {
  while (words > 0) {
    const uint32_t read = std::min(words, wordsPerRead_);
    stream_->readExact(to, read * wordBytes_);
    copyBlocks(to, to, read);
    to += size_t{read} * wordBytes_;
    words -= read;
  }
}

// Copies words that lie in memory, and gives each block away as soon as it is whole.
void TableReader::copyBlocks(uint8_t* to, const uint8_t* from, uint32_t words) {
  if (!feeder_->feeds()) {
    copy_(to, from, words);
    return;
  }
  while (words > 0) {
    const uint32_t part = std::min(words, feeder_->missing());
    feeder_->add(part, copy_(to, from, part));
    const size_t bytes = size_t{part} * wordBytes_;
    to += bytes;
    from += bytes;
    words -= part;
  }
}

// Reads a table into a block that the caller owns.
void* readTable(ByteStream& stream, uint32_t count, uint32_t wordBytes, Copy copy,
                BlockFeeder& feeder, uint32_t wordsPerRead) {
  const uint32_t bytes = count * wordBytes;
  const LongRead longRead(stream.head(), bytes);
  TableReader reader(stream, wordBytes, wordsPerRead, copy, feeder);
  ArrivingBlock block(stream, bytes, {}, kOutOfMemoryInArray);
  block.fill([&](uint8_t* to, uint32_t piece) { reader.read(to, piece / wordBytes); });
  feeder.finish();
  return block.take();
}

}  // namespace

void readU32Table(ByteStream& stream, PlainArray<uint32_t>& table, uint32_t count,
                  TableBlocks* blocks, uint32_t wordsPerRead) {
  table.resize(0);
  if (count == 0) return;
  BlockFeeder feeder(blocks);
  void* const words =
      readTable(stream, count, sizeof(uint32_t),
                feeder.wantsSums() ? &copyNarrowAdding : &copyNarrow, feeder, wordsPerRead);
  table.adopt(static_cast<uint32_t*>(words), count);
}

void readU64Table(ByteStream& stream, PlainArray<uint64_t>& table, uint32_t count) {
  table.resize(0);
  if (count == 0) return;
  BlockFeeder nobody(nullptr);
  void* const words = readTable(stream, count, sizeof(uint64_t), &copyWide, nobody, kWholeTable);
  table.adopt(static_cast<uint64_t*>(words), count);
}

}  // namespace atomkit
