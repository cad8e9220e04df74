// velainspect tags: every tag in the file, beside what the plug-in tells.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/text.h"
#include "inspect/commands/commands.h"
#include "inspect/tag_rows.h"

namespace inspect {
namespace {

/// A label, then the lines of each value under each other.
void writeValues(Printer& out, const char* label, const std::vector<std::string>& values) {
  bool first = true;
  for (const std::string& value : values) {
    for (const std::string& line : cli::printableLines(value)) {
      out.line("  {:<9} {}", first ? label : "", line);
      first = false;
    }
  }
}

std::vector<std::string> texts(const std::vector<RawValue>& values) {
  std::vector<std::string> all;
  for (const RawValue& value : values) all.push_back(value.text);
  return all.empty() ? std::vector<std::string>{"no value"} : all;
}

void writeRow(Printer& out, const TagRow& row, bool pluginTells) {
  if (row.raw.empty()) {
    out.line("{}, in no tag of the file", cli::printable(row.told[0].name));
  } else {
    const RawTag& first = row.raw.front();
    out.line("{}{}, {} at {}{}", cli::printable(first.item),
             first.chapter ? " of chapter " + std::to_string(uint64_t{*first.chapter} + 1) : "",
             first.path, first.offset,
             row.raw.size() == 1 ? "" : " and " + std::to_string(row.raw.size() - 1) + " more");
    writeValues(out, "file", texts(row.values()));
  }
  if (!pluginTells) return;
  if (row.isToldAsItIs()) {
    out.line("  {:<9} the same, as {}", "plug-in", cli::printable(row.told[0].name));
    return;
  }
  if (row.told.empty()) out.line("  {:<9} not told", "plug-in");
  for (const ToldTag& told : row.told) {
    out.line("  {:<9} as {}{}", "plug-in", cli::printable(told.name),
             told.differsByItem ? ", not the same in all chapters; the first one's:" : "");
    writeValues(out, "", told.values);
  }
}

const char* placeName(RawTag::Place place) {
  switch (place) {
    case RawTag::Place::itemList:
      return "item_list";
    case RawTag::Place::taggingBox:
      return "tagging_box";
    case RawTag::Place::userData:
      break;
  }
  return "user_data";
}

cli::Json toJson(const RawTag& tag) {
  cli::Json values = cli::Json::array();
  for (const RawValue& value : tag.values) {
    values.push_back({{"text", value.text}, {"is_text", value.isText}, {"bytes", value.bytes}});
  }
  return {{"item", tag.item},
          {"place", placeName(tag.place)},
          {"path", tag.path},
          {"offset", tag.offset},
          {"chapter", tag.chapter ? cli::Json(*tag.chapter) : cli::Json(nullptr)},
          {"values", values}};
}

class Tags final : public Command {
 public:
  const char* name() const override { return "tags"; }
  const char* help() const override {
    return "Show the tags in the file, and as the plug-in tells them.";
  }
  const char* notes() const override {
    return "Item lists, the tagging box and the text boxes of QuickTime and 3GP files are\n"
           "shown. Values that are no text stand as words: numbers, pictures, bytes.";
  }
  void addOptions(CLI::App& app) override {
    addFile(app, file_);
    addPluginOption(app, plugin_);
    addJsonOption(app, output_);
  }

  ExitStatus run(const Surroundings& surroundings) override {
    return forEachFile(surroundings, {file_}, output_, [&](const std::filesystem::path& name) {
      File file(name);
      const std::vector<RawTag> raw = readRawTags(file);
      const PluginView view = askPlugin(plugin_, name);
      const std::vector<TagRow> rows = tagRows(raw, view.report ? &*view.report : nullptr);
      if (output_ == Output::json) {
        surroundings.out.json(document(name, rows, view));
      } else {
        writeText(surroundings.out, rows, view);
      }
      return view.status;
    });
  }

 private:
  static void writeText(Printer& out, const std::vector<TagRow>& rows, const PluginView& view) {
    if (rows.empty()) out.line("No tags in the file.");
    for (const TagRow& row : rows) writeRow(out, row, view.report.has_value());
    if (!view.report) out.line("The plug-in tells nothing: {}", view.refusal);
  }

  static cli::Json document(const std::filesystem::path& name, const std::vector<TagRow>& rows,
                            const PluginView& view) {
    cli::Json document = startDocument("tags", name);
    cli::Json& all = document["tags"] = cli::Json::array();
    for (const TagRow& row : rows) {
      cli::Json told = cli::Json::array();
      for (const ToldTag& tag : row.told) told.push_back(tag.name);
      for (const RawTag& tag : row.raw) {
        all.push_back(toJson(tag));
        all.back()["told_as"] = told;
      }
    }
    document["plugin"] = pluginDocument(view);
    if (!view.report) return document;
    cli::Json& told = document["plugin"]["tags"] = cli::Json::array();
    for (const ToldTag& tag : toldTags(*view.report)) {
      told.push_back(
          {{"name", tag.name}, {"values", tag.values}, {"differs_by_item", tag.differsByItem}});
    }
    return document;
  }

  std::filesystem::path file_;
  std::filesystem::path plugin_;
  Output output_ = Output::text;
};

}  // namespace

std::unique_ptr<Command> makeTags() { return std::make_unique<Tags>(); }

}  // namespace inspect
