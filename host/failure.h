// Why a command ends early, and the exit status that a script sees.
#pragma once
#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>

#include "frontend/vela_splitter.h"

namespace velahost {

/// The host stream's own code for a read of the file that failed.
inline constexpr vela::TIOResult kReadFailed{0x80000001};

/// Exit statuses besides the result codes of the plug-in, which are exit statuses themselves.
enum class ExitStatus : int {
  success = 0,
  otherResult = 7,         ///< a result code beyond those of the interface
  usage = 64,              ///< the command line makes no sense
  notRepresentable = 65,   ///< the stream can't be written in the form asked for
  pluginUnavailable = 69,  ///< the plug-in can't be loaded
  outputFailed = 74,       ///< an output file can't be written
};

/// What the command was doing when it failed.
enum class Place { commandLine, plugin, opening, describing, starting, seeking, reading, output };

/// The place as a script sees it: "command_line", "opening" and so on.
const char* name(Place place);

/// One sentence for a result code. Code 5 means something else in every place.
std::string resultSentence(Place place, vela::TIOResult result);

/// The exit status that stands for a result code.
int exitStatus(vela::TIOResult result);

/// Ends a command: a sentence for the user; an exit status, a place and the plug-in's result code
/// for scripts.
class Failure : public std::runtime_error {
 public:
  /// A failure of the host's own. The place follows from the status.
  Failure(ExitStatus status, const std::string& sentence);
  /// A result code of the plug-in that is not success.
  Failure(Place place, vela::TIOResult result)
      : Failure(place, result, resultSentence(place, result)) {}
  /// The same with a sentence that says more than the code does.
  Failure(Place place, vela::TIOResult result, const std::string& sentence);

  /// The same failure with another sentence.
  Failure withSentence(const std::string& sentence) const;

  int status() const { return status_; }
  Place place() const { return place_; }
  /// Empty when no operation of the plug-in failed.
  std::optional<vela::TIOResult> result() const { return result_; }

 private:
  int status_;
  Place place_;
  std::optional<vela::TIOResult> result_;
};

/// Throws a Failure unless the result is success.
inline void require(Place place, vela::TIOResult result) {
  if (result != vela::TIOResult::success) throw Failure(place, result);
}

}  // namespace velahost
