#include "hal/text/vstring.h"

#include <algorithm>
#include <cstring>

#include "hal/memory/assertion.h"
#include "hal/text/wide_text.h"

VStringTail::VStringTail(VString& string) noexcept
    : m_string(&string), m_base(string.GetLength()) {}

uint64_t VStringTail::Set(const char16_t* text, uint32_t p_count, uint32_t start) {
  VASSERT_TEXT_AT("stdhelpers", 406, m_string->GetLength() >= m_base,
                  "m_string->GetLength()>=m_base");
  const uint32_t length = m_string->GetLength() - m_base;
  return m_string->Set(text, p_count, std::min(start, length) + m_base);
}

const char16_t* VStringTail::GetBuffer() const {
  VASSERT_TEXT_AT("stdhelpers", 414, m_string->GetLength() >= m_base,
                  "m_string->GetLength()>=m_base");
  return m_string->GetBuffer() + m_base;
}

uint32_t VStringTail::GetLength() const {
  VASSERT_TEXT_AT("stdhelpers", 420, m_string->GetLength() >= m_base,
                  "m_string->GetLength()>=m_base");
  return m_string->GetLength() - m_base;
}

VBufferString::~VBufferString() { VMemory::GFree(m_buffer); }

uint64_t VBufferString::Set(const char16_t* text, uint32_t p_count, uint32_t start) {
  const uint64_t status = Store(text, p_count, start);
  if (status != 0 || start == 0) m_complete = status == 0;
  return status;
}

uint64_t VBufferString::Store(const char16_t* text, uint32_t p_count, uint32_t start) {
  constexpr uint64_t stored = 0;
  constexpr uint64_t notStored = 1;
  start = std::min(start, m_length);
  const uint32_t count = text ? p_count == KAll ? VWideText::GLength(text, KAll) : p_count : 0;
  const uint64_t length = uint64_t{start} + count;
  if (length >= KAll) return notStored;
  if (length == 0 && !m_buffer) return stored;

  char16_t* const old = m_buffer;
  if (length > m_capacity) {
    // Twice the room, so that appending in pieces stays linear; just enough when there is no memory
    // for that.
    const uint64_t roomy = std::min<uint64_t>(std::max<uint64_t>(length, 2 * uint64_t{m_capacity}),
                                              uint64_t{KAll} - 1);
    uint64_t capacity = roomy;
    char16_t* buffer = VMemory::GNewArray<char16_t>(static_cast<size_t>(capacity) + 1);
    if (!buffer && roomy > length) {
      capacity = length;
      buffer = VMemory::GNewArray<char16_t>(static_cast<size_t>(capacity) + 1);
    }
    if (!buffer) return notStored;
    if (start > 0) std::memcpy(buffer, old, start * sizeof(char16_t));
    m_buffer = buffer;
    m_capacity = static_cast<uint32_t>(capacity);
  }
  // The text may be part of the old buffer, which is therefore freed last.
  if (count > 0) std::memmove(m_buffer + start, text, count * sizeof(char16_t));
  m_length = static_cast<uint32_t>(length);
  m_buffer[m_length] = 0;
  if (m_buffer != old) VMemory::GFree(old);
  return stored;
}

const char16_t* VBufferString::GetBuffer() const { return m_buffer ? m_buffer : u""; }

uint32_t VBufferString::GetLength() const { return m_length; }
