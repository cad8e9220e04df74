// A bar that shows how far a command has come, on a terminal only.
#pragma once
#include <cstdint>
#include <ostream>

namespace cli {

enum class Terminal { no, yes };

class Progress {
 public:
  /// @param terminal  whether `out` is one; nothing is written when it is not
  /// @param whole     the amount of all work; 0 when it is not known
  Progress(std::ostream& out, Terminal terminal, uint64_t whole)
      : out_(out), shown_(terminal == Terminal::yes && whole != 0), whole_(whole) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// Clears the bar.
  ~Progress();

  /// Shows how much is done. Draws when the percentage changes.
  void reach(uint64_t done);

 private:
  std::ostream& out_;
  bool shown_;
  uint64_t whole_;
  int percent_ = -1;
};

}  // namespace cli
