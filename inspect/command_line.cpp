#include "inspect/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <csignal>
#include <new>
#include <nlohmann/json.hpp>

#include "cli/interrupts.h"
#include "cli/text.h"
#include "cli/usage.h"
#include "inspect/commands/commands.h"

namespace inspect {
namespace {

constexpr char kFooter[] =
    "Exit status:\n"
    "  0   success; nothing found\n"
    "  2   stopped by a signal\n"
    "  3   the file is not found or can't be opened\n"
    "  5   the file is refused: malformed, or nothing in it that can be played\n"
    "  6   out of memory\n"
    "  7   the file can't be read\n"
    "  10  compare: the files differ, or were not compared to their ends\n"
    "  11  check: warnings\n"
    "  12  check: errors\n"
    "  64  wrong usage\n"
    "  69  no plug-in, so that what it tells is missing\n"
    "  74  the output can't be written, as when a pipe is closed early\n"
    "With several files the gravest counts; 5, 3, 7 and 6 are graver than 12.\n"
    "With --json a failure is also an object on standard output.";

/// Tells people of a failure. @return the exit status
int complain(const cli::Failure& failure, std::ostream& err) {
  err << "velainspect: " << failure.what() << '\n';
  return failure.status();
}

volatile std::sig_atomic_t g_cancelled = 0;

/// Runs the command. @return its status, with all output written
int finish(Command& command, const Surroundings& surroundings) {
  const ExitStatus status = command.run(surroundings);
  surroundings.out.flush();
  return static_cast<int>(status);
}

}  // namespace

int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& err,
                   const cli::Console& console) {
  CLI::App app("velainspect shows what an MP4 file holds, where, and why it is refused.",
               "velainspect");
  app.footer(kFooter);
  app.allow_windows_style_options(false);  // a path may begin with a slash on every system
  app.get_formatter()->column_width(18);
  app.set_version_flag("--version", "velainspect " VELA_VERSION);
  app.require_subcommand(1);
  std::vector<std::unique_ptr<Command>> commands = allCommands();
  for (const auto& command : commands) {
    CLI::App* const part = app.add_subcommand(command->name(), command->help());
    const std::string notes = command->notes();
    part->footer(notes.empty() ? kFooter : notes + "\n\n" + kFooter);
    command->addOptions(*part);
  }

  const bool json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
  const std::string first = arguments.empty() ? "" : arguments[0];
  Printer printer(out);
  const auto tell = [&](const cli::Failure& failure) {
    if (json && out) out << cli::compact(errorDocument(failure, {})) << '\n';
    out.flush();
    return complain(failure, err);
  };
  try {
    try {
      std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the back
      app.parse(std::move(arguments));
    } catch (const CLI::Success& asked) {  // for help or for the version
      app.exit(asked, out, err);
      printer.flush();
      return static_cast<int>(ExitStatus::success);
    } catch (const CLI::ParseError& error) {
      throw cli::Failure(ExitStatus::usage, cli::usageSentence(app, first, error));
    }
    g_cancelled = 0;
    const cli::InterruptsSet interrupts(g_cancelled);
    for (const auto& command : commands) {
      if (!app.got_subcommand(command->name())) continue;
      return finish(*command, {printer, err, console.err, g_cancelled});
    }
    return static_cast<int>(ExitStatus::usage);
  } catch (const ClosedPipe&) {
    return static_cast<int>(ExitStatus::outputFailed);
  } catch (const cli::Failure& failure) {
    return tell(failure);
  } catch (const std::bad_alloc&) {
    return tell(cli::Failure(ExitStatus::outOfMemory, "There is not enough memory."));
  }
}

}  // namespace inspect
