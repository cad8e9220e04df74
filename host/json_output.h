// What the commands print with --json.
#pragma once
#include <nlohmann/json_fwd.hpp>

#include "host/item_report.h"
#include "host/playback.h"

namespace velahost {

/// Everything of a file's report. Times are in seconds, and in host units where the name says so;
/// what the file doesn't tell is null.
nlohmann::ordered_json toJson(const FileReport& report);

/// One packet, as one object.
nlohmann::ordered_json toJson(const Playback& playback, StreamKind kind);

/// The text of a value, on one line, with bytes that are not UTF-8 replaced.
std::string compact(const nlohmann::ordered_json& value);
/// The same, indented.
std::string indented(const nlohmann::ordered_json& value);

}  // namespace velahost
