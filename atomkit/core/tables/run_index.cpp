#include "atomkit/core/tables/run_index.h"

#include <cstddef>

namespace atomkit {
namespace {

constexpr uint32_t kFirstRoom = 256;  // marks

}  // namespace

void RunIndexBuilder::append(uint64_t end, uint64_t highest) noexcept {
  if (index_.count_ == allMarks_) return;  // no mark after the last block
  top_ = std::max(top_, highest);
  const bool fall = index_.fall_ || top_ != end;
  if ((index_.count_ == room_ || fall != index_.fall_) && !makeRoom(fall)) return;
  index_.marks_[index_.count_] = end;
  if (fall) index_.marks_[room_ + index_.count_] = top_;
  ++index_.count_;
}

/// Makes room for another mark; for the largest totals too, once totals fall. Without memory all
/// marks are of no use and dropped.
bool RunIndexBuilder::makeRoom(bool fall) noexcept {
  const uint32_t count = index_.count_;
  const uint32_t room =
      count < room_ ? room_ : std::min(allMarks_, std::max(kFirstRoom, count * 2));
  const size_t bytes = size_t{room} * sizeof(uint64_t);
  auto* const marks = static_cast<uint64_t*>(allocate(fall ? 2 * bytes : bytes));
  if (marks) {
    std::copy_n(index_.marks_, count, marks);
    // Up to the first total that falls, each is the largest.
    const uint64_t* const highest = index_.fall_ ? index_.marks_ + room_ : index_.marks_;
    if (fall) std::copy_n(highest, count, marks + room);
  }
  release(index_.marks_);
  index_.marks_ = marks;
  index_.fall_ = marks && fall;
  room_ = room;
  if (!marks) index_.count_ = allMarks_ = 0;
  return marks != nullptr;
}

}  // namespace atomkit
