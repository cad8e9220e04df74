// Tables of big-endian words. A caller that indexes a table sees it block by block while it is
// read, so that no second pass over it is made.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/streams/byte_stream.h"

namespace atomkit {

/// Takes a table in blocks while it is read.
class TableBlocks {
 public:
  enum class Sums { unwanted, wanted };

  /// @param blockWords  words of each block but the last one; ArrivingBlock::kPieceStep holds a
  ///        whole number of blocks
  TableBlocks(uint32_t blockWords, Sums sums) noexcept : blockWords_(blockWords), sums_(sums) {}

  uint32_t blockWords() const noexcept { return blockWords_; }
  Sums sums() const noexcept { return sums_; }

  /// The next block, in the order of this machine. It may lie elsewhere than in the table.
  /// @param sum  of its words, if wanted
  virtual void take(const uint32_t* words, uint32_t count, uint64_t sum) noexcept = 0;

 protected:
  ~TableBlocks() = default;

 private:
  uint32_t blockWords_;
  Sums sums_;
};

/// How a table is read from a source that lends no windows: whole, or so many words at a time.
inline constexpr uint32_t kWholeTable = UINT32_MAX;
inline constexpr uint32_t kShortReads = 256;

/// Replaces the contents of `table` with the next `count` values, in the order of this machine.
/// Takes memory for what arrives, not for what the box claims: see ArrivingBlock.
/// @param blocks  takes the table while it is read; null for none
/// @pre requireEntries() did not throw
/// @throws exception (past end); "out of memory when resizing array"; both leave the table empty
void readU32Table(ByteStream& stream, PlainArray<uint32_t>& table, uint32_t count,
                  TableBlocks* blocks = nullptr, uint32_t wordsPerRead = kWholeTable);
void readU64Table(ByteStream& stream, PlainArray<uint64_t>& table, uint32_t count);

}  // namespace atomkit
