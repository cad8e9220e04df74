// What the commands print with --json. docs/json.md describes the format to its users, and
// docs/velahost.schema.json checks it.
#pragma once
#include <filesystem>
#include <string>

#include "cli/json_text.h"
#include "host/failure.h"
#include "host/item_report.h"
#include "host/playback.h"
#include "host/stream_ends.h"

namespace velahost {

using cli::Json;

/// Counts up when a reader of the earlier format would go wrong. New members don't change it.
inline constexpr int kJsonFormatVersion = 1;

/// The start of a document of the given type. `file` is empty when the command line names none.
Json documentJson(const char* type, const std::string& file);

/// The unit of all members whose names end in _ts, which every document with times tells.
inline constexpr char kJsonTimeBase[] = "1/16777216";
static_assert(vela::kHostUnitsPerSecond == 16777216);

/// A time as two members: `name` in seconds and `name_ts` in host units, both null when unknown.
void addTime(Json& json, const std::string& name, int64_t hostUnits);
void addDuration(Json& json, const std::string& name, uint64_t hostUnits);

/// Where a stream ended and whether that is early.
void addEnd(Json& json, StreamKind kind, const StreamEnds& ends);

Json toJson(const FileReport& report);
Json toJson(const Failure& failure);
Json toJson(const AudioFormatRecord& format);
Json toJson(const VideoFormatRecord& format);

/// The packet of one stream that was read last.
Json packetJson(const Playback& playback, StreamKind kind);

/// The document that tells of a command's failure, on one line.
std::string errorText(const Failure& failure, const std::filesystem::path& file);

}  // namespace velahost
