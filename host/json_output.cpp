#include "host/json_output.h"

#include <cstdio>
#include <nlohmann/json.hpp>

#include "host/checksum.h"
#include "host/failure.h"
#include "host/text.h"

namespace velahost {
namespace {

using Json = nlohmann::ordered_json;

Json seconds(uint64_t hostUnits) {
  if (hostUnits == vela::kUnknown64) return nullptr;
  return static_cast<double>(hostUnits) / vela::kHostUnitsPerSecond;
}

Json known(uint64_t value) { return value == vela::kUnknown64 ? Json(nullptr) : Json(value); }

Json pixels(int32_t value) { return value < 0 ? Json(nullptr) : Json(value); }

/// All values of a name under one entry, in the order in which the names first appear.
Json tagsJson(const MediaInfoRecord& info) {
  Json tags = Json::array();
  for (size_t i = 0; i < info.tags.size(); ++i) {
    const bool sameName = i > 0 && info.tags[i].name == info.tags[i - 1].name;
    if (!sameName) tags.push_back({{"name", toUtf8(info.tags[i].name)}, {"values", Json::array()}});
    tags.back()["values"].push_back(toUtf8(info.tags[i].value));
  }
  return tags;
}

Json replayGainJson(const MediaInfoRecord& info) {
  const auto value = [&info](vela::ReplayGainFlag flag, int32_t fixed, double unitsPerOne) {
    return info.flags & flag ? Json(fixed / unitsPerOne) : Json(nullptr);
  };
  constexpr double kGainUnits = 10000;
  constexpr double kPeakUnits = 8388608;
  return {
      {"trackGainDecibel", value(vela::kTrackGainPresent, info.trackGain, kGainUnits)},
      {"albumGainDecibel", value(vela::kAlbumGainPresent, info.albumGain, kGainUnits)},
      {"trackPeak", value(vela::kTrackPeakPresent, info.trackPeak, kPeakUnits)},
      {"albumPeak", value(vela::kAlbumPeakPresent, info.albumPeak, kPeakUnits)},
  };
}

Json recordJson(const MediaInfoRecord& info) {
  if (!info.description) return nullptr;
  const vela::ItemDescription& record = *info.description;
  return {
      {"bitRate", record.bitRate},
      {"sampleRate", record.sampleRate},
      {"channels", record.channels},
      {"width", pixels(static_cast<int32_t>(record.width))},
      {"height", pixels(static_cast<int32_t>(record.height))},
      {"audioFormatName", record.audioFormatName},
      {"videoFormatName", record.videoFormatName},
  };
}

Json chaptersJson(const MediaInfoRecord& info) {
  Json chapters = Json::array();
  for (const ChapterMark& mark : info.chapters) {
    chapters.push_back({{"start", seconds(mark.start)},
                        {"startHostUnits", mark.start},
                        {"title", toUtf8(mark.title)}});
  }
  return chapters;
}

Json itemJson(const ItemReport& item) {
  Json json = {{"id", item.id}, {"result", static_cast<uint32_t>(item.result)}};
  if (item.result != vela::TIOResult::success) return json;
  json["start"] = seconds(item.start);
  json["duration"] = seconds(item.info.duration);
  json["durationHostUnits"] = known(item.info.duration);
  json["record"] = recordJson(item.info);
  json["tags"] = tagsJson(item.info);
  json["replayGain"] = replayGainJson(item.info);
  return json;
}

template <class Format>
Json formatJson(const Format& format) {
  if (!format.present) return nullptr;
  return {{"media", mediaName(format.mediaId)},
          {"mediaId", guidText(format.mediaId)},
          {"config", hexText(format.config, "")}};
}

}  // namespace

Json toJson(const FileReport& report) {
  Json json = {
      {"file", report.file},
      {"plugin",
       {{"version", report.pluginVersion},
        {"filter", report.filter},
        {"matchesFilter", report.matchesFilter}}},
      {"duration", seconds(report.whole.duration)},
      {"durationHostUnits", known(report.whole.duration)},
      {"record", recordJson(report.whole)},
      {"formatsResult", static_cast<uint32_t>(report.formatsResult)},
      {"audioFormat", formatJson(report.audioFormat)},
      {"videoFormat", formatJson(report.videoFormat)},
  };
  if (report.videoFormat.present) {
    json["videoFormat"]["width"] = pixels(report.videoFormat.width);
    json["videoFormat"]["height"] = pixels(report.videoFormat.height);
  }
  json["chapters"] = chaptersJson(report.whole);
  json["audioOnly"] = report.audioOnly;
  json["items"] = Json::array();
  for (const ItemReport& item : report.items) json["items"].push_back(itemJson(item));
  return json;
}

Json toJson(const Playback& playback, StreamKind kind) {
  const bool isAudio = kind == StreamKind::audio;
  const Payload& payload = isAudio ? playback.audio.payload : playback.video.payload;
  Json json = {{"stream", name(kind)}};
  if (isAudio) {
    json["frames"] = playback.audio.frames;
    json["startOffset"] = playback.audio.startOffset;
    json["sampleRate"] = playback.audio.sampleRate;
  } else {
    json["time"] = seconds(playback.videoTime);
    json["timeHostUnits"] = playback.videoTime;
  }
  json["size"] = payload.bytes.size();
  json["offset"] = known(payload.fileOffset);
  char checksum[12];
  std::snprintf(checksum, sizeof checksum, "%08x",
                static_cast<unsigned>(crc32(payload.bytes.data(), payload.bytes.size())));
  json["crc32"] = checksum;
  return json;
}

std::string compact(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string indented(const Json& value) {
  return value.dump(2, ' ', false, Json::error_handler_t::replace);
}

}  // namespace velahost
