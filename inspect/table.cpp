#include "inspect/table.h"

#include <algorithm>

namespace inspect {
namespace {

constexpr uint32_t kPieceBytes = 16384;

}  // namespace

void Table::load(uint32_t entry) {
  const uint32_t entryBytes = span_.entryWords * span_.wordBytes;
  held_ = std::min(kPieceBytes / entryBytes, span_.count - entry);
  first_ = entry;
  piece_.assign(size_t{held_} * entryBytes,
                0);  // what has gone since the file was measured reads as 0
  file_->read(span_.offset + uint64_t{entry} * entryBytes, piece_.data(), piece_.size());
}

uint64_t Table::at(uint32_t entry, uint32_t word) {
  if (entry < first_ || entry - first_ >= held_) load(entry);
  const size_t at = (size_t{entry - first_} * span_.entryWords + word) * span_.wordBytes;
  uint64_t value = 0;
  for (uint32_t i = 0; i < span_.wordBytes; ++i) value = value << 8 | piece_[at + i];
  return value;
}

}  // namespace inspect
