// The commands of velahost. Each writes its result to `out`, and throws Failure when it can't.
#pragma once
#include <filesystem>
#include <optional>
#include <ostream>

#include "cli/console.h"
#include "cli/output_file.h"
#include "host/failure.h"
#include "host/playback.h"
#include "host/splitter_file.h"

namespace velahost {

enum class Output { text, json };

struct InfoOptions {
  std::filesystem::path file;
  Output output = Output::text;
  cli::Emphasis emphasis;
  size_t columns = 80;  ///< of a line
};
/// Tells what the file holds.
/// @return the first failure of an item or of starting the file, which the output names where it
///   happened and which doesn't keep the rest from being told
std::optional<Failure> info(Session& session, const InfoOptions& options, std::ostream& out);

struct PacketsOptions {
  std::filesystem::path file;
  uint32_t item = 0;
  Wanted stream = Wanted::both;
  uint64_t from = 0;  ///< host units from the item's start
  Output output = Output::text;
  bool summary = false;  ///< totals only
};
/// Lists the packets in the order in which the plug-in proposes them.
/// A stream that ends well before its item is named on `err`, or in the summary of JSON.
void packets(Session& session, const PacketsOptions& options, std::ostream& out, std::ostream& err);

struct ExtractOptions {
  std::filesystem::path file;
  uint32_t item = 0;
  // Bare streams, or one playable file, or a folder of them. Empty: not wanted.
  std::filesystem::path audio;
  std::filesystem::path video;
  std::filesystem::path playable;
  std::filesystem::path chapters;
  std::string form;  ///< of playable files: "mp4", "adts", "mp3", or empty for the usual one
  cli::Existing existing = cli::Existing::keep;
  /// Whether what was written before a failure keeps the name asked for.
  bool keepPartial = false;
  Output output = Output::text;
};
/// Writes elementary streams. Nothing is created before the first packet can be written, and no
/// output has its name before all of it is written.
void extract(Session& session, const ExtractOptions& options, std::ostream& out, std::ostream& err,
             const cli::Console& console);

/// Writes playable files: one, or one for each chapter. Each has its name when it is whole.
void cut(Session& session, const ExtractOptions& options, std::ostream& out, std::ostream& err,
         const cli::Console& console);

struct SeekOptions {
  std::filesystem::path file;
  uint32_t item = 0;
  uint64_t to = 0;  ///< host units from the item's start
  Output output = Output::text;
};
/// Tells where audio and video land.
void seek(Session& session, const SeekOptions& options, std::ostream& out);

}  // namespace velahost
