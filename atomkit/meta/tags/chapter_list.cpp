#include "atomkit/meta/tags/chapter_list.h"

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/value_readers.h"

namespace atomkit {

// 'chpl' chapter list
//   u8 version, u8 reserved[4] (flags and a reserved byte, not looked at), u32 chapter_count,
//   chapter_count x { u32 or u64 start (100 ns; 32 bits in version 0, 64 bits in version 1),
//                     u8 title_length, u8 title[title_length] }
// A version other than 0 and 1 has a layout that isn't known, which is no error.
void readChapterList(ChapterMarks& marks, AtomReader& reader) {
  const uint8_t version = readU8(reader);
  reader.skipExact(4);
  if (version > 1) return;
  const uint32_t count = readU32(reader);
  if (count > kMaxChapters) throw exception("invalid chapter count");
  if (count == 0) return;
  const bool wide = version == 1;
  requireEntries(reader, count, wide ? 9 : 5);
  marks.resize(count);
  for (uint32_t i = 0; i < count; ++i) {
    marks[i].start = wide ? readU64(reader) : readU32(reader);
    const uint8_t titleLength = readU8(reader);
    marks[i].title = SharedString::make();
    readString(reader, *marks[i].title, titleLength);
  }
}

}  // namespace atomkit
