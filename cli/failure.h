// Why a command ends early, and the exit status that a script sees. The programs share one scheme:
// a number means the same in all of them.
#pragma once
#include <stdexcept>
#include <string>

namespace cli {

/// ABI: do not renumber; scripts test for them. The codes of the plug-in (1, 2, 3, 5, 6) are exit
/// statuses themselves.
enum class ExitStatus : int {
  success = 0,
  cancelled = 2,           ///< by a signal
  cannotOpen = 3,          ///< the file is not found, or can't be opened
  refused = 5,             ///< the file is malformed, or has nothing that the plug-in plays
  outOfMemory = 6,         ///< there is not enough memory
  otherResult = 7,         ///< the file can't be read; a result code beyond those of the interface
  differs = 10,            ///< two files are not known to be the same
  warnings = 11,           ///< a file has faults that cost a player something
  errors = 12,             ///< a file has faults by which data is lost or wrong
  usage = 64,              ///< the command line makes no sense
  notRepresentable = 65,   ///< the stream can't be written in the form asked for
  pluginUnavailable = 69,  ///< the plug-in can't be loaded
  outputFailed = 74,       ///< the output can't be written
};

/// Ends a command: a sentence for the user and an exit status for scripts.
class Failure : public std::runtime_error {
 public:
  Failure(ExitStatus status, const std::string& sentence)
      : Failure(static_cast<int>(status), sentence) {}

  int status() const { return status_; }

 protected:
  Failure(int status, const std::string& sentence)
      : std::runtime_error(sentence), status_(status) {}

 private:
  int status_;
};

}  // namespace cli
