// Tables that are taken block by block while they are read.
#include "atomkit/core/streams/table_readers.h"

#include <gtest/gtest.h>

#include <numeric>
#include <vector>

#include "tests/support/boxes.h"
#include "tests/support/lending_source.h"
#include "tests/support/memory_source.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;

// Keeps what it is given.
class KeptBlocks final : public TableBlocks {
 public:
  KeptBlocks(uint32_t blockWords, Sums sums) : TableBlocks(blockWords, sums) {}

  void take(const uint32_t* words, uint32_t count, uint64_t sum) noexcept override {
    sizes.push_back(count);
    if (sums() == Sums::wanted) {
      EXPECT_EQ(sum, std::accumulate(words, words + count, uint64_t{0}));
    }
    all.insert(all.end(), words, words + count);
  }

  std::vector<uint32_t> sizes;
  std::vector<uint32_t> all;
};

std::vector<uint32_t> numbers(uint32_t count) {
  std::vector<uint32_t> words;
  for (uint32_t i = 0; i < count; ++i) words.push_back(i * 0x9e3779b9);
  return words;
}

Bytes fileOf(const std::vector<uint32_t>& words) {
  Bytes file = u8(0);
  for (const uint32_t word : words) {
    for (const uint8_t byte : u32(word)) file.push_back(byte);
  }
  return file;
}

void expectBlocks(const std::vector<uint32_t>& words, ByteStream& file, uint32_t blockWords,
                  TableBlocks::Sums sums) {
  uint8_t first;
  file.readExact(&first, 1);
  const auto count = static_cast<uint32_t>(words.size());
  KeptBlocks blocks(blockWords, sums);
  PlainArray<uint32_t> table;
  readU32Table(file, table, count, &blocks, kShortReads);
  EXPECT_EQ(blocks.all, words);
  EXPECT_EQ(std::vector<uint32_t>(table.data(), table.data() + table.count()), words);
  for (size_t i = 0; i + 1 < blocks.sizes.size(); ++i) EXPECT_EQ(blocks.sizes[i], blockWords);
  EXPECT_EQ(blocks.sizes.size(), (count + blockWords - 1) / blockWords);
}

TEST(TableBlocks, AreWholeHoweverTheTableArrives) {
  for (const uint32_t count : {0u, 1u, 63u, 64u, 65u, 128u, 1000u, 20'000u, 70'001u}) {
    const std::vector<uint32_t> words = numbers(count);
    const Bytes bytes = fileOf(words);
    for (const auto sums : {TableBlocks::Sums::wanted, TableBlocks::Sums::unwanted}) {
      for (const uint32_t blockWords : {64u, 192u}) {
        SCOPED_TRACE(std::to_string(count) + " in blocks of " + std::to_string(blockWords));
        MemorySource plain(bytes);
        HostStreamAdapter plainFile(plain, bytes.size());
        expectBlocks(words, plainFile, blockWords, sums);
        for (const uint32_t window : {64u, 1'000u, 16'384u}) {
          LendingSource lending(bytes, window);
          HostStreamAdapter lendingFile(lending, bytes.size(), &lending);
          expectBlocks(words, lendingFile, blockWords, sums);
        }
      }
    }
  }
}

TEST(TableBlocks, AreTakenAsTheyArriveOfATableThatEndsEarly) {
  MemorySource source(zeros(200'000));
  HostStreamAdapter file(source, uint64_t{1} << 60);
  KeptBlocks blocks(64, TableBlocks::Sums::wanted);
  PlainArray<uint32_t> table;
  EXPECT_THROWS_MESSAGE(readU32Table(file, table, 0x10000000, &blocks),
                        "attempting to read past end of file");
  EXPECT_EQ(table.count(), 0u);
  EXPECT_GT(blocks.sizes.size(), 0u);
  EXPECT_LE(blocks.all.size(), 50'000u);
}

TEST(TableReaders, ShortReadsAreOf256WordsOfASourceThatLendsNothing) {
  MemorySource source(zeros(600 * 4));
  HostStreamAdapter file(source, source.size());
  PlainArray<uint32_t> table;
  readU32Table(file, table, 600, nullptr, kShortReads);
  EXPECT_EQ(source.reads, 3u);
  EXPECT_EQ(source.largestRead, 1024u);
}

TEST(TableReaders, AWholeTableIsOneReadOfASourceThatLendsNothing) {
  MemorySource source(zeros(600 * 4));
  HostStreamAdapter file(source, source.size());
  PlainArray<uint32_t> table;
  readU32Table(file, table, 600);
  EXPECT_EQ(source.reads, 1u);
}

}  // namespace
}  // namespace atomkit
