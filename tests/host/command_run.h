// velahost's command line, run inside the test program.
#pragma once
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "host/command_line.h"
#include "tests/programs/media.h"

namespace command {

struct CommandRun {
  int status;
  std::string out;
  std::string err;
};

/// Runs a command line without a word of the test's own.
inline CommandRun runAsGiven(std::vector<std::string> arguments,
                             cli::Terminal terminal = cli::Terminal::no) {
  std::ostringstream out;
  std::ostringstream err;
  const int status = velahost::runCommandLine(std::move(arguments), out, err, terminal);
  return {status, out.str(), err.str()};
}

/// Runs a command line against the built plug-in, in the folder of the media, so that what is
/// printed holds no folder names.
inline CommandRun run(std::vector<std::string> arguments,
                      cli::Terminal terminal = cli::Terminal::no) {
  std::filesystem::current_path(media::dataFolder());
  arguments.insert(arguments.begin(), {"--plugin", media::pluginFile().string()});
  return runAsGiven(std::move(arguments), terminal);
}

}  // namespace command
