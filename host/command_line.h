// The command line of velahost.
#pragma once
#include <ostream>
#include <string>
#include <vector>

#include "cli/console.h"

namespace velahost {

/// Runs one command line.
/// @param arguments  without the program's name
/// @param console  where the outputs go: what may be coloured, and where a bar may be drawn
/// @return the exit status: 0; the plug-in's result code (1, 2, 3, 5, 6; 7 for any other code); or
///   64 wrong usage, 65 not representable in the asked form, 69 no plug-in, 74 output failed
int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& err,
                   const cli::Console& console);

}  // namespace velahost
