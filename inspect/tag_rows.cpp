#include "inspect/tag_rows.h"

#include <algorithm>
#include <cstdio>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

#include "atomkit/core/containers/owned_string.h"
#include "atomkit/meta/tags/tag_names.h"
#include "cli/text.h"

namespace inspect {
namespace {

/// The order of names, whatever their case.
struct OrderOfNames {
  bool operator()(const std::string& left, const std::string& right) const {
    return atomkit::compareIgnoringCase(left.c_str(), right.c_str()) < 0;
  }
};

/// Where each name stands in a list of tags.
using Places = std::map<std::string, size_t, OrderOfNames>;

Places placesOf(const std::vector<ToldTag>& told) {
  Places places;
  for (size_t i = 0; i < told.size(); ++i) places.emplace(told[i].name, i);
  return places;
}

/// Collects what records tell. A name that an earlier record told keeps its values.
class ToldTags {
 public:
  void addTags(const velahost::MediaInfoRecord& record, bool ofOneItem);
  void addReplayGain(const velahost::MediaInfoRecord& record, bool ofOneItem);
  std::vector<ToldTag> take() { return std::move(tags_); }

 private:
  /// @return the place of a name, and whether it is new
  std::pair<size_t, bool> place(const std::string& name, bool ofOneItem) {
    const auto [known, added] = places_.emplace(name, tags_.size());
    if (added) tags_.push_back({name, {}, ofOneItem});
    return {known->second, added};
  }

  std::vector<ToldTag> tags_;
  Places places_;
};

void ToldTags::addTags(const velahost::MediaInfoRecord& record, bool ofOneItem) {
  const size_t before = tags_.size();
  for (const velahost::Tag& tag : record.tags) {
    const size_t at = place(cli::toUtf8(tag.name), ofOneItem).first;
    if (at >= before) tags_[at].values.push_back(cli::toUtf8(tag.value));
  }
}

/// The tag that a value of replay gain is read from.
constexpr const char* replayGainTag(vela::ReplayGainFlag flag) {
  switch (flag) {
    case vela::kTrackGainPresent:
      return "replaygain_track_gain";
    case vela::kTrackPeakPresent:
      return "replaygain_track_peak";
    case vela::kAlbumGainPresent:
      return "replaygain_album_gain";
    case vela::kAlbumPeakPresent:
      return "replaygain_album_peak";
  }
  return "";
}

std::string decimalText(double value, const char* format) {
  char text[40];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

void ToldTags::addReplayGain(const velahost::MediaInfoRecord& record, bool ofOneItem) {
  for (const velahost::ReplayGainValue& value : velahost::kReplayGainValues) {
    if (!(record.flags & value.flag)) continue;
    const auto [at, isNew] = place(replayGainTag(value.flag), ofOneItem);
    if (!isNew) continue;
    tags_[at].values = {decimalText(record.*value.member / value.unitsPerOne, value.format)};
  }
}

/// The names under which the library stores a tag; none for one that it passes over.
std::vector<std::string> libraryNames(const RawTag& tag) {
  if (!tag.isMovies) return {};
  if (tag.place == RawTag::Place::taggingBox) return {tag.name};
  if (tag.type == fourCC("trkn")) return {"track", "totaltracks"};
  if (tag.type == fourCC("disk")) return {"disc", "totaldiscs"};
  if (!tag.name.empty()) return {atomkit::canonicalTagName(tag.name.c_str())};
  const char* const name = atomkit::tagNameOf(tag.type);
  return name ? std::vector<std::string>{name} : std::vector<std::string>{};
}

}  // namespace

std::vector<ToldTag> toldTags(const velahost::FileReport& report) {
  ToldTags told;
  told.addTags(report.whole, false);
  for (const velahost::ItemReport& item : report.items) told.addTags(item.info, true);
  told.addReplayGain(report.whole, false);
  for (const velahost::ItemReport& item : report.items) told.addReplayGain(item.info, true);
  return told.take();
}

std::vector<RawValue> TagRow::values() const {
  std::vector<RawValue> all;
  for (const RawTag& tag : raw) all.insert(all.end(), tag.values.begin(), tag.values.end());
  return all;
}

bool TagRow::isToldAsItIs() const {
  const std::vector<RawValue> all = values();
  return told.size() == 1 && !told[0].differsByItem &&
         std::equal(all.begin(), all.end(), told[0].values.begin(), told[0].values.end(),
                    [](const RawValue& left, const std::string& right) {
                      return left.isText && left.text == right;
                    });
}

std::vector<TagRow> tagRows(const std::vector<RawTag>& raw, const velahost::FileReport* report) {
  const std::vector<ToldTag> told = report ? toldTags(*report) : std::vector<ToldTag>();
  const Places places = placesOf(told);
  std::vector<bool> claimed(told.size());
  const bool hasTaggingBox = std::any_of(raw.begin(), raw.end(), [](const RawTag& tag) {
    return tag.place == RawTag::Place::taggingBox;
  });
  std::vector<TagRow> rows;
  std::map<std::tuple<RawTag::Place, std::string, std::optional<uint32_t>, bool>, size_t> known;
  for (const RawTag& tag : raw) {
    const auto [sameRow, isNew] =
        known.try_emplace({tag.place, tag.item, tag.chapter, tag.isMovies}, rows.size());
    if (!isNew) {
      rows[sameRow->second].raw.push_back(tag);
      continue;
    }
    TagRow row{{tag}, {}};
    // The two formats are never merged: the tagging box hides the item list.
    if (!hasTaggingBox || tag.place == RawTag::Place::taggingBox) {
      for (const std::string& name : libraryNames(tag)) {
        const auto found = places.find(name);
        if (found == places.end()) continue;
        claimed[found->second] = true;
        row.told.push_back(told[found->second]);
      }
    }
    rows.push_back(std::move(row));
  }
  for (size_t i = 0; i < told.size(); ++i) {
    if (!claimed[i]) rows.push_back({{}, {told[i]}});
  }
  return rows;
}

}  // namespace inspect
