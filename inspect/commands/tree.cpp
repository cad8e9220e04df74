#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <string>

#include "inspect/box_walker.h"
#include "inspect/commands/commands.h"

namespace inspect {
namespace {

class TextTree final : public BoxVisitor {
 public:
  explicit TextTree(Printer& out) : out_(out) {}

  Go enter(const Box& box) override {
    out_.line("{:{}}{} at {}, {} bytes", "", 2 * box.depth, typeText(box.type), box.offset,
              box.end - box.offset);
    return Go::into;
  }

 private:
  Printer& out_;
};

class Tree final : public Command {
 public:
  const char* name() const override { return "tree"; }
  const char* help() const override { return "Show the boxes of a file."; }
  const char* notes() const override { return "Files that the plug-in refuses are shown too."; }
  void addOptions(CLI::App& app) override { addFile(app, file_); }
  ExitStatus run(const Surroundings& surroundings) override {
    return forEachFile(surroundings, {file_}, Output::text, [&](const std::filesystem::path& name) {
      File file(name);
      TextTree tree(surroundings.out);
      walkBoxes(file, tree);
      return ExitStatus::success;
    });
  }

 private:
  std::filesystem::path file_;
};

}  // namespace

std::unique_ptr<Command> makeTree() { return std::make_unique<Tree>(); }

}  // namespace inspect
