// Table: the list of numbers in a sample table's box, read a piece at a time.
#pragma once
#include <cstdint>
#include <vector>

#include "inspect/file.h"

namespace inspect {

/// Where a list of entries lies in the file.
struct TableSpan {
  uint64_t offset = 0;      ///< of the first entry, in bytes from the file's start
  uint32_t count = 0;       ///< entries that are there
  uint32_t declared = 0;    ///< entries that the box claims
  uint32_t entryWords = 1;  ///< numbers of an entry
  uint32_t wordBytes = 4;   ///< 4 or 8
  bool present = false;     ///< whether there is such a box at all
};

/// Reads entries in any order, quickest in rising order. Memory: one small piece, whatever the
/// table.
class Table {
 public:
  /// @param file  borrowed
  Table(File& file, const TableSpan& span) : file_(&file), span_(span) {}

  uint32_t count() const { return span_.count; }
  bool empty() const { return span_.count == 0; }
  /// A number of an entry. @pre entry < count(), word < entryWords
  uint64_t at(uint32_t entry, uint32_t word = 0);
  uint32_t at32(uint32_t entry, uint32_t word = 0) {
    return static_cast<uint32_t>(at(entry, word));
  }

 private:
  void load(uint32_t entry);

  File* file_;
  TableSpan span_;
  std::vector<uint8_t> piece_;
  uint32_t first_ = 0;  ///< entry at the start of the piece
  uint32_t held_ = 0;   ///< entries in the piece
};

}  // namespace inspect
