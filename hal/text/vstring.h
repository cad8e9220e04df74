// VString: the string that callers own and producers of text fill. VStringTail: the part of a
// string after a fixed place. VBufferString: a string with memory of its own.
#pragma once
#include <cstdint>

#include "hal/memory/memory.h"

/// A text of UTF-16 units. Three operations and the destructor, in slot order.
class VString : public VHeapObject {
 public:
  /// A count that means "up to the terminating NUL", and a place that means "the end".
  static constexpr uint32_t KAll = 0xFFFFFFFF;

  /// Slot 0. Replaces everything from unit `start` on by `p_count` units of `text` (KAll: up to its
  /// NUL). A `start` past the end means the end, so KAll appends. Null text with count 0 cuts the
  /// string at `start`.
  /// @return 0, or not 0 when the text could not be stored; the library ignores it
  virtual uint64_t Set(const char16_t* text, uint32_t p_count, uint32_t start) = 0;

  /// Slot 1. @return the first unit
  virtual const char16_t* GetBuffer() const = 0;

  /// Slot 2. @return the length in units
  virtual uint32_t GetLength() const = 0;

  /// Last slot.
  virtual ~VString() = default;
};

/// What follows the present length of `string`. Borrows `string`, which must not become shorter
/// than that: it is reported, and the tail's length is then below 0, modulo 2^32. Not copyable: a
/// copy would look like the tail of a tail.
class VStringTail final : public VString {
 public:
  explicit VStringTail(VString& string) noexcept;
  VStringTail(const VStringTail&) = delete;
  VStringTail& operator=(const VStringTail&) = delete;

  uint64_t Set(const char16_t* text, uint32_t p_count, uint32_t start) override;
  const char16_t* GetBuffer() const override;
  uint32_t GetLength() const override;

 private:
  VString* m_string;
  uint32_t m_base;  // units
};

/// A growing string. Always NUL-terminated; a Set() that finds no memory returns not 0 and leaves
/// the content as it was.
class VBufferString final : public VString {
 public:
  VBufferString() noexcept = default;
  ~VBufferString() override;
  VBufferString(const VBufferString&) = delete;
  VBufferString& operator=(const VBufferString&) = delete;

  /// `text` may be part of this string's own buffer.
  uint64_t Set(const char16_t* text, uint32_t p_count, uint32_t start) override;
  /// Never null. Valid until the next Set().
  const char16_t* GetBuffer() const override;
  uint32_t GetLength() const override;

  /// False once a Set() found no memory: producers ignore its result, so a part of their text may
  /// then be missing. True again when a Set() at unit 0 succeeds.
  bool IsComplete() const { return m_complete; }

 private:
  uint64_t Store(const char16_t* text, uint32_t p_count, uint32_t start);

  char16_t* m_buffer = nullptr;  // room for m_capacity units and the NUL; null while empty
  uint32_t m_capacity = 0;       // units
  uint32_t m_length = 0;         // units
  bool m_complete = true;
};
