#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/text.h"
#include "inspect/box_catalog.h"
#include "inspect/box_fields.h"
#include "inspect/box_marks.h"
#include "inspect/box_walker.h"
#include "inspect/commands/commands.h"

namespace inspect {
namespace {

using Json = nlohmann::ordered_json;

constexpr uint64_t kMostHexBytes = 4096;

/// The boxes at and below a path, to a depth. Calls what the forms of output do differently.
class TreeVisitor : public BoxVisitor {
 public:
  TreeVisitor(File& file, const Surroundings& surroundings, std::vector<PathStep> path,
              uint32_t levels)
      : file_(file), surroundings_(surroundings), path_(std::move(path)), levels_(levels) {}

  Go enter(const Box& box) final {
    surroundings_.throwIfCancelled();
    if (box.type == fourCC("trak")) timescales_.media = mediaTimescale(file_, box);
    const BoxFields fields = readFields(file_, box, timescales_);
    const std::vector<std::string> marks = marks_.of(box, fields.isShort);
    if (box.depth < path_.size()) {
      const PathStep& step = path_[box.depth];
      if (box.type != step.type || box.index != step.index) return Go::past;
      if (box.depth + 1 < path_.size()) return Go::into;
    }
    show(box, fields, marks);
    return level(box.depth) + 1 < levels_ ? Go::into : Go::past;
  }

  void leave(const Box& box) final {
    if (isShown(box)) showEnd(box);
  }

  Go noBox(const NoBox& noBox) final {
    if (noBox.depth >= path_.size() && (noBox.depth > 0 || path_.empty())) showNoBox(noBox);
    return Go::past;
  }

 protected:
  ~TreeVisitor() = default;

  virtual void show(const Box& box, const BoxFields& fields,
                    const std::vector<std::string>& marks) = 0;
  virtual void showEnd(const Box&) {}
  virtual void showNoBox(const NoBox& noBox) = 0;

  /// Levels below the first that is shown.
  uint32_t level(uint32_t depth) const {
    return path_.empty() ? depth : depth + 1 - static_cast<uint32_t>(path_.size());
  }
  Printer& out() { return surroundings_.out; }
  const File& file() const { return file_; }

 private:
  /// Whether show() was called for a box: when it, or a box around it, is the one that is named.
  bool isShown(const Box& box) const {
    const Box* named = &box;
    while (named->parent && named->depth + 1 > path_.size()) named = named->parent;
    if (path_.empty()) return true;
    if (named->depth + 1 != path_.size()) return false;
    for (const Box* step = named; step; step = step->parent) {
      if (step->type != path_[step->depth].type || step->index != path_[step->depth].index) {
        return false;
      }
    }
    return true;
  }

  File& file_;
  const Surroundings& surroundings_;
  std::vector<PathStep> path_;
  uint32_t levels_;
  Timescales timescales_;
  BoxMarks marks_;
};

class TextTree final : public TreeVisitor {
 public:
  using TreeVisitor::TreeVisitor;

  void heading() { out().line("{:>{}}  {:>{}}  box", "offset", width(), "size", width() + 3); }

 private:
  size_t width() const { return std::max<size_t>(6, std::to_string(file().size()).size()); }

  void place(uint64_t offset, const std::string& size, uint32_t depth) {
    out().write(fmt::format("{:>{}}  {:>{}}  {:{}}", offset, width(), size, width() + 3, "",
                            2 * level(depth)));
  }

  void show(const Box& box, const BoxFields& fields,
            const std::vector<std::string>& marks) override {
    place(box.offset, fmt::format("{}+{}", box.headerSize, box.payloadSize()), box.depth);
    std::string line = typeText(box.type);
    if (box.index != 0) line += fmt::format("[{}]", box.index);
    if (const char* const name = boxName(box)) line += std::string(" ") + name;
    if (fields.version && (*fields.version != 0 || fields.flags != 0)) {
      line += fmt::format(" v{}", *fields.version);
      if (fields.flags != 0) line += fmt::format(" flags {:06x}", fields.flags);
    }
    const char* joint = ": ";
    for (const Field& field : fields.fields) {
      if (field.usual) continue;
      line += joint + fieldText(field);
      joint = ", ";
    }
    for (const std::string& mark : marks) line += " [" + mark + "]";
    out().line("{}", line);
  }

  void showNoBox(const NoBox& noBox) override {
    place(noBox.offset, std::to_string(noBox.end - noBox.offset), noBox.depth);
    out().line("[{}]", BoxMarks::of(noBox));
  }
};

/// One document with nested boxes, written as the walk goes, so that it takes no memory.
class JsonTree final : public TreeVisitor {
 public:
  using TreeVisitor::TreeVisitor;

  void begin(const std::filesystem::path& name) {
    Json document = startDocument("tree", name);
    document["size"] = file().size();
    openObject(document);
    out().write(",\"boxes\":[");
    lists_ = {false};
  }

  void end() { out().write("\n]}\n"); }
  void end(const cli::Failure& failure) {
    // The boxes that were begun have to be ended first.
    for (; lists_.size() > 1; lists_.pop_back()) out().write(lists_.back() ? "]}" : "}");
    Json rest = errorDocument(failure, {})["error"];
    out().write("\n],\"error\":" + cli::compact(rest) + "}\n");
  }

 private:
  /// Writes an object without its closing bracket.
  void openObject(const Json& object) {
    std::string text = cli::compact(object);
    text.pop_back();
    out().write(text);
  }

  void beginElement(uint32_t depth) {
    if (lists_.size() > 1 && !lists_.back())
      out().write(",\"children\":[");
    else if (lists_.back())
      out().write(",");
    lists_.back() = true;
    out().write(fmt::format("\n{:{}}", "", 2 * (level(depth) + 1)));
  }

  void show(const Box& box, const BoxFields& fields,
            const std::vector<std::string>& marks) override {
    beginElement(box.depth);
    Json json = {{"type", typeText(box.type)},
                 {"path", pathText(box)},
                 {"offset", box.offset},
                 {"header_size", box.headerSize},
                 {"size", box.end - box.offset}};
    if (box.isCutShort() || box.isOpenEnded()) json["declared_size"] = box.declaredSize;
    if (const char* const name = boxName(box)) json["name"] = name;
    if (fields.version) {
      json["version"] = *fields.version;
      json["flags"] = fields.flags;
    }
    Json units = Json::object();
    for (const Field& field : fields.fields) {
      json["fields"][field.name] = field.value;
      if (!field.unit.empty()) units[field.name] = field.unit;
    }
    if (!units.empty()) json["units"] = std::move(units);
    if (!marks.empty()) json["marks"] = marks;
    openObject(json);
    lists_.push_back(false);
  }

  void showEnd(const Box&) override {
    out().write(lists_.back() ? "]}" : "}");
    lists_.pop_back();
  }

  void showNoBox(const NoBox& noBox) override {
    beginElement(noBox.depth);
    out().write(cli::compact(Json{{"type", nullptr},
                                  {"offset", noBox.offset},
                                  {"size", noBox.end - noBox.offset},
                                  {"marks", {BoxMarks::of(noBox)}}}));
  }

  std::vector<bool> lists_;  ///< of the document, then of each open box: whether it has elements
};

class Tree final : public Command {
 public:
  const char* name() const override { return "tree"; }
  const char* help() const override { return "Show the boxes of a file, good or damaged."; }
  const char* notes() const override {
    return "Each line has the box's offset, the bytes of its header and of its payload, its\n"
           "type, its name and its fields; those with the value that they nearly always\n"
           "have are left to --json. Marks in brackets: ignored (the plug-in passes over\n"
           "it), duplicate, cut short, unknown, open (of size 0).\n"
           "A path is like moov/trak[1]/mdia, counted from 0.";
  }

  void addOptions(CLI::App& app) override {
    addFile(app, file_);
    app.add_option("PATH", path_, "Show this box and those in it")->type_name("");
    app.add_option("--depth", levels_, "Show N levels only")
        ->type_name("N")
        ->check(CLI::Range(uint32_t{1}, std::numeric_limits<uint32_t>::max()).description(""));
    app.add_option("--hex", hex_, "Show the bytes of the box at PATH,\n4096 of them at most")
        ->type_name("PATH");
    addJsonOption(app, output_);
  }

  ExitStatus run(const Surroundings& surroundings) override {
    return forEachFile(surroundings, {file_}, output_, [&](const std::filesystem::path& name) {
      File file(name);
      if (!hex_.empty()) {
        dump(file, surroundings.out);
        return ExitStatus::success;
      }
      return output_ == Output::json ? json(file, surroundings) : text(file, surroundings);
    });
  }

 private:
  static BoxChain requireBox(File& file, const std::string& path) {
    BoxChain found = boxNamed(file, parsePath(path));
    if (!found.deepest()) {
      throw cli::Failure(ExitStatus::usage,
                         "There is no box " + cli::printable(path) + " in the file.");
    }
    return found;
  }

  std::vector<PathStep> steps(File& file) const {
    if (path_.empty()) return {};
    requireBox(file, path_);
    return parsePath(path_);
  }

  ExitStatus text(File& file, const Surroundings& surroundings) const {
    TextTree tree(file, surroundings, steps(file), levels_);
    tree.heading();
    walkBoxes(file, tree);
    return ExitStatus::success;
  }

  ExitStatus json(File& file, const Surroundings& surroundings) const {
    JsonTree tree(file, surroundings, steps(file), levels_);
    tree.begin(file.name());
    try {
      walkBoxes(file, tree);
    } catch (const cli::Failure& failure) {
      if (failure.status() != static_cast<int>(ExitStatus::otherResult)) throw;
      tree.end(failure);
      surroundings.err << "velainspect: " << cli::pathText(file.name()) << ": " << failure.what()
                       << '\n';
      return ExitStatus::otherResult;
    }
    tree.end();
    return ExitStatus::success;
  }

  /// Sixteen bytes a line.
  void dump(File& file, Printer& out) const {
    const BoxChain chain = requireBox(file, hex_);
    const Box& box = *chain.deepest();
    const uint64_t shown = std::min(box.end - box.offset, kMostHexBytes);
    if (output_ == Output::json) {
      std::vector<uint8_t> bytes(static_cast<size_t>(shown));
      bytes.resize(file.read(box.offset, bytes.data(), bytes.size()));
      Json document = startDocument("hex", file.name());
      document["path"] = pathText(box);
      document["offset"] = box.offset;
      document["size"] = box.end - box.offset;
      document["hex"] = cli::hexText(bytes, "");
      out.json(document);
      return;
    }
    for (uint64_t at = box.offset; at < box.offset + shown; at += 16) {
      uint8_t bytes[16];
      const uint64_t wanted = std::min<uint64_t>(sizeof bytes, box.offset + shown - at);
      const size_t got = file.read(at, bytes, static_cast<size_t>(wanted));
      std::string characters;
      for (size_t i = 0; i < got; ++i) {
        const bool plain = bytes[i] >= 0x20 && bytes[i] < 0x7f;
        characters.push_back(plain ? static_cast<char>(bytes[i]) : '.');
      }
      out.line("{:>10}  {:<47}  {}", at, cli::hexText({bytes, bytes + got}, " "), characters);
    }
    if (const uint64_t rest = box.end - box.offset - shown; rest != 0) {
      out.line("{:>10}  and {}", "", cli::counted(rest, "further byte"));
    }
  }

  std::filesystem::path file_;
  std::string path_;
  std::string hex_;
  uint32_t levels_ = std::numeric_limits<uint32_t>::max();
  Output output_ = Output::text;
};

}  // namespace

std::unique_ptr<Command> makeTree() { return std::make_unique<Tree>(); }

}  // namespace inspect
