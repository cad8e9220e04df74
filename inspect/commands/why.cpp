#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/text.h"
#include "inspect/advice.h"
#include "inspect/box_fields.h"
#include "inspect/commands/commands.h"
#include "inspect/losses.h"
#include "inspect/opening.h"

namespace inspect {
namespace {

using Json = nlohmann::ordered_json;

/// A text in lines of at most 80 columns, indented; the first may begin with a dash.
void writeWrapped(Printer& out, const std::string& text, const char* start = "") {
  constexpr size_t kWidth = 80;
  const std::string indent(2 + cli::columns(start), ' ');
  std::string line = std::string("  ") + start;
  bool empty = true;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find(' ', at), text.size());
    const std::string word = text.substr(at, end - at);
    if (!empty && cli::columns(line) + 1 + cli::columns(word) > kWidth) {
      out.line("{}", line);
      line = indent;
      empty = true;
    }
    line += (empty ? "" : " ") + word;
    empty = false;
    at = end + 1;
  }
  if (!empty) out.line("{}", line);
}

/// "AAC, 44100 Hz, 2 channels, 3.223 s"
std::string describe(const Opening& opening, uint32_t track, bool audio) {
  atomkit::TrackSummary summary;
  opening.movie.summary(track, summary);
  const uint32_t type = opening.movie.objectType(track);
  std::string text;
  if (audio) {
    text = fmt::format("{}, {} Hz, {}", type == 0x69 || type == 0x6b ? "MP3" : "AAC",
                       summary.sampleRate, cli::counted(summary.channelCount, "channel"));
  } else {
    const bool avc = opening.movie.codecKind(track) == atomkit::CodecKind::avc1;
    text = fmt::format("{}, {}x{}", avc ? "H.264" : "MPEG-4 Visual", summary.width, summary.height);
  }
  if (summary.duration() != UINT64_MAX) {
    text += ", " + tickSeconds(summary.duration(), summary.timescale) + " s";
  }
  return text;
}

class Why final : public Command {
 public:
  const char* name() const override { return "why"; }
  const char* help() const override {
    return "Tell why a file is refused, or what is lost of\none that opens.";
  }
  const char* notes() const override {
    return "A refused file is told with the library's message, the number of bytes that had\n"
           "been read, the box that holds the last of them and where that box begins, what\n"
           "the message means, and what can be done. Of a file that opens, what a host does\n"
           "not get is listed with its reason and counts.";
  }
  void addOptions(CLI::App& app) override {
    addFiles(app, files_);
    addJsonOption(app, output_);
  }

  ExitStatus run(const Surroundings& surroundings) override {
    return forEachFile(surroundings, files_, output_, [&](const std::filesystem::path& name) {
      File file(name);
      Opening opening;
      open(file, opening);
      const MovieMap map = readMovieMap(file);
      return opening.refusal ? refused(file, opening, map, surroundings.out)
                             : opened(file, opening, map, surroundings);
    });
  }

 private:
  ExitStatus refused(const File& file, const Opening& opening, const MovieMap& map,
                     Printer& out) const {
    const Refusal& refusal = *opening.refusal;
    const Advice advice = adviceFor(refusal, file, map);
    const Box* const box = refusal.box.deepest();
    if (output_ == Output::json) {
      Json document = startDocument("why", file.name());
      document["opens"] = false;
      document["refusal"] = {{"message", refusal.message},
                             {"offset", refusal.position ? Json(*refusal.position) : Json(nullptr)},
                             {"path", box ? Json(pathText(*box)) : Json(nullptr)},
                             {"box_offset", box ? Json(box->offset) : Json(nullptr)},
                             {"describable", refusal.describable},
                             {"meaning", advice.meaning},
                             {"remedy", advice.remedy}};
      out.json(document);
      return ExitStatus::refused;
    }
    std::string where;
    if (refusal.position) where += fmt::format(", after byte {}", *refusal.position);
    if (box) where += fmt::format(", in {} at {}", pathText(*box), box->offset);
    out.line("{}: refused: {}{}", cli::pathText(file.name()), refusal.message, where);
    writeWrapped(out, advice.meaning);
    if (refusal.describable) {
      writeWrapped(out, "A host that asks for tags and chapters alone can open it.");
    }
    writeWrapped(out, advice.remedy);
    return ExitStatus::refused;
  }

  ExitStatus opened(File& file, const Opening& opening, const MovieMap& map,
                    const Surroundings& surroundings) const {
    const std::vector<Loss> losses =
        findLosses(file, opening, map, [&] { surroundings.throwIfCancelled(); });
    if (output_ == Output::json) {
      Json document = startDocument("why", file.name());
      document["opens"] = true;
      document["audio_track"] = opening.taken.audio ? Json(*opening.taken.audio) : Json(nullptr);
      document["video_track"] = opening.taken.video ? Json(*opening.taken.video) : Json(nullptr);
      document["losses"] = Json::array();
      for (const Loss& loss : losses) {
        document["losses"].push_back({{"code", loss.code},
                                      {"track", loss.track ? Json(*loss.track) : Json(nullptr)},
                                      {"count", loss.count},
                                      {"message", loss.text}});
      }
      surroundings.out.json(document);
      return ExitStatus::success;
    }
    Printer& out = surroundings.out;
    out.line("{}: opens", cli::pathText(file.name()));
    if (opening.taken.audio) {
      out.line("  audio: track {}, {}", *opening.taken.audio,
               describe(opening, *opening.taken.audio, true));
    }
    if (opening.taken.video) {
      out.line("  video: track {}, {}", *opening.taken.video,
               describe(opening, *opening.taken.video, false));
    }
    if (losses.empty()) out.line("  all of it is delivered");
    for (const Loss& loss : losses) writeWrapped(out, loss.text + ".", "- ");
    return ExitStatus::success;
  }

  std::vector<std::filesystem::path> files_;
  Output output_ = Output::text;
};

}  // namespace

std::unique_ptr<Command> makeWhy() { return std::make_unique<Why>(); }

}  // namespace inspect
