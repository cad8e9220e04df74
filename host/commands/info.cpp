#include <algorithm>
#include <cstdio>
#include <iomanip>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <utility>

#include "cli/text.h"
#include "host/commands/commands.h"
#include "host/failure.h"
#include "host/item_report.h"
#include "host/json_output.h"
#include "host/text.h"

namespace velahost {
namespace {

constexpr size_t kLabelWidth = 12;

/// Where the text goes, and how.
struct Page {
  std::ostream& out;
  cli::Emphasis emphasis;
  size_t columns;
};

/// The label, padded, then the value.
void line(Page& page, const std::string& label, const std::string& value) {
  const size_t padding = label.size() < kLabelWidth ? kLabelWidth - label.size() : 1;
  page.out << page.emphasis.bold(label) << std::string(padding, ' ')
           << (value.empty() ? "none" : value) << '\n';
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

/// Words in lines that fit the page, under one label.
void wrapped(Page& page, const std::string& label, const std::string& words) {
  const size_t valueWidth = page.columns - kLabelWidth;
  std::string current;
  std::string shownLabel = label;
  std::istringstream in(words);
  for (std::string word; in >> word;) {
    if (!current.empty() && cli::columns(current) + 1 + cli::columns(word) > valueWidth) {
      line(page, std::exchange(shownLabel, ""), std::exchange(current, ""));
    }
    current += (current.empty() ? "" : " ") + word;
  }
  line(page, shownLabel, current);
}

template <class Format>
void writeFormat(Page& page, const Format& format) {
  if (!format.present) return;
  line(page, "  media", guidText(format.mediaId));
  wrapped(page, "  config", cli::hexText(format.config, " "));
}

void writeFormats(Page& page, const FileReport& report) {
  const vela::ItemDescription record = report.whole.description.value_or(vela::ItemDescription{});
  if (record.audioFormatName[0] != '\0') {
    line(page, "Audio",
         std::string(record.audioFormatName) + ", " + std::to_string(record.sampleRate) + " Hz, " +
             cli::counted(record.channels, "channel"));
    writeFormat(page, report.audioFormat);
  }
  if (record.videoFormatName[0] != '\0') {
    line(page, "Video",
         std::string(record.videoFormatName) + ", " +
             pictureSizeText(static_cast<int32_t>(record.width),
                             static_cast<int32_t>(record.height)));
    writeFormat(page, report.videoFormat);
  }
  if (report.formatsFailure) {
    wrapped(page, "Playing", std::string("fails: ") + report.formatsFailure->what());
  }
}

void writeChapters(Page& page, const MediaInfoRecord& whole) {
  line(page, "Chapters", std::to_string(whole.chapters.size()));
  for (size_t i = 0; i < whole.chapters.size(); ++i) {
    page.out << std::setw(4) << i + 1 << "  " << clockTime(whole.chapters[i].start);
    const std::string title = cli::printable(cli::toUtf8(whole.chapters[i].title));
    page.out << (title.empty() ? "" : "  ") << title << '\n';
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
    values.push_back(
        {furtherValue ? "" : cli::toUtf8(info.tags[i].name), cli::toUtf8(info.tags[i].value)});
  }
  for (const ReplayGainValue& value : kReplayGainValues) {
    if (!(info.flags & value.flag)) continue;
    values.push_back(
        {value.label, decimalText(info.*value.member / value.unitsPerOne, value.format)});
  }
  return values;
}

/// Names in one column, values in the next; a value of several lines stays in its column.
void writeTags(Page& page, const MediaInfoRecord& info) {
  const std::vector<NamedValue> values = namedValues(info);
  size_t widest = 0;
  for (const NamedValue& entry : values) {
    widest = std::max(widest, cli::columns(cli::printable(entry.name)));
  }
  for (const NamedValue& entry : values) {
    std::string label = cli::printable(entry.name);
    for (const std::string& part : cli::printableLines(entry.value)) {
      const std::string padding(part.empty() ? 0 : widest - cli::columns(label) + 2, ' ');
      page.out << "  " << label << padding << part << '\n';
      label.clear();
    }
  }
}

/// Tags stand once under the file when all items have them.
void writeSharedTags(Page& page, const FileReport& report) {
  if (report.whole.tags.empty() && report.whole.flags == 0) return;
  if (!report.audioOnly) {
    line(page, "Tags", "of the first chapter, which stand for the film");
  } else if (report.items.size() > 1) {
    line(page, "Tags", "the same in all " + std::to_string(report.items.size()) + " items");
  } else {
    page.out << page.emphasis.bold("Tags") << '\n';
  }
  writeTags(page, report.whole);
}

void writeItem(Page& page, const ItemReport& item) {
  const std::string label = "Item " + std::to_string(item.id);
  if (item.failure) {
    wrapped(page, label, std::string("can't be described: ") + item.failure->what());
    return;
  }
  if (item.id == 0) {
    line(page, label, "the whole file");
  } else {
    line(page, label,
         clockTime(item.start) + " to " + clockTime(item.start + item.info.duration) + ", " +
             clockTime(item.info.duration) + " long");
  }
  writeTags(page, item.info);
}

void writeText(Page& page, const FileReport& report) {
  line(page, "File", cli::printable(report.file));
  line(page, "Filter",
       report.filter + (report.matchesFilter ? " (matches)" : " (the name does not match)"));
  line(page, "Duration", clockTime(report.whole.duration));
  line(page, "Bit rate",
       bitRateText(report.whole.description ? report.whole.description->bitRate : 0));
  writeFormats(page, report);
  writeChapters(page, report.whole);
  writeSharedTags(page, report);
  line(page, "Items", std::to_string(report.items.size()));
  for (const ItemReport& item : report.items) writeItem(page, item);
}

}  // namespace

std::optional<Failure> info(Session& session, const InfoOptions& options, std::ostream& out) {
  FileReport report = reportOf(session, options.file);
  shareCommonTags(report);
  if (options.output == Output::json) {
    out << cli::indented(toJson(report)) << '\n';
  } else {
    Page page{out, options.emphasis, options.columns};
    writeText(page, report);
  }
  return report.failure();
}

}  // namespace velahost
