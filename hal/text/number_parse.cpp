#include <algorithm>

#include "hal/text/number_text.h"
#include "hal/text/wide_text.h"

namespace {

bool isDecimalSeparator(char16_t unit) { return unit == u'.' || unit == u','; }

// Units of a float text that are looked at.
constexpr uint32_t KFloatUnits = 127;

// A text after its sign.
struct Unsigned {
  const char16_t* m_text;
  uint32_t m_length;  // units
  bool m_isNegative;
};

Unsigned withoutSign(const char16_t* text, uint32_t maximum) {
  const uint32_t length = VWideText::GLength(text, maximum);
  if (length == 0 || (*text != u'-' && *text != u'+')) return {text, length, false};
  return {text + 1, length - 1, *text == u'-'};
}

// Every product has the width of Value.
template <class Value>
Value power(Value base, uint32_t exponent) {
  Value result = 1;
  for (; exponent > 0; exponent >>= 1, base *= base) {
    if (exponent & 1) result *= base;
  }
  return result;
}

}  // namespace

uint32_t VNumberText::GPowerOfTen(uint32_t exponent) noexcept {
  return power<uint32_t>(10, exponent);
}

float VNumberText::GPower(float base, int32_t exponent) noexcept {
  if (exponent >= 0) return power(base, static_cast<uint32_t>(exponent));
  if (base == 0) return 0;
  return power(static_cast<float>(1.0 / double{base}), 0 - static_cast<uint32_t>(exponent));
}

VNumberText::Digits VNumberText::GParseDigits(const char16_t* text, uint32_t maximum) noexcept {
  Digits digits = {0, 0};
  uint32_t digit = 0;
  while (digits.m_count < maximum && VWideText::GIsDigit(text[digits.m_count], &digit)) {
    digits.m_value = digits.m_value * 10 + digit;
    ++digits.m_count;
  }
  return digits;
}

uint64_t VNumberText::GParseScaled(const char16_t* text, uint32_t maximum,
                                   uint32_t scale) noexcept {
  const uint32_t length = VWideText::GLength(text, maximum);
  const Digits integer = GParseDigits(text, length);
  const uint64_t whole = integer.m_value * scale;
  if (integer.m_count == length || !isDecimalSeparator(text[integer.m_count])) return whole;
  const uint32_t fractionStart = integer.m_count + 1;
  const Digits fraction = GParseDigits(text + fractionStart, length - fractionStart);
  // DELIBERATE D-113: the fraction's digits and the power of ten that divides them are 32-bit
  // values that wrap from ten digits on. Where the power wraps to 0 the fraction adds nothing.
  const uint32_t divisor = GPowerOfTen(fraction.m_count);
  if (divisor == 0) return whole;
  return whole + uint64_t{static_cast<uint32_t>(fraction.m_value)} * scale / divisor;
}

int64_t VNumberText::GParseScaledSigned(const char16_t* text, uint32_t maximum,
                                        uint32_t scale) noexcept {
  const Unsigned number = withoutSign(text, maximum);
  const uint64_t magnitude = GParseScaled(number.m_text, number.m_length, scale);
  return static_cast<int64_t>(number.m_isNegative ? 0 - magnitude : magnitude);
}

float VNumberText::GParseFloat(const char16_t* text, int32_t maximum) noexcept {
  char16_t copy[KFloatUnits + 1];
  // As an unsigned number a negative maximum is a very large one.
  VWideText::GCopy(copy, text, std::min(static_cast<uint32_t>(maximum), KFloatUnits));

  const char16_t* next = copy;
  while (*next == u' ') ++next;
  const bool isNegative = *next == u'-';
  if (isNegative || *next == u'+') ++next;

  uint32_t mantissa = 0;  // wraps
  uint32_t exponent = 0;  // two's complement
  bool isFraction = false;
  for (;; ++next) {
    uint32_t digit = 0;
    if (VWideText::GIsDigit(*next, &digit)) {
      mantissa = mantissa * 10 + digit;
      if (isFraction) --exponent;
    } else if (isDecimalSeparator(*next) && !isFraction) {
      isFraction = true;
    } else {
      break;
    }
  }
  if (*next == u'E' || *next == u'e') {
    exponent += static_cast<uint32_t>(GParseSigned(next + 1, VWideText::KUntilNul));
  }
  if (isNegative) mantissa = 0 - mantissa;
  return static_cast<float>(static_cast<int32_t>(mantissa)) *
         GPower(10.0f, static_cast<int32_t>(exponent));
}

// DELIBERATE D-102: every integer text has the value 0, and no unit of it is looked at. The
// exponent of a float text therefore has no effect ("2.5e3" is 2.5).
uint64_t VNumberText::GParseUnsigned(const char16_t*, uint32_t) noexcept { return 0; }

int64_t VNumberText::GParseSigned(const char16_t*, uint32_t) noexcept { return 0; }
