#include "cli/console.h"

#include <algorithm>
#include <cstdlib>

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <io.h>
#include <windows.h>
#else
#include <sys/ioctl.h>
#include <unistd.h>
#endif

namespace cli {
namespace {

constexpr size_t kFewestColumns = 40;
constexpr size_t kMostColumns = 1000;

bool has(const char* variable) {
  const char* const value = std::getenv(variable);
  return value && *value;
}

#ifdef _WIN32
Terminal isTerminal(int descriptor) {
  return _isatty(descriptor) != 0 ? Terminal::yes : Terminal::no;
}
size_t terminalColumns() {
  CONSOLE_SCREEN_BUFFER_INFO info;
  if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info)) return 0;
  return static_cast<size_t>(info.srWindow.Right - info.srWindow.Left + 1);
}
#else
Terminal isTerminal(int descriptor) {
  return isatty(descriptor) != 0 ? Terminal::yes : Terminal::no;
}
size_t terminalColumns() {
  winsize size{};
  for (const int descriptor : {STDOUT_FILENO, STDERR_FILENO}) {
    if (ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0) return size.ws_col;
  }
  return 0;
}
#endif

}  // namespace

Console standardConsole() {
  Console console;
  console.out = isTerminal(1);
  console.err = isTerminal(2);
  console.noColor = has("NO_COLOR");
  if (console.out == Terminal::yes || console.err == Terminal::yes) {
    size_t columns = terminalColumns();
    if (has("COLUMNS")) {
      if (const long given = std::atol(std::getenv("COLUMNS")); given > 0) {
        columns = static_cast<size_t>(given);
      }
    }
    if (columns != 0) console.columns = std::clamp(columns, kFewestColumns, kMostColumns);
  }
  return console;
}

std::string Emphasis::wrapped(std::string_view code, std::string_view text) const {
  if (!on_ || text.empty()) return std::string(text);
  return "\x1b[" + std::string(code) + "m" + std::string(text) + "\x1b[0m";
}

}  // namespace cli
