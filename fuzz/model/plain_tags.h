// The tags of a file, as its boxes list them: lists of texts, searched from the front.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/model/bytes_in.h"

namespace plain {

/// Texts are bytes of the file, up to the first zero byte.
struct Tag {
  std::string name;
  std::vector<std::string> values;
  bool takesMore = false;  // further values, when its item repeats
};
using Tags = std::vector<Tag>;

std::string upToZero(std::string_view bytes);
bool sameName(std::string_view left, std::string_view right);  // ASCII case folded

Tag* findTag(Tags& tags, std::string_view name);
/// Takes the values of `added` where the name is there, else the tag.
void mergeTags(Tags& tags, const Tags& added);

/// The boxes 'meta' of 'udta': the first one that can be read counts.
struct PlainItemList {
  bool seen = false;
  Tags tags;
  void read(BytesIn in);
};

/// The boxes 'tags' of 'udta': one counts; with a second one, or one that can't be read, none has.
struct PlainTaggingBox {
  bool seen = false;
  Tags tags;
  std::vector<std::pair<uint32_t, Tags>> segments;  // with the number of their chapter
  void read(BytesIn in);
  const Tags* ofChapter(uint32_t number) const;
};

}  // namespace plain
