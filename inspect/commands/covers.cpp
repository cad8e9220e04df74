// velainspect covers: every picture in the file, which can be saved.
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "cli/text.h"
#include "inspect/commands/commands.h"
#include "inspect/picture_files.h"

namespace inspect {
namespace {

namespace fs = std::filesystem;

class Covers final : public Command {
 public:
  const char* name() const override { return "covers"; }
  const char* help() const override { return "List the cover pictures in the file, or save them."; }
  const char* notes() const override {
    return "The kind of a picture is what its bytes show, whatever the file says of it.\n"
           "Saved pictures are named after the file: song.cover-1.jpg. No file that exists\n"
           "is ever replaced. The folder is made when it does not exist.\n"
           "The plug-in hands out no picture: its interface has no operation for it.";
  }
  void addOptions(CLI::App& app) override {
    addFile(app, file_);
    app.add_option("--save", folder_, "Save every picture here")->type_name("FOLDER");
    addJsonOption(app, output_);
  }

  ExitStatus run(const Surroundings& surroundings) override {
    return forEachFile(surroundings, {file_}, output_, [&](const fs::path& name) {
      File file(name);
      const std::vector<Picture> pictures = findPictures(file);
      std::vector<fs::path> saved(pictures.size());
      if (!folder_.empty() && !pictures.empty()) saved = save(file, pictures, surroundings);
      if (output_ == Output::json) {
        surroundings.out.json(document(name, pictures, saved));
      } else {
        writeText(surroundings.out, pictures, saved);
      }
      return ExitStatus::success;
    });
  }

 private:
  std::vector<fs::path> save(File& file, const std::vector<Picture>& pictures,
                             const Surroundings& surroundings) const {
    std::error_code reason;
    fs::create_directory(folder_, reason);
    if (reason) {
      throw cli::Failure(ExitStatus::outputFailed, "The folder " + cli::pathText(folder_) +
                                                       " can't be made: " + reason.message() + ".");
    }
    std::vector<fs::path> saved;
    for (size_t i = 0; i < pictures.size(); ++i) {
      saved.push_back(folder_ / pictureFileName(file.name(), pictures[i], i + 1));
      savePicture(file, pictures[i], saved.back(), surroundings);
    }
    return saved;
  }

  static void writeText(Printer& out, const std::vector<Picture>& pictures,
                        const std::vector<fs::path>& saved) {
    if (pictures.empty()) out.line("No pictures in the file.");
    for (size_t i = 0; i < pictures.size(); ++i) {
      const Picture& picture = pictures[i];
      out.line("{:3}  {}, {}, {} at {}{}", i + 1, picture.kind.name,
               cli::counted(picture.size, "byte"), picture.path, picture.offset,
               picture.isCutShort ? ", cut short" : "");
      if (!saved[i].empty()) out.line("     saved as {}", cli::pathText(saved[i]));
    }
  }

  static cli::Json document(const fs::path& name, const std::vector<Picture>& pictures,
                            const std::vector<fs::path>& saved) {
    cli::Json document = startDocument("covers", name);
    cli::Json& all = document["pictures"] = cli::Json::array();
    for (size_t i = 0; i < pictures.size(); ++i) {
      const Picture& picture = pictures[i];
      all.push_back(
          {{"kind", picture.kind.name},
           {"media_type", picture.kind.mediaType},
           {"place", picture.isInTaggingBox ? "tagging_box" : "item_list"},
           {"path", picture.path},
           {"offset", picture.offset},
           {"bytes", picture.size},
           {"cut_short", picture.isCutShort},
           {"saved", saved[i].empty() ? cli::Json(nullptr) : cli::Json(saved[i].string())}});
    }
    return document;
  }

  fs::path file_;
  fs::path folder_;
  Output output_ = Output::text;
};

}  // namespace

std::unique_ptr<Command> makeCovers() { return std::make_unique<Covers>(); }

}  // namespace inspect
