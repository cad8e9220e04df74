// OwnedString: a heap copy of an 8-bit text, and the comparisons that fold ASCII capitals.
#pragma once
#include <cstdint>

namespace atomkit {

/// A NUL-terminated 8-bit text in the encoding of the file. The empty text owns no memory.
class OwnedString {
 public:
  OwnedString() noexcept = default;
  OwnedString(const OwnedString&) = delete;
  OwnedString& operator=(const OwnedString&) = delete;
  ~OwnedString();

  /// Copies `text` up to its NUL; null counts as empty. Assigning the string's own storage changes
  /// nothing.
  /// @throws exception "out of memory", leaving the string empty
  void assign(const char* text);

  /// Frees the text.
  void clear() noexcept;
  /// The text; never null.
  const char* text() const noexcept { return text_ ? text_ : ""; }
  /// Bytes before the first zero byte.
  uint32_t length() const noexcept;
  bool empty() const noexcept { return !text_; }

 private:
  char* text_ = nullptr;  // null while empty
};

/// Compares two texts with 'A' to 'Z' folded to lower case. All other bytes, those above 0x7F
/// included, compare as they are, unsigned.
/// @return -1, 0 or 1
int compareIgnoringCase(const char* left, const char* right) noexcept;

/// Tells with the same folding whether `text` begins with `prefix`, which may be empty.
/// @return 0 when it does; otherwise -1 or 1 from the first pair that differs
int comparePrefixIgnoringCase(const char* text, const char* prefix) noexcept;

}  // namespace atomkit
