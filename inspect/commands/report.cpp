// velainspect report: a page that shows a file.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/output_file.h"
#include "cli/text.h"
#include "inspect/commands/commands.h"
#include "inspect/report_data.h"
#include "inspect/report_page.h"

namespace inspect {
namespace {

namespace fs = std::filesystem;

/// JSON inside a script element: no < is left, so that no text of a file can end the element.
std::string forScriptElement(const cli::Json& data) {
  std::string text;
  for (const char c : cli::compact(data)) {
    if (c == '<') {
      text += "\\u003c";
    } else {
      text.push_back(c);
    }
  }
  return text;
}

class Report final : public Command {
 public:
  const char* name() const override { return "report"; }
  const char* help() const override { return "Write a page that shows a file, for a browser."; }
  const char* notes() const override {
    return "The page is one file that loads nothing from elsewhere: facts, chapters, tags,\n"
           "pictures, what check finds, bit rate, interleaving, sample sizes with key\n"
           "frames, and the tree of boxes. A page that exists is replaced only with --force;\n"
           "links, folders, devices and pipes never are.";
  }
  void addOptions(CLI::App& app) override {
    addFile(app, file_);
    app.add_option("-o,--output", output_, "The page to write")->required()->type_name("OUT");
    app.add_flag_callback(
        "--force", [this] { existing_ = cli::Existing::replace; }, "Replace a page that exists");
    addPluginOption(app, plugin_);
  }

  ExitStatus run(const Surroundings& surroundings) override {
    return forEachFile(surroundings, {file_}, Output::text, [&](const fs::path& name) {
      File file(name);
      if (cli::sameFile(name, output_)) {
        throw cli::Failure(ExitStatus::usage, "The page would replace the file that it shows.");
      }
      cli::OutputFile page(output_, existing_);
      const PluginView view = askPlugin(plugin_, name);
      const std::string data =
          forScriptElement(reportData(file, view, [&] { surroundings.throwIfCancelled(); }));
      page.write(kPageBeforeData, kPageBeforeDataBytes);
      page.write(reinterpret_cast<const uint8_t*>(data.data()), data.size());
      page.write(kPageAfterData, kPageAfterDataBytes);
      page.finish();
      if (view.status != ExitStatus::success) {  // the page lacks what the plug-in would tell
        surroundings.err << "velainspect: " << cli::pathText(name) << ": " << view.refusal << '\n';
      }
      return view.status;
    });
  }

 private:
  fs::path file_;
  fs::path output_;
  fs::path plugin_;
  cli::Existing existing_ = cli::Existing::keep;
};

}  // namespace

std::unique_ptr<Command> makeReport() { return std::make_unique<Report>(); }

}  // namespace inspect
