// Signals that end a command in good order instead of killing the program.
#pragma once
#include <csignal>

namespace cli {

/// While it lives, SIGINT, SIGTERM and SIGHUP set a flag, which the command looks at, so that
/// unfinished output is removed on the way out. A signal that was ignored stays ignored. One at a
/// time.
class InterruptsSet {
 public:
  /// @param flag  borrowed; becomes 1
  explicit InterruptsSet(volatile std::sig_atomic_t& flag);
  InterruptsSet(const InterruptsSet&) = delete;
  InterruptsSet& operator=(const InterruptsSet&) = delete;
  ~InterruptsSet();
};

}  // namespace cli
