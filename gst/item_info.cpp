#include "gst/item_info.h"

#include "gst/text.h"

namespace velagst {

void ItemInfo::addTags(uint32_t, uint32_t count, const char16_t* const* keys,
                       const uint32_t* keyLengths, const char16_t* const* values,
                       const uint32_t* valueLengths) {
  for (uint32_t i = 0; i < count; ++i) {
    tags.push_back({toUtf8(keys[i], keyLengths[i]), toUtf8(values[i], valueLengths[i])});
  }
}

void ItemInfo::beginChapters(uint32_t) { chapters.clear(); }

void ItemInfo::addChapter(uint32_t, vela::Word64 start, const char16_t* title,
                          uint32_t titleLength) {
  chapters.push_back({vela::fromWord64(start), toUtf8(title, titleLength)});
}

}  // namespace velagst
