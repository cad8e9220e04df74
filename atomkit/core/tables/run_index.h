// RunIndex: the running totals of a table's entries, marked before every 64th of them, so that the
// search for the entry in which a total is passed begins near it instead of at the first one.
#pragma once
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "atomkit/core/containers/memory.h"
#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/streams/table_readers.h"

namespace atomkit {

/// Entries of a table between two marks. An index takes a table in blocks of this many.
inline constexpr uint32_t kBlockEntries = 64;

/// Totals are added modulo 2^32 or 2^64, as the walk through the table adds them, so they may fall.
/// A walk stops at the first entry whose total is above a value, which is not the last mark that is
/// at or below it where totals fall: the search is made in the largest totals so far, kept beside
/// the marks in such tables only.
///
/// An index for which there is no memory has no marks, and every search begins at the first entry.
/// Lifetime: owns its marks; keeps no reference to the table.
template <class Total>
class RunIndex {
  static_assert(std::is_unsigned_v<Total>);

 public:
  /// Drops all marks and takes memory for those of a table of `entries` entries, all of which have
  /// been read or can be believed to be there.
  void start(uint32_t entries) noexcept {
    totals_.resize(0);
    highest_.resize(0);
    count_ = 0;
    top_ = 0;
    takeMemory(totals_, entries == 0 ? 0 : (entries - 1) / kBlockEntries);
  }

  /// Takes the next block of entries: kBlockEntries, in the last block fewer.
  /// @param end  total after its last entry
  /// @param highest  largest total after any of its entries
  void append(Total end, Total highest) noexcept {
    if (count_ == totals_.count()) return;  // no mark after the last block
    top_ = std::max(top_, highest);
    if (top_ != end && highest_.count() == 0 && !keepHighest()) return;
    totals_.data()[count_] = end;
    if (highest_.count() != 0) highest_.data()[count_] = top_;
    ++count_;
  }

  /// Blocks that begin at a mark; the first block of a table has none.
  uint32_t markedBlocks() const noexcept { return count_; }

  /// The block in which a walk has to begin that looks for the first entry whose total is above
  /// `value`: no entry before it has such a total, and if any has, one in this block has.
  /// Cost: logarithmic in the number of marks.
  uint32_t blockOf(Total value) const noexcept {
    const Total* const first = highest_.count() != 0 ? highest_.data() : totals_.data();
    return static_cast<uint32_t>(std::upper_bound(first, first + count_, value) - first);
  }

  /// Total before the first entry of a block. @pre block <= markedBlocks()
  Total totalBefore(uint32_t block) const noexcept {
    return block == 0 ? 0 : totals_.data()[block - 1];
  }

 private:
  static bool takeMemory(PlainArray<Total>& array, uint32_t count) noexcept {
    void* const block = count == 0 ? nullptr : allocate(size_t{count} * sizeof(Total));
    if (block) array.adopt(static_cast<Total*>(block), count);
    return block != nullptr;
  }

  /// Begins the second array at the first total that is below an earlier one. Without memory for it
  /// the marks are of no use.
  bool keepHighest() noexcept {
    if (!takeMemory(highest_, totals_.count())) {
      start(0);
      return false;
    }
    std::copy_n(totals_.data(), count_, highest_.data());
    return true;
  }

  PlainArray<Total> totals_;   // before the blocks 1, 2, 3, ...
  PlainArray<Total> highest_;  // largest total up to there; empty while totals only rise
  uint32_t count_ = 0;         // marks that have been set
  Total top_ = 0;              // largest total so far
};

/// Shows a table to its index while it is read: Index::start() with the number of entries, then
/// Index::take() for every block of Index::kBlockWords words, the last time for those that are
/// left.
template <class Index>
class IndexedBlocks final : public TableBlocks {
 public:
  IndexedBlocks(Index& index, uint32_t entries) noexcept
      : TableBlocks(Index::kBlockWords, Index::kSums), index_(&index), entries_(entries) {}

  void start() noexcept override { index_->start(entries_); }
  void take(const uint32_t* words, uint32_t count, uint64_t sum) noexcept override {
    index_->take(words, count, sum);
  }

 private:
  Index* index_;
  uint32_t entries_;
};

/// Reads a table and makes its index on the way.
/// @pre requireEntries() did not throw
/// @throws what readU32Table() throws
template <class Index>
void readIndexedTable(ByteStream& stream, PlainArray<uint32_t>& table, uint32_t entries,
                      Index& index) {
  IndexedBlocks<Index> blocks(index, entries);
  readU32Table(stream, table, entries * (Index::kBlockWords / kBlockEntries), &blocks);
}

}  // namespace atomkit
