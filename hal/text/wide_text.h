// VWideText: helpers for UTF-16 texts and file names. VNarrowText: helpers for 8-bit texts.
//
// A text is a pointer and a maximum count of units; KUntilNul means "no maximum". Its length is the
// number of units before the first NUL, but never more than the maximum.
#pragma once
#include <cstdint>

class VString;

class VWideText {
 public:
  static constexpr uint32_t KUntilNul = 0xFFFFFFFF;
  static constexpr int32_t KNotFound = -1;

  // Single units

  /// True for '0' ... '9'. @param p_value  receives 0 ... 9; left as it was for any other unit
  static bool GIsDigit(char16_t unit, uint32_t* p_value) noexcept;

  /// True for the units that end a directory or drive in a path: / : \ and |.
  static bool GIsSeparator(char16_t unit) noexcept;

  /// The platform's case mapping of one unit.
  static char16_t GToLower(char16_t unit) noexcept;
  static char16_t GToUpper(char16_t unit) noexcept;

  // Whole texts

  static uint32_t GLength(const char16_t* text, uint32_t maximum) noexcept;

  /// Compares unit by unit, as unsigned values; a text that ends first is the lesser.
  /// @return -1, 0 or 1
  static int32_t GCompare(const char16_t* left, uint32_t leftMaximum, const char16_t* right,
                          uint32_t rightMaximum) noexcept;
  static int32_t GCompare(const char16_t* left, const char16_t* right) noexcept {
    return GCompare(left, KUntilNul, right, KUntilNul);
  }

  /// Like GCompare(), with each unit mapped to lower case.
  static int32_t GCompareIgnoringCase(const char16_t* left, uint32_t leftMaximum,
                                      const char16_t* right, uint32_t rightMaximum) noexcept;
  static int32_t GCompareIgnoringCase(const char16_t* left, const char16_t* right) noexcept {
    return GCompareIgnoringCase(left, KUntilNul, right, KUntilNul);
  }

  /// Compares two NUL-terminated texts by the platform's rule, without regard to case.
  /// @return negative, 0 or positive
  static int32_t GPlatformCompareIgnoringCase(const char16_t* left, const char16_t* right) noexcept;

  /// @return index of the first / last `unit`, or KNotFound
  static int32_t GFindFirst(const char16_t* text, uint32_t maximum, char16_t unit) noexcept;
  static int32_t GFindLast(const char16_t* text, uint32_t maximum, char16_t unit) noexcept;

  /// True when the text contains '*' or '?'.
  static bool GHasWildcards(const char16_t* text, uint32_t maximum) noexcept;

  /// Writes the text as 8-bit characters, '?' for every unit of 128 or more, and a NUL.
  /// @param p_target  room for length + 1 bytes
  static void GNarrow(const char16_t* text, uint32_t maximum, char* p_target) noexcept;

  /// @return a NUL-terminated copy, to be freed with VMemory::GDeleteArray(), or null when there is
  ///         no memory
  static char16_t* GDuplicate(const char16_t* text, uint32_t maximum) noexcept;

  /// Writes the text and a NUL. @param p_target  room for length + 1 units
  static void GCopy(char16_t* p_target, const char16_t* text, uint32_t maximum) noexcept;

  // File names

  /// @return index just after the last separator, 0 when there is none
  static uint32_t GFileNamePosition(const char16_t* path, uint32_t maximum) noexcept;

  /// Sets `title` to the file name without its extension: the text up to the first '?' (where the
  /// query of a network path begins), and of that the text before the last '.'.
  static void GFileTitle(const char16_t* path, uint32_t maximum, VString& title);
};

class VNarrowText {
 public:
  /// Maps 'A' ... 'Z' to lower case and nothing else.
  static char GFold(char character) noexcept;

  /// Compares two NUL-terminated texts after GFold().
  /// @return the difference of the first pair that is not equal, as signed 8-bit values, or 0
  static int32_t GCompareIgnoringCase(const char* left, const char* right) noexcept;
};
