#include "cli/program.h"

#include <csignal>
#include <iostream>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

namespace cli {
int runProgram(int argc, char** argv, RunCommandLine run) {
#ifdef _WIN32
  _setmode(1, _O_BINARY);  // the same bytes as elsewhere: lines end in one character
#endif
#ifndef _WIN32
  // A pipe that is closed early, and a file that grows beyond a limit of the system's, fail the
  // next write, which ends the command in good order.
  std::signal(SIGPIPE, SIG_IGN);
  std::signal(SIGXFSZ, SIG_IGN);
#endif
  std::ios::sync_with_stdio(false);
  return run(std::vector<std::string>(argv + 1, argv + argc), std::cout, std::cerr,
             standardConsole());
}

}  // namespace cli
