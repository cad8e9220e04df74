#include "cli/json_text.h"

#include <nlohmann/json.hpp>

namespace cli {

std::string compact(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string indented(const Json& value) {
  return value.dump(2, ' ', false, Json::error_handler_t::replace);
}

}  // namespace cli
