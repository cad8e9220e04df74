#include "hal/text/text_codec.h"

#include <algorithm>

#include "hal/text/vstring.h"
#include "hal/text/wide_text.h"

namespace {

// Entry i marks the lead of a sequence of i + 1 bytes. The last entry takes every byte.
constexpr uint8_t KLeadMasks[] = {0x80, 0xE0, 0xF0, 0xF8, 0xFC, 0xFE, 0x00};
constexpr uint8_t KLeadValues[] = {0x00, 0xC0, 0xE0, 0xF0, 0xF8, 0xFC, 0x00};

// A byte after the lead: two marker bits, then six bits of the code point.
constexpr uint8_t KContinuationMask = 0xC0;
constexpr uint8_t KContinuation = 0x80;
constexpr uint8_t KContinuationValue = 0x3F;
constexpr uint32_t KContinuationBits = 6;

// Lead bits of a two-byte sequence that are all 0 in an overlong one.
constexpr uint8_t KOverlongMask = 0x1E;

// A surrogate half: six marker bits, then ten bits of what the code point has beyond the first
// plane.
constexpr uint32_t KSurrogateMask = 0xFC00;
constexpr uint32_t KHighSurrogate = 0xD800;
constexpr uint32_t KLowSurrogate = 0xDC00;
constexpr uint32_t KSurrogateValue = 0x3FF;
constexpr uint32_t KSurrogateBits = 10;

constexpr uint32_t KFirstPlaneEnd = 0x10000;
constexpr uint32_t KLastPlane = 0x100000;
constexpr uint8_t KAsciiEnd = 0x80;

bool isHighSurrogate(char16_t unit) { return (unit & KSurrogateMask) == KHighSurrogate; }
bool isLowSurrogate(char16_t unit) { return (unit & KSurrogateMask) == KLowSurrogate; }

// Collects units and writes them to a string in pieces: the first at a given place, the others at
// the end.
class UnitStage {
 public:
  UnitStage(VString& target, uint32_t start) : m_target(target), m_start(start) {}

  void Add(char16_t unit) {
    m_units[m_count++] = unit;
    if (m_count == KUnits) Write();
  }

  void Write() {
    m_target.Set(m_units, m_count, m_start);
    m_start = VString::KAll;
    m_count = 0;
  }

 private:
  static constexpr uint32_t KUnits = 128;

  VString& m_target;
  uint32_t m_start;
  uint32_t m_count = 0;
  char16_t m_units[KUnits];
};

}  // namespace

uint32_t VTextCodec::GSequenceLength(const uint8_t* bytes, uint32_t p_count) noexcept {
  if (p_count == 0) return 0;
  const uint8_t lead = bytes[0];
  if (lead < KAsciiEnd) return lead ? 1 : 0;
  // DELIBERATE D-110: a byte that leads no sequence (80 to BF, FE, FF) reaches the last entry, and
  // counts as the lead of seven bytes when that many are there.
  uint32_t entry = 0;
  while (entry < p_count && (lead & KLeadMasks[entry]) != KLeadValues[entry]) ++entry;
  if (entry == p_count) return 0;
  const uint32_t length = entry + 1;
  for (uint32_t i = 1; i < length; ++i) {
    if (bytes[i] == 0) return 0;
  }
  const bool isOverlong = length == 2 && (lead & KOverlongMask) == 0;
  return isOverlong ? 0 : length;
}

uint32_t VTextCodec::GDecodeUtf8(const uint8_t* bytes, uint32_t p_count,
                                 uint32_t* p_codePoint) noexcept {
  *p_codePoint = 0;
  const uint32_t length = GSequenceLength(bytes, p_count);
  if (length == 0) return 0;
  if (bytes[0] < KAsciiEnd) {
    *p_codePoint = bytes[0];
    return 1;
  }
  uint32_t value = bytes[0] & (0xFFu >> (length + 1));
  for (uint32_t i = 1; i < length; ++i) {
    if ((bytes[i] & KContinuationMask) != KContinuation) return 0;
    // DELIBERATE D-111: overlong forms of three bytes and more are noticed at the third byte only,
    // so many of them are decoded (E0 80 90 is U+0010).
    if (i == 2 && value == 0 && (bytes[i] & 0x7F) >> (7 - length) == 0) return 0;
    value = value << KContinuationBits | (bytes[i] & KContinuationValue);
  }
  *p_codePoint = value;
  return length;
}

uint32_t VTextCodec::GUtf8Length(uint32_t codePoint) noexcept {
  if (codePoint < 0x80) return 1;
  if (codePoint < 0x800) return 2;
  if (codePoint < 0x10000) return 3;
  if (codePoint < 0x200000) return 4;
  if (codePoint < 0x4000000) return 5;
  return codePoint < 0x80000000 ? 6 : 0;
}

uint32_t VTextCodec::GEncodeUtf8(uint32_t codePoint, uint8_t* p_target) noexcept {
  const uint32_t length = GUtf8Length(codePoint);
  if (!p_target || length == 0) return length;
  for (uint32_t i = length - 1; i > 0; --i, codePoint >>= KContinuationBits) {
    p_target[i] = static_cast<uint8_t>(KContinuation | (codePoint & KContinuationValue));
  }
  p_target[0] = static_cast<uint8_t>(KLeadValues[length - 1] | codePoint);
  return length;
}

uint32_t VTextCodec::GUtf8Length(const char16_t* text, uint32_t maximum) noexcept {
  // DELIBERATE D-107: the halves of a surrogate pair are counted and encoded one by one, three
  // bytes each. The reader decodes them likewise, so every text survives.
  const uint32_t length = VWideText::GLength(text, maximum);
  uint32_t bytes = 0;
  for (uint32_t i = 0; i < length; ++i) bytes += GUtf8Length(uint32_t{text[i]});
  return bytes;
}

uint32_t VTextCodec::GDecodeUtf16(const char16_t* text, char16_t* p_value) noexcept {
  *p_value = text[0];
  if (text[0] == 0) return 0;
  if (!isHighSurrogate(text[0]) || !isLowSurrogate(text[1])) return 1;
  // DELIBERATE D-103: the code point of a pair is cut to 16 bits, which loses its plane.
  *p_value = static_cast<char16_t>((text[0] & KSurrogateValue) << KSurrogateBits |
                                   (text[1] & KSurrogateValue));
  return 2;
}

uint32_t VTextCodec::GEncodeUtf16(uint32_t codePoint, char16_t* p_target) noexcept {
  // DELIBERATE D-104: the last plane (0x100000 to 0x10FFFF, private use) is refused, like
  // everything beyond it.
  if (codePoint == 0 || codePoint >= KLastPlane) return 0;
  if (codePoint < KFirstPlaneEnd) {
    p_target[0] = static_cast<char16_t>(codePoint);
    return 1;
  }
  p_target[0] = static_cast<char16_t>(
      KHighSurrogate | ((codePoint - KFirstPlaneEnd) >> KSurrogateBits & KSurrogateValue));
  p_target[1] = static_cast<char16_t>(KLowSurrogate | (codePoint & KSurrogateValue));
  return 2;
}

uint32_t VTextCodec::GUtf8ToUtf16(const uint8_t* bytes, uint32_t p_count,
                                  char16_t* p_target) noexcept {
  uint32_t units = 0;
  while (p_count > 0) {
    uint32_t codePoint = 0;
    const uint32_t used = GDecodeUtf8(bytes, p_count, &codePoint);
    if (used == 0) break;
    const uint32_t written = GEncodeUtf16(codePoint, p_target + units);
    if (written == 0) break;
    units += written;
    bytes += used;
    p_count -= used;
  }
  p_target[units] = 0;
  return units;
}

void VTextCodec::GFromUtf8(const uint8_t* bytes, uint32_t p_count, VString& target,
                           uint32_t start) {
  UnitStage stage(target, start);
  while (p_count > 0) {
    uint32_t codePoint = 0;
    const uint32_t used = GDecodeUtf8(bytes, p_count, &codePoint);
    if (codePoint == 0) break;
    // DELIBERATE D-108: a character beyond the first plane becomes the unit FFFF, not a pair of
    // surrogates: on this path every character is one unit.
    stage.Add(static_cast<char16_t>(std::min(codePoint, KFirstPlaneEnd - 1)));
    bytes += used;
    p_count -= used;
  }
  stage.Write();
}

void VTextCodec::GFromNarrow(const char* characters, uint32_t p_count, VString& target,
                             uint32_t start) {
  UnitStage stage(target, start);
  for (; p_count > 0 && *characters; ++characters, --p_count) {
    const auto byte = static_cast<uint8_t>(*characters);
    stage.Add(byte < KAsciiEnd ? byte : u'?');
  }
  stage.Write();
}
