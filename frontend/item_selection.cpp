// Items of a file: the whole file, or one chapter of an audio-only file.
#include "atomkit/core/containers/exception.h"
#include "frontend/host_time.h"
#include "frontend/splitter_session.h"

namespace vela {

uint32_t SplitterSession::getItemCount() const noexcept {
  return audioOnly_ ? movie_.chapterCount() : 1;
}

uint32_t SplitterSession::getItemId(uint32_t index) const noexcept {
  return audioOnly_ ? index + 1 : 0;
}

// DELIBERATE D-041: the identifier is compared with the number of items, not of chapters. A film is
// one item, so its identifier 1 is in range and selects its first chapter, while 2 selects the
// whole file.
// DELIBERATE D-053: the times of a chapter wrap as they become host units, every 2^40 units of
// 100 ns (30 h 32 min).
void SplitterSession::selectItem(uint32_t itemId) {
  if (itemId == 0 || itemId - 1 >= getItemCount()) {
    rangeStart_ = 0;
    rangeEnd_ = duration_;
    selectedChapter_ = -1;
    return;
  }
  const uint32_t chapter = itemId - 1;
  selectedChapter_ = static_cast<int32_t>(chapter);
  rangeStart_ = hundredNsToHostUnits(movie_.chapterStart(chapter));
  rangeEnd_ = hundredNsToHostUnits(movie_.chapterEnd(chapter));
  if (rangeEnd_ <= rangeStart_) throw atomkit::exception("invalid chapter data");
}

}  // namespace vela
