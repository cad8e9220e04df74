// A bar that shows how far a command has come, drawn on a terminal only.
#pragma once
#include <cstdint>
#include <ostream>

namespace velahost {

enum class Terminal { no, yes };

class Progress {
 public:
  /// @param terminal  whether `out` is one; otherwise nothing is ever written
  /// @param whole     the amount at which the work is done; 0 when it is not known
  Progress(std::ostream& out, Terminal terminal, uint64_t whole)
      : out_(out), shown_(terminal == Terminal::yes && whole != 0), whole_(whole) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  /// Takes the bar away again.
  ~Progress();

  /// Tells how much is done. Draws when the percentage changes.
  void reach(uint64_t done);

 private:
  std::ostream& out_;
  bool shown_;
  uint64_t whole_;
  int percent_ = -1;
};

}  // namespace velahost
