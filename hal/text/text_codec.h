// VTextCodec: UTF-8, UTF-16 and 8-bit text, one character or one buffer at a time.
//
// UTF-8 is the original form with sequences of up to six bytes. UTF-16 surrogate halves are encoded
// one by one, as three bytes each, and decoded the same way.
#pragma once
#include <cstdint>

class VString;

class VTextCodec {
 public:
  /// Longest sequence that is produced, in bytes.
  static constexpr uint32_t KUTF8MaxLength = 6;

  // UTF-8, one character

  /// Decodes the character at `bytes`, of which `p_count` are available.
  /// @param p_codePoint  receives the code point, 0 on failure
  /// @return the bytes used, 0 on failure; a NUL is a failure
  static uint32_t GDecodeUtf8(const uint8_t* bytes, uint32_t p_count,
                              uint32_t* p_codePoint) noexcept;

  /// Length of the sequence at `bytes`, of which `p_count` are available. Of the bytes after the
  /// lead only a NUL is noticed. @return 0 when it does not fit or can't be a sequence
  static uint32_t GSequenceLength(const uint8_t* bytes, uint32_t p_count) noexcept;

  /// Bytes that GEncodeUtf8() writes: 1 ... 6, and 0 for 0x80000000 and more.
  static uint32_t GUtf8Length(uint32_t codePoint) noexcept;

  /// Encodes one code point.
  /// @param p_target  room for GUtf8Length() bytes, or null to get the length only
  /// @return the length in bytes, 0 when the code point can't be encoded
  static uint32_t GEncodeUtf8(uint32_t codePoint, uint8_t* p_target) noexcept;

  /// Bytes of a whole text in UTF-8. The text and its maximum are as in VWideText.
  static uint32_t GUtf8Length(const char16_t* text, uint32_t maximum) noexcept;

  // UTF-16, one character

  /// Decodes the character at `text`, a NUL-terminated text.
  /// @param p_value  receives the unit, or 16 bits of the code point of a surrogate pair (D-103)
  /// @return the units used: 0 at the NUL, 2 for a pair, otherwise 1
  static uint32_t GDecodeUtf16(const char16_t* text, char16_t* p_value) noexcept;

  /// Encodes one code point. @param p_target  room for 2 units
  /// @return the units written; 0 for code point 0 and for 0x100000 and more (D-104)
  static uint32_t GEncodeUtf16(uint32_t codePoint, char16_t* p_target) noexcept;

  // Buffers

  /// Decodes UTF-8 up to a NUL, `p_count` bytes or the first failure, with surrogate pairs.
  /// @param p_target  room for the units and a NUL, which is always written; `p_count` + 1 units
  ///        are enough
  /// @return the units written, without the NUL
  static uint32_t GUtf8ToUtf16(const uint8_t* bytes, uint32_t p_count, char16_t* p_target) noexcept;

  /// Decodes UTF-8 up to a NUL, `p_count` bytes or the first failure, and writes it to `target`
  /// from unit `start` on. A code point above 0xFFFF becomes 0xFFFF. `target` is always set, for
  /// empty input too.
  static void GFromUtf8(const uint8_t* bytes, uint32_t p_count, VString& target, uint32_t start);
  static void GFromUtf8(const char* bytes, uint32_t p_count, VString& target, uint32_t start) {
    GFromUtf8(reinterpret_cast<const uint8_t*>(bytes), p_count, target, start);
  }

  /// Like GFromUtf8() for 8-bit characters; 128 and more become '?'.
  static void GFromNarrow(const char* characters, uint32_t p_count, VString& target,
                          uint32_t start);
};
