// The commands of velainspect. A new one is a file of its own, a function here, and a line in
// commands.cpp.
#pragma once
#include <memory>
#include <vector>

#include "inspect/command.h"

namespace inspect {

std::unique_ptr<Command> makeTree();

/// In the order in which the help lists them.
std::vector<std::unique_ptr<Command>> allCommands();

}  // namespace inspect
