#include "inspect/raw_tags.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <map>

#include "atomkit/meta/tags/genre_names.h"
#include "cli/text.h"
#include "inspect/box_walker.h"
#include "inspect/payload.h"
#include "inspect/picture.h"

namespace inspect {
namespace {

constexpr uint64_t kDataHeaderBytes = 8;  // version, flags and locale

// Types of the values in 'data' boxes.
constexpr uint32_t kUtf16 = 2;
constexpr uint32_t kJpeg = 13;
constexpr uint32_t kPng = 14;
constexpr uint32_t kSigned = 21;
constexpr uint32_t kUnsigned = 22;
constexpr uint32_t kFloat32 = 23;
constexpr uint32_t kFloat64 = 24;
constexpr uint32_t kBmp = 27;

RawValue words(std::string text, uint64_t bytes) { return {std::move(text), false, bytes}; }

uint64_t bigEndian(std::string_view bytes) {
  uint64_t value = 0;
  for (const char byte : bytes) value = value << 8 | static_cast<uint8_t>(byte);
  return value;
}

int64_t signedBigEndian(std::string_view bytes) {
  const int unusedBits = 64 - 8 * static_cast<int>(bytes.size());
  return static_cast<int64_t>(bigEndian(bytes) << unusedBits) >> unusedBits;
}

RawValue hexValue(std::string_view bytes, uint64_t size) {
  constexpr size_t kShown = 32;
  const std::string_view start = bytes.substr(0, kShown);
  return words(cli::hexText({start.begin(), start.end()}, " ") + (size > kShown ? " …" : "") +
                   fmt::format(" ({})", cli::counted(size, "byte")),
               size);
}

RawValue pictureValue(std::string_view start, uint64_t size) {
  return words(fmt::format("{} picture, {}", pictureKind(start).name, cli::counted(size, "byte")),
               size);
}

std::string utf16Text(std::string_view bytes, bool littleEndian) {
  std::u16string units;
  for (size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<uint8_t>(bytes[i]);
    const auto second = static_cast<uint8_t>(bytes[i + 1]);
    units.push_back(
        static_cast<char16_t>(littleEndian ? second << 8 | first : first << 8 | second));
  }
  return cli::toUtf8(units);
}

/// Text of 3GP user data: UTF-16 when it begins with a byte order mark, else UTF-8; ends with a
/// zero.
std::string markedText(std::string_view bytes) {
  std::string text(bytes);
  if (bytes.starts_with("\xfe\xff") || bytes.starts_with("\xff\xfe")) {
    text = utf16Text(bytes.substr(2), bytes[0] == '\xff');
  }
  return text.substr(0, text.find('\0'));
}

/// Whether bytes without a type are text. A flag or a number of few bytes has bytes that no text
/// has.
bool looksLikeText(std::string_view bytes) {
  return std::none_of(bytes.begin(), bytes.end(), [](char byte) {
    const auto value = static_cast<uint8_t>(byte);
    return value < 0x20 && value != '\t' && value != '\n' && value != '\r';
  });
}

RawValue numberPair(std::string_view bytes) {
  const uint64_t number = bigEndian(bytes.substr(2, 2));
  const uint64_t total = bigEndian(bytes.substr(4, 2));
  return words(total == 0 ? std::to_string(number) : fmt::format("{} of {}", number, total),
               bytes.size());
}

RawValue genreNumber(std::string_view bytes) {
  const auto code = static_cast<uint16_t>(bigEndian(bytes.substr(0, 2)));
  const char* const name = atomkit::genreName(code);
  return words(name ? fmt::format("{} ({})", code, name) : std::to_string(code), bytes.size());
}

/// The value of a 'data' box.
RawValue itemValue(FourCC item, uint32_t type, std::string_view bytes, uint64_t size) {
  const bool isNumber = !bytes.empty() && bytes.size() <= 8;
  if (item == fourCC("covr") || type == kJpeg || type == kPng || type == kBmp) {
    return pictureValue(bytes, size);
  }
  if ((item == fourCC("trkn") || item == fourCC("disk")) && bytes.size() >= 6) {
    return numberPair(bytes);
  }
  if (item == fourCC("gnre") && bytes.size() >= 2) return genreNumber(bytes);
  if (type == kUtf16) return {utf16Text(bytes, false), true, size};
  if (type == kSigned && isNumber) return words(std::to_string(signedBigEndian(bytes)), size);
  if (type == kUnsigned && isNumber) return words(std::to_string(bigEndian(bytes)), size);
  if (type == kFloat32 && bytes.size() == 4) {
    const auto bits = static_cast<uint32_t>(bigEndian(bytes));
    return words(fmt::format("{}", std::bit_cast<float>(bits)), size);
  }
  if (type == kFloat64 && bytes.size() == 8) {
    return words(fmt::format("{}", std::bit_cast<double>(bigEndian(bytes))), size);
  }
  if (type == 1 || looksLikeText(bytes)) return {std::string(bytes), true, size};
  if (isNumber) return words(std::to_string(bigEndian(bytes)), size);
  return hexValue(bytes, size);
}

class TagVisitor final : public BoxVisitor {
 public:
  explicit TagVisitor(File& file) : file_(file) {}

  std::vector<RawTag> tags;

  Go enter(const Box& box) override {
    if (box.type == fourCC("mdat")) return Go::past;
    if (box.isIn(fourCC("ilst"))) {
      beginItem(box);
      return Go::into;
    }
    if (box.parent && box.parent->isIn(fourCC("ilst"))) {
      readItemPart(box);
      return Go::past;
    }
    if (box.isIn(fourCC("tags")) || box.isIn(fourCC("tseg"))) return enterTaggingPart(box);
    if (box.isIn(fourCC("udta"))) readUserData(box);
    if (box.type == fourCC("keys") && box.isIn(fourCC("meta"))) readKeys(box);
    if (box.type == fourCC("meta")) keys_.clear();
    return Go::into;
  }

  void leave(const Box& box) override {
    if (box.isIn(fourCC("ilst"))) {
      tags.push_back(std::move(current_));
    } else if (box.type == fourCC("tseg")) {
      for (size_t i = segmentStart_; i < tags.size(); ++i) tags[i].chapter = segmentChapter_;
    }
  }

  Go noBox(const NoBox& noBox) override {
    // An item that a key names has the key's number for a type, which no box has.
    if (noBox.parent && noBox.parent->type == fourCC("ilst") && !keys_.empty()) {
      readKeyedItems(noBox);
    }
    return Go::into;
  }

 private:
  Payload payloadOf(const Box& box) { return Payload(file_, box.payload(), box.end); }

  /// The value that is left of a payload.
  RawValue readValue(FourCC item, uint32_t type, Payload& payload) {
    const uint64_t size = payload.left();
    constexpr uint64_t kBytesThatTell = 16;
    const bool isPicture = item == fourCC("covr");
    const std::string bytes =
        payload.bytes(isPicture || size > kLongestTagValue ? kBytesThatTell : size);
    if (size > kLongestTagValue && !isPicture) return hexValue(bytes, size);
    return itemValue(item, type, bytes, size);
  }

  void beginItem(const Box& box) {
    current_ = RawTag();
    current_.path = pathText(box);
    current_.offset = box.offset;
    current_.type = box.type;
    current_.item = typeText(box.type);
    current_.isMovies = isMoviesList(*box.parent);
  }

  // The library reads the list of /moov/udta/meta only.
  static bool isMoviesList(const Box& list) {
    const Box* const meta = list.parent;
    const Box* const userData = meta ? meta->parent : nullptr;
    return userData && meta->type == fourCC("meta") && userData->type == fourCC("udta") &&
           userData->isIn(fourCC("moov"));
  }

  void readItemPart(const Box& box) {
    Payload payload = payloadOf(box);
    const uint32_t type = payload.u32() & 0xffffff;  // of 'mean' and 'name': version and flags
    if (box.type == fourCC("data")) {
      payload.skip(kDataHeaderBytes - 4);
      current_.values.push_back(readValue(current_.type, type, payload));
    } else if (box.type == fourCC("mean") || box.type == fourCC("name")) {
      const std::string text = payload.bytes(std::min(payload.left(), kLongestTagValue));
      current_.item += ":" + text;
      if (box.type == fourCC("name")) current_.name = text;
    }
  }

  // 'keys': u8 version, u24 flags, u32 count, count x { u32 size, u32 kind, u8 name[size - 8] }
  void readKeys(const Box& box) {
    Payload payload = payloadOf(box);
    payload.skip(4);
    const uint32_t count = payload.u32();
    for (uint32_t i = 0; i < count && payload.left() >= 8; ++i) {
      const uint32_t size = payload.u32();
      payload.skip(4);
      if (size < 8) return;
      keys_.push_back(payload.bytes(std::min<uint64_t>(size - 8, payload.left())));
    }
  }

  void readKeyedItems(const NoBox& items) {
    uint64_t position = items.offset;
    while (items.end - position >= 8) {
      Payload header(file_, position, items.end);
      const uint64_t size = header.u32();
      const uint32_t key = header.u32();
      if (size < 8 || size > items.end - position) return;
      if (key >= 1 && key <= keys_.size()) addKeyedItem(*items.parent, position, size, key);
      position += size;
    }
  }

  void addKeyedItem(const Box& list, uint64_t position, uint64_t size, uint32_t key) {
    RawTag tag;
    tag.path = fmt::format("{}/{}", pathText(list), key);
    tag.offset = position;
    tag.item = tag.name = keys_[key - 1];
    tag.isMovies = false;
    Payload payload(file_, position + 8, position + size);
    while (payload.left() >= 16) {
      const uint32_t dataSize = payload.u32();
      const bool isData = payload.u32() == 0x64617461;  // "data"
      if (dataSize < 16 || dataSize - 8 > payload.left()) break;
      Payload data(file_, payload.position(), payload.position() + dataSize - 8);
      payload.skip(dataSize - 8);
      const uint32_t type = data.u32() & 0xffffff;
      data.skip(4);
      if (isData) tag.values.push_back(readValue(0, type, data));
    }
    tags.push_back(std::move(tag));
  }

  Go enterTaggingPart(const Box& box) {
    if (box.type == fourCC("tseg")) {
      segmentStart_ = tags.size();
      segmentChapter_.reset();
      return Go::into;
    }
    if (box.type == fourCC("tshd")) segmentChapter_ = payloadOf(box).u32();
    if (box.type == fourCC("meta")) readFields(box);
    return Go::past;
  }

  // 'meta' of the tagging box: u32 field_count, field_count x { u8 type, u8 reserved,
  //   u8 name_length, u8 name[], u16 value_count, value_count x { u32 length, u8 value[] } }
  void readFields(const Box& box) {
    Payload payload = payloadOf(box);
    const uint32_t count = payload.u32();
    for (uint32_t i = 0; i < count && payload.left() > 0; ++i) {
      RawTag tag;
      tag.place = RawTag::Place::taggingBox;
      tag.path = pathText(box);
      tag.offset = payload.position();
      payload.skip(2);
      tag.item = tag.name = payload.bytes(payload.u8());
      for (uint16_t values = payload.u16(); values > 0 && payload.left() > 0; --values) {
        const uint32_t length = payload.u32();
        if (length > kLongestTagValue) return;
        const std::string value = payload.bytes(length);
        tag.values.push_back({value, true, value.size()});
      }
      tags.push_back(std::move(tag));
    }
  }

  // Text boxes of QuickTime:  { u16 length, u16 language, u8 text[length] }, any number of them
  // Text boxes of 3GP files:  u8 version, u24 flags, u16 language, u8 text[]
  void readUserData(const Box& box) {
    constexpr FourCC k3gpTexts[] = {fourCC("titl"), fourCC("auth"), fourCC("perf"), fourCC("dscp"),
                                    fourCC("gnre"), fourCC("albm"), fourCC("cprt")};
    RawTag tag;
    tag.place = RawTag::Place::userData;
    Payload payload = payloadOf(box);
    if (typeText(box.type).starts_with("\xc2\xa9")) {
      while (payload.left() >= 4) {
        const uint16_t length = payload.u16();
        payload.skip(2);
        const std::string text = payload.bytes(std::min<uint64_t>(length, payload.left()));
        tag.values.push_back({text, true, text.size()});
      }
    } else if (std::find(std::begin(k3gpTexts), std::end(k3gpTexts), box.type) !=
               std::end(k3gpTexts)) {
      payload.skip(6);
      const std::string text = payload.bytes(std::min(payload.left(), kLongestTagValue));
      tag.values.push_back({markedText(text), true, text.size()});
    } else {
      return;
    }
    tag.path = pathText(box);
    tag.offset = box.offset;
    tag.item = typeText(box.type);
    tag.type = box.type;
    tag.isMovies = false;
    tags.push_back(std::move(tag));
  }

  File& file_;
  RawTag current_;
  std::vector<std::string> keys_;
  size_t segmentStart_ = 0;
  std::optional<uint32_t> segmentChapter_;
};

}  // namespace

std::vector<RawTag> readRawTags(File& file) {
  TagVisitor visitor(file);
  walkBoxes(file, visitor);
  return std::move(visitor.tags);
}

}  // namespace inspect
