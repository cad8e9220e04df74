// Signals that end a command in good order instead of killing the program.
#pragma once
#include "host/host_objects.h"

namespace velahost {

/// While it lives, SIGINT, SIGTERM and SIGHUP cancel the plug-in's operation, and unfinished output
/// is removed on the way out. A signal that was ignored stays ignored. One at a time.
class InterruptsCancel {
 public:
  /// @param token  borrowed
  explicit InterruptsCancel(Token& token);
  InterruptsCancel(const InterruptsCancel&) = delete;
  InterruptsCancel& operator=(const InterruptsCancel&) = delete;
  ~InterruptsCancel();
};

}  // namespace velahost
