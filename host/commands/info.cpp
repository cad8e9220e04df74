#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <string>

#include "host/commands/commands.h"
#include "host/failure.h"
#include "host/item_report.h"
#include "host/json_output.h"
#include "host/text.h"

namespace velahost {
namespace {

constexpr size_t kLabelWidth = 12;

/// The label, padded, then the value.
void line(std::ostream& out, const std::string& label, const std::string& value) {
  const size_t padding = label.size() < kLabelWidth ? kLabelWidth - label.size() : 1;
  out << label << std::string(padding, ' ') << (value.empty() ? "none" : value) << '\n';
}

std::string plural(uint32_t count, const std::string& one) {
  return std::to_string(count) + " " + one + (count == 1 ? "" : "s");
}

std::string bitRateText(uint32_t bitsPerSecond) {
  if (bitsPerSecond == 0) return "unknown";
  char text[32];
  std::snprintf(text, sizeof text, "%.1f kbit/s", bitsPerSecond / 1000.0);
  return text;
}

std::string pictureSizeText(int32_t width, int32_t height) {
  const auto side = [](int32_t pixels) { return pixels < 0 ? "?" : std::to_string(pixels); };
  return side(width) + "x" + side(height);
}

void writeFormats(std::ostream& out, const FileReport& report) {
  if (report.formatsResult != vela::TIOResult::success) {
    line(out, "Formats", "can't be told: " + resultSentence(Place::starting, report.formatsResult));
  }
  const vela::ItemDescription record = report.whole.description.value_or(vela::ItemDescription{});
  if (report.audioFormat.present) {
    line(out, "Audio",
         std::string(record.audioFormatName) + ", " + std::to_string(record.sampleRate) + " Hz, " +
             plural(record.channels, "channel"));
    line(out, "  media", guidText(report.audioFormat.mediaId));
    line(out, "  config", hexText(report.audioFormat.config, " "));
  }
  if (report.videoFormat.present) {
    line(out, "Video",
         std::string(record.videoFormatName) + ", " +
             pictureSizeText(report.videoFormat.width, report.videoFormat.height));
    line(out, "  media", guidText(report.videoFormat.mediaId));
    line(out, "  config", hexText(report.videoFormat.config, " "));
  }
}

void writeChapters(std::ostream& out, const MediaInfoRecord& whole) {
  line(out, "Chapters", std::to_string(whole.chapters.size()));
  for (size_t i = 0; i < whole.chapters.size(); ++i) {
    out << std::setw(4) << i + 1 << "  " << clockTime(whole.chapters[i].start);
    std::string title;
    for (const std::string& part : printableLines(toUtf8(whole.chapters[i].title))) {
      title += (title.empty() ? "  " : " ") + part;
    }
    out << (title == "  " ? "" : title) << '\n';
  }
}

struct NamedValue {
  std::string name;  ///< empty: a further value of the name above
  std::string value;
};

std::string decimalText(double value, const char* format) {
  char text[40];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

std::vector<NamedValue> namedValues(const MediaInfoRecord& info) {
  std::vector<NamedValue> values;
  for (size_t i = 0; i < info.tags.size(); ++i) {
    const bool furtherValue = i > 0 && info.tags[i].name == info.tags[i - 1].name;
    values.push_back({furtherValue ? "" : toUtf8(info.tags[i].name), toUtf8(info.tags[i].value)});
  }
  const auto gain = [&](vela::ReplayGainFlag flag, const char* label, int32_t fixed) {
    if (info.flags & flag) values.push_back({label, decimalText(fixed / 10000.0, "%.2f dB")});
  };
  const auto peak = [&](vela::ReplayGainFlag flag, const char* label, int32_t fixed) {
    if (info.flags & flag) values.push_back({label, decimalText(fixed / 8388608.0, "%.6f")});
  };
  gain(vela::kTrackGainPresent, "track gain", info.trackGain);
  peak(vela::kTrackPeakPresent, "track peak", info.trackPeak);
  gain(vela::kAlbumGainPresent, "album gain", info.albumGain);
  peak(vela::kAlbumPeakPresent, "album peak", info.albumPeak);
  return values;
}

/// Names in one column, values in the next; a value of several lines stays in its column.
void writeTags(std::ostream& out, const MediaInfoRecord& info) {
  const std::vector<NamedValue> values = namedValues(info);
  size_t widest = 0;
  for (const NamedValue& entry : values) {
    widest = std::max(widest, columns(printableLines(entry.name).front()));
  }
  for (const NamedValue& entry : values) {
    std::string label = printableLines(entry.name).front();
    for (const std::string& part : printableLines(entry.value)) {
      const std::string padding(part.empty() ? 0 : widest - columns(label) + 2, ' ');
      out << "  " << label << padding << part << '\n';
      label.clear();
    }
  }
}

void writeItem(std::ostream& out, const ItemReport& item) {
  const std::string label = "Item " + std::to_string(item.id);
  if (item.result != vela::TIOResult::success) {
    line(out, label, "can't be described: " + resultSentence(Place::describing, item.result));
    return;
  }
  if (item.id == 0) {
    line(out, label, "the whole file; tags as its first chapter bears them");
  } else {
    line(out, label,
         clockTime(item.start) + " to " + clockTime(item.start + item.info.duration) + ", " +
             clockTime(item.info.duration) + " long");
  }
  writeTags(out, item.info);
}

void writeText(std::ostream& out, const FileReport& report) {
  line(out, "File", report.file);
  line(out, "Filter",
       report.filter + (report.matchesFilter ? " (matches)" : " (the name does not match)"));
  line(out, "Duration", clockTime(report.whole.duration));
  line(out, "Bit rate",
       bitRateText(report.whole.description ? report.whole.description->bitRate : 0));
  writeFormats(out, report);
  writeChapters(out, report.whole);
  line(out, "Items", std::to_string(report.items.size()));
  for (const ItemReport& item : report.items) writeItem(out, item);
}

}  // namespace

void info(Session& session, const InfoOptions& options, std::ostream& out) {
  const FileReport report = reportOf(session, options.file);
  if (options.output == Output::json) {
    out << indented(toJson(report)) << '\n';
  } else {
    writeText(out, report);
  }
  require(Place::describing, report.worst());
}

}  // namespace velahost
