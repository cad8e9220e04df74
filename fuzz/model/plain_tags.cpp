#include "fuzz/model/plain_tags.h"

#include <algorithm>

#include "atomkit/meta/tags/genre_names.h"

namespace plain {
namespace {

char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 'a' - 'A') : c; }

bool startsWith(std::string_view text, std::string_view start) {
  return sameName(text.substr(0, start.size()), start);
}

void setSingle(Tags& tags, std::string_view name, std::string value) {
  Tag* tag = findTag(tags, name);
  if (!tag) tag = &tags.emplace_back(Tag{std::string(name), {}, false});
  tag->values = {std::move(value)};
  tag->takesMore = false;
}

void addTag(Tags& tags, std::string_view name, std::string value) {
  if (sameName(name, "tool") || sameName(name, "codec") || startsWith(name, "replaygain_")) {
    setSingle(tags, name, std::move(value));
  } else if (Tag* tag = findTag(tags, name)) {
    if (tag->takesMore) tag->values.push_back(std::move(value));
  } else {
    tags.push_back({std::string(name), {std::move(value)}, true});
  }
}

std::string_view nameOfItem(std::string_view type) {
  static constexpr std::pair<std::string_view, std::string_view> kNames[] = {
      {"\xA9nam", "title"},
      {"\xA9"
       "ART",
       "artist"},
      {"\xA9"
       "alb",
       "album"},
      {"\xA9wrt", "writer"},
      {"\xA9"
       "day",
       "year"},
      {"\xA9"
       "cmt",
       "comment"},
      {"\xA9gen", "genre"},
      {"\xA9too", "tool"},
      {"cpil", "compilation"}};
  for (const auto& [known, name] : kNames) {
    if (known == type) return name;
  }
  return {};
}

std::string_view canonical(std::string_view name) {
  if (sameName(name, "date")) return "year";
  if (sameName(name, "tracknumber")) return "track";
  return name;
}

/// The numbers in a 'data' box of an item that holds some.
/// @return whether they gave the item its tags
bool readNumbers(Tags& tags, std::string_view item, BytesIn in) {
  if (item == "tmpo") {
    if (in.left() < 2) return false;
    std::string digits = std::to_string(in.u16());
    digits.insert(0, 5 - digits.size(), '0');
    addTag(tags, "tempo", digits + " BPM");
  } else if (item == "gnre") {
    if (in.left() < 2) return false;
    if (const char* genre = atomkit::genreName(in.u16())) addTag(tags, "genre", genre);
  } else {
    if (in.left() < 8) return false;
    in.skip(2);
    const uint16_t number = in.u16();
    const uint16_t total = in.u16();
    const bool disc = item == "disk";
    addTag(tags, disc ? "disc" : "track", std::to_string(number));
    if (total != 0) addTag(tags, disc ? "totaldiscs" : "totaltracks", std::to_string(total));
  }
  return true;
}

void readItem(Tags& tags, std::string_view item, BytesIn in) {
  const bool numbers = item == "tmpo" || item == "gnre" || item == "trkn" || item == "disk";
  bool done = false;
  std::string value;
  std::string given;
  eachChild(in, [&](std::string_view type, BytesIn child) {
    if (done) return;
    if (type == "data") {
      child.skip(8);
      if (numbers) {
        done = readNumbers(tags, item, child);
      } else {
        value = upToZero(child.take(child.left()));
      }
    } else if (type == "name") {
      child.skip(4);
      given = upToZero(child.take(child.left()));
    }
  });
  if (value.empty()) return;
  const std::string_view name = given.empty() ? nameOfItem(item) : canonical(given);
  if (!name.empty()) addTag(tags, name, std::move(value));
}

/// A field list. What was read before it is refused stays.
void readFields(Tags& tags, BytesIn in) {
  const uint32_t count = in.u32();
  if (count > 256) throw Refused{};
  for (uint32_t i = 0; i < count; ++i) {
    const uint8_t type = in.u8();
    const bool stored = in.u8() == 0 && (type == 0 || type == 1 || type == 0x80);
    Tag tag{upToZero(in.take(in.u8())), {}, type != 0};
    const uint16_t values = in.u16();
    if (values > 256) throw Refused{};
    for (uint32_t k = 0; k < values; ++k) {
      const uint32_t length = in.u32();
      if (length > 65536) throw Refused{};
      tag.values.push_back(upToZero(in.take(length)));
    }
    if (stored) tags.push_back(std::move(tag));
  }
}

}  // namespace

std::string upToZero(std::string_view bytes) {
  return std::string(bytes.substr(0, bytes.find('\0')));
}

bool sameName(std::string_view left, std::string_view right) {
  return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                    [](char a, char b) { return lower(a) == lower(b); });
}

Tag* findTag(Tags& tags, std::string_view name) {
  const auto found = std::find_if(tags.begin(), tags.end(),
                                  [&](const Tag& tag) { return sameName(tag.name, name); });
  return found == tags.end() ? nullptr : &*found;
}

void mergeTags(Tags& tags, const Tags& added) {
  for (const Tag& tag : added) {
    if (Tag* own = findTag(tags, tag.name)) {
      own->values = tag.values;
      own->takesMore = tag.takesMore;
    } else {
      tags.push_back(tag);
    }
  }
}

void PlainItemList::read(BytesIn in) {
  if (seen) return;
  try {
    in.skip(4);
    eachChild(in, [&](std::string_view type, BytesIn list) {
      if (type != "ilst") return;
      eachChild(list, [&](std::string_view item, BytesIn content) {
        if (item != "covr") readItem(tags, item, content);
      });
    });
    seen = true;
  } catch (const Refused&) {
    tags.clear();
  }
}

void PlainTaggingBox::read(BytesIn in) {
  try {
    if (seen) throw Refused{};
    seen = true;
    eachChild(in, [&](std::string_view type, BytesIn payload) {
      if (type == "meta") readFields(tags, payload);
      if (type == "tshd") throw Refused{};
      if (type != "tseg") return;
      uint32_t number = 0xffffffff;
      Tags fields;
      eachChild(payload, [&](std::string_view child, BytesIn content) {
        if (child == "meta") readFields(fields, content);
        if (child != "tshd") return;
        if (number != 0xffffffff || content.left() != 4) throw Refused{};
        number = content.u32();
        if (number > 1000) throw Refused{};
      });
      if (number == 0xffffffff) throw Refused{};
      segments.emplace_back(number, std::move(fields));
    });
  } catch (const Refused&) {
    *this = {};
  }
}

const Tags* PlainTaggingBox::ofChapter(uint32_t number) const {
  for (const auto& [chapter, fields] : segments) {
    if (chapter == number) return &fields;
  }
  return nullptr;
}

}  // namespace plain
