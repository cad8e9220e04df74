// The command line of velahost.
#pragma once
#include <ostream>
#include <string>
#include <vector>

#include "cli/progress.h"

namespace velahost {

/// Runs one command line.
/// @param arguments  without the program's name
/// @param errTerminal  whether `err` is a terminal, where a progress bar may be drawn
/// @return the exit status: 0; the plug-in's result code (1, 2, 3, 5, 6; 7 for any other code); or
///   64 wrong usage, 65 not representable in the asked form, 69 no plug-in, 74 output failed
int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& err,
                   cli::Terminal errTerminal);

}  // namespace velahost
