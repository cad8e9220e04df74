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
    "  74  the output can't be written\n"
    "With --json a failure is also an object on standard output.";

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

constexpr char kExtractHelp[] = "Write the elementary streams of a file.";
constexpr char kExtractFooter[] =
    "An output gets its name when all of it is written. A file that exists is\n"
    "replaced only with --force; links, folders, devices and pipes never are.\n"
    "AAC is written as ADTS, MP3 as it is, MPEG-4 Visual after its configuration,\n"
    "H.264 with start codes after its parameter sets. The lengths of H.264 units in\n"
    "the file are taken to be four bytes wide; packets for which that is untrue are\n"
    "refused.\n"
    "A stream that ends more than half a second before its item is named at the end.\n"
    "ADTS can't carry object types other than main, LC, SSR and LTP, channel layouts\n"
    "given by a program config element, and packets of 960 frames or of more than\n"
    "8184 bytes; such audio is refused. High-efficiency AAC is written as its core.";

constexpr char kSeekHelp[] = "Tell where a seek lands: pre-roll, frames cut, key frame.";

constexpr char kJsonHelp[] = "Print JSON";
constexpr char kItemHelp[] = "Item identifier; 0 is the whole file";

/// Tells people of a failure. @return the exit status
int complain(const Failure& failure, const std::filesystem::path& file, std::ostream& err) {
  err << "velahost: " << (file.empty() ? "" : cli::pathText(file) + ": ") << failure.what() << '\n';
  return failure.status();
}

}  // namespace

int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& err,
                   cli::Terminal errTerminal) {
  CLI::App app("velahost loads the MP4 splitter plug-in and shows what it makes of a file.",
               "velahost");
  app.footer(kFooter);
  app.get_formatter()->column_width(18);
  app.set_version_flag("--version", "velahost " VELA_VERSION);
  app.require_subcommand(1);
  app.fallthrough();
  std::string plugin;
  app.add_option("--plugin", plugin,
                 "The plug-in's library. Otherwise the one that VELA_PLUGIN\n"
                 "names, or the one built or installed with this program")
      ->type_name("PATH");

  const auto addCommand = [&app](const char* name, const char* help, const std::string& footer,
                                 std::filesystem::path& file) {
    CLI::App* const command = app.add_subcommand(name, help);
    command->footer(footer.empty() ? kFooter : footer + "\n\n" + kFooter);
    command->add_option("FILE", file, "The MP4 file")->required()->type_name("");
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
  CLI::App* const infoCommand = addCommand("info", kInfoHelp, kInfoFooter, infoOptions.file);
  addJson(infoCommand, infoOptions.output);

  PacketsOptions packetsOptions;
  CLI::App* const packetsCommand =
      addCommand("packets", kPacketsHelp, kPacketsFooter, packetsOptions.file);
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
  CLI::App* const extractCommand =
      addCommand("extract", kExtractHelp, kExtractFooter, extractOptions.file);
  extractCommand->add_option("--audio", extractOptions.audio, "Audio output")->type_name("OUT");
  extractCommand->add_option("--video", extractOptions.video, "Video output")->type_name("OUT");
  extractCommand->add_flag_callback(
      "--force", [&extractOptions] { extractOptions.existing = cli::Existing::replace; },
      "Replace output files that exist");
  extractCommand->add_flag("--keep-partial", extractOptions.keepPartial,
                           "After a failure, keep what was written before it");
  addJson(extractCommand, extractOptions.output);

  SeekOptions seekOptions;
  CLI::App* const seekCommand = addCommand("seek", kSeekHelp, "", seekOptions.file);
  addTime(seekCommand, "--to", "Target, from item start: 90.5, 1:30, 0:01:30.5", seekOptions.to)
      ->required();
  seekCommand->add_option("--item", seekOptions.item, kItemHelp)->type_name("N");
  addJson(seekCommand, seekOptions.output);

  const bool json = std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
  const std::string first = arguments.empty() ? "" : arguments[0];
  std::filesystem::path file;
  try {
    try {
      std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the back
      app.parse(std::move(arguments));
    } catch (const CLI::Success& asked) {  // for help or for the version
      return app.exit(asked, out, err);
    } catch (const CLI::ParseError& error) {
      throw Failure(ExitStatus::usage, cli::usageSentence(app, first, error));
    }
    packetsOptions.stream = streams.at(stream);

    Session session(plugin);
    const cli::InterruptsSet interruptsCancel(session.token.flag());
    std::optional<Failure> incomplete;
    try {
      if (infoCommand->parsed()) {
        file = infoOptions.file;
        incomplete = info(session, infoOptions, out);
      } else if (packetsCommand->parsed()) {
        file = packetsOptions.file;
        packets(session, packetsOptions, out, err);
      } else if (extractCommand->parsed()) {
        file = extractOptions.file;
        extract(session, extractOptions, out, err, errTerminal);
      } else {
        file = seekOptions.file;
        seek(session, seekOptions, out);
      }
    } catch (const cli::Failure& failure) {
      throw session.context.explained(Failure::of(failure));
    }
    out.flush();
    if (!out) throw Failure(ExitStatus::outputFailed, "The output can't be written.");
    if (incomplete) return complain(session.context.explained(*incomplete), file, err);
    return static_cast<int>(ExitStatus::success);
  } catch (const Failure& failure) {
    if (json) out << errorText(failure, file) << '\n';
    out.flush();
    return complain(failure, file, err);
  } catch (const std::bad_alloc&) {
    const Failure failure(Place::reading, vela::TIOResult::outOfMemory);
    if (json) out << errorText(failure, file) << '\n';
    out.flush();
    return complain(failure, file, err);
  }
}

}  // namespace velahost
