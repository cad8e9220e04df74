#include <algorithm>

#include "hal/text/number_text.h"
#include "hal/text/vstring.h"

namespace {

constexpr uint32_t KLast = VNumberText::KDecimalUnits - 1;
constexpr uint32_t KSecondsPerMinute = 60;
constexpr uint32_t KSecondsPerHour = 3600;

// Writes the digits of `value` and a NUL to the end of `scratch`. @return the index of the first
uint32_t decimalDigits(uint64_t value, char16_t* scratch) {
  uint32_t first = KLast;
  scratch[first] = 0;
  do {
    scratch[--first] = static_cast<char16_t>(u'0' + value % 10);
    value /= 10;
  } while (value != 0);
  return first;
}

// Unsigned, so that the smallest value has a magnitude too.
uint64_t magnitude(int64_t value) {
  const auto bits = static_cast<uint64_t>(value);
  return value < 0 ? 0 - bits : bits;
}

// Two decimal digits of a number below 100. For a larger one the first unit is beyond '9'.
void twoDigits(uint32_t number, char16_t* p_target) {
  p_target[0] = static_cast<char16_t>(number / 10 + u'0');
  p_target[1] = static_cast<char16_t>(number % 10 + u'0');
}

void appendClockGroup(VString& target, uint32_t number) {
  char16_t group[3] = {u':'};
  twoDigits(number, group + 1);
  target.Set(group, 3, VString::KAll);
}

}  // namespace

const char16_t* VNumberText::GFormatUnsigned(uint64_t value,
                                             char16_t (&scratch)[KDecimalUnits]) noexcept {
  return scratch + decimalDigits(value, scratch);
}

uint32_t VNumberText::GFormatUnsigned(uint64_t value, char16_t* p_target,
                                      uint32_t p_count) noexcept {
  char16_t scratch[KDecimalUnits];
  const uint32_t first = decimalDigits(value, scratch);
  const uint32_t digits = KLast - first;
  // One unit more copies the NUL.
  std::copy_n(scratch + first, std::min(digits + 1, p_count), p_target);
  return digits;
}

uint32_t VNumberText::GFormatSigned(int64_t value, char16_t* p_target, uint32_t p_count) noexcept {
  if (value >= 0) return GFormatUnsigned(magnitude(value), p_target, p_count);
  if (p_count == 0) return 0;
  *p_target = u'-';
  return GFormatUnsigned(magnitude(value), p_target + 1, p_count - 1) + 1;
}

uint32_t VNumberText::GFormatHexadecimal(uint64_t value, uint32_t minimumDigits,
                                         char16_t (&scratch)[KHexadecimalUnits]) noexcept {
  constexpr uint32_t maximumDigits = KHexadecimalUnits - 1;
  minimumDigits = std::min(minimumDigits, maximumDigits);
  uint32_t first = maximumDigits;
  scratch[first] = 0;
  do {
    scratch[--first] = u"0123456789ABCDEF"[value & 0xF];
    value >>= 4;
  } while (value != 0 || maximumDigits - first < minimumDigits);
  return first;
}

void VNumberText::GWriteHexadecimal(VString& target, uint64_t value, uint32_t minimumDigits) {
  char16_t scratch[KHexadecimalUnits];
  const uint32_t first = GFormatHexadecimal(value, minimumDigits, scratch);
  target.Set(scratch + first, VString::KAll, 0);
}

void VNumberText::GWriteUnsigned(VString& target, uint64_t value, uint32_t start) {
  char16_t scratch[KDecimalUnits];
  target.Set(GFormatUnsigned(value, scratch), VString::KAll, start);
}

void VNumberText::GWriteSigned(VString& target, int64_t value, uint32_t start) {
  char16_t text[KDecimalUnits];
  GFormatSigned(value, text, KDecimalUnits);
  target.Set(text, VString::KAll, start);
}

void VNumberText::GSetSigned(VString& target, int64_t value) {
  if (value >= 0) return GWriteUnsigned(target, magnitude(value), 0);
  target.Set(u"-", VString::KAll, 0);
  VStringTail digits(target);
  GWriteUnsigned(digits, magnitude(value), 0);
}

void VNumberText::GWriteClock(VString& target, uint32_t seconds, uint32_t start) {
  char16_t hours[2];
  // DELIBERATE D-112: hours always take two units; 100 hours begin with ':', the unit after '9'.
  twoDigits(seconds / KSecondsPerHour, hours);
  target.Set(hours, 2, start);
  appendClockGroup(target, seconds % KSecondsPerHour / KSecondsPerMinute);
  appendClockGroup(target, seconds % KSecondsPerHour % KSecondsPerMinute);
}
