// The commands of velainspect. A new one is a file of its own, a function here, and a line in
// commands.cpp.
#pragma once
#include <memory>
#include <vector>

#include "inspect/command.h"

namespace inspect {

std::unique_ptr<Command> makeWhy();
std::unique_ptr<Command> makeTree();
std::unique_ptr<Command> makeSamples();
std::unique_ptr<Command> makeCheck();
std::unique_ptr<Command> makeCompare();
std::unique_ptr<Command> makeChapters();
std::unique_ptr<Command> makeTags();
std::unique_ptr<Command> makeCovers();
std::unique_ptr<Command> makeScan();
std::unique_ptr<Command> makeReport();

/// In the order in which the help lists them.
std::vector<std::unique_ptr<Command>> allCommands();

}  // namespace inspect
