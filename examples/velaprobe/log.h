// A text log in a file, written without the standard library.
#pragma once
#include <cstdint>

namespace probe {

/// Lines of ASCII and UTF-8 in a new file. Nothing is written when the file could not be made.
class Log {
 public:
  Log() = default;
  Log(const Log&) = delete;
  Log& operator=(const Log&) = delete;
  ~Log();

  /// Makes the file. @return false when it is there already, or can't be made
  bool open(const char16_t* name);

  Log& text(const char* text);
  /// UTF-16 up to its NUL, as UTF-8; a lone half of a surrogate pair becomes U+FFFD.
  Log& text(const char16_t* text);
  Log& number(uint64_t value);
  /// Eight hexadecimal digits.
  Log& hex(uint32_t value);
  Log& bytes(const uint8_t* bytes, uint32_t count);
  /// Ends the line.
  void end();

 private:
  void put(char byte);
  void flush();

  void* file_ = nullptr;
  uint32_t used_ = 0;
  char buffer_[512];
};

}  // namespace probe
