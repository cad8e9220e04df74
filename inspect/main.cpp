#include <csignal>

#include "cli/program.h"
#include "inspect/command_line.h"

int main(int argc, char** argv) {
#ifdef SIGPIPE
  // A pipe that is closed early fails the next write, which ends the command in good order.
  std::signal(SIGPIPE, SIG_IGN);
#endif
  return cli::runProgram(argc, argv, inspect::runCommandLine);
}
