#include "atomkit/meta/tags/decimal_text.h"

#include <algorithm>
#include <cstring>

#include "atomkit/meta/tags/tag_store.h"

namespace atomkit {
namespace {

constexpr uint32_t kMostDigits = 10;  // of a 32-bit number
constexpr size_t kMostSuffixBytes = 15;

}  // namespace

SharedString makeDecimalText(uint32_t value, uint32_t minimumDigits, const char* suffix) {
  char text[kMostDigits + kMostSuffixBytes + 1];
  char* const end = text + kMostDigits;
  char* digit = end;
  uint32_t digits = 0;
  do {
    *--digit = static_cast<char>('0' + value % 10);
    value /= 10;
    ++digits;
  } while (value != 0 || digits < std::min(minimumDigits, kMostDigits));
  const size_t suffixBytes = std::min(std::strlen(suffix), kMostSuffixBytes);
  std::memcpy(end, suffix, suffixBytes);
  end[suffixBytes] = 0;
  return SharedString::copyOf(digit);
}

}  // namespace atomkit
