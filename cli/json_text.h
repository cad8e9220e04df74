// JSON as the programs print it.
#pragma once
#include <nlohmann/json_fwd.hpp>
#include <string>

namespace cli {

/// Members are printed in the order in which they were added.
using Json = nlohmann::ordered_json;

/// The text of a value, on one line, with bytes that are not UTF-8 replaced.
std::string compact(const Json& value);
/// The same, indented.
std::string indented(const Json& value);

}  // namespace cli
