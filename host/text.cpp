#include "host/text.h"

#include <algorithm>
#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <iterator>

#include "host/failure.h"

namespace velahost {
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

std::u16string takeText(const char16_t* text, uint32_t count) {
  if (!text) return {};
  return count == vela::kUntilNul ? std::u16string(text) : std::u16string(text, count);
}

size_t columns(std::string_view utf8) {
  return static_cast<size_t>(std::count_if(
      utf8.begin(), utf8.end(), [](char c) { return (static_cast<uint8_t>(c) & 0xc0) != 0x80; }));
}

std::vector<std::string> printableLines(std::string_view utf8) {
  std::vector<std::string> lines(1);
  for (size_t i = 0; i < utf8.size(); ++i) {
    const auto byte = static_cast<uint8_t>(utf8[i]);
    if (byte == '\n' || byte == '\r') {
      if (byte == '\r' && i + 1 < utf8.size() && utf8[i + 1] == '\n') ++i;
      lines.emplace_back();
    } else if (byte < 0x20 || byte == 0x7f) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02x", byte);
      lines.back() += escape;
    } else {
      lines.back().push_back(utf8[i]);
    }
  }
  return lines;
}

std::string pathText(const std::filesystem::path& file) {
  const std::u8string text = file.u8string();
  return {text.begin(), text.end()};
}

std::string clockTime(uint64_t hostUnits) {
  if (hostUnits == vela::kUnknown64) return "unknown";
  const uint64_t wholeSeconds = hostUnits / vela::kHostUnitsPerSecond;
  const uint64_t fraction = hostUnits % vela::kHostUnitsPerSecond;
  const uint64_t ms = wholeSeconds * 1000 +
                      (fraction * 1000 + vela::kHostUnitsPerSecond / 2) / vela::kHostUnitsPerSecond;
  char text[48];
  std::snprintf(text, sizeof text, "%" PRIu64 ":%02u:%02u.%03u", ms / 3600000,
                static_cast<unsigned>(ms / 60000 % 60), static_cast<unsigned>(ms / 1000 % 60),
                static_cast<unsigned>(ms % 1000));
  return text;
}

std::string secondsText(uint64_t hostUnits) {
  const uint64_t fraction = hostUnits % vela::kHostUnitsPerSecond;
  const uint64_t us =
      hostUnits / vela::kHostUnitsPerSecond * 1000000 +
      (fraction * 1000000 + vela::kHostUnitsPerSecond / 2) / vela::kHostUnitsPerSecond;
  char text[48];
  std::snprintf(text, sizeof text, "%" PRIu64 ".%06u", us / 1000000,
                static_cast<unsigned>(us % 1000000));
  return text;
}

uint64_t hostUnitsFromSeconds(double seconds) {
  if (!(seconds >= 0 && seconds <= 549755813888.0)) {
    throw Failure(ExitStatus::usage, "A time is a number of seconds from 0 to 2^39.");
  }
  return static_cast<uint64_t>(std::llround(seconds * vela::kHostUnitsPerSecond));
}

std::string guidText(const vela::Guid& guid) {
  // The three leading numbers are stored little-endian, the rest byte by byte.
  constexpr int kOrder[16] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  std::string text = "{";
  for (int i = 0; i < 16; ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
    char pair[4];
    std::snprintf(pair, sizeof pair, "%02X", guid.bytes[kOrder[i]]);
    text += pair;
  }
  return text + "}";
}

std::string mediaName(const vela::Guid& guid) {
  if (sameGuid(guid, vela::kMediaAac)) return "AAC";
  if (sameGuid(guid, vela::kMediaMp3)) return "MP3";
  if (sameGuid(guid, vela::kMediaMpeg4Visual)) return "MPEG-4 Visual";
  if (sameGuid(guid, vela::kMediaH264)) return "H.264";
  return guidText(guid);
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

bool sameGuid(const vela::Guid& left, const vela::Guid& right) {
  return std::equal(std::begin(left.bytes), std::end(left.bytes), std::begin(right.bytes));
}

}  // namespace velahost
