#include "inspect/commands/commands.h"

namespace inspect {

std::vector<std::unique_ptr<Command>> allCommands() {
  std::vector<std::unique_ptr<Command>> all;
  all.push_back(makeTree());
  return all;
}

}  // namespace inspect
