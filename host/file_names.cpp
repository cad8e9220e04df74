#include "host/file_names.h"

#include <algorithm>

#include "cli/text.h"

namespace velahost {
namespace {

constexpr size_t kMostBytes = 120;

/// Characters that mean something to a file system or a shell of some kind.
constexpr std::string_view kForbidden = "\\/:*?\"<>|";

/// The length of the UTF-8 sequence at the start of a text that is not empty; 1 where it is cut.
size_t sequenceLength(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const size_t length = lead < 0xc0 ? 1 : lead < 0xe0 ? 2 : lead < 0xf0 ? 3 : 4;
  if (length > text.size()) return 1;
  for (size_t i = 1; i < length; ++i) {
    if ((static_cast<unsigned char>(text[i]) & 0xc0) != 0x80) return 1;
  }
  return length;
}

std::string safePart(std::string_view title, size_t mostBytes) {
  std::string out;
  while (!title.empty()) {
    const std::string_view one = title.substr(0, sequenceLength(title));
    // What a terminal must not get is escaped by printable(), which makes it longer.
    const bool safe = cli::printable(one) == one && kForbidden.find(one[0]) == kForbidden.npos;
    const std::string_view put = safe ? one : std::string_view("_");
    if (out.size() + put.size() > mostBytes) break;
    out += put;
    title.remove_prefix(one.size());
  }
  // Some systems drop blanks and points at the end of a name.
  while (!out.empty() && (out.back() == ' ' || out.back() == '.')) out.pop_back();
  return out.substr(std::min(out.find_first_not_of(' '), out.size()));
}

}  // namespace

std::string chapterFileName(size_t number, size_t count, std::string_view title,
                            std::string_view extension) {
  const size_t width = std::max<size_t>(2, std::to_string(count).size());
  std::string name = std::to_string(number);
  name.insert(0, width - std::min(width, name.size()), '0');
  const std::string part = safePart(title, kMostBytes - name.size() - 1 - extension.size());
  if (!part.empty()) name += " " + part;
  return name + std::string(extension);
}

}  // namespace velahost
