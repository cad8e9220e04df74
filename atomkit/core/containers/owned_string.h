// OwnedString: a heap copy of an 8-bit text, and the comparisons that fold ASCII capitals.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/shared.h"

namespace atomkit {

/// A NUL-terminated 8-bit text in whatever encoding the file used; the empty text owns no memory.
class OwnedString {
 public:
  OwnedString() noexcept = default;
  /// @throws exception "out of memory"
  OwnedString(const OwnedString& other) { assign(other.text()); }
  OwnedString& operator=(const OwnedString& other) {
    assign(other.text());
    return *this;
  }
  ~OwnedString();

  /// Copies `text` up to its NUL. Text that is the string's own storage changes nothing; null
  /// counts as empty.
  /// @throws exception "out of memory", leaving the string empty
  void assign(const char* text);

  /// Drops the text and its storage.
  void clear() noexcept;
  /// Takes over a block from allocate() that ends with a zero byte; bytes after an earlier zero
  /// byte are kept but not seen through text().
  void adopt(char* block) noexcept;

  /// The text; never null.
  const char* text() const noexcept { return text_ ? text_ : ""; }
  /// Bytes before the first zero byte.
  uint32_t length() const noexcept;
  /// True when the first byte is the end.
  bool empty() const noexcept { return !text_ || !*text_; }

 private:
  char* text_ = nullptr;
};

/// A text that several owners share, for tag values.
using SharedString = Handle<OwnedString>;

/// Compares two texts after folding 'A'..'Z' to lower case; all other bytes, also those above 0x7F,
/// compare as they are, unsigned.
/// @return -1, 0 or 1
int compareIgnoringCase(const char* left, const char* right) noexcept;

/// @return 0 when `prefix` (which may be empty) begins `text`, with the same folding; otherwise -1
/// or 1
///         from the first pair that differs
int comparePrefixIgnoringCase(const char* text, const char* prefix) noexcept;

}  // namespace atomkit
