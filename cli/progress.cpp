#include "cli/progress.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>

namespace cli {
namespace {

constexpr size_t kWidestBar = 40;

/// The rate is not told before it can be known.
bool isTooEarly(double part, double seconds) { return seconds < 0.2 || part <= 0; }

std::string rateText(double bytesPerSecond) {
  char text[40];
  std::snprintf(text, sizeof text, "  %.1f MB/s", bytesPerSecond / 1e6);
  return text;
}

std::string timeLeftText(double seconds) {
  const auto left = static_cast<long>(std::min(seconds + 0.5, 359999.0));
  char text[40];
  if (left >= 3600) {
    std::snprintf(text, sizeof text, "  %ld:%02ld:%02ld left", left / 3600, left / 60 % 60,
                  left % 60);
  } else {
    std::snprintf(text, sizeof text, "  %ld:%02ld left", left / 60, left % 60);
  }
  return text;
}

}  // namespace

Progress::Progress(std::ostream& out, const Console& console, uint64_t whole, Unit unit,
                   Clock clock)
    : out_(out),
      shown_(console.err == Terminal::yes && whole != 0),
      columns_(console.columns),
      whole_(whole),
      unit_(unit),
      clock_(std::move(clock)),
      start_(clock_()) {}

Progress::~Progress() {
  if (percent_ >= 0) out_ << '\r' << std::string(columns_ - 1, ' ') << '\r' << std::flush;
}

void Progress::reach(uint64_t done) {
  if (!shown_) return;
  const double part = static_cast<double>(std::min(done, whole_)) / static_cast<double>(whole_);
  const int percent = static_cast<int>(part * 100);
  if (percent == percent_) return;
  percent_ = percent;
  const double seconds = std::chrono::duration<double>(clock_() - start_).count();
  std::string words = "] " + std::to_string(percent) + " %";
  if (!isTooEarly(part, seconds)) {
    if (unit_ == Unit::bytes) words += rateText(static_cast<double>(whole_) * part / seconds);
    words += timeLeftText(seconds / part * (1 - part));
  }
  // The cursor must not reach the last column, where some terminals begin a new line.
  const size_t room = columns_ - 2;
  if (words.size() + 10 > room) words.resize(words.find('%') + 1);
  const size_t bar = std::min(kWidestBar, room - words.size());
  const auto filled = static_cast<size_t>(part * static_cast<double>(bar));
  std::string line = "[" + std::string(filled, '#') + std::string(bar - filled, '.') + words;
  line.resize(columns_ - 1, ' ');
  out_ << '\r' << line << std::flush;
}

}  // namespace cli
