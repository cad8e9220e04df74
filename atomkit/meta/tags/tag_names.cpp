#include "atomkit/meta/tags/tag_names.h"

#include "atomkit/core/containers/owned_string.h"

namespace atomkit {
namespace {

// An item type that begins with the byte 0xA9, the copyright sign of the Mac character set.
constexpr FourCC copyrightType(const char (&rest)[4]) {
  return fourCC({'\xa9', rest[0], rest[1], rest[2], 0});
}

struct ItemName {
  FourCC type;
  const char* name;
};

// The item reader converts 'trkn', 'disk', 'gnre' and 'tmpo' by itself, under names of its own, and
// never looks them up here: to change their names, change readData() in tag_item.cpp.
constexpr ItemName kItemNames[] = {
    {copyrightType("nam"), "title"}, {copyrightType("ART"), "artist"},
    {copyrightType("alb"), "album"}, {copyrightType("wrt"), "writer"},
    {copyrightType("day"), "year"},  {copyrightType("cmt"), "comment"},
    {copyrightType("gen"), "genre"}, {copyrightType("too"), "tool"},
    {fourCC("cpil"), "compilation"}, {fourCC("trkn"), "track"},
    {fourCC("disk"), "disc"},        {fourCC("gnre"), "genre"},
    {fourCC("tmpo"), "tempo"},
};

}  // namespace

const char* tagNameOf(FourCC itemType) noexcept {
  for (const ItemName& item : kItemNames) {
    if (item.type == itemType) return item.name;
  }
  return nullptr;
}

const char* canonicalTagName(const char* name) noexcept {
  if (compareIgnoringCase(name, "date") == 0) return "year";
  if (compareIgnoringCase(name, "tracknumber") == 0) return "track";
  return name;
}

}  // namespace atomkit
