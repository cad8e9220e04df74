// VNumberText: numbers to text and back. A text and its maximum are as in VWideText.
#pragma once
#include <cstdint>

class VString;

class VNumberText {
 public:
  // Parsing

  /// 10 to the power of `exponent`; wraps in 32 bits (0 from 32 on).
  static uint32_t GPowerOfTen(uint32_t exponent) noexcept;

  /// `base` to the power of `exponent`, by squaring and multiplying in single precision.
  static float GPower(float base, int32_t exponent) noexcept;

  struct Digits {
    uint64_t m_value;  ///< wraps in 64 bits
    uint32_t m_count;  ///< digits consumed
  };
  /// Reads decimal digits up to the first other unit.
  static Digits GParseDigits(const char16_t* text, uint32_t maximum) noexcept;

  /// Reads a decimal number, with an optional fraction after '.' or ',', in units of 1 / `scale`.
  /// Ignores what follows the number. The fraction wraps in 32 bits (D-113).
  static uint64_t GParseScaled(const char16_t* text, uint32_t maximum, uint32_t scale) noexcept;

  /// Like GParseScaled(), with an optional '-' or '+' before the number.
  static int64_t GParseScaledSigned(const char16_t* text, uint32_t maximum,
                                    uint32_t scale) noexcept;

  /// Reads a decimal number with an optional sign and fraction, after leading spaces. Looks at no
  /// more than 127 units, also when `maximum` is negative.
  static float GParseFloat(const char16_t* text, int32_t maximum) noexcept;

  /// Always 0 (D-102).
  static uint64_t GParseUnsigned(const char16_t* text, uint32_t maximum) noexcept;
  static int64_t GParseSigned(const char16_t* text, uint32_t maximum) noexcept;

  // Formatting

  static constexpr uint32_t KDecimalUnits = 32;
  static constexpr uint32_t KHexadecimalUnits = 17;

  /// Writes decimal digits and a NUL to the end of `scratch`. @return the first digit, in `scratch`
  static const char16_t* GFormatUnsigned(uint64_t value,
                                         char16_t (&scratch)[KDecimalUnits]) noexcept;

  /// Writes as many decimal digits as fit into `p_count` units, and a NUL when there is room.
  /// @return the number of digits of `value`, even if fewer fit
  static uint32_t GFormatUnsigned(uint64_t value, char16_t* p_target, uint32_t p_count) noexcept;

  /// Like GFormatUnsigned(), with a '-' before a negative value, which counts as a digit. Returns 0
  /// for a negative value and a `p_count` of 0.
  static uint32_t GFormatSigned(int64_t value, char16_t* p_target, uint32_t p_count) noexcept;

  /// Writes upper-case hexadecimal digits, at least `minimumDigits` (16 at most), and a NUL to the
  /// end of `scratch`. @return index of the first digit
  static uint32_t GFormatHexadecimal(uint64_t value, uint32_t minimumDigits,
                                     char16_t (&scratch)[KHexadecimalUnits]) noexcept;

  // Writers into a string

  /// Sets `target` to hexadecimal digits.
  static void GWriteHexadecimal(VString& target, uint64_t value, uint32_t minimumDigits);

  /// Writes decimal digits from unit `start` on.
  static void GWriteUnsigned(VString& target, uint64_t value, uint32_t start);
  static void GWriteSigned(VString& target, int64_t value, uint32_t start);

  /// Sets `target` to a signed decimal number; sign and digits are two writes.
  static void GSetSigned(VString& target, int64_t value);

  /// Writes "hh:mm:ss" from unit `start` on, in three writes. The first unit of 100 hours and more
  /// is beyond '9' (D-112).
  static void GWriteClock(VString& target, uint32_t seconds, uint32_t start);
};
