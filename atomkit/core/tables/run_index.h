// RunIndex: the running totals of a table's entries, marked before every 64th of them, so that the
// search for the entry in which a total is passed begins near it instead of at the first one.
#pragma once
#include <algorithm>
#include <cstdint>
#include <utility>

#include "atomkit/core/containers/memory.h"

namespace atomkit {

/// Entries of a table between two marks. An index takes a table in blocks of this many.
inline constexpr uint32_t kBlockEntries = 64;

/// Totals are added modulo 2^32 or 2^64, as the walk through the table adds them, so they may fall.
/// A walk stops at the first entry whose total is above a value, which is not the last mark that is
/// at or below it where totals fall: the search is made in the largest totals so far, kept beside
/// the marks in such tables only.
///
/// An index without marks, as of an empty table or where there was no memory, lets every search
/// begin at the first entry. Lifetime: owns its marks; keeps no reference to the table.
class RunIndex {
 public:
  RunIndex() noexcept = default;
  RunIndex(RunIndex&& other) noexcept { swap(other); }
  RunIndex& operator=(RunIndex&& other) noexcept {
    RunIndex(std::move(other)).swap(*this);
    return *this;
  }
  ~RunIndex() { release(marks_); }

  /// Blocks that begin at a mark; the first block of a table has none.
  uint32_t markedBlocks() const noexcept { return count_; }

  /// The block in which a walk has to begin that looks for the first entry whose total is above
  /// `value`: no entry before it has such a total, and if any has, one in this block has.
  /// Cost: logarithmic in the number of marks.
  uint32_t blockOf(uint64_t value) const noexcept {
    const uint64_t* const first = fall_ ? marks_ + count_ : marks_;
    return static_cast<uint32_t>(std::upper_bound(first, first + count_, value) - first);
  }

  /// Total before the first entry of a block. @pre block <= markedBlocks()
  uint64_t totalBefore(uint32_t block) const noexcept { return block == 0 ? 0 : marks_[block - 1]; }

 private:
  friend class RunIndexBuilder;

  void swap(RunIndex& other) noexcept {
    std::swap(marks_, other.marks_);
    std::swap(count_, other.count_);
    std::swap(fall_, other.fall_);
  }

  // Totals before the blocks 1, 2, 3, ...; where they fall, the largest totals up to each follow.
  uint64_t* marks_ = nullptr;
  uint32_t count_ = 0;  // marks
  bool fall_ = false;
};

/// Makes the index of a table while it is read. Memory for marks grows with the blocks that have
/// been taken, so that a number of entries that lies costs none.
class RunIndexBuilder {
 public:
  /// @param entries  of the whole table
  explicit RunIndexBuilder(uint32_t entries) noexcept
      : allMarks_(entries == 0 ? 0 : (entries - 1) / kBlockEntries) {}

  /// Takes the next block of entries: kBlockEntries, in the last block fewer.
  /// @param end  total after its last entry
  /// @param highest  largest total after any of its entries
  void append(uint64_t end, uint64_t highest) noexcept;

  /// The index of the table, without marks when there was no memory for all of them.
  /// @pre the whole table was taken
  RunIndex finish() noexcept { return std::move(index_); }

 private:
  bool makeRoom(bool fall) noexcept;

  RunIndex index_;     // the largest totals begin after the room for totals
  uint32_t room_ = 0;  // marks
  uint32_t allMarks_;  // of the whole table; 0 after memory ran out
  uint64_t top_ = 0;   // largest total so far
};

}  // namespace atomkit
