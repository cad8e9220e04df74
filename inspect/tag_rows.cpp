#include "inspect/tag_rows.h"

#include <algorithm>
#include <cstdio>

#include "atomkit/core/containers/owned_string.h"
#include "atomkit/meta/tags/tag_names.h"
#include "cli/text.h"

namespace inspect {
namespace {

bool sameName(const std::string& left, const std::string& right) {
  return atomkit::compareIgnoringCase(left.c_str(), right.c_str()) == 0;
}

ToldTag* findTold(std::vector<ToldTag>& told, const std::string& name) {
  const auto found = std::find_if(told.begin(), told.end(),
                                  [&](const ToldTag& tag) { return sameName(tag.name, name); });
  return found == told.end() ? nullptr : &*found;
}

/// Adds a record's tags. A name that is there already keeps its values.
void addTags(std::vector<ToldTag>& told, const velahost::MediaInfoRecord& record, bool ofOneItem) {
  const size_t before = told.size();
  for (const velahost::Tag& tag : record.tags) {
    const std::string name = cli::toUtf8(tag.name);
    ToldTag* const known = findTold(told, name);
    if (known && known < told.data() + before) continue;
    ToldTag& target = known ? *known : told.emplace_back(ToldTag{name, {}, ofOneItem});
    target.values.push_back(cli::toUtf8(tag.value));
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

void addReplayGain(std::vector<ToldTag>& told, const velahost::MediaInfoRecord& record,
                   bool ofOneItem) {
  for (const velahost::ReplayGainValue& value : velahost::kReplayGainValues) {
    const std::string name = replayGainTag(value.flag);
    if (!(record.flags & value.flag) || findTold(told, name)) continue;
    told.push_back(
        {name, {decimalText(record.*value.member / value.unitsPerOne, value.format)}, ofOneItem});
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
  std::vector<ToldTag> told;
  addTags(told, report.whole, false);
  for (const velahost::ItemReport& item : report.items) addTags(told, item.info, true);
  addReplayGain(told, report.whole, false);
  for (const velahost::ItemReport& item : report.items) addReplayGain(told, item.info, true);
  return told;
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
  std::vector<ToldTag> told = report ? toldTags(*report) : std::vector<ToldTag>();
  std::vector<bool> claimed(told.size());
  const bool hasTaggingBox = std::any_of(raw.begin(), raw.end(), [](const RawTag& tag) {
    return tag.place == RawTag::Place::taggingBox;
  });
  std::vector<TagRow> rows;
  for (const RawTag& tag : raw) {
    const auto sameRow = std::find_if(rows.begin(), rows.end(), [&](const TagRow& row) {
      const RawTag& first = row.raw.front();
      return first.place == tag.place && first.item == tag.item && first.chapter == tag.chapter &&
             first.isMovies == tag.isMovies;
    });
    if (sameRow != rows.end()) {
      sameRow->raw.push_back(tag);
      continue;
    }
    TagRow row{{tag}, {}};
    // The two formats are never merged: the tagging box hides the item list.
    if (!hasTaggingBox || tag.place == RawTag::Place::taggingBox) {
      for (const std::string& name : libraryNames(tag)) {
        ToldTag* const found = findTold(told, name);
        if (!found) continue;
        claimed[static_cast<size_t>(found - told.data())] = true;
        row.told.push_back(*found);
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
