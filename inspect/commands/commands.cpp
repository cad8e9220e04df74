#include "inspect/commands/commands.h"

namespace inspect {

std::vector<std::unique_ptr<Command>> allCommands() {
  std::vector<std::unique_ptr<Command>> all;
  all.push_back(makeWhy());
  all.push_back(makeTree());
  all.push_back(makeSamples());
  all.push_back(makeCheck());
  all.push_back(makeCompare());
  all.push_back(makeChapters());
  all.push_back(makeTags());
  all.push_back(makeCovers());
  all.push_back(makeScan());
  all.push_back(makeReport());
  return all;
}

}  // namespace inspect
