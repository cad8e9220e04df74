// More builders for the metadata boxes of 'udta', and a readable form of what they are read into.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "atomkit/meta/tags/tag_store.h"
#include "tests/support/movie_builder.h"

namespace boxes {

// ---- the ZT tagging box

inline Bytes tshd(uint32_t chapterNumber) { return box("tshd", u32(chapterNumber)); }
template <class... Children>
Bytes tseg(const Children&... children) {
  return box("tseg", children...);
}
// ---- items of the item list

/// An item type that begins with the byte 0xA9, for example itemType("ART").
inline std::string itemType(std::string_view rest) { return "\xA9" + std::string(rest); }
/// The value of an item; type code 1 is a text.
inline Bytes data(const Bytes& value, uint32_t typeCode = 1) {
  return box("data", full(0, typeCode), u32(0), value);
}
inline Bytes itemName(std::string_view name) { return box("name", full(0), text(name)); }
/// 'trkn' or 'disk'.
inline Bytes numberPair(std::string_view type, uint16_t number, uint16_t total) {
  return box(type, data(join(u16(0), u16(number), u16(total), u16(0)), 0));
}
inline Bytes gnre(uint16_t code) { return box("gnre", data(u16(code), 0)); }
inline Bytes tmpo(uint16_t beats) { return box("tmpo", data(u16(beats), 21)); }
inline Bytes covr(const Bytes& picture) { return box("covr", data(picture, 13)); }

}  // namespace boxes

/// Each entry as "name=value|value"; one that takes no further values ends in " (single)".
inline std::vector<std::string> listed(const atomkit::TagSource& source) {
  std::vector<std::string> all;
  for (uint32_t i = 0; i < source.entryCount(); ++i) {
    std::string entry = source.entryName(i);
    for (uint32_t k = 0; k < source.valueCount(i); ++k) {
      entry += (k ? "|" : "=") + std::string(source.value(i, k).text());
    }
    if (source.flag(i) == atomkit::TagFlag::single) entry += " (single)";
    all.push_back(entry);
  }
  return all;
}
using Listed = std::vector<std::string>;
