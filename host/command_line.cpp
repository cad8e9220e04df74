#include "host/command_line.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <map>
#include <new>

#include "host/commands/commands.h"
#include "host/failure.h"
#include "host/interrupts.h"

namespace velahost {
namespace {

constexpr char kFooter[] =
    "Exit status: 0 success; the plug-in's result code 1 (position outside the file),\n"
    "2 (cancelled), 3 (not found), 5 (not supported or malformed), 6 (out of memory),\n"
    "7 (any other code of the stream); 64 wrong usage, 65 not representable in the\n"
    "asked form, 69 no plug-in, 74 output can't be written.";

constexpr char kInfoHelp[] =
    "Tell what a file holds: duration, formats, chapters, and every item with its tags.";
constexpr char kInfoFooter[] =
    "There is no option to save a cover picture: the interface between plug-in and host\n"
    "has no operation that hands one out.\n"
    "A film's tags are those that its first chapter bears, because the interface tells\n"
    "tags with a chapter only.";

constexpr char kPacketsHelp[] =
    "List the packets of an item in the order in which the plug-in proposes to read them.";
constexpr char kPacketsFooter[] =
    "Columns: stream; time in seconds (video); frames to play and frames to drop at the\n"
    "start (audio; 0 frames: the packet only primes the decoder); size; file offset;\n"
    "CRC-32. With --json one object a line.";

constexpr char kExtractHelp[] = "Write the elementary streams of a file.";
constexpr char kExtractFooter[] =
    "An output gets its name when all of it is written. A file that exists is replaced\n"
    "only with --force; links, folders, devices and pipes never are.\n"
    "AAC is written as ADTS, MP3 as it is, MPEG-4 Visual after its configuration, H.264\n"
    "with start codes after its parameter sets. The lengths of H.264 units in the file\n"
    "are taken to be four bytes wide; packets for which that is untrue are refused.\n"
    "ADTS can't carry object types other than main, LC, SSR and LTP, channel layouts given\n"
    "by a program config element, and packets of 960 frames or of more than 8184 bytes;\n"
    "such audio is refused. High-efficiency AAC is written as its core.";

constexpr char kSeekHelp[] =
    "Tell where a seek lands: pre-roll and frames cut (audio), key frame (video).";

constexpr char kJsonHelp[] = "Print JSON";
constexpr char kItemHelp[] = "Item identifier; 0 is the whole file";

}  // namespace

int runCommandLine(std::vector<std::string> arguments, std::ostream& out, std::ostream& err,
                   Terminal errTerminal) {
  CLI::App app("velahost loads the MP4 splitter plug-in and shows what it makes of a file.",
               "velahost");
  app.footer(kFooter);
  app.require_subcommand(1);
  app.fallthrough();
  std::string plugin;
  app.add_option("--plugin", plugin,
                 "The plug-in's library. Otherwise the one that VELA_PLUGIN names, or the one "
                 "built or installed with this program")
      ->type_name("PATH");

  const auto addCommand = [&app](const char* name, const char* help, const std::string& footer,
                                 std::filesystem::path& file) {
    CLI::App* const command = app.add_subcommand(name, help);
    command->footer(footer.empty() ? kFooter : footer + "\n\n" + kFooter);
    command->add_option("FILE", file, "The MP4 file")->required()->type_name("");
    return command;
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
      ->check(CLI::IsMember(streams))
      ->type_name("KIND");
  packetsCommand->add_option("--from", packetsOptions.from, "Seek there first, from item start")
      ->type_name("SECONDS");
  addJson(packetsCommand, packetsOptions.output);
  packetsCommand->add_flag("--summary", packetsOptions.summary, "Print totals only");

  ExtractOptions extractOptions;
  CLI::App* const extractCommand =
      addCommand("extract", kExtractHelp, kExtractFooter, extractOptions.file);
  extractCommand->add_option("--audio", extractOptions.audio, "Audio output")->type_name("OUT");
  extractCommand->add_option("--video", extractOptions.video, "Video output")->type_name("OUT");
  extractCommand->add_flag_callback(
      "--force", [&extractOptions] { extractOptions.existing = Existing::replace; },
      "Replace output files that exist");
  extractCommand->add_flag("--keep-partial", extractOptions.keepPartial,
                           "After a failure, keep what was written before it");

  SeekOptions seekOptions;
  CLI::App* const seekCommand = addCommand("seek", kSeekHelp, "", seekOptions.file);
  seekCommand->add_option("--to", seekOptions.to, "Target, from item start")
      ->required()
      ->type_name("SECONDS");
  seekCommand->add_option("--item", seekOptions.item, kItemHelp)->type_name("N");
  addJson(seekCommand, seekOptions.output);

  try {
    std::reverse(arguments.begin(), arguments.end());  // the parser takes them from the back
    app.parse(std::move(arguments));
  } catch (const CLI::ParseError& error) {
    const bool isHelp = app.exit(error, out, err) == 0;
    return static_cast<int>(isHelp ? ExitStatus::success : ExitStatus::usage);
  }
  packetsOptions.stream = streams.at(stream);

  std::filesystem::path file;
  try {
    Session session(plugin);
    const InterruptsCancel interruptsCancel(session.token);
    try {
      if (infoCommand->parsed()) {
        file = infoOptions.file;
        info(session, infoOptions, out);
      } else if (packetsCommand->parsed()) {
        file = packetsOptions.file;
        packets(session, packetsOptions, out);
      } else if (extractCommand->parsed()) {
        file = extractOptions.file;
        extract(session, extractOptions, out, err, errTerminal);
      } else {
        file = seekOptions.file;
        seek(session, seekOptions, out);
      }
    } catch (const Failure& failure) {
      throw session.context.explained(failure);
    }
    out.flush();
    if (!out) throw Failure(ExitStatus::outputFailed, "The output can't be written.");
    return static_cast<int>(ExitStatus::success);
  } catch (const Failure& failure) {
    out.flush();
    err << "velahost: " << (file.empty() ? "" : file.string() + ": ") << failure.what() << '\n';
    return failure.status();
  } catch (const std::bad_alloc&) {
    err << "velahost: " << resultSentence(Place::commandLine, vela::TIOResult::outOfMemory) << '\n';
    return exitStatus(vela::TIOResult::outOfMemory);
  }
}

}  // namespace velahost
