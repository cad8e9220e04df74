// How a program starts: the same for all of them.
#pragma once
#include <ostream>
#include <string>
#include <vector>

#include "cli/console.h"

namespace cli {

/// Runs a command line. @return the exit status
using RunCommandLine = int (*)(std::vector<std::string> arguments, std::ostream& out,
                               std::ostream& err, const Console& console);

/// The body of main(): standard output takes bytes as they are, on every system.
int runProgram(int argc, char** argv, RunCommandLine run);

}  // namespace cli
