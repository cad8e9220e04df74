#include "cli/text.h"

#include <algorithm>
#include <cstdio>

namespace cli {
namespace {

constexpr char32_t kReplacement = 0xfffd;

void appendUtf8(std::string& out, char32_t c) {
  const auto put = [&out](char32_t byte) {
    out.push_back(static_cast<char>(static_cast<uint8_t>(byte)));
  };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xc0 | c >> 6);
    put(0x80 | (c & 0x3f));
  } else if (c < 0x10000) {
    put(0xe0 | c >> 12);
    put(0x80 | (c >> 6 & 0x3f));
    put(0x80 | (c & 0x3f));
  } else {
    put(0xf0 | c >> 18);
    put(0x80 | (c >> 12 & 0x3f));
    put(0x80 | (c >> 6 & 0x3f));
    put(0x80 | (c & 0x3f));
  }
}

bool isHighSurrogate(char16_t unit) { return (unit & 0xfc00) == 0xd800; }
bool isLowSurrogate(char16_t unit) { return (unit & 0xfc00) == 0xdc00; }

struct Decoded {
  char32_t character;
  size_t bytes;
};

/// The character at the start of `text`, which is not empty; one replaced byte when there is none.
Decoded decodeUtf8(std::string_view text) {
  const auto byte = [text](size_t i) -> char32_t { return static_cast<uint8_t>(text[i]); };
  const char32_t lead = byte(0);
  if (lead < 0x80) return {lead, 1};
  const size_t length = lead >= 0xf0 ? 4 : lead >= 0xe0 ? 3 : 2;
  if (lead < 0xc2 || lead > 0xf4 || text.size() < length) return {kReplacement, 1};
  char32_t character = lead & (0x7fu >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((byte(i) & 0xc0) != 0x80) return {kReplacement, 1};
    character = character << 6 | (byte(i) & 0x3f);
  }
  const char32_t smallest = length == 4 ? 0x10000 : length == 3 ? 0x800 : 0x80;
  const bool surrogate = character >= 0xd800 && character < 0xe000;
  if (character < smallest || character > 0x10ffff || surrogate) return {kReplacement, 1};
  return {character, length};
}

/// Characters that move the cursor, change colours, or reverse the text around them.
bool steersTheTerminal(char32_t c) {
  const auto within = [c](char32_t first, char32_t last) { return first <= c && c <= last; };
  return within(0x80, 0x9f) ||                              // C1 controls
         within(0x2028, 0x2029) ||                          // line and paragraph separator
         c == 0x61c || within(0x200e, 0x200f) ||            // marks of direction
         within(0x202a, 0x202e) || within(0x2066, 0x2069);  // embeddings, overrides, isolates
}

}  // namespace

std::string toUtf8(std::u16string_view text) {
  std::string out;
  for (size_t i = 0; i < text.size(); ++i) {
    const char16_t unit = text[i];
    if (isHighSurrogate(unit) && i + 1 < text.size() && isLowSurrogate(text[i + 1])) {
      const char32_t high = unit & 0x3ffu;
      const char32_t low = text[++i] & 0x3ffu;
      appendUtf8(out, 0x10000 + (high << 10 | low));
    } else {
      appendUtf8(out, isHighSurrogate(unit) || isLowSurrogate(unit) ? kReplacement : unit);
    }
  }
  return out;
}

std::u16string toUtf16(std::string_view text) {
  std::u16string out;
  while (!text.empty()) {
    const Decoded decoded = decodeUtf8(text);
    text.remove_prefix(decoded.bytes);
    if (decoded.character < 0x10000) {
      out.push_back(static_cast<char16_t>(decoded.character));
    } else {
      const char32_t beyond = decoded.character - 0x10000;
      out.push_back(static_cast<char16_t>(0xd800 | beyond >> 10));
      out.push_back(static_cast<char16_t>(0xdc00 | (beyond & 0x3ff)));
    }
  }
  return out;
}

size_t columns(std::string_view utf8) {
  return static_cast<size_t>(std::count_if(
      utf8.begin(), utf8.end(), [](char c) { return (static_cast<uint8_t>(c) & 0xc0) != 0x80; }));
}

std::string printable(std::string_view utf8) {
  std::string out;
  while (!utf8.empty()) {
    const Decoded decoded = decodeUtf8(utf8);
    const auto lead = static_cast<uint8_t>(utf8[0]);
    char escape[8];
    if (lead < 0x20 || lead == 0x7f || (lead >= 0x80 && decoded.bytes == 1)) {
      std::snprintf(escape, sizeof escape, "\\x%02x", lead);
      out += escape;
    } else if (steersTheTerminal(decoded.character)) {
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(decoded.character));
      out += escape;
    } else {
      out += utf8.substr(0, decoded.bytes);
    }
    utf8.remove_prefix(decoded.bytes);
  }
  return out;
}

std::vector<std::string> printableLines(std::string_view utf8) {
  std::vector<std::string> lines;
  for (;;) {
    const size_t end = utf8.find_first_of("\r\n");
    lines.push_back(printable(utf8.substr(0, end)));
    if (end == std::string_view::npos) return lines;
    utf8.remove_prefix(end + (utf8.substr(end, 2) == "\r\n" ? 2 : 1));
  }
}

std::string counted(uint64_t count, const std::string& one) {
  return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

std::string pathText(const std::filesystem::path& file) {
  const std::u8string text = file.u8string();
  return printable({reinterpret_cast<const char*>(text.data()), text.size()});
}

std::string hexText(const std::vector<uint8_t>& bytes, std::string_view separator) {
  std::string text;
  for (const uint8_t byte : bytes) {
    if (!text.empty()) text += separator;
    char pair[4];
    std::snprintf(pair, sizeof pair, "%02x", byte);
    text += pair;
  }
  return text;
}

}  // namespace cli
