// The boxes of 'udta', and a script of changes to what they give: chapters and tags are those of
// the plain model.
//   u8 seed of the changes; boxes of 'udta'
#include <cstddef>
#include <cstdint>
#include <string>

#include "fuzz/host/memory_meter.h"
#include "fuzz/targets/checked_player.h"
#include "fuzz/targets/input_head.h"
#include "fuzz/targets/wrapped_movie.h"

namespace {

using atomkit::TagFlag;
using atomkit::TagStore;
using fuzz::Choices;

void compareTags(const TagStore& store, const plain::Tags& tags) {
  REQUIRE(store.entryCount() == tags.size());
  for (uint32_t i = 0; i < tags.size(); ++i) {
    const plain::Tag& tag = tags[i];
    REQUIRE(store.entryName(i) == tag.name);
    REQUIRE((store.flag(i) == TagFlag::extensible) == tag.takesMore);
    REQUIRE(store.valueCount(i) == tag.values.size());
    for (uint32_t k = 0; k < tag.values.size(); ++k) {
      REQUIRE(tag.values[k] == store.value(i, k).text());
    }
  }
}

/// The number of the first entry of that name.
uint32_t numberOf(const plain::Tags& tags, const std::string& name) {
  for (uint32_t i = 0; i < tags.size(); ++i) {
    if (plain::sameName(tags[i].name, name)) return i;
  }
  return TagStore::kNoTag;
}

class Changes {
 public:
  explicit Changes(Choices& choices) : choices_(&choices) {}

  /// Changes copies of `store`; the original stays as it is.
  void run(const TagStore& store, const plain::Tags& tags) {
    TagStore copies[2];
    plain::Tags models[2] = {tags, tags};
    for (TagStore& copy : copies) copy.copyFrom(store);
    for (int i = 0; i < 24; ++i) {
      const uint32_t which = choices_->below(2);
      change(copies[which], models[which], copies[1 - which], models[1 - which]);
    }
    for (int i = 0; i < 2; ++i) {
      compareTags(copies[i], models[i]);
      for (const plain::Tag& tag : models[i]) {
        REQUIRE(copies[i].find(tag.name.c_str()) == numberOf(models[i], tag.name));
      }
    }
    compareTags(store, tags);
  }

 private:
  std::string name(const plain::Tags& tags) {
    static const char* const kNames[] = {"title", "TITLE", "artist", "a", "b", "", "track"};
    if (!tags.empty() && choices_->below(2)) return tags[choices_->below(tags.size())].name;
    return kNames[choices_->below(std::size(kNames))];
  }

  void change(TagStore& store, plain::Tags& tags, const TagStore& other,
              const plain::Tags& otherTags) {
    const std::string key = name(tags);
    const uint32_t number = numberOf(tags, key);
    REQUIRE(store.find(key.c_str()) == number);
    const std::string value = std::to_string(choices_->below(100));
    switch (choices_->below(8)) {
      case 0:
      case 1:
        store.set(key.c_str(), atomkit::SharedString::copyOf(value.c_str()), TagFlag::single);
        if (number == TagStore::kNoTag) {
          tags.push_back({key, {value}, false});
        } else {
          tags[number].values = {value};
          tags[number].takesMore = false;
        }
        return;
      case 2:
      case 3:
        if (number == TagStore::kNoTag) return;
        store.addValue(number, atomkit::SharedString::copyOf(value.c_str()));
        tags[number].values.push_back(value);
        return;
      case 4:
        REQUIRE(store.append(key.c_str(), TagFlag::extensible) == tags.size());
        tags.push_back({key, {}, true});
        return;
      case 5:
        store.merge(other);
        plain::mergeTags(tags, otherTags);
        return;
      case 6:
        store.copyFrom(other);
        tags = otherTags;
        return;
      default:
        if (choices_->below(4) == 0) {
          store.clear();
          tags.clear();
        }
        return;
    }
  }

  Choices* choices_;
};

}  // namespace

size_t fuzz::inputHead(const uint8_t*, size_t size) { return size < 1 ? size : 1; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  using namespace boxes;
  const Bytes user(data + 1, data + size);
  fuzz::MemoryMeter meter;
  {
    atomkit::Movie movie;
    const Bytes track = trak({.stsd = stsd(mp4a()), .stts = stts({{10, 1024}})});
    const auto model = fuzz::parseBoth(moov({.tracks = {track}, .udta = user}), movie);
    // 'tags' fields of five bytes need the most: a record, and a block for their name.
    REQUIRE(meter.mostBytes() <= 16 * size + 128 * 1024 + 384 * 1024);
    if (model) {
      REQUIRE(movie.chapterCount() == model->chapters.size() && movie.chapterCount() <= 1024);
      REQUIRE(movie.duration() == model->duration);
      Choices choices(data[0]);
      size_t compared = 0;
      for (uint32_t i = 0; i < movie.chapterCount(); ++i) {
        REQUIRE(movie.chapterStart(i) == model->chapters[i].start);
        REQUIRE(movie.chapterEnd(i) == model->chapterEnd(i));
        compared += model->chapters[i].tags.size();
        if (compared > 20000) continue;
        compareTags(movie.chapter(i).tags, model->chapters[i].tags);
      }
      const plain::Tags& first = model->chapters[0].tags;
      if (first.size() < 500) Changes(choices).run(movie.chapter(0).tags, first);
    }
  }
  REQUIRE(meter.heldBlocks() == 0);
  return 0;
}
