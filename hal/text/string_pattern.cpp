#include "hal/text/string_pattern.h"

#include "hal/text/wide_text.h"

namespace {

// A text with its length, without a NUL.
struct Span {
  const char16_t* m_units;
  uint32_t m_count;

  bool isEmpty() const { return m_count == 0; }
  char16_t first() const { return *m_units; }
  void advance() { ++m_units, --m_count; }
};

Span bounded(const char16_t* text, uint32_t maximum) {
  return {text, VWideText::GLength(text, maximum)};
}

bool patternEnds(Span pattern, VPattern::ListMode mode) {
  return pattern.isEmpty() || (mode == VPattern::ListMode::KList && pattern.first() == u';');
}

bool matches(Span name, Span pattern, VPattern::ListMode mode) {
  for (; !patternEnds(pattern, mode); pattern.advance(), name.advance()) {
    if (pattern.first() == u'*') {
      pattern.advance();
      // DELIBERATE D-101: the rest of the pattern is not tried at the very end of the name, unless
      // the name was at its end when the '*' was reached. So "a*" does not match "ab", and "*"
      // matches the empty name only. The filters in use ("*.mp4") end in a fixed text.
      while (!matches(name, pattern, mode)) {
        if (name.m_count <= 1) return false;
        name.advance();
      }
      return true;
    }
    if (name.isEmpty()) return false;
    if (pattern.first() != u'?' &&
        VWideText::GToLower(pattern.first()) != VWideText::GToLower(name.first())) {
      return false;
    }
  }
  return name.isEmpty();
}

}  // namespace

bool VPattern::GMatches(const char16_t* name, uint32_t p_nameCount, const char16_t* pattern,
                        uint32_t p_patternCount, ListMode mode) noexcept {
  return matches(bounded(name, p_nameCount), bounded(pattern, p_patternCount), mode);
}

bool VPattern::GMatchesList(const char16_t* name, uint32_t p_nameCount, const char16_t* list,
                            uint32_t p_listCount, ListMode mode) noexcept {
  const Span wanted = bounded(name, p_nameCount);
  Span rest = bounded(list, p_listCount);
  if (mode == ListMode::KSingle) return matches(wanted, rest, mode);
  while (!rest.isEmpty()) {
    if (matches(wanted, rest, mode)) return true;
    while (!rest.isEmpty() && rest.first() != u';') rest.advance();
    while (!rest.isEmpty() && rest.first() == u';') rest.advance();
    while (!rest.isEmpty() && rest.first() == u' ') rest.advance();
  }
  return false;
}

bool VPattern::GMatchesFileName(const char16_t* path, uint32_t p_pathCount, const char16_t* list,
                                uint32_t p_listCount, ListMode mode) noexcept {
  const uint32_t position = VWideText::GFileNamePosition(path, p_pathCount);
  const uint32_t length = VWideText::GLength(path, p_pathCount) - position;
  return GMatchesList(path + position, length, list, p_listCount, mode);
}
