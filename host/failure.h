// Why a command ends early, and the exit status that a script sees.
#pragma once
#include <cstdint>
#include <optional>
#include <string>

#include "cli/failure.h"
#include "frontend/vela_splitter.h"

namespace velahost {

/// The host stream's own code for a read of the file that failed.
inline constexpr vela::TIOResult kReadFailed{0x80000001};

/// Exit statuses; the result codes of the plug-in are exit statuses themselves.
using cli::ExitStatus;

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
class Failure : public cli::Failure {
 public:
  /// A failure of the host's own. The place follows from the status.
  Failure(ExitStatus status, const std::string& sentence);
  /// A result code of the plug-in that is not success.
  Failure(Place place, vela::TIOResult result)
      : Failure(place, result, resultSentence(place, result)) {}
  /// The same with a sentence that says more than the code does.
  Failure(Place place, vela::TIOResult result, const std::string& sentence);

  /// A failure of what the programs share, such as an output file. The place follows from the
  /// status.
  static Failure of(const cli::Failure& failure);

  /// The same failure with another sentence.
  Failure withSentence(const std::string& sentence) const;

  Place place() const { return place_; }
  /// Empty when no operation of the plug-in failed.
  std::optional<vela::TIOResult> result() const { return result_; }

 private:
  Place place_;
  std::optional<vela::TIOResult> result_;
};

/// Throws a Failure unless the result is success.
inline void require(Place place, vela::TIOResult result) {
  if (result != vela::TIOResult::success) throw Failure(place, result);
}

}  // namespace velahost
