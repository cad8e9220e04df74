// The command line of velainspect.
#pragma once
#include <ostream>
#include <string>
#include <vector>

#include "cli/progress.h"

namespace inspect {

/// Runs one command line.
/// @param arguments    without the program's name
/// @param errTerminal  whether `err` is a terminal, where a progress bar may be drawn
/// @return the exit status, a cli::ExitStatus
int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& err,
                   cli::Terminal errTerminal);

}  // namespace inspect
