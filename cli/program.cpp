#include "cli/program.h"

#include <iostream>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

namespace cli {
namespace {

Terminal standardErrorIs() {
#ifdef _WIN32
  const bool terminal = _isatty(2) != 0;
#else
  const bool terminal = isatty(STDERR_FILENO) != 0;
#endif
  return terminal ? Terminal::yes : Terminal::no;
}

}  // namespace

int runProgram(int argc, char** argv, RunCommandLine run) {
#ifdef _WIN32
  _setmode(1, _O_BINARY);  // the same bytes as elsewhere: lines end in one character
#endif
  std::ios::sync_with_stdio(false);
  return run(std::vector<std::string>(argv + 1, argv + argc), std::cout, std::cerr,
             standardErrorIs());
}

}  // namespace cli
