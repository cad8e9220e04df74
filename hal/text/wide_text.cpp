#include "hal/text/wide_text.h"

#include <algorithm>
#include <cstring>

#include "hal/memory/memory.h"
#include "hal/text/vstring.h"
#include "platform/platform.h"

namespace {

constexpr char16_t KAsciiEnd = 0x80;

char16_t unchanged(char16_t unit) { return unit; }

int32_t compareMapped(const char16_t* left, uint32_t leftMaximum, const char16_t* right,
                      uint32_t rightMaximum, char16_t (*map)(char16_t)) {
  const uint32_t leftLength = VWideText::GLength(left, leftMaximum);
  const uint32_t rightLength = VWideText::GLength(right, rightMaximum);
  const uint32_t common = std::min(leftLength, rightLength);
  for (uint32_t i = 0; i < common; ++i) {
    const char16_t leftUnit = map(left[i]);
    const char16_t rightUnit = map(right[i]);
    if (leftUnit != rightUnit) return leftUnit < rightUnit ? -1 : 1;
  }
  if (leftLength == rightLength) return 0;
  return leftLength < rightLength ? -1 : 1;
}

}  // namespace

bool VWideText::GIsDigit(char16_t unit, uint32_t* p_value) noexcept {
  if (unit < u'0' || unit > u'9') return false;
  *p_value = uint32_t{unit} - u'0';
  return true;
}

bool VWideText::GIsSeparator(char16_t unit) noexcept {
  return unit == u'/' || unit == u':' || unit == u'\\' || unit == u'|';
}

char16_t VWideText::GToLower(char16_t unit) noexcept { return platform::lowerUnit(unit); }

char16_t VWideText::GToUpper(char16_t unit) noexcept { return platform::upperUnit(unit); }

uint32_t VWideText::GLength(const char16_t* text, uint32_t maximum) noexcept {
  uint32_t length = 0;
  while (length < maximum && text[length]) ++length;
  return length;
}

int32_t VWideText::GCompare(const char16_t* left, uint32_t leftMaximum, const char16_t* right,
                            uint32_t rightMaximum) noexcept {
  return compareMapped(left, leftMaximum, right, rightMaximum, unchanged);
}

int32_t VWideText::GCompareIgnoringCase(const char16_t* left, uint32_t leftMaximum,
                                        const char16_t* right, uint32_t rightMaximum) noexcept {
  return compareMapped(left, leftMaximum, right, rightMaximum, GToLower);
}

int32_t VWideText::GPlatformCompareIgnoringCase(const char16_t* left,
                                                const char16_t* right) noexcept {
  return platform::compareIgnoringCase(left, right);
}

int32_t VWideText::GFindFirst(const char16_t* text, uint32_t maximum, char16_t unit) noexcept {
  const uint32_t length = GLength(text, maximum);
  for (uint32_t i = 0; i < length; ++i) {
    if (text[i] == unit) return static_cast<int32_t>(i);
  }
  return KNotFound;
}

int32_t VWideText::GFindLast(const char16_t* text, uint32_t maximum, char16_t unit) noexcept {
  for (uint32_t i = GLength(text, maximum); i > 0; --i) {
    if (text[i - 1] == unit) return static_cast<int32_t>(i - 1);
  }
  return KNotFound;
}

bool VWideText::GHasWildcards(const char16_t* text, uint32_t maximum) noexcept {
  return GFindFirst(text, maximum, u'*') != KNotFound ||
         GFindFirst(text, maximum, u'?') != KNotFound;
}

void VWideText::GNarrow(const char16_t* text, uint32_t maximum, char* p_target) noexcept {
  const uint32_t length = GLength(text, maximum);
  for (uint32_t i = 0; i < length; ++i) {
    p_target[i] = text[i] < KAsciiEnd ? static_cast<char>(text[i]) : '?';
  }
  p_target[length] = 0;
}

char16_t* VWideText::GDuplicate(const char16_t* text, uint32_t maximum) noexcept {
  const uint32_t length = GLength(text, maximum);
  char16_t* copy = VMemory::GNewArray<char16_t>(size_t{length} + 1);
  if (copy) GCopy(copy, text, length);
  return copy;
}

void VWideText::GCopy(char16_t* p_target, const char16_t* text, uint32_t maximum) noexcept {
  const uint32_t length = GLength(text, maximum);
  if (length > 0) std::memcpy(p_target, text, length * sizeof(char16_t));
  p_target[length] = 0;
}

uint32_t VWideText::GFileNamePosition(const char16_t* path, uint32_t maximum) noexcept {
  uint32_t position = GLength(path, maximum);
  while (position > 0 && !GIsSeparator(path[position - 1])) --position;
  return position;
}

void VWideText::GFileTitle(const char16_t* path, uint32_t maximum, VString& title) {
  const uint32_t position = GFileNamePosition(path, maximum);
  const char16_t* name = path + position;
  uint32_t length = GLength(path, maximum) - position;
  const int32_t query = GFindFirst(name, length, u'?');
  if (query != KNotFound) length = static_cast<uint32_t>(query);
  const int32_t extension = GFindLast(name, length, u'.');
  if (extension != KNotFound) length = static_cast<uint32_t>(extension);
  title.Set(name, length, 0);
}

char VNarrowText::GFold(char character) noexcept {
  if (character < 'A' || character > 'Z') return character;
  return static_cast<char>(character - 'A' + 'a');
}

int32_t VNarrowText::GCompareIgnoringCase(const char* left, const char* right) noexcept {
  for (;; ++left, ++right) {
    const int32_t difference =
        int32_t{static_cast<int8_t>(GFold(*left))} - int32_t{static_cast<int8_t>(GFold(*right))};
    if (difference != 0 || *left == 0) return difference;
  }
}
