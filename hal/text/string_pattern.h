// VPattern: file name patterns with '*' and '?', without regard to case.
//
// All texts are bounded as VWideText describes. A '*' is narrower than usual: see D-101.
#pragma once
#include <cstdint>

class VPattern {
 public:
  /// Whether a ';' in the pattern separates several patterns or is a unit like any other.
  enum class ListMode : uint32_t { KSingle, KList };

  /// Matches `name` against one pattern; in list mode the pattern ends at its first ';'.
  static bool GMatches(const char16_t* name, uint32_t p_nameCount, const char16_t* pattern,
                       uint32_t p_patternCount, ListMode mode) noexcept;

  /// Matches `name` against each pattern of a list ("*.mp4; *.m4a"), the first match wins. An empty
  /// list matches nothing. Without list mode the whole list is one pattern.
  static bool GMatchesList(const char16_t* name, uint32_t p_nameCount, const char16_t* list,
                           uint32_t p_listCount, ListMode mode) noexcept;

  /// Like GMatchesList() for the file name at the end of `path`.
  static bool GMatchesFileName(const char16_t* path, uint32_t p_pathCount, const char16_t* list,
                               uint32_t p_listCount, ListMode mode) noexcept;
};
