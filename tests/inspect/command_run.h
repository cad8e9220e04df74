// velainspect's command line, run inside the test program.
#pragma once
#include <filesystem>
#include <sstream>
#include <string>
#include <vector>

#include "inspect/command_line.h"
#include "tests/programs/media.h"

namespace inspecting {

struct CommandRun {
  int status;
  std::string out;
  std::string err;
};

/// Runs a command line in the folder of the media, so that what is printed holds no folder names.
inline CommandRun run(std::vector<std::string> arguments) {
  std::filesystem::current_path(media::dataFolder());
  std::ostringstream out;
  std::ostringstream err;
  const int status = inspect::runCommandLine(std::move(arguments), out, err, cli::Terminal::no);
  return {status, out.str(), err.str()};
}

}  // namespace inspecting
