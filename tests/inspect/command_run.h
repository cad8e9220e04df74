// velainspect's command line, run inside the test program.
#pragma once
#include <cstdlib>
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

/// Lets commands that ask the plug-in find the one of this build.
inline void askBuiltPlugin() {
#ifdef _WIN32
  _putenv_s("VELA_PLUGIN", media::pluginFile().string().c_str());
#else
  setenv("VELA_PLUGIN", media::pluginFile().c_str(), 1);
#endif
}

/// Runs a command line in the folder of the media, so that what is printed holds no folder names.
inline CommandRun run(std::vector<std::string> arguments) {
  std::filesystem::current_path(media::dataFolder());
  askBuiltPlugin();
  std::ostringstream out;
  std::ostringstream err;
  const int status = inspect::runCommandLine(std::move(arguments), out, err, cli::Terminal::no);
  return {status, out.str(), err.str()};
}

}  // namespace inspecting
