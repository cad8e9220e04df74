// OwnedString: a heap copy of an 8-bit text, and the comparisons that fold ASCII capitals.
#pragma once
#include <cstdint>

#include "atomkit/core/shared.h"

namespace atomkit {

class ByteStream;

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

  /// Replaces the text by exactly `count` bytes read from `stream`, and ends it with a zero byte.
  /// Bytes behind a zero byte among them are kept but not seen through text().
  /// @throws what ByteStream::requireBytes() throws, leaving the string as it was; what readBlock()
  ///         throws, or exception "out of memory", leaving it empty
  void read(ByteStream& stream, uint32_t count);

  /// The text; never null.
  const char* text() const noexcept { return text_ ? text_ : ""; }
  /// Bytes before the first zero byte.
  uint32_t length() const noexcept;
  /// True when the first byte is the end.
  bool empty() const noexcept { return !text_ || !*text_; }

 private:
  void clear() noexcept;

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
