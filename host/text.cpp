#include "host/text.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <iterator>
#include <optional>

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

/// Characters that move the cursor, change colours, or reverse the text around them.
bool steersTheTerminal(char32_t c) {
  const auto within = [c](char32_t first, char32_t last) { return first <= c && c <= last; };
  return within(0x80, 0x9f) ||                              // C1 controls
         within(0x2028, 0x2029) ||                          // line and paragraph separator
         c == 0x61c || within(0x200e, 0x200f) ||            // marks of direction
         within(0x202a, 0x202e) || within(0x2066, 0x2069);  // embeddings, overrides, isolates
}

/// The value of at most twelve digits, which is small enough for sums and products of times.
std::optional<uint64_t> decimalValue(std::string_view digits) {
  if (digits.empty() || digits.size() > 12) return std::nullopt;
  uint64_t value = 0;
  for (const char digit : digits) {
    if (digit < '0' || digit > '9') return std::nullopt;
    value = value * 10 + static_cast<uint64_t>(digit - '0');
  }
  return value;
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

std::string secondsText(int64_t hostUnits, int decimals) {
  uint64_t partsPerSecond = 1;
  for (int i = 0; i < decimals; ++i) partsPerSecond *= 10;
  const uint64_t size =
      hostUnits < 0 ? 0 - static_cast<uint64_t>(hostUnits) : static_cast<uint64_t>(hostUnits);
  uint64_t whole = size / vela::kHostUnitsPerSecond;
  const uint64_t fraction = size % vela::kHostUnitsPerSecond;
  uint64_t parts =
      (fraction * partsPerSecond + vela::kHostUnitsPerSecond / 2) / vela::kHostUnitsPerSecond;
  whole += parts / partsPerSecond;
  parts %= partsPerSecond;
  std::string text = hostUnits < 0 && (whole != 0 || parts != 0) ? "-" : "";
  text += std::to_string(whole);
  if (decimals == 0) return text;
  const std::string digits = std::to_string(parts);
  return text + "." + std::string(static_cast<size_t>(decimals) - digits.size(), '0') + digits;
}

uint64_t hostUnitsFromTime(std::string_view text) {
  constexpr uint64_t kSecondsEnd = uint64_t{1} << 39;
  const Failure wrong(ExitStatus::usage,
                      "\"" + printable(text) +
                          "\" is not a time. A time is a number of seconds (90.5), minutes and "
                          "seconds (1:30), or hours, minutes and seconds (0:01:30.5).");
  const size_t point = text.find('.');
  std::string_view fields = text.substr(0, point);
  uint64_t seconds = 0;
  for (int field = 0;; ++field) {
    const size_t colon = fields.find(':');
    const std::string_view digits = fields.substr(0, colon);
    const std::optional<uint64_t> value = decimalValue(digits);
    const bool sixtieth = field > 0;
    if (!value || field == 3 || (sixtieth && (digits.size() > 2 || *value >= 60))) throw wrong;
    seconds = seconds * 60 + *value;
    if (colon == std::string_view::npos) break;
    fields.remove_prefix(colon + 1);
  }
  uint64_t billionths = 0;
  if (point != std::string_view::npos) {
    // Digits beyond the ninth are far below one host unit.
    std::string fraction(text.substr(point + 1));
    if (fraction.empty() || fraction.find_first_not_of("0123456789") != std::string::npos) {
      throw wrong;
    }
    fraction.resize(9, '0');
    billionths = decimalValue(fraction).value();
  }
  if (seconds >= kSecondsEnd) {
    throw Failure(ExitStatus::usage, "A time must be less than 2^39 seconds.");
  }
  const uint64_t hostUnits = seconds * vela::kHostUnitsPerSecond +
                             (billionths * vela::kHostUnitsPerSecond + 500000000) / 1000000000;
  return std::min(hostUnits, uint64_t{INT64_MAX});
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
