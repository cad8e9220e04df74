// Why a command ends early, and the exit status that a script sees.
#pragma once
#include <cstdint>
#include <stdexcept>
#include <string>

#include "frontend/vela_splitter.h"

namespace velahost {

/// The host stream's own code for a failed read of the disk.
inline constexpr vela::TIOResult kReadFailed{0x80000001};

/// Exit statuses beside the result codes of the plug-in, which are exit statuses themselves.
enum class ExitStatus : int {
  success = 0,
  otherResult = 7,         ///< a result code beyond those of the interface
  usage = 64,              ///< the command line makes no sense
  notRepresentable = 65,   ///< the stream can't be written in the asked form
  pluginUnavailable = 69,  ///< the plug-in can't be loaded
  outputFailed = 74,       ///< an output file can't be written
};

/// One sentence for every result code.
std::string resultSentence(vela::TIOResult result);

/// The exit status that stands for a result code.
int exitStatus(vela::TIOResult result);

/// Ends a command: a sentence for the user and an exit status for scripts.
class Failure : public std::runtime_error {
 public:
  Failure(ExitStatus status, const std::string& sentence)
      : std::runtime_error(sentence), status_(static_cast<int>(status)) {}
  explicit Failure(vela::TIOResult result)
      : std::runtime_error(resultSentence(result)), status_(exitStatus(result)) {}

  int status() const { return status_; }

 private:
  int status_;
};

/// Throws a Failure unless the result is success.
inline void require(vela::TIOResult result) {
  if (result != vela::TIOResult::success) throw Failure(result);
}

}  // namespace velahost
