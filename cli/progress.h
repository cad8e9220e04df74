// A bar that shows how far a command has come, at which rate, and how long it will take; on a
// terminal only.
#pragma once
#include <chrono>
#include <cstdint>
#include <functional>
#include <ostream>

#include "cli/console.h"

namespace cli {

class Progress {
 public:
  /// What is counted: of bytes the rate is told, too.
  enum class Unit { bytes, other };
  using Clock = std::function<std::chrono::steady_clock::time_point()>;

  /// @param console  nothing is written when its standard error is no terminal
  /// @param whole    the amount of all work; 0 when it is not known
  Progress(std::ostream& out, const Console& console, uint64_t whole, Unit unit = Unit::other,
           Clock clock = std::chrono::steady_clock::now);
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// Clears the bar.
  ~Progress();

  /// Shows how much is done. Draws when the percentage changes.
  void reach(uint64_t done);

 private:
  std::ostream& out_;
  bool shown_;
  size_t columns_;
  uint64_t whole_;
  Unit unit_;
  Clock clock_;
  std::chrono::steady_clock::time_point start_;
  int percent_ = -1;
};

}  // namespace cli
