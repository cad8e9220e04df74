#include "host/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <map>
#include <new>

#include "cli/interrupts.h"
#include "cli/text.h"
#include "cli/usage.h"
#include "host/commands/commands.h"
#include "host/failure.h"
#include "host/json_output.h"
#include "host/text.h"

namespace velahost {
namespace {

constexpr char kFooter[] =
    "Exit status:\n"
    "  0   success\n"
    "  1   the plug-in: a position outside the file\n"
    "  2   the plug-in: cancelled\n"
    "  3   the plug-in: the file is not found or can't be opened\n"
    "  5   the plug-in: not supported or malformed\n"
    "  6   out of memory\n"
    "  7   any other code of the stream\n"
    "  64  wrong usage, an item that the file does not have included\n"
    "  65  not representable in the form that was asked for\n"
    "  69  no plug-in\n"
    "  74  the output can't be written, as when a pipe is closed early\n"
    "With several files, all are tried; the status is that of the first that failed.\n"
    "With --json a failure is also an object on standard output.\n"
    "\n"
    "Environment:\n"
    "  VELA_PLUGIN  the plug-in's library\n"
    "  NO_COLOR     when it is not empty, --color=auto means never\n"
    "  COLUMNS      of the terminal, in place of what the terminal says";

constexpr char kInfoHelp[] = "Tell what a file holds: formats, chapters, tags and items.";
constexpr char kInfoFooter[] =
    "There is no option to save a cover picture: the interface between plug-in and\n"
    "host has no operation that hands one out.\n"
    "A film's tags are those of its first chapter, because the interface tells tags\n"
    "with a chapter only.\n"
    "Control characters of the file appear as \\xNN and \\uNNNN.";

constexpr char kPacketsHelp[] = "List an item's packets in the order that the plug-in proposes.";
constexpr char kPacketsFooter[] =
    "Columns: stream; running number in the stream; time in seconds from the item's\n"
    "start, below 0 for video before it; frames to play and frames to drop at the\n"
    "start (audio; 0 frames to play: the packet only primes the decoder); size; file\n"
    "offset; CRC-32. The time of audio is counted from the frames played so far.\n"
    "With --json one object a line: a heading, the packets, a summary.\n"
    "A stream that ends more than half a second before its item is named at the end.";

constexpr char kExtractHelp[] = "Cut a file into files that play, or write its bare streams.";
constexpr char kExtractFooter[] =
    "Files that play:\n"
    "--output and --chapters write MP4: M4A for sound alone, with exactly the frames\n"
    "of the item, its title and its tags; MP4 for a film, from the key frame at or\n"
    "before the start on. With --format adts (AAC) or mp3, or an output that ends in\n"
    ".aac or .mp3, sound is cut in whole packets: what is heard begins a little\n"
    "before the item and ends a little after it; the command says by how much.\n"
    "Chapters are named by number and title; characters that some file system does\n"
    "not take become _.\n"
    "\n"
    "Bare streams:\n"
    "AAC is written as ADTS, MP3 as it is, MPEG-4 Visual after its configuration,\n"
    "H.264 with start codes after its parameter sets. The lengths of H.264 units in\n"
    "the file are taken to be four bytes wide; packets for which that is untrue are\n"
    "refused.\n"
    "A stream that ends more than half a second before its item is named at the end.\n"
    "ADTS can't carry object types other than main, LC, SSR and LTP, channel layouts\n"
    "given by a program config element, and packets of 960 frames or of more than\n"
    "8184 bytes; such audio is refused. High-efficiency AAC is written as its core.\n"
    "\n"
    "An output gets its name when all of it is written; - is standard output. A file\n"
    "that exists is replaced only with --force; links, folders, devices and pipes\n"
    "never are.";

constexpr char kSeekHelp[] = "Tell where a seek lands: pre-roll, frames cut, key frame.";

constexpr char kJsonHelp[] = "Print JSON";
constexpr char kItemHelp[] = "Item identifier; 0 is the whole file";
constexpr char kFilesHelp[] = "The MP4 files, one or more";

/// Tells people of a failure. @return the exit status
int complain(const Failure& failure, const std::filesystem::path& file, std::ostream& err,
             const cli::Emphasis& emphasis) {
  err << emphasis.error("velahost:") << ' ' << (file.empty() ? "" : cli::pathText(file) + ": ")
      << failure.what() << '\n';
  return failure.status();
}

/// Of several files, each has a folder of its own name.
std::filesystem::path folderOfChapters(const std::filesystem::path& all,
                                       const std::filesystem::path& file) {
  if (!std::filesystem::exists(all)) {
    std::error_code shownLater;
    std::filesystem::create_directory(all, shownLater);
  }
  return all / file.stem();
}

}  // namespace

int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& err,
                   const cli::Console& console) {
  CLI::App app("velahost loads the MP4 splitter plug-in and shows what it makes of a file.",
               "velahost");
  app.footer(kFooter);
  app.allow_windows_style_options(false);  // a path may begin with a slash on every system
  app.get_formatter()->column_width(18);
  app.set_version_flag("--version", "velahost " VELA_VERSION);
  app.require_subcommand(1);
  app.fallthrough();
  std::string plugin;
  app.add_option("--plugin", plugin,
                 "The plug-in's library. Otherwise the one that VELA_PLUGIN\n"
                 "names, or the one built or installed with this program")
      ->type_name("PATH");
  const std::map<std::string, cli::Color> colors = {{"auto", cli::Color::automatic},
                                                    {"always", cli::Color::always},
                                                    {"never", cli::Color::never}};
  std::string color = "auto";
  app.add_option("--color", color, "auto, always or never")
      ->check(CLI::IsMember(colors).description(""))
      ->type_name("WHEN");

  std::vector<std::filesystem::path> files;
  const auto addCommand = [&](const char* name, const char* help, const std::string& footer) {
    CLI::App* const command = app.add_subcommand(name, help);
    command->footer(footer.empty() ? kFooter : footer + "\n\n" + kFooter);
    command->add_option("FILE", files, kFilesHelp)->required()->type_name("");
    return command;
  };
  const auto addTime = [](CLI::App* command, const char* name, const char* help,
                          uint64_t& hostUnits) {
    return command
        ->add_option_function<std::string>(
            name, [&hostUnits](const std::string& text) { hostUnits = hostUnitsFromTime(text); },
            help)
        ->type_name("TIME");
  };
  const auto addJson = [](CLI::App* command, Output& output) {
    command->add_flag_callback(
        "--json", [&output] { output = Output::json; }, kJsonHelp);
  };

  InfoOptions infoOptions;
  CLI::App* const infoCommand = addCommand("info", kInfoHelp, kInfoFooter);
  addJson(infoCommand, infoOptions.output);

  PacketsOptions packetsOptions;
  CLI::App* const packetsCommand = addCommand("packets", kPacketsHelp, kPacketsFooter);
  packetsCommand->add_option("--item", packetsOptions.item, kItemHelp)->type_name("N");
  const std::map<std::string, Wanted> streams = {
      {"audio", Wanted::audio}, {"video", Wanted::video}, {"both", Wanted::both}};
  std::string stream = "both";
  packetsCommand->add_option("--stream", stream, "audio, video or both")
      ->check(CLI::IsMember(streams).description(""))
      ->type_name("KIND");
  addTime(packetsCommand, "--from", "Seek there first, from item start: 90.5, 1:30, 0:01:30.5",
          packetsOptions.from);
  addJson(packetsCommand, packetsOptions.output);
  packetsCommand->add_flag("--summary", packetsOptions.summary, "Print totals only");

  ExtractOptions extractOptions;
  CLI::App* const extractCommand = addCommand("extract", kExtractHelp, kExtractFooter);
  extractCommand->add_option("--output,-o", extractOptions.playable, "A file that plays")
      ->type_name("OUT");
  extractCommand
      ->add_option("--chapters", extractOptions.chapters,
                   "A file that plays for each chapter, in this\n"
                   "folder; of several FILEs, in a folder each in it")
      ->type_name("FOLDER");
  extractCommand
      ->add_option("--format", extractOptions.form, "mp4, adts or mp3: of files that play")
      ->check(CLI::IsMember({"mp4", "adts", "mp3"}).description(""))
      ->type_name("FORM");
  extractCommand->add_option("--item", extractOptions.item, kItemHelp)->type_name("N");
  extractCommand->add_option("--audio", extractOptions.audio, "The bare audio stream")
      ->type_name("OUT");
  extractCommand->add_option("--video", extractOptions.video, "The bare video stream")
      ->type_name("OUT");
  extractCommand->add_flag_callback(
      "--force", [&extractOptions] { extractOptions.existing = cli::Existing::replace; },
      "Replace output files that exist");
  extractCommand->add_flag("--keep-partial", extractOptions.keepPartial,
                           "After a failure, keep what was written of a bare\n"
                           "stream before it");
  addJson(extractCommand, extractOptions.output);

  SeekOptions seekOptions;
  CLI::App* const seekCommand = addCommand("seek", kSeekHelp, "");
  addTime(seekCommand, "--to", "Target, from item start: 90.5, 1:30, 0:01:30.5", seekOptions.to)
      ->required();
  seekCommand->add_option("--item", seekOptions.item, kItemHelp)->type_name("N");
  addJson(seekCommand, seekOptions.output);

  const bool json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
  const std::string first = arguments.empty() ? "" : arguments[0];
  cli::Emphasis emphasis(cli::Color::automatic, console.err, console.noColor);
  const auto fail = [&](const Failure& failure, const std::filesystem::path& file) {
    if (json) out << errorText(failure, file) << '\n';
    out.flush();
    return complain(failure, file, err, emphasis);
  };
  try {
    std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the back
    app.parse(std::move(arguments));
  } catch (const CLI::Success& asked) {  // for help or for the version
    return app.exit(asked, out, err);
  } catch (const CLI::ParseError& error) {
    return fail(Failure(ExitStatus::usage, cli::usageSentence(app, first, error)), "");
  } catch (const Failure& wrongTime) {
    return fail(wrongTime, "");
  }
  packetsOptions.stream = streams.at(stream);
  emphasis = cli::Emphasis(colors.at(color), console.err, console.noColor);
  infoOptions.emphasis = cli::Emphasis(colors.at(color), console.out, console.noColor);
  infoOptions.columns = console.out == cli::Terminal::yes ? console.columns : infoOptions.columns;

  const bool several = files.size() > 1;
  if (several && extractCommand->parsed() && extractOptions.chapters.empty()) {
    return fail(Failure(ExitStatus::usage, "One output can't take several files; --chapters can."),
                "");
  }

  /// @return a failure that didn't keep the rest from being told
  const auto run = [&](Session& session,
                       const std::filesystem::path& file) -> std::optional<Failure> {
    if (infoCommand->parsed()) {
      infoOptions.file = file;
      return info(session, infoOptions, out);
    }
    if (packetsCommand->parsed()) {
      packetsOptions.file = file;
      packets(session, packetsOptions, out, err);
    } else if (extractCommand->parsed()) {
      ExtractOptions options = extractOptions;
      options.file = file;
      if (several) options.chapters = folderOfChapters(extractOptions.chapters, file);
      extract(session, options, out, err, console);
    } else {
      seekOptions.file = file;
      seek(session, seekOptions, out);
    }
    return std::nullopt;
  };
  const auto runOne = [&](const std::filesystem::path& file) {
    try {
      Session session(plugin);
      const cli::InterruptsSet interruptsCancel(session.token.flag());
      std::optional<Failure> incomplete;
      try {
        incomplete = run(session, file);
      } catch (const cli::Failure& failure) {
        throw session.context.explained(Failure::of(failure));
      }
      out.flush();
      if (!out) throw Failure(ExitStatus::outputFailed, "The output can't be written.");
      if (!incomplete) return static_cast<int>(ExitStatus::success);
      return complain(session.context.explained(*incomplete), file, err, emphasis);
    } catch (const Failure& failure) {
      const bool ofPlugin = failure.status() == static_cast<int>(ExitStatus::pluginUnavailable);
      return fail(failure, ofPlugin ? std::filesystem::path() : file);
    } catch (const std::bad_alloc&) {
      return fail(Failure(Place::reading, vela::TIOResult::outOfMemory), file);
    }
  };

  int status = static_cast<int>(ExitStatus::success);
  for (const std::filesystem::path& file : files) {
    if (several && !json && !extractCommand->parsed()) {
      out << (&file == &files[0] ? "" : "\n")
          << emphasis.bold("==> " + cli::pathText(file) + " <==") << '\n';
    }
    const int one = runOne(file);
    if (status == 0) status = one;
    // These would end every other file in the same way.
    if (one == static_cast<int>(ExitStatus::cancelled) ||
        one == static_cast<int>(ExitStatus::pluginUnavailable) || !out) {
      break;
    }
  }
  return status;
}

}  // namespace velahost
