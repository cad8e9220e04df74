// The tags of a file as its boxes hold them, whoever reads them.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "inspect/box.h"
#include "inspect/file.h"

namespace inspect {

/// One value: UTF-8 (bytes that are not are kept), or words that stand for bytes that are no text.
struct RawValue {
  std::string text;
  bool isText = true;
  uint64_t bytes = 0;  ///< in the file
};

struct RawTag {
  enum class Place {
    itemList,    ///< 'ilst', of the movie or elsewhere
    taggingBox,  ///< 'tags'
    userData,    ///< text boxes directly in 'udta', as QuickTime and 3GP files have them
  };
  Place place = Place::itemList;
  std::string path;      ///< of the box
  uint64_t offset = 0;   ///< of the box, or of the field in the tagging box; bytes
  std::string item;      ///< what names it: a type, "----:mean:name", a key, or a field's name
  std::string name;      ///< of an item that names itself; else empty
  FourCC type = 0;       ///< of the item; 0 for a field of the tagging box
  bool isMovies = true;  ///< it is about the movie, in the place where the library looks for tags
  std::optional<uint32_t> chapter;  ///< zero-based: it is about one chapter only
  std::vector<RawValue> values;
};

/// Values of more bytes than this are not read; words stand for them.
inline constexpr uint64_t kLongestTagValue = 16 * 1024 * 1024;

/// All tags in file order, pictures included (as words, not as bytes).
/// Memory: proportional to their text.
std::vector<RawTag> readRawTags(File& file);

}  // namespace inspect
