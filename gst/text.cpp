#include "gst/text.h"

#include <string_view>

#include "frontend/vela_splitter.h"

namespace velagst {
namespace {

constexpr char32_t kReplacement = 0xfffd;

bool isHighSurrogate(char16_t unit) { return (unit & 0xfc00) == 0xd800; }
bool isSurrogate(char16_t unit) { return (unit & 0xf800) == 0xd800; }
bool isLowSurrogate(char16_t unit) { return (unit & 0xfc00) == 0xdc00; }

void append(std::string& out, char32_t c) {
  const auto put = [&out](char32_t byte) { out.push_back(static_cast<char>(byte)); };
  const auto tail = [&](int shift) { put(0x80 | (c >> shift & 0x3f)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xc0 | c >> 6);
    tail(0);
  } else if (c < 0x10000) {
    put(0xe0 | c >> 12);
    tail(6);
    tail(0);
  } else {
    put(0xf0 | c >> 18);
    tail(12);
    tail(6);
    tail(0);
  }
}

}  // namespace

std::string toUtf8(const char16_t* text, uint32_t count) {
  if (!text) return {};
  const std::u16string_view units =
      count == vela::kUntilNul ? std::u16string_view(text) : std::u16string_view(text, count);
  std::string out;
  for (size_t i = 0; i < units.size(); ++i) {
    const char16_t unit = units[i];
    if (isHighSurrogate(unit) && i + 1 < units.size() && isLowSurrogate(units[i + 1])) {
      const char32_t high = unit & 0x3ffu;
      const char32_t low = units[++i] & 0x3ffu;
      append(out, 0x10000 + (high << 10 | low));
    } else {
      append(out, isSurrogate(unit) ? kReplacement : unit);
    }
  }
  return out;
}

}  // namespace velagst
