#include "cli/progress.h"

#include <algorithm>
#include <string>

namespace cli {
namespace {

constexpr int kBarWidth = 40;

}  // namespace

Progress::~Progress() {
  if (percent_ >= 0) out_ << '\r' << std::string(kBarWidth + 8, ' ') << '\r' << std::flush;
}

void Progress::reach(uint64_t done) {
  if (!shown_) return;
  const double part = static_cast<double>(std::min(done, whole_)) / static_cast<double>(whole_);
  const int percent = static_cast<int>(part * 100);
  if (percent == percent_) return;
  percent_ = percent;
  const auto filled = static_cast<size_t>(percent * kBarWidth / 100);
  out_ << "\r[" << std::string(filled, '#') << std::string(kBarWidth - filled, '.') << "] "
       << percent << " %" << std::flush;
}

}  // namespace cli
