// What a command of velainspect is to the command line.
#pragma once
#include <csignal>
#include <filesystem>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "cli/failure.h"
#include "cli/progress.h"
#include "inspect/printer.h"

namespace CLI {
class App;
}

namespace inspect {

using cli::ExitStatus;

enum class Output { text, json };

/// Where a command writes, and what may stop it.
struct Surroundings {
  Printer& out;
  std::ostream& err;
  cli::Terminal errTerminal;
  /// Becomes 1 when a signal asks the command to end. Long work looks at it, see
  /// throwIfCancelled().
  const volatile std::sig_atomic_t& cancelled;

  /// @throws Failure (cancelled)
  void throwIfCancelled() const;
};

/// One command, with its options. A command line makes all commands and runs one of them.
class Command {
 public:
  Command() = default;
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;
  virtual ~Command() = default;

  virtual const char* name() const = 0;
  /// One sentence for the list of commands.
  virtual const char* help() const = 0;
  /// What a user should know besides; lines of at most 80 columns, or empty.
  virtual const char* notes() const = 0;
  /// Adds the options to the command's own part of the command line.
  virtual void addOptions(CLI::App& app) = 0;
  /// @return success, differs, warnings, errors or refused; what stops a command is thrown
  /// @throws cli::Failure
  virtual ExitStatus run(const Surroundings& surroundings) = 0;
};

/// Adds "--json".
void addJsonOption(CLI::App& app, Output& output);
/// Adds the one file, or the several, that a command is about.
void addFile(CLI::App& app, std::filesystem::path& file);
/// Adds "--plugin", the library to ask; empty for the one in the usual places.
void addPluginOption(CLI::App& app, std::filesystem::path& plugin);
void addFiles(CLI::App& app, std::vector<std::filesystem::path>& files);

/// Runs `one` for every file. One that fails is told to people (and, with JSON, to scripts), and
/// the rest go on; only output that can't be written and a signal end the command.
/// @return the gravest status of all, see graver()
ExitStatus forEachFile(const Surroundings& surroundings,
                       const std::vector<std::filesystem::path>& files, Output output,
                       const std::function<ExitStatus(const std::filesystem::path&)>& one);

/// The graver of two statuses. In rising order: success, differs, warnings, errors, refused,
/// cannotOpen, otherResult, outOfMemory, and then the rest.
ExitStatus graver(ExitStatus left, ExitStatus right);

/// The start of a JSON document: its type, the version of the format, and the file that it is about
/// (null without one).
cli::Json startDocument(const char* type, const std::filesystem::path& file);
/// The document that tells of a failure.
cli::Json errorDocument(const cli::Failure& failure, const std::filesystem::path& file);

/// Counts up when a reader of the earlier format would go wrong. New members don't change it.
inline constexpr int kJsonFormatVersion = 1;

}  // namespace inspect
