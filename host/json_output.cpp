#include "host/json_output.h"

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

#include "cli/text.h"
#include "host/checksum.h"
#include "host/text.h"

namespace velahost {
namespace {

/// Seconds to the nearest microsecond, which prints fewer digits; the exact time stands next to it.
Json seconds(double hostUnits) {
  return std::round(hostUnits / vela::kHostUnitsPerSecond * 1e6) / 1e6;
}

/// Null for what the plug-in tells as 0 or as all ones when the file does not give it.
Json known(uint32_t value) {
  return value == 0 || value == UINT32_MAX ? Json(nullptr) : Json(value);
}

/// Every value of a name is kept, in the order of the file.
Json tagsJson(const MediaInfoRecord& info) {
  Json tags = Json::object();
  for (const Tag& tag : info.tags) tags[cli::toUtf8(tag.name)].push_back(cli::toUtf8(tag.value));
  return tags;
}

Json replayGainJson(const MediaInfoRecord& info) {
  Json json = Json::object();
  for (const ReplayGainValue& value : kReplayGainValues) {
    if (info.flags & value.flag) {
      json[value.key] = std::round(info.*value.member / value.unitsPerOne * 1e7) / 1e7;
    }
  }
  return json;
}

Json chaptersJson(const MediaInfoRecord& info) {
  Json chapters = Json::array();
  for (const ChapterMark& mark : info.chapters) {
    Json chapter;
    addDuration(chapter, "start", mark.start);
    chapter["title"] = cli::toUtf8(mark.title);
    chapters.push_back(std::move(chapter));
  }
  return chapters;
}

Json itemJson(const ItemReport& item) {
  Json json = {{"id", item.id}};
  addDuration(json, "start", item.start);
  addDuration(json, "duration", item.failure ? vela::kUnknown64 : item.info.duration);
  json["tags"] = tagsJson(item.info);
  json["replay_gain"] = replayGainJson(item.info);
  if (item.failure) json["error"] = toJson(*item.failure);
  return json;
}

/// The medium and its configuration; null in both when the item could not be started.
template <class Format>
Json formatJson(const Format& format) {
  if (!format.present) return {{"codec_name", nullptr}, {"media_id", nullptr}, {"config", nullptr}};
  return {{"codec_name", mediaName(format.mediaId)},
          {"media_id", guidText(format.mediaId)},
          {"config", cli::hexText(format.config, "")}};
}

Json audioJson(const FileReport& report) {
  const vela::ItemDescription record = report.whole.description.value_or(vela::ItemDescription{});
  if (!report.audioFormat.present && record.audioFormatName[0] == '\0') return nullptr;
  Json json = formatJson(report.audioFormat);
  json["format_name"] = record.audioFormatName;
  json["sample_rate"] = known(record.sampleRate);
  json["channels"] = known(record.channels);
  return json;
}

Json videoJson(const FileReport& report) {
  const vela::ItemDescription record = report.whole.description.value_or(vela::ItemDescription{});
  if (!report.videoFormat.present && record.videoFormatName[0] == '\0') return nullptr;
  Json json = formatJson(report.videoFormat);
  json["format_name"] = record.videoFormatName;
  json["width"] = known(record.width);
  json["height"] = known(record.height);
  return json;
}

}  // namespace

Json documentJson(const char* type, const std::string& file) {
  return {{"type", type},
          {"format_version", kJsonFormatVersion},
          {"file", file.empty() ? Json(nullptr) : Json(file)}};
}

void addTime(Json& json, const std::string& name, int64_t hostUnits) {
  json[name] = seconds(static_cast<double>(hostUnits));
  json[name + "_ts"] = std::to_string(hostUnits);
}

void addDuration(Json& json, const std::string& name, uint64_t hostUnits) {
  const bool unknown = hostUnits == vela::kUnknown64;
  json[name] = unknown ? Json(nullptr) : seconds(static_cast<double>(hostUnits));
  json[name + "_ts"] = unknown ? Json(nullptr) : Json(std::to_string(hostUnits));
}

void addEnd(Json& json, StreamKind kind, const StreamEnds& ends) {
  addTime(json, "ended_at", ends.endedAt(kind));
  json["ended_early"] = ends.isEarly(kind);
}

Json toJson(const FileReport& report) {
  Json json = documentJson("info", report.file);
  json["plugin"] = {{"module_version", report.pluginVersion},
                    {"filter", report.filter},
                    {"name_matches", report.matchesFilter}};
  json["time_base"] = kJsonTimeBase;
  addDuration(json, "duration", report.whole.duration);
  json["bit_rate"] =
      report.whole.description ? known(report.whole.description->bitRate) : Json(nullptr);
  json["audio"] = audioJson(report);
  json["video"] = videoJson(report);
  json["audio_only"] = report.audioOnly;
  json["chapters"] = chaptersJson(report.whole);
  json["tags"] = tagsJson(report.whole);
  json["replay_gain"] = replayGainJson(report.whole);
  json["items"] = Json::array();
  for (const ItemReport& item : report.items) json["items"].push_back(itemJson(item));
  if (const auto failure = report.failure()) json["error"] = toJson(*failure);
  return json;
}

Json toJson(const Failure& failure) {
  return {
      {"code", failure.status()},
      {"place", name(failure.place())},
      {"result", failure.result() ? Json(static_cast<uint32_t>(*failure.result())) : Json(nullptr)},
      {"message", failure.what()}};
}

Json toJson(const AudioFormatRecord& format) {
  return format.present ? formatJson(format) : Json(nullptr);
}

Json toJson(const VideoFormatRecord& format) {
  if (!format.present) return nullptr;
  Json json = formatJson(format);
  json["width"] = known(static_cast<uint32_t>(format.width));
  json["height"] = known(static_cast<uint32_t>(format.height));
  return json;
}

Json packetJson(const Playback& playback, StreamKind kind) {
  const bool isAudio = kind == StreamKind::audio;
  const Payload& payload = isAudio ? playback.audio.payload : playback.video.payload;
  Json json = {{"type", "packet"},
               {"stream", name(kind)},
               {"index", isAudio ? playback.audioIndex : playback.videoIndex}};
  addTime(json, "time", isAudio ? playback.audioTime : playback.videoTime);
  if (isAudio) {
    addTime(json, "duration", playback.audioDuration);
    json["frames"] = playback.audio.frames;
    json["start_offset"] = playback.audio.startOffset;
    json["sample_rate"] = playback.audio.sampleRate;
  }
  json["size"] = payload.bytes.size();
  json["offset"] = payload.fileOffset == vela::kUnknown64
                       ? Json(nullptr)
                       : Json(std::to_string(payload.fileOffset));
  char checksum[12];
  std::snprintf(checksum, sizeof checksum, "%08x",
                static_cast<unsigned>(crc32(payload.bytes.data(), payload.bytes.size())));
  json["crc32"] = checksum;
  return json;
}

std::string errorText(const Failure& failure, const std::filesystem::path& file) {
  Json json = documentJson("error", file.string());
  json["error"] = toJson(failure);
  return cli::compact(json);
}

}  // namespace velahost
