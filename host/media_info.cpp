#include "host/media_info.h"

#include <algorithm>

#include "host/text.h"

namespace velahost {

void MediaInfoRecord::addTags(uint32_t position, uint32_t count, const char16_t* const* keys,
                              const uint32_t* keyLengths, const char16_t* const* values,
                              const uint32_t* valueLengths) {
  const size_t at = std::min<size_t>(position, tags.size());
  for (uint32_t i = 0; i < count; ++i) {
    tags.insert(tags.begin() + static_cast<std::ptrdiff_t>(at + i),
                {takeText(keys[i], keyLengths[i]), takeText(values[i], valueLengths[i])});
  }
}

void MediaInfoRecord::beginChapters(uint32_t count) {
  chapters.clear();
  chapters.reserve(count);
}

void MediaInfoRecord::addChapter(uint32_t index, vela::Word64 start, const char16_t* title,
                                 uint32_t titleLength) {
  if (index >= chapters.size()) chapters.resize(size_t{index} + 1);
  chapters[index] = {vela::fromWord64(start), takeText(title, titleLength)};
}

}  // namespace velahost
