// Tags and chapters of every tagged file, as committed beside what other tools say about them.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "cli/text.h"
#include "host/item_report.h"
#include "host/text.h"
#include "tests/host/golden_packets.h"
#include "tests/programs/media.h"

namespace {

constexpr char kNotTold[] = "(none)";

struct Row {
  media::File file;
  std::string kind;  ///< tag, chapter, or none for the one row of a file without either
  std::string name;  ///< of the tag; number of the chapter
  std::string ours;
  std::string ffprobe;
  std::string mediainfo;
  std::string reason;
};

std::vector<Row> allRows() {
  std::vector<Row> rows;
  for (const auto& row : media::readTable(media::dataFolder() / "golden/tags.tsv")) {
    const auto origin = row.at(0) == "own" ? media::File::Origin::own : media::File::Origin::corpus;
    rows.push_back(
        {{origin, row.at(1)}, row.at(2), row.at(3), row.at(4), row.at(5), row.at(6), row.at(7)});
  }
  return rows;
}

std::vector<media::File> files() {
  std::vector<media::File> files;
  for (const Row& row : allRows()) {
    if (files.empty() || files.back().name != row.file.name) files.push_back(row.file);
  }
  return files;
}

/// The form of a text in the table: one line, without tabs.
std::string cell(const std::string& text) {
  std::string out;
  for (const char c : text) {
    if (c == '\\') {
      out += "\\\\";
    } else if (c == '\n') {
      out += "\\n";
    } else if (c == '\t') {
      out += "\\t";
    } else if (c == '\r') {
      out += "\\r";
    } else if (static_cast<uint8_t>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\x%02x", c);
      out += escape;
    } else {
      out.push_back(c);
    }
  }
  return out;
}

std::string withoutLastLineEnds(std::string text) {
  while (!text.empty() && text.back() == '\n') text.pop_back();
  return text;
}

std::string decimals(double value, const char* format) {
  char text[40];
  std::snprintf(text, sizeof text, format, value);
  return text;
}

/// The tags of a file's first item, with the numbers of replay gain among them.
std::map<std::string, std::string> tagsOf(const velahost::MediaInfoRecord& info) {
  std::map<std::string, std::string> tags;
  for (const velahost::Tag& tag : info.tags) {
    const std::string value = cell(withoutLastLineEnds(cli::toUtf8(tag.value)));
    const auto [entry, isNew] = tags.try_emplace(cell(cli::toUtf8(tag.name)), value);
    if (!isNew) entry->second += "\\n" + value;
  }
  if (info.flags & vela::kTrackGainPresent) {
    tags["replaygain_track_gain"] = decimals(info.trackGain / 10000.0, "%.2f");
  }
  if (info.flags & vela::kAlbumGainPresent) {
    tags["replaygain_album_gain"] = decimals(info.albumGain / 10000.0, "%.2f");
  }
  if (info.flags & vela::kTrackPeakPresent) {
    tags["replaygain_track_peak"] = decimals(info.trackPeak / 8388608.0, "%.2f");
  }
  if (info.flags & vela::kAlbumPeakPresent) {
    tags["replaygain_album_peak"] = decimals(info.albumPeak / 8388608.0, "%.2f");
  }
  return tags;
}

class GoldenTags : public testing::TestWithParam<media::File> {};

TEST_P(GoldenTags, AreToldAsCommitted) {
  SKIP_WITHOUT_CORPUS(GetParam());
  velahost::Session session(media::pluginFile());
  const velahost::FileReport report = velahost::reportOf(session, GetParam().path());
  std::map<std::string, std::string> tags = tagsOf(report.items.at(0).info);
  const std::vector<velahost::ChapterMark>& chapters = report.whole.chapters;
  size_t chapterRows = 0;
  for (const Row& row : allRows()) {
    if (row.file.name != GetParam().name || row.kind == "none") continue;
    SCOPED_TRACE(row.kind + " " + row.name);
    if (row.kind == "tag") {
      const auto found = tags.find(row.name);
      EXPECT_EQ(found == tags.end() ? kNotTold : found->second, row.ours);
      if (found != tags.end()) tags.erase(found);
      continue;
    }
    const size_t index = std::stoul(row.name) - 1;
    std::string told = kNotTold;
    if (index < chapters.size()) {
      told = decimals(static_cast<double>(chapters[index].start) / vela::kHostUnitsPerSecond,
                      "%.3f ") +
             cli::toUtf8(chapters[index].title);
      ++chapterRows;
    }
    EXPECT_EQ(cell(told), row.ours);
  }
  EXPECT_THAT(tags, testing::IsEmpty()) << "tags that the table does not name";
  if (chapters.size() > 1) {
    EXPECT_EQ(chapterRows, chapters.size());
  }
}

INSTANTIATE_TEST_SUITE_P(Media, GoldenTags, testing::ValuesIn(files()), media::caseName);

TEST(GoldenTagTable, GivesAReasonForEveryDifference) {
  for (const Row& row : allRows()) {
    if (row.kind == "none") continue;
    SCOPED_TRACE(row.file.name + " " + row.kind + " " + row.name);
    std::vector<std::string> said;
    if (row.ffprobe != kNotTold) said.push_back(row.ffprobe);
    if (row.mediainfo != kNotTold) said.push_back(row.mediainfo);
    const bool agrees =
        !said.empty() && std::all_of(said.begin(), said.end(),
                                     [&](const std::string& text) { return text == row.ours; });
    EXPECT_EQ(agrees, row.reason == "-") << row.ours;
    EXPECT_NE(row.reason, "UNEXPLAINED");
  }
}

// Nothing is left out unnoticed: a row that goes, or a clean file without rows, fails here.
TEST(GoldenTagTable, HasRowsForEveryFileThatPlays) {
  const std::vector<Row> rows = allRows();
  EXPECT_EQ(rows.size(), 527u);
  for (const media::File& file : golden::files()) {
    EXPECT_TRUE(std::any_of(rows.begin(), rows.end(), [&](const Row& row) {
      return row.file.origin == file.origin && row.file.name == file.name;
    })) << file;
  }
}

}  // namespace
