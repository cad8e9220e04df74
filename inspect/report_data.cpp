#include "inspect/report_data.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "cli/text.h"
#include "host/text.h"
#include "inspect/advice.h"
#include "inspect/box_fields.h"
#include "inspect/box_marks.h"
#include "inspect/box_walker.h"
#include "inspect/chapter_rows.h"
#include "inspect/file_check.h"
#include "inspect/losses.h"
#include "inspect/movie_map.h"
#include "inspect/opening.h"
#include "inspect/picture.h"
#include "inspect/report_series.h"
#include "inspect/tag_rows.h"

namespace inspect {
namespace {

using cli::Json;

constexpr double kHundredNsPerSecond = 1e7;
constexpr double kHostUnitsPerSecond = vela::kHostUnitsPerSecond;

// ---- the outcome

std::string refusalSentence(const Opening& opening, const File& file, const MovieMap& map) {
  const Refusal& refusal = *opening.refusal;
  const Advice advice = adviceFor(refusal, file, map);
  std::string sentence = "The plug-in refuses the file: " + refusal.message;
  if (refusal.position) sentence += fmt::format(", after byte {}", *refusal.position);
  if (const Box* const box = refusal.box.deepest()) {
    sentence += fmt::format(", in {} at {}", pathText(*box), box->offset);
  }
  return sentence + ". " + advice.meaning + " " + advice.remedy;
}

Json outcome(const Opening& opening, const File& file, const MovieMap& map) {
  if (opening.refusal) {
    return {{"plays", false}, {"sentence", refusalSentence(opening, file, map)}};
  }
  const TakenTracks& taken = opening.taken;
  const char* const what = taken.audio && taken.video ? "audio and video"
                           : taken.audio              ? "audio"
                                                      : "video";
  return {{"plays", true}, {"sentence", fmt::format("The plug-in plays its {}.", what)}};
}

Json losses(File& file, const Opening& opening, const MovieMap& map,
            const std::function<void()>& poll) {
  Json sentences = Json::array();
  if (opening.refusal) return sentences;
  for (const Loss& loss : findLosses(file, opening, map, poll))
    sentences.push_back(loss.text + ".");
  return sentences;
}

// ---- facts

/// "12,345,678 bytes"
std::string bytesText(uint64_t count) {
  std::string digits = std::to_string(count);
  for (size_t end = digits.size(); end > 3; end -= 3) digits.insert(end - 3, ",");
  return digits + (count == 1 ? " byte" : " bytes");
}

std::string trackText(const TrackMap& track, const Opening& opening) {
  std::string text = track.kindText();
  if (!track.entries.empty()) {
    const SampleEntry& entry = track.entries.back();
    if (entry.audio) {
      text += fmt::format(", {} Hz, {}", entry.sampleRate, cli::counted(entry.channels, "channel"));
    } else if (entry.video) {
      text += fmt::format(", {}x{}", entry.width, entry.height);
    }
  }
  text += ", " + cli::counted(track.sampleCount, "sample");
  const std::string seconds = tickSeconds(track.tableDuration, track.timescale);
  if (!seconds.empty() && !track.timesWrap) text += ", " + seconds + " s";
  if (opening.refusal) return text;
  const bool played = opening.taken.audio == track.number || opening.taken.video == track.number;
  return text + (played ? ", played" : ", not played");
}

Json facts(const File& file, const Opening& opening, const MovieMap& map, const PluginView& view) {
  Json all = Json::array();
  const auto add = [&all](const std::string& name, const std::string& value) {
    all.push_back({{"name", name}, {"value", value}});
  };
  add("Size", bytesText(file.size()));
  if (view.report) {
    add("Duration", velahost::clockTime(view.report->whole.duration));
    if (view.report->whole.description && view.report->whole.description->bitRate != 0) {
      add("Bit rate",
          fmt::format("{:.1f} kbit/s", view.report->whole.description->bitRate / 1000.0));
    }
  } else if (map.hasHeader && map.timescale != 0) {
    add("Duration", tickSeconds(map.duration, map.timescale) + " s, says the movie header");
  }
  if (map.movieBoxes > 0 && !map.mediaData.empty()) {
    const bool first = map.movieOffset < map.mediaData.front().offset;
    add("Movie box",
        fmt::format("at {}, {} the media data", map.movieOffset, first ? "before" : "after"));
  }
  for (const TrackMap& track : map.tracks) {
    add(fmt::format("trak[{}]", track.number), trackText(track, opening));
  }
  if (map.fragments > 0) add("Fragments", std::to_string(map.fragments));
  if (!view.report) add("Plug-in", view.refusal);
  return all;
}

// ---- chapters, tags, pictures

Json chapters(const std::vector<RawChapterList>& lists, const velahost::FileReport* report) {
  Json rows = Json::array();
  for (const ChapterRow& row : chapterRows(listThatIsRead(lists), report)) {
    Json both = {{"file", nullptr}, {"plugin", nullptr}};
    if (row.raw) {
      both["file"] = {{"start", static_cast<double>(row.raw->start) / kHundredNsPerSecond},
                      {"title", row.raw->title}};
    }
    if (row.told) {
      both["plugin"] = {{"start", static_cast<double>(row.told->start) / kHostUnitsPerSecond},
                        {"title", cli::toUtf8(row.told->title)}};
    }
    rows.push_back(std::move(both));
  }
  return rows;
}

/// The lists that the plug-in does not read.
Json otherChapters(const std::vector<RawChapterList>& lists) {
  Json all = Json::array();
  for (const RawChapterList& list : lists) {
    if (&list == listThatIsRead(lists)) continue;
    Json chapters = Json::array();
    for (const RawChapter& chapter : list.chapters) {
      chapters.push_back({{"start", static_cast<double>(chapter.start) / kHundredNsPerSecond},
                          {"title", chapter.title}});
    }
    all.push_back({{"path", list.path}, {"chapters", chapters}});
  }
  return all;
}

std::string joinedLines(const std::vector<std::string>& values) {
  return fmt::format("{}", fmt::join(values, "\n"));
}

Json tags(const std::vector<RawTag>& raw, const velahost::FileReport* report) {
  Json rows = Json::array();
  for (const TagRow& row : tagRows(raw, report)) {
    std::vector<std::string> values;
    for (const RawValue& value : row.values()) values.push_back(value.text);
    std::vector<std::string> names;
    std::vector<std::string> told;
    for (const ToldTag& tag : row.told) {
      names.push_back(tag.name);
      told.insert(told.end(), tag.values.begin(), tag.values.end());
    }
    rows.push_back({{"item", row.raw.empty() ? Json(nullptr) : Json(row.raw.front().item)},
                    {"raw", row.raw.empty() ? Json(nullptr) : Json(joinedLines(values))},
                    {"name", names.empty() ? Json(nullptr) : Json(joinedLines(names))},
                    {"told", told.empty() ? Json(nullptr) : Json(joinedLines(told))}});
  }
  return rows;
}

std::string base64(const std::vector<uint8_t>& bytes) {
  constexpr char kDigits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  text.reserve((bytes.size() + 2) / 3 * 4);
  for (size_t i = 0; i < bytes.size(); i += 3) {
    const size_t there = std::min<size_t>(3, bytes.size() - i);
    uint32_t group = 0;
    for (size_t k = 0; k < 3; ++k) group = group << 8 | (k < there ? bytes[i + k] : 0u);
    for (size_t k = 0; k < 4; ++k) {
      text.push_back(k <= there ? kDigits[group >> (18 - 6 * k) & 63] : '=');
    }
  }
  return text;
}

/// Kinds that every browser shows. A drawing with scripts in it is none of them.
bool isShown(const Picture& picture) {
  const std::string_view kind = picture.kind.name;
  return kind == "JPEG" || kind == "PNG" || kind == "GIF" || kind == "WebP" || kind == "BMP";
}

Json covers(File& file) {
  Json all = Json::array();
  uint64_t room = kMostPictureBytes;
  for (const Picture& picture : findPictures(file)) {
    Json cover = {{"path", picture.path},
                  {"kind", picture.kind.name},
                  {"bytes", picture.size},
                  {"image", nullptr},
                  {"left_out", nullptr}};
    if (!isShown(picture)) {
      cover["left_out"] = "A browser may not show this kind of picture.";
    } else if (picture.size > room) {
      cover["left_out"] = "Too large for this page. velainspect covers --save writes it.";
    } else {
      std::vector<uint8_t> bytes(static_cast<size_t>(picture.size));
      bytes.resize(file.read(picture.offset, bytes.data(), bytes.size()));
      cover["image"] = fmt::format("data:{};base64,{}", picture.kind.mediaType, base64(bytes));
      room -= picture.size;
    }
    all.push_back(std::move(cover));
  }
  return all;
}

// ---- boxes

class BoxLister final : public BoxVisitor {
 public:
  BoxLister(File& file, const std::function<void()>& poll) : file_(file), poll_(poll) {}

  Json boxes = Json::array();
  uint64_t leftOut = 0;

  Go enter(const Box& box) override {
    poll_();
    const BoxFields fields = readFields(file_, box, timescales_);
    Json marks = Json::array();
    for (const std::string& mark : marks_.of(box, fields.isShort)) marks.push_back(mark);
    Json texts = Json::array();
    for (const Field& field : fields.fields) {
      if (!field.usual) texts.push_back(fieldText(field));
    }
    std::string type = typeText(box.type);
    if (box.index != 0) type += fmt::format("[{}]", box.index);
    list({{"depth", box.depth},
          {"type", type},
          {"offset", box.offset},
          {"size", box.end - box.offset},
          {"marks", marks},
          {"fields", texts}});
    return Go::into;
  }

  Go noBox(const NoBox& noBox) override {
    list({{"depth", noBox.depth},
          {"type", ""},
          {"offset", noBox.offset},
          {"size", noBox.end - noBox.offset},
          {"marks", Json::array({BoxMarks::of(noBox)})},
          {"fields", Json::array()}});
    return Go::past;
  }

 private:
  void list(Json box) {
    if (boxes.size() < kMostBoxes) {
      boxes.push_back(std::move(box));
    } else {
      ++leftOut;
    }
  }

  File& file_;
  const std::function<void()>& poll_;
  Timescales timescales_;
  BoxMarks marks_;
};

// ---- plots

/// @param budget  samples that may still be looked at, less those of this track afterwards
Json trackData(File& file, const TrackMap& track, const std::function<void()>& poll,
               uint64_t& budget) {
  const TrackSeries series = readTrackSeries(file, track, poll, budget);
  budget -= series.samples;
  return {{"index", track.number},
          {"kind", track.isVideo()   ? "video"
                   : track.isAudio() ? "audio"
                                     : track.kindText()},
          {"samples", series.samples},
          {"samples_left_out", series.leftOut},
          {"key_frames", series.keyFrames},
          {"bytes", series.bytes},
          {"duration", series.duration},
          {"bit_rate", {{"step", series.bitRate.step}, {"values", series.bitRate.kilobits}}},
          {"sizes",
           {{"samples_per_point", series.sizes.samplesPerPoint},
            {"time", series.sizes.time},
            {"smallest", series.sizes.smallest},
            {"largest", series.sizes.largest},
            {"key_time", series.sizes.keyTime},
            {"key_size", series.sizes.keySize}}},
          {"place", {{"time", series.places.time}, {"offset", series.places.offset}}}};
}

Json findings(const FileCheck& check) {
  Json all = Json::array();
  for (const Finding& finding : check.findings) {
    all.push_back({{"severity", name(finding.severity)},
                   {"track", finding.track ? Json(*finding.track) : Json(nullptr)},
                   {"message", finding.text + "."}});
  }
  return all;
}

/// Where a host has to seek while it plays; null when it plays nothing.
Json seeks(const FileCheck& check) {
  if (!check.interleaving) return nullptr;
  Json shown = Json::array();
  for (const Jump& jump : check.interleaving->firstJumps) {
    shown.push_back({{"time", jump.seconds}, {"from", jump.from}, {"to", jump.to}});
  }
  return {{"count", check.interleaving->jumps}, {"shown", shown}};
}

}  // namespace

Json reportData(File& file, const PluginView& view, const std::function<void()>& poll) {
  Opening opening;
  open(file, opening);
  const MovieMap map = readMovieMap(file);
  const velahost::FileReport* const report = view.report ? &*view.report : nullptr;
  const std::vector<RawChapterList> lists = readRawChapters(file);
  BoxLister boxes(file, poll);
  walkBoxes(file, boxes);

  Json data;
  data["format_version"] = 1;
  data["program"] = "velainspect " VELA_VERSION;
  data["file"] = file.name().filename().string();
  data["outcome"] = outcome(opening, file, map);
  data["losses"] = losses(file, opening, map, poll);
  data["facts"] = facts(file, opening, map, view);
  data["chapters"] = chapters(lists, report);
  data["other_chapters"] = otherChapters(lists);
  data["tags"] = tags(readRawTags(file), report);
  data["covers"] = covers(file);
  const FileCheck check = checkFile(file, poll);
  data["findings"] = findings(check);
  data["boxes"] = std::move(boxes.boxes);
  data["boxes_left_out"] = boxes.leftOut;
  data["tracks"] = Json::array();
  uint64_t budget = std::min(kMostSamples, file.size());
  for (const TrackMap& track : map.tracks) {
    data["tracks"].push_back(trackData(file, track, poll, budget));
  }
  data["seeks"] = seeks(check);
  return data;
}

}  // namespace inspect
