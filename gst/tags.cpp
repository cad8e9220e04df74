#include "gst/tags.h"

#include <cstdlib>

namespace velagst {
namespace {

// The level that the plug-in's gains refer to: that of the ReplayGain proposal, in dB.
constexpr double kReferenceLevel = 89.0;
constexpr double kGainUnitsPerDecibel = 10000;
constexpr double kPeakUnitsPerFullScale = 8388608;

enum class Kind { text, count, tempo, date };

struct Mapping {
  const char* name;  ///< of the plug-in; compared without regard to ASCII case
  const char* tag;
  Kind kind;
};

const Mapping kMappings[] = {
    {"title", GST_TAG_TITLE, Kind::text},
    {"artist", GST_TAG_ARTIST, Kind::text},
    {"album", GST_TAG_ALBUM, Kind::text},
    {"writer", GST_TAG_COMPOSER, Kind::text},
    {"comment", GST_TAG_COMMENT, Kind::text},
    {"genre", GST_TAG_GENRE, Kind::text},
    {"tool", GST_TAG_ENCODER, Kind::text},
    {"year", GST_TAG_DATE_TIME, Kind::date},
    {"track", GST_TAG_TRACK_NUMBER, Kind::count},
    {"totaltracks", GST_TAG_TRACK_COUNT, Kind::count},
    {"disc", GST_TAG_ALBUM_VOLUME_NUMBER, Kind::count},
    {"totaldiscs", GST_TAG_ALBUM_VOLUME_COUNT, Kind::count},
    {"tempo", GST_TAG_BEATS_PER_MINUTE, Kind::tempo},
};

const Mapping* mappingOf(const std::string& name) {
  for (const Mapping& mapping : kMappings) {
    if (g_ascii_strcasecmp(name.c_str(), mapping.name) == 0) return &mapping;
  }
  return nullptr;
}

/// The number that a text begins with, as "3" or "3/12". @return whether there is one above 0
bool leadingNumber(const std::string& text, uint64_t& number) {
  if (text.empty() || !g_ascii_isdigit(text[0])) return false;
  number = std::strtoull(text.c_str(), nullptr, 10);
  return number > 0 && number <= G_MAXUINT;
}

/// Whether the framework can take a text for a date and a time, each as far as it is there. It ends
/// the program for some that it can't.
bool isDateTime(const std::string& text) {
  static const char kDate[] = "(?!0000)[0-9]{4}(-(0[1-9]|1[0-2])(-(0[1-9]|[12][0-9]|3[01])";
  static const char kTime[] = "([T ]([01][0-9]|2[0-3]):[0-5][0-9](:[0-5][0-9](\\.[0-9]{1,6})?)?";
  // Offsets from UTC that are 12 hours at most.
  static const char kZone[] = "(Z|[+-]((0[0-9]|1[01]):?[0-5][0-9]|12:?00))?)?)?)?";
  static const std::string form = std::string("^") + kDate + kTime + kZone + "$";
  return g_regex_match_simple(form.c_str(), text.c_str(), G_REGEX_DOLLAR_ENDONLY,
                              static_cast<GRegexMatchFlags>(0)) != FALSE;
}

bool addMapped(GstTagList* list, const Mapping& mapping, const std::string& value) {
  uint64_t number = 0;
  switch (mapping.kind) {
    case Kind::text:
      gst_tag_list_add(list, GST_TAG_MERGE_APPEND, mapping.tag, value.c_str(), nullptr);
      return true;
    case Kind::count:
      if (!leadingNumber(value, number)) return false;
      gst_tag_list_add(list, GST_TAG_MERGE_KEEP, mapping.tag, static_cast<guint>(number), nullptr);
      return true;
    case Kind::tempo:
      if (!leadingNumber(value, number)) return false;
      gst_tag_list_add(list, GST_TAG_MERGE_KEEP, mapping.tag, static_cast<double>(number), nullptr);
      return true;
    case Kind::date:
      if (!isDateTime(value)) return false;
      if (GstDateTime* const date = gst_date_time_new_from_iso8601_string(value.c_str())) {
        gst_tag_list_add(list, GST_TAG_MERGE_KEEP, mapping.tag, date, nullptr);
        gst_date_time_unref(date);
        return true;
      }
      return false;
  }
  return false;
}

/// A flag, such as that of a compilation, is stored as one byte and arrives as a text of that byte.
std::string readable(const std::string& value) {
  const bool isFlag = value.size() == 1 && static_cast<unsigned char>(value[0]) < 10;
  return isFlag ? std::to_string(value[0]) : value;
}

// What no tag of the framework can hold stays readable as "name=value".
void addTag(GstTagList* list, const Tag& tag) {
  if (tag.value.empty()) return;
  const Mapping* const mapping = mappingOf(tag.name);
  if (mapping && addMapped(list, *mapping, tag.value)) return;
  const std::string comment = tag.name + "=" + readable(tag.value);
  gst_tag_list_add(list, GST_TAG_MERGE_APPEND, GST_TAG_EXTENDED_COMMENT, comment.c_str(), nullptr);
}

void addReplayGain(GstTagList* list, const ItemInfo& info) {
  const auto add = [&](vela::ReplayGainFlag flag, const char* tag, int32_t value, double unit) {
    if (info.flags & flag) {
      gst_tag_list_add(list, GST_TAG_MERGE_REPLACE, tag, value / unit, nullptr);
    }
  };
  add(vela::kTrackGainPresent, GST_TAG_TRACK_GAIN, info.trackGain, kGainUnitsPerDecibel);
  add(vela::kAlbumGainPresent, GST_TAG_ALBUM_GAIN, info.albumGain, kGainUnitsPerDecibel);
  add(vela::kTrackPeakPresent, GST_TAG_TRACK_PEAK, info.trackPeak, kPeakUnitsPerFullScale);
  add(vela::kAlbumPeakPresent, GST_TAG_ALBUM_PEAK, info.albumPeak, kPeakUnitsPerFullScale);
  if (info.flags & (vela::kTrackGainPresent | vela::kAlbumGainPresent)) {
    gst_tag_list_add(list, GST_TAG_MERGE_REPLACE, GST_TAG_REFERENCE_LEVEL, kReferenceLevel,
                     nullptr);
  }
}

}  // namespace

GstTagList* makeTagList(const ItemInfo& info, Title title) {
  GstTagList* const list = gst_tag_list_new_empty();
  gst_tag_list_set_scope(list, GST_TAG_SCOPE_GLOBAL);
  for (const Tag& tag : info.tags) {
    if (title == Title::leaveOut && g_ascii_strcasecmp(tag.name.c_str(), "title") == 0) continue;
    addTag(list, tag);
  }
  addReplayGain(list, info);
  if (!gst_tag_list_is_empty(list)) return list;
  gst_tag_list_unref(list);
  return nullptr;
}

}  // namespace velagst
