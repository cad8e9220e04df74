#include <iostream>
#include <string>
#include <vector>

#include "host/command_line.h"

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#else
#include <unistd.h>
#endif

namespace {

velahost::Terminal standardErrorIs() {
#ifdef _WIN32
  const bool terminal = _isatty(2) != 0;
#else
  const bool terminal = isatty(STDERR_FILENO) != 0;
#endif
  return terminal ? velahost::Terminal::yes : velahost::Terminal::no;
}

}  // namespace

int main(int argc, char** argv) {
#ifdef _WIN32
  _setmode(1, _O_BINARY);  // the same bytes as elsewhere: lines end in one character
#endif
  std::ios::sync_with_stdio(false);
  return velahost::runCommandLine(std::vector<std::string>(argv + 1, argv + argc), std::cout,
                                  std::cerr, standardErrorIs());
}
