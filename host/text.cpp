#include "host/text.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <iterator>
#include <optional>

#include "cli/text.h"
#include "host/failure.h"

namespace velahost {
namespace {

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

std::u16string takeText(const char16_t* text, uint32_t count) {
  if (!text) return {};
  return count == vela::kUntilNul ? std::u16string(text) : std::u16string(text, count);
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
                      "\"" + cli::printable(text) +
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

bool sameGuid(const vela::Guid& left, const vela::Guid& right) {
  return std::equal(std::begin(left.bytes), std::end(left.bytes), std::begin(right.bytes));
}

}  // namespace velahost
