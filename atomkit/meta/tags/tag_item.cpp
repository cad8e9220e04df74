#include "atomkit/meta/tags/tag_item.h"

#include <utility>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/box_reader.h"
#include "atomkit/core/streams/value_readers.h"
#include "atomkit/meta/tags/decimal_text.h"
#include "atomkit/meta/tags/genre_names.h"
#include "atomkit/meta/tags/tag_names.h"

namespace atomkit {
namespace {

constexpr uint32_t kNameHeaderBytes = 4;  // version and flags
constexpr uint32_t kNumberBytes = 2;      // value of a 'tmpo' or 'gnre' item
constexpr uint32_t kNumberPairBytes = 8;  // value of a 'trkn' or 'disk' item
constexpr uint32_t kTempoDigits = 5;

SharedString readText(AtomReader& reader, uint64_t bytes) {
  reader.requireBytes(bytes);
  if (bytes > UINT32_MAX) throw exception(kOutOfMemory);
  return readString(reader, static_cast<uint32_t>(bytes));
}

// Collects what the children of an item hold.
class ItemBoxHandler final : public BoxHandler {
 public:
  ItemBoxHandler(TagStore& tags, FourCC itemType) : tags_(&tags), itemType_(itemType) {}

  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override {
    if (handled_) return;
    if (type == fourCC("data")) {
      readData(reader, payloadSize);
    } else if (type == fourCC("name")) {
      skipVersionAndFlags(reader);
      name_ = readText(reader, payloadSize - kNameHeaderBytes);
    }
  }

  /// Adds the tag of an item whose value is text. For the other items readData() has done it.
  void finish() {
    if (value_.empty()) return;
    const char* name = name_.empty() ? tagNameOf(itemType_) : canonicalTagName(name_.text());
    if (name) addTag(*tags_, name, std::move(value_));
  }

 private:
  // 'data' item value
  //   u8 version, u24 flags (the type of the value, ignored), u32 locale (ignored), then
  //   'tmpo': u16 beats_per_minute
  //   'gnre': u16 code
  //   'trkn', 'disk': u16 ignored, u16 number, u16 total (0: unknown), u16 ignored
  //   others: u8 text[]
  // A number that is not wholly there gives no tag, and a later 'data' box may still hold one.
  // DELIBERATE D-345: the type code in the flags is not looked at, so that the one-byte flag of a
  // 'cpil' item becomes a text of one byte, or an empty one when the byte is 0.
  void readData(AtomReader& reader, uint64_t payloadSize) {
    skipVersionAndFlags(reader);
    readU32(reader);
    const uint64_t valueBytes = payloadSize - kDataHeaderBytes;
    if (itemType_ == fourCC("tmpo")) {
      if (valueBytes >= kNumberBytes) readTempo(reader);
    } else if (itemType_ == fourCC("gnre")) {
      if (valueBytes >= kNumberBytes) readGenre(reader);
    } else if (itemType_ == fourCC("trkn")) {
      if (valueBytes >= kNumberPairBytes) readNumberPair(reader, "track", "totaltracks");
    } else if (itemType_ == fourCC("disk")) {
      if (valueBytes >= kNumberPairBytes) readNumberPair(reader, "disc", "totaldiscs");
    } else {
      value_ = readText(reader, valueBytes);
    }
  }

  // DELIBERATE D-346: the tempo has five digits with leading zeros and names its unit.
  void readTempo(AtomReader& reader) {
    addTag(*tags_, "tempo", makeDecimalText(readU16(reader), kTempoDigits, " BPM"));
    handled_ = true;
  }

  void readGenre(AtomReader& reader) {
    if (const char* name = genreName(readU16(reader))) {
      addTag(*tags_, "genre", SharedString::copyOf(name));
    }
    handled_ = true;
  }

  void readNumberPair(AtomReader& reader, const char* numberName, const char* totalName) {
    readU16(reader);
    const uint16_t number = readU16(reader);
    const uint16_t total = readU16(reader);
    readU16(reader);
    addTag(*tags_, numberName, makeDecimalText(number));
    if (total != 0) addTag(*tags_, totalName, makeDecimalText(total));
    handled_ = true;
  }

  TagStore* tags_;
  FourCC itemType_;
  SharedString value_;
  SharedString name_;
  bool handled_ = false;
};

bool keepsLastValueOnly(const char* name) {
  return compareIgnoringCase(name, "tool") == 0 || compareIgnoringCase(name, "codec") == 0 ||
         comparePrefixIgnoringCase(name, "replaygain_") == 0;
}

}  // namespace

// Item of an item list
//   'data' (value; the last one counts), 'name' { u8 version, u24 flags (both ignored), u8 name[] }
//   (name of the tag, in items of every type); others ('mean' among them) are skipped
void readTagItem(TagStore& tags, FourCC itemType, AtomReader& reader, uint64_t payloadSize) {
  ItemBoxHandler handler(tags, itemType);
  walkChildren(handler, reader, payloadSize);
  handler.finish();
}

void addTag(TagStore& tags, const char* name, SharedString value) {
  if (keepsLastValueOnly(name)) {
    tags.set(name, std::move(value), TagFlag::single);
    return;
  }
  const uint32_t entry = tags.find(name);
  if (entry == TagStore::kNoTag) {
    tags.set(name, std::move(value), TagFlag::extensible);
  } else if (tags.flag(entry) == TagFlag::extensible) {
    tags.addValue(entry, std::move(value));
  }
}

}  // namespace atomkit
