#include "atomkit/meta/tags/tagging_box.h"

#include <optional>
#include <utility>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/box_reader.h"
#include "atomkit/core/streams/value_readers.h"

namespace atomkit {
namespace {

constexpr uint32_t kMaxFields = 256;
constexpr uint32_t kMaxValues = 256;  // of one field
constexpr uint32_t kMaxValueBytes = 65536;
constexpr uint32_t kMaxCoverBytes = 4 * 1024 * 1024;
constexpr uint32_t kMaxChapterNumber = 1000;
constexpr uint32_t kNoChapterNumber = 0xffffffff;

// Types of the fields that are stored.
constexpr uint8_t kSingleType = 0x00;
constexpr uint8_t kExtensibleType = 0x01;
constexpr uint8_t kExtensibleBit = 0x80;

// 'tshd' segment header
//   u32 chapter_number (zero-based, at most 1000)
void readSegmentHeader(uint32_t& chapterNumber, AtomReader& reader, uint64_t payloadSize) {
  if (chapterNumber != kNoChapterNumber) throw exception("duplicated tshd atom");
  if (payloadSize != sizeof chapterNumber) throw exception("invalid tshd atom");
  chapterNumber = readU32(reader);
  if (chapterNumber > kMaxChapterNumber) throw exception("invalid chapter number in tshd");
}

class SegmentBoxHandler final : public BoxHandler {
 public:
  explicit SegmentBoxHandler(TaggedSegment& segment) : segment_(&segment) {}

  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override {
    if (type == fourCC("meta")) {
      readTagFields(segment_->payload, reader);
    } else if (type == fourCC("tshd")) {
      readSegmentHeader(segment_->key, reader, payloadSize);
    }
  }

 private:
  TaggedSegment* segment_;
};

// 'tseg' fields of one chapter
//   'tshd' (exactly one), 'meta' (field list; any number); others are skipped
void readSegment(TaggingBox& target, AtomReader& reader, uint64_t payloadSize) {
  TaggedSegment& segment = target.segments.append(kNoChapterNumber);
  SegmentBoxHandler handler(segment);
  walkChildren(handler, reader, payloadSize);
  if (segment.key == kNoChapterNumber) throw exception("tseg didn't specify chapter index");
}

class TaggingBoxHandler final : public BoxHandler {
 public:
  TaggingBoxHandler(ParseOptions options, TaggingBox& target)
      : options_(options), target_(&target) {}

  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override {
    const bool fieldsWanted = options_ & kWantTextTags;
    if (type == fourCC("meta")) {
      if (fieldsWanted) readTagFields(target_->fields, reader);
    } else if (type == fourCC("tseg")) {
      if (fieldsWanted) readSegment(*target_, reader, payloadSize);
    } else if (type == fourCC("tshd")) {
      throw exception("tshd atom not expected here");
    } else if (type == fourCC("covr")) {
      readCover(reader, payloadSize);
    }
  }

 private:
  // DELIBERATE D-342: a cover above the limit is passed over, and an earlier one stays; unlike in
  // the item list, the fields stay too.
  void readCover(AtomReader& reader, uint64_t payloadSize) {
    if (!(options_ & kWantCoverArt) || payloadSize > kMaxCoverBytes) return;
    readBytes(reader, target_->cover, static_cast<uint32_t>(payloadSize));
  }

  ParseOptions options_;
  TaggingBox* target_;
};

// The flag of a field that begins with these two bytes; none for a field that is skipped.
// DELIBERATE D-343: type 1 and the top bit both mean "takes further values", but 0x81, which says
// it twice, is skipped.
std::optional<TagFlag> storedFlag(uint8_t type, uint8_t reserved) {
  if (reserved != 0) return std::nullopt;
  if (type == kSingleType) return TagFlag::single;
  if (type == kExtensibleType || type == kExtensibleBit) return TagFlag::extensible;
  return std::nullopt;
}

uint32_t readValueLength(AtomReader& reader) {
  const uint32_t length = readU32(reader);
  if (length > kMaxValueBytes) throw exception("suspiciously long value (exploit attempt?)");
  return length;
}

uint16_t readValueCount(AtomReader& reader) {
  const uint16_t count = readU16(reader);
  if (count > kMaxValues) throw exception("suspiciously big value count (exploit attempt?)");
  return count;
}

// The limits hold for a skipped field too, as its lengths say where the next field begins.
void skipField(AtomReader& reader) {
  reader.skipExact(readU8(reader));
  for (uint16_t values = readValueCount(reader); values > 0; --values) {
    reader.skipExact(readValueLength(reader));
  }
}

void readField(TagStore& fields, TagFlag flag, AtomReader& reader) {
  char name[UINT8_MAX + 1];
  const uint8_t nameLength = readU8(reader);
  reader.readExact(name, nameLength);
  name[nameLength] = 0;
  const uint32_t field = fields.append(name, flag);
  for (uint16_t values = readValueCount(reader); values > 0; --values) {
    fields.addValue(field, readString(reader, readValueLength(reader)));
  }
}

}  // namespace

void TaggingBox::clear() noexcept {
  seen = false;
  fields.clear();
  segments.clear();
  cover.resize(0);
}

// 'meta' field list
//   u32 field_count (at most 256),
//   field_count x { u8 type (0x00, 0x01 or 0x80; a field of any other type is skipped),
//                   u8 reserved (not 0: the field is skipped),
//                   u8 name_length, u8 name[name_length], u16 value_count (at most 256),
//                   value_count x { u32 length (at most 65,536), u8 value[length] } }
void readTagFields(TagStore& fields, AtomReader& reader) {
  const uint32_t count = readU32(reader);
  if (count > kMaxFields) throw exception("suspiciously big field count (exploit attempt?)");
  for (uint32_t i = 0; i < count; ++i) {
    const uint8_t type = readU8(reader);
    const std::optional<TagFlag> flag = storedFlag(type, readU8(reader));
    if (flag) {
      readField(fields, *flag, reader);
    } else {
      skipField(reader);
    }
  }
}

// 'tags' ZT tagging box
//   'meta' (field list of the file; any number), 'tseg' (fields of one chapter; any number),
//   'covr' (the picture; the last one counts); others are skipped
void readTaggingContents(ParseOptions options, TaggingBox& target, AtomReader& reader,
                         uint64_t payloadSize) {
  if (target.seen) throw exception("duplicate ZT tagging info found");
  target.clear();
  target.seen = true;
  TaggingBoxHandler handler(options, target);
  walkChildren(handler, reader, payloadSize);
}

// DELIBERATE D-341: a second 'tags' box is a duplicate and discards what the first one gave. As
// nothing is left of either, a third one is read as if it were the first.
void readTaggingBox(ParseOptions options, TaggingBox& target, AtomReader& reader,
                    uint64_t payloadSize) {
  if (!(options & (kWantTextTags | kWantCoverArt))) return;
  try {
    readTaggingContents(options, target, reader, payloadSize);
  } catch (const exception&) {
    target.clear();
  }
}

}  // namespace atomkit
