// The command line of velainspect.
#pragma once
#include <ostream>
#include <string>
#include <vector>

#include "cli/console.h"

namespace inspect {

/// Runs one command line.
/// @param arguments    without the program's name
/// @param console      where the outputs go
/// @return the exit status, a cli::ExitStatus
int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& err,
                   const cli::Console& console);

}  // namespace inspect
