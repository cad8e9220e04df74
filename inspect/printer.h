// Printer: standard output, with every failure to write noticed.
#pragma once
#include <fmt/core.h>

#include <ostream>
#include <string_view>
#include <utility>

#include "cli/json_text.h"

namespace inspect {

/// Thrown when the reader of a pipe has gone, as `head` does. Not worth a word to the user.
class ClosedPipe : public std::exception {};

class Printer {
 public:
  /// @param out  borrowed
  explicit Printer(std::ostream& out) : out_(out) {}

  /// Writes text that was made safe for a terminal; see cli::printable() for text of a file.
  /// @throws cli::Failure (outputFailed), ClosedPipe; also for what an earlier call left unwritten
  void write(std::string_view text);
  /// The same, formatted, and a line's end after it.
  template <class... Values>
  void line(fmt::format_string<Values...> format, Values&&... values) {
    write(fmt::vformat(format, fmt::make_format_args(values...)));
    write("\n");
  }
  /// A JSON document on one line. Bytes that are not UTF-8 are replaced.
  void json(const cli::Json& document);
  /// Writes out what is buffered. @throws as write()
  void flush();

 private:
  void requireGood();

  std::ostream& out_;
};

}  // namespace inspect
