// Assertion reports: when a condition inside the library does not hold, the check writes a report
// to the debug output and breaks into the debugger. The checks are always present. File data is
// never judged by one.
//
// When execution is resumed, or there is no debugger, the code carries on as if the condition had
// held, unless that would follow a null pointer, leave an array or never end: then the operation
// stops short. D-160 lists these cases.
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

/// Checks `condition`, and reports `text` when it does not hold.
/// @param source, line  the place that the report names: a string literal and a plain number. Tools
///        that collect reports know the checks by these. They never change, and they are not the
///        place in this source file.
#define VASSERT_TEXT_AT(source, line, condition, text)          \
  do {                                                          \
    if (!(condition)) [[unlikely]] {                            \
      VAssertion::GReport(VASSERT_REPORT(source, #line, text)); \
    }                                                           \
  } while (false)

/// Checks `condition`, whose source text goes into the report. The formatter puts spaces around
/// operators; for a report without them ("a>b") use VASSERT_TEXT_AT.
#define VASSERT_AT(source, line, condition) VASSERT_TEXT_AT(source, line, condition, #condition)
