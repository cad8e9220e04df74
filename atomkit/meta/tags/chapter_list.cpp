#include "atomkit/meta/tags/chapter_list.h"

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/value_readers.h"

namespace atomkit {
namespace {

constexpr uint32_t kFlagsAndReservedBytes = 4;
constexpr uint32_t kTitleLengthBytes = 1;
constexpr uint32_t kShortEntryBytes = sizeof(uint32_t) + kTitleLengthBytes;  // without a title
constexpr uint32_t kLongEntryBytes = sizeof(uint64_t) + kTitleLengthBytes;

}  // namespace

// 'chpl' chapter list
//   u8 version, u8 reserved[4] (flags and a reserved byte, not looked at), u32 chapter_count,
//   chapter_count x { u32 or u64 start (100 ns; 32 bits in version 0, 64 bits in version 1),
//                     u8 title_length, u8 title[title_length] }
// Boxes of other versions are ignored: their layout is not known.
void readChapterList(ChapterMarks& marks, AtomReader& reader) {
  const uint8_t version = readU8(reader);
  reader.skipExact(kFlagsAndReservedBytes);
  if (version > 1) return;
  const uint32_t count = readU32(reader);
  if (count > kMaxChapters) throw exception("invalid chapter count");
  if (count == 0) return;
  const bool longStarts = version == 1;
  requireEntries(reader, count, longStarts ? kLongEntryBytes : kShortEntryBytes);
  marks.resize(count);
  for (uint32_t i = 0; i < count; ++i) {
    marks[i].start = longStarts ? readU64(reader) : readU32(reader);
    const uint8_t titleLength = readU8(reader);
    marks[i].title = readString(reader, titleLength);
  }
}

}  // namespace atomkit
