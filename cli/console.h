// Where a program's two outputs go, and what may be sent there besides plain text.
#pragma once
#include <cstddef>
#include <string>
#include <string_view>

namespace cli {

enum class Terminal { no, yes };

/// When a program colours its output.
enum class Color { automatic, always, never };

struct Console {
  Console() = default;
  /// Of a program whose standard output is no terminal.
  Console(Terminal standardError) : err(standardError) {}

  Terminal out = Terminal::no;  ///< whether standard output is a terminal
  Terminal err = Terminal::no;  ///< whether standard error is one
  size_t columns = 80;          ///< of the terminal, or as many as a line may have elsewhere
  bool noColor = false;         ///< the environment has NO_COLOR
};

/// The console of this process. Columns are those of the terminal, at least 40; COLUMNS overrides
/// them on a terminal.
Console standardConsole();

/// Puts emphasis on parts of a text, or leaves them as they are.
class Emphasis {
 public:
  Emphasis() = default;
  /// @param color     what the user asked for; automatic: on a terminal without NO_COLOR
  /// @param terminal  whether the output is one
  Emphasis(Color color, Terminal terminal, bool noColor)
      : on_(color == Color::always ||
            (color == Color::automatic && terminal == Terminal::yes && !noColor)) {}

  std::string bold(std::string_view text) const { return wrapped("1", text); }
  std::string error(std::string_view text) const { return wrapped("1;31", text); }

 private:
  std::string wrapped(std::string_view code, std::string_view text) const;

  bool on_ = false;
};

}  // namespace cli
