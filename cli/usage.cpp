#include "cli/usage.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <vector>

#include "cli/text.h"

namespace cli {
namespace {

/// "info, packets, extract and seek"
std::string commandNames(const CLI::App& app, const char* lastJoint) {
  std::string names;
  const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
  for (size_t i = 0; i < commands.size(); ++i) {
    if (i > 0) names += i + 1 == commands.size() ? lastJoint : ", ";
    names += commands[i]->get_name();
  }
  return names;
}

}  // namespace

std::string usageSentence(const CLI::App& app, const std::string& first,
                          const CLI::ParseError& error) {
  const auto isOption = [](const std::string& word) { return word.size() > 1 && word[0] == '-'; };
  std::vector<std::string> surplus = app.remaining(true);
  // A command that takes up all that follows can still be found when its name comes too late.
  const auto isFirst = [&first](const CLI::App* command) { return command->get_name() == first; };
  const bool startsWrong =
      !first.empty() && !isOption(first) && app.get_subcommands(isFirst).empty();
  if (startsWrong) surplus.insert(surplus.begin(), first);
  const auto option = std::find_if(surplus.begin(), surplus.end(), isOption);
  if (!startsWrong && option != surplus.end()) {
    return "There is no option " + printable(*option) + ". Run with --help for more information.";
  }
  if (!startsWrong && !app.get_subcommands().empty()) {
    return printable(error.what()) + ". Run with --help for more information.";
  }
  if (surplus.empty()) return "Name a command: " + commandNames(app, " or ") + ".";
  return "There is no command \"" + printable(surplus[0]) + "\". The commands are " +
         commandNames(app, " and ") + ".";
}

}  // namespace cli
