#include "atomkit/core/streams/read_head.h"

namespace atomkit {

bool ReadHead::passOver(uint64_t count) noexcept {
  if (!lender_ || count > lender_->longestSkip()) return false;
  passedOver_ += static_cast<uint32_t>(count);
  skipped_ += count;
  next_ += count;
  return true;
}

void ReadHead::openWindow() noexcept {
  if (lender_) setWindow(lender_->window());
}

size_t ReadHead::refillWindow() {
  if (left() == 0) {
    closeWindow();
    setWindow(lender_->fetchWindow());
  }
  return left();
}

void ReadHead::closeWindow() noexcept {
  const auto used = static_cast<uint32_t>(next_ - begin_);
  if (used > 0) {
    using Use = WindowLender::Use;
    lender_->endWindow(used, used > passedOver_ ? Use::read : Use::skipped);
  }
  windowEnd_ -= left();
  begin_ = next_ = end_ = nullptr;
}

void ReadHead::setWindow(std::span<const uint8_t> bytes) noexcept {
  begin_ = next_ = bytes.data();
  end_ = next_ + bytes.size();
  windowEnd_ += bytes.size();
  passedOver_ = 0;
}

}  // namespace atomkit
