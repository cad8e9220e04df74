// What is wrong with a command line, in the words of a person.
#pragma once
#include <string>

namespace CLI {
class App;
class ParseError;
}  // namespace CLI

namespace cli {

/// What is wrong with a command line that the parser refuses.
/// @param app    whose subcommands are the commands
/// @param first  the command line's first word, or empty
std::string usageSentence(const CLI::App& app, const std::string& first,
                          const CLI::ParseError& error);

}  // namespace cli
