// Assertion reports: a condition inside the library that does not hold is written to the debug
// output and breaks into the debugger; when resumed, the code carries on as if it had held. The
// checks are always present. File data is never judged by one.
#pragma once

class VAssertion {
 public:
  /// Writes the text of a failed check and breaks into the debugger. Kept out of line, so that a
  /// check costs one comparison and one call.
  static void GReport(const char16_t* report) noexcept;
};

/// The text of a failed check: line ends are CR LF. All three arguments are narrow literals.
#define VASSERT_REPORT(source, line, text) \
  u"\r\n*** ASSERTION FAILED in " source "(" line "):\r\n" text "\r\n"

/// Checks `condition`, and reports `text` in its place when it does not hold.
/// @param source, line  where the report says that the check stands: a string literal and a plain
///        number. Tools that collect reports know the checks by these, so they never change and
///        are not the place in this source file.
#define VASSERT_TEXT_AT(source, line, condition, text)          \
  do {                                                          \
    if (!(condition)) [[unlikely]] {                            \
      VAssertion::GReport(VASSERT_REPORT(source, #line, text)); \
    }                                                           \
  } while (false)

/// Checks `condition`; its source text is part of the report. The formatter may change that text's
/// spaces ("a>b"): where the report has none, use VASSERT_TEXT_AT.
#define VASSERT_AT(source, line, condition) VASSERT_TEXT_AT(source, line, condition, #condition)
