// velainspect chapters: every list of chapters in the file, beside what the plug-in tells.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/text.h"
#include "host/text.h"
#include "inspect/chapter_rows.h"
#include "inspect/commands/commands.h"

namespace inspect {
namespace {

using velahost::clockTime;

constexpr double kHundredNsPerSecond = 1e7;

void writeHeading(Printer& out, const RawChapterList& list) {
  const std::string count = cli::counted(list.chapters.size(), "chapter");
  if (list.kind == RawChapterList::Kind::list) {
    out.line("{} at {}, version {}: {}{}", list.path, list.offset, list.version, count,
             list.isCutShort ? ", and the list is cut short" : "");
  } else {
    out.line("{}, a chapter track: {}{}", list.path, count,
             list.isCutShort ? ", and some can't be read" : "");
  }
}

void writeRows(Printer& out, const RawChapterList& list) {
  for (size_t i = 0; i < list.chapters.size(); ++i) {
    out.line("{:4}  {}  {}", i + 1, hundredNsClock(list.chapters[i].start),
             cli::printable(list.chapters[i].title));
  }
}

/// Time and title as the plug-in tells them.
std::string toldText(const velahost::ChapterMark& mark) {
  const std::string title = cli::printable(cli::toUtf8(mark.title));
  return clockTime(mark.start) + "  " + (title.empty() ? "no title" : title);
}

/// Text in a column of that width.
std::string padded(const std::string& text, size_t width) {
  const size_t taken = cli::columns(text);
  return text + std::string(taken < width ? width - taken : 0, ' ');
}

void writeBeside(Printer& out, const std::vector<ChapterRow>& rows) {
  struct Line {
    std::string file;
    std::string told;
    bool differs;
  };
  std::vector<Line> lines;
  size_t width = std::string_view("in the file").size();
  for (const ChapterRow& row : rows) {
    Line line{"none", "none", !row.isToldAsItIs()};
    if (row.raw) line.file = hundredNsClock(row.raw->start) + "  " + cli::printable(row.raw->title);
    if (row.told) line.told = toldText(*row.told);
    width = std::max(width, cli::columns(line.file));
    lines.push_back(std::move(line));
  }
  out.line("      {}   as the plug-in tells it", padded("in the file", width));
  for (size_t i = 0; i < lines.size(); ++i) {
    out.line("{:4}  {} {} {}", i + 1, padded(lines[i].file, width), lines[i].differs ? '*' : ' ',
             lines[i].told);
  }
  if (std::any_of(lines.begin(), lines.end(), [](const Line& line) { return line.differs; })) {
    out.line("      * told otherwise than it is in the file");
  }
}

cli::Json toJson(const RawChapterList& list, bool isRead) {
  cli::Json chapters = cli::Json::array();
  for (const RawChapter& chapter : list.chapters) {
    chapters.push_back({{"start", static_cast<double>(chapter.start) / kHundredNsPerSecond},
                        {"start_100ns", std::to_string(chapter.start)},
                        {"title", chapter.title}});
  }
  const bool isList = list.kind == RawChapterList::Kind::list;
  return {{"kind", isList ? "list" : "track"},
          {"path", list.path},
          {"offset", isList ? cli::Json(list.offset) : cli::Json(nullptr)},
          {"version", isList ? cli::Json(list.version) : cli::Json(nullptr)},
          {"cut_short", list.isCutShort},
          {"read_by_plugin", isRead},
          {"chapters", chapters}};
}

class Chapters final : public Command {
 public:
  const char* name() const override { return "chapters"; }
  const char* help() const override {
    return "Show the chapters in the file, and as the plug-in tells them.";
  }
  const char* notes() const override {
    return "Chapter lists and chapter tracks are shown, the latter though the plug-in reads\n"
           "none. What the plug-in tells without any of them is one chapter for the file.";
  }
  void addOptions(CLI::App& app) override {
    addFile(app, file_);
    addPluginOption(app, plugin_);
    addJsonOption(app, output_);
  }

  ExitStatus run(const Surroundings& surroundings) override {
    return forEachFile(surroundings, {file_}, output_, [&](const std::filesystem::path& name) {
      File file(name);
      const std::vector<RawChapterList> lists = readRawChapters(file);
      const PluginView view = askPlugin(plugin_, name);
      if (output_ == Output::json) {
        surroundings.out.json(document(name, lists, view));
      } else {
        writeText(surroundings.out, lists, view);
      }
      return view.status;
    });
  }

 private:
  static void writeText(Printer& out, const std::vector<RawChapterList>& lists,
                        const PluginView& view) {
    const RawChapterList* const read = listThatIsRead(lists);
    if (lists.empty()) out.line("No chapters in the file.");
    if (read) {
      writeHeading(out, *read);
      if (view.report) {
        writeBeside(out, chapterRows(read, &*view.report));
      } else {
        writeRows(out, *read);
      }
    } else if (view.report) {
      for (const velahost::ChapterMark& mark : view.report->whole.chapters) {
        out.line("The plug-in makes one of the whole file: {}", toldText(mark));
      }
    }
    for (const RawChapterList& list : lists) {
      if (&list == read) continue;
      writeHeading(out, list);
      out.line("      not read by the plug-in");
      writeRows(out, list);
    }
    if (!view.report) out.line("The plug-in tells nothing: {}", view.refusal);
  }

  static cli::Json document(const std::filesystem::path& name,
                            const std::vector<RawChapterList>& lists, const PluginView& view) {
    cli::Json document = startDocument("chapters", name);
    const RawChapterList* const read = listThatIsRead(lists);
    document["lists"] = cli::Json::array();
    for (const RawChapterList& list : lists) {
      document["lists"].push_back(toJson(list, &list == read));
    }
    document["plugin"] = pluginDocument(view);
    if (!view.report) return document;
    cli::Json& told = document["plugin"]["chapters"] = cli::Json::array();
    for (const velahost::ChapterMark& mark : view.report->whole.chapters) {
      told.push_back({{"start", static_cast<double>(mark.start) / vela::kHostUnitsPerSecond},
                      {"start_ts", std::to_string(mark.start)},
                      {"title", cli::toUtf8(mark.title)}});
    }
    return document;
  }

  std::filesystem::path file_;
  std::filesystem::path plugin_;
  Output output_ = Output::text;
};

}  // namespace

std::unique_ptr<Command> makeChapters() { return std::make_unique<Chapters>(); }

}  // namespace inspect
