#include "inspect/box.h"

#include <fmt/format.h>

#include <charconv>
#include <cstring>

#include "cli/failure.h"
#include "cli/text.h"

namespace inspect {
namespace {

constexpr std::string_view kCopyrightSign = "\xc2\xa9";

/// Takes one character of a type off `text`. @return false when there is none
bool takeTypeByte(std::string_view& text, uint8_t& byte) {
  if (text.starts_with(kCopyrightSign)) {
    byte = 0xa9;
    text.remove_prefix(kCopyrightSign.size());
    return true;
  }
  if (text.starts_with("\\x") && text.size() >= 4) {
    const auto [end, error] = std::from_chars(text.data() + 2, text.data() + 4, byte, 16);
    text.remove_prefix(4);
    return error == std::errc() && end == text.data();
  }
  if (text.empty() || text[0] == '\\') return false;
  byte = static_cast<uint8_t>(text[0]);
  text.remove_prefix(1);
  return true;
}

/// @return false when `text` is no step
bool parseStep(std::string_view text, PathStep& step) {
  uint8_t bytes[4];
  for (uint8_t& byte : bytes) {
    if (!takeTypeByte(text, byte)) return false;
  }
  step = {atomkit::fourCCFrom(bytes), 0};
  if (text.empty()) return true;
  if (text.size() < 3 || text.front() != '[' || text.back() != ']') return false;
  const char* const last = text.data() + text.size() - 1;
  const auto [end, error] = std::from_chars(text.data() + 1, last, step.index);
  return error == std::errc() && end == last;
}

}  // namespace

std::string typeText(FourCC type) {
  uint8_t bytes[4];
  std::memcpy(bytes, &type, sizeof bytes);
  std::string text;
  for (const uint8_t byte : bytes) {
    if (byte == 0xa9) {
      text += kCopyrightSign;
    } else if (byte < 0x20 || byte > 0x7e || std::strchr("/[]\\", byte)) {
      text += fmt::format("\\x{:02x}", byte);
    } else {
      text.push_back(static_cast<char>(byte));
    }
  }
  return text;
}

std::string pathText(const Box& box) {
  std::string text = box.parent ? pathText(*box.parent) : "";
  text += "/" + typeText(box.type);
  if (box.index != 0) text += fmt::format("[{}]", box.index);
  return text;
}

std::vector<PathStep> parsePath(std::string_view path) {
  const std::string_view whole = path;
  std::vector<PathStep> steps;
  if (path.starts_with('/')) path.remove_prefix(1);
  for (;;) {
    const size_t slash = path.find('/');
    PathStep step{};
    if (!parseStep(path.substr(0, slash), step)) {
      throw cli::Failure(cli::ExitStatus::usage,
                         "\"" + cli::printable(whole) +
                             "\" is not a path. A path is like moov/trak[1]/mdia, counted from 0.");
    }
    steps.push_back(step);
    if (slash == std::string_view::npos) return steps;
    path.remove_prefix(slash + 1);
  }
}

}  // namespace inspect
