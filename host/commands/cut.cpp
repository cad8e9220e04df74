#include <algorithm>
#include <deque>
#include <nlohmann/json.hpp>
#include <optional>
#include <sstream>
#include <string>
#include <system_error>
#include <vector>

#include "cli/progress.h"
#include "cli/text.h"
#include "host/commands/commands.h"
#include "host/file_names.h"
#include "host/item_range.h"
#include "host/json_output.h"
#include "host/mp4_writer.h"
#include "host/playable_file.h"
#include "host/text.h"

namespace velahost {
namespace {

namespace fs = std::filesystem;

/// A part of the file and where it goes.
struct Part {
  uint32_t itemId = 0;
  Range range;
  std::string title;
};

struct FormName {
  const char* name;
  Form form;
  const char* extension;
  const vela::Guid* mediaId;  ///< the only one that it takes, or null
};
constexpr FormName kForms[] = {{"mp4", Form::mp4, "", nullptr},
                               {"adts", Form::bare, ".aac", &vela::kMediaAac},
                               {"mp3", Form::bare, ".mp3", &vela::kMediaMp3}};

/// The form that was asked for by name or by the ending of the output.
const FormName& formOf(const ExtractOptions& options) {
  const std::string ending = options.playable.extension().string();
  for (const FormName& form : kForms) {
    if (options.form.empty() ? *form.extension && ending == form.extension
                             : options.form == form.name) {
      return form;
    }
  }
  return kForms[0];
}

/// The tags, the times and the packets are read one after the other.
void requireReadableAgain(const fs::path& file) {
  std::error_code ignored;
  const fs::file_type type = fs::status(file, ignored).type();
  if (type != fs::file_type::fifo && type != fs::file_type::character) return;
  throw Failure(ExitStatus::usage,
                "A cut reads its file more than once, which a pipe does not allow; --audio and "
                "--video take one.");
}

void requireForm(const FormName& form, const FileParts& parts) {
  if (form.form == Form::mp4 && !canWriteMp4()) {
    throw Failure(
        ExitStatus::notRepresentable,
        "This velahost was built without libavformat, which writes MP4. --format adts and "
        "--format mp3 cut audio without it.");
  }
  if (!form.mediaId) return;
  const vela::ItemDescription record = parts.whole.description.value_or(vela::ItemDescription{});
  const std::string codec = record.audioFormatName;
  if (codec == mediaName(*form.mediaId)) return;
  throw Failure(ExitStatus::notRepresentable,
                codec.empty() ? "The file has no audio that can be extracted."
                              : "The file's audio is " + codec + ", which --format " + form.name +
                                    " does not take.");
}

/// A folder that is made when it is missing, and taken away again when nothing came into it.
class ChapterFolder {
 public:
  explicit ChapterFolder(const fs::path& folder) : folder_(folder) {
    std::error_code reason;
    if (fs::is_directory(folder, reason)) return;
    made_ = fs::create_directory(folder, reason);
    if (made_) return;
    throw Failure(ExitStatus::outputFailed,
                  "The folder " + cli::pathText(folder) + " can't be made: " +
                      (fs::exists(fs::symlink_status(folder)) ? std::string("it is not a folder")
                                                              : reason.message()) +
                      ".");
  }
  ChapterFolder(const ChapterFolder&) = delete;
  ChapterFolder& operator=(const ChapterFolder&) = delete;
  ~ChapterFolder() {
    std::error_code notEmpty;
    if (made_) fs::remove(folder_, notEmpty);
  }

 private:
  fs::path folder_;
  bool made_ = false;
};

std::vector<Part> partsAskedFor(const ExtractOptions& options, const FileParts& parts) {
  std::vector<Part> asked;
  const auto title = [&](size_t chapter) {
    return cli::toUtf8(parts.whole.chapters[chapter].title);
  };
  if (options.chapters.empty()) {
    // A file without marks is one chapter, whose title is the file's.
    const size_t chapter = options.item == 0 ? 0 : options.item - 1;
    const bool titled = options.item != 0 || parts.chapters.size() == 1;
    const Range range = rangeOf(parts, options.item);
    asked.push_back({options.item, range, titled ? title(chapter) : ""});
    return asked;
  }
  for (uint32_t i = 0; i < parts.chapters.size(); ++i) {
    if (options.item != 0 && options.item != i + 1) continue;
    asked.push_back({i + 1, parts.chapters[i], title(i)});
  }
  if (asked.empty()) rangeOf(parts, options.item);  // says which there are
  return asked;
}

std::deque<cli::OutputFile> outputsFor(const ExtractOptions& options, const FormName& form,
                                       const FileParts& parts, const std::vector<Part>& asked) {
  std::deque<cli::OutputFile> files;
  const char* const extension =
      form.form == Form::bare ? form.extension : (parts.film ? ".mp4" : ".m4a");
  for (const Part& part : asked) {
    const fs::path target =
        options.chapters.empty()
            ? options.playable
            : options.chapters /
                  fs::path(std::u8string_view(reinterpret_cast<const char8_t*>(
                      chapterFileName(part.itemId, parts.chapters.size(), part.title, extension)
                          .c_str())));
    if (cli::sameFile(target, options.file)) {
      throw Failure(ExitStatus::usage,
                    "The output " + cli::pathText(target) + " is the input itself.");
    }
    files.emplace_back(target, options.existing);
  }
  return files;
}

FileTags tagsFor(vela::IMediaSplitter& splitter, const FileParts& parts, const Part& part,
                 size_t numberOfParts, Token& token) {
  const MediaInfoRecord info = tagsOf(splitter, parts, part.itemId, token);
  FileTags tags = fileTags(info, part.title);
  const bool numbered = std::any_of(tags.tags.begin(), tags.tags.end(),
                                    [](const auto& tag) { return tag.first == "track"; });
  if (!numbered && numberOfParts > 1) {
    tags.tags.emplace_back(
        "track", std::to_string(part.itemId) + "/" + std::to_string(parts.chapters.size()));
  }
  return tags;
}

std::string joined(const std::vector<std::string>& words) {
  std::string all;
  for (const std::string& word : words) all += (all.empty() ? "" : ", ") + cli::printable(word);
  return all;
}

void report(std::ostream& out, const fs::path& file, const Part& part, const WrittenFile& written,
            const FileTags& tags, Form form) {
  out << (file == cli::kStandardOutput ? "standard output" : cli::pathText(file)) << '\n';
  const WrittenStream& audio = written.audio;
  const WrittenStream& video = written.video;
  if (!audio.codec.empty()) {
    out << "  audio   " << audio.codec << ", " << cli::counted(audio.frames, "frame") << " in "
        << cli::counted(audio.packets, "packet") << ", " << audio.bytes << " bytes\n";
    if (form == Form::bare) {
      out << "          whole packets: they play " << cli::counted(audio.framesBefore, "frame")
          << " before it and " << audio.framesAfter << " after it\n";
    }
  }
  if (!video.codec.empty()) {
    out << "  video   " << video.codec << ", " << cli::counted(video.packets, "packet") << ", "
        << video.bytes << " bytes";
    if (part.range.fromKeyFrame) {
      out << ", from the key frame at " << clockTime(static_cast<uint64_t>(written.origin));
    }
    out << '\n';
    if (video.passedOver > 0) {
      out << "          without " << cli::counted(video.passedOver, "picture")
          << " that can't be decoded from there\n";
    }
  }
  if (form == Form::mp4 && !tags.leftOut.empty()) {
    out << "  without the tags " << joined(tags.leftOut) << ", for which it has no place\n";
  }
}

/// Where a part begins in the file, in host units.
int64_t startInFile(const FileParts& parts, const Part& part, const WrittenFile& written) {
  if (parts.film || part.itemId == 0) return written.origin;
  return static_cast<int64_t>(parts.whole.chapters[part.itemId - 1].start);
}

Json jsonOf(const fs::path& file, const FileParts& parts, const Part& part,
            const WrittenFile& written, const FileTags& tags, Form form) {
  Json json = {{"output", file.string()}, {"item", part.itemId}, {"title", part.title}};
  addTime(json, "start", startInFile(parts, part, written));
  json["audio"] = nullptr;
  json["video"] = nullptr;
  const auto stream = [](const WrittenStream& one) {
    return Json{{"codec_name", one.codec}, {"packets", one.packets}, {"bytes", one.bytes}};
  };
  if (!written.audio.codec.empty()) {
    Json& audio = json["audio"] = stream(written.audio);
    audio["frames"] = written.audio.frames;
    audio["frames_before"] = written.audio.framesBefore;
    audio["frames_after"] = written.audio.framesAfter;
  }
  if (!written.video.codec.empty()) {
    Json& video = json["video"] = stream(written.video);
    video["passed_over"] = written.video.passedOver;
  }
  json["tags_left_out"] = form == Form::mp4 ? Json(tags.leftOut) : Json::array();
  return json;
}

/// How many files are whole, for a failure after some of them.
std::string wholeFiles(size_t done, size_t all) {
  if (all < 2) return "";
  return " " + std::to_string(done) + " of " + cli::counted(all, "chapter") +
         (done == 1 ? " was written." : " were written.");
}

}  // namespace

void cut(Session& session, const ExtractOptions& options, std::ostream& out, std::ostream& err,
         const cli::Console& console) {
  if (options.keepPartial) {
    throw Failure(ExitStatus::usage,
                  "--keep-partial goes with --audio and --video: a part of a file that plays is no "
                  "file that plays.");
  }
  requireReadableAgain(options.file);
  const Reference<vela::IMediaSplitter> about = session.openForInformation(options.file);
  const FileParts parts = partsOf(*about.get(), session.token);
  const FormName& form = formOf(options);
  requireForm(form, parts);
  const std::vector<Part> asked = partsAskedFor(options, parts);
  std::optional<ChapterFolder> folder;
  if (!options.chapters.empty()) folder.emplace(options.chapters);
  std::deque<cli::OutputFile> files = outputsFor(options, form, parts, asked);

  const Reference<vela::IMediaSplitterEx> splitter = session.openForPlaying(options.file);
  Playback playback(*splitter.get(), &session.token);
  std::error_code unknown;
  const auto length = fs::file_size(options.file, unknown);
  std::optional<cli::Progress> progress;
  progress.emplace(err, console, unknown ? 0 : length, cli::Progress::Unit::bytes);
  uint64_t furthest = 0;
  const Reached reached = [&](uint64_t offset) {
    furthest = std::max(furthest, offset);
    progress->reach(furthest);
  };

  const uint32_t channels = parts.whole.description.value_or(vela::ItemDescription{}).channels;
  std::ostringstream text;
  Json cuts = Json::array();
  for (size_t i = 0; i < asked.size(); ++i) {
    const Part& part = asked[i];
    try {
      const FileTags tags = tagsFor(*about.get(), parts, part, asked.size(), session.token);
      const WrittenFile written =
          writePlayable(playback, part.range, form.form, channels, tags, reached, files[i]);
      // Packets are asked for no more, and yet nobody wants the file.
      if (session.token.isCancelled()) throw Failure(Place::output, vela::TIOResult::cancelled);
      files[i].finish();
      report(text, files[i].target(), part, written, tags, form.form);
      cuts.push_back(jsonOf(files[i].target(), parts, part, written, tags, form.form));
    } catch (const cli::Failure& failure) {
      const Failure whole = session.context.explained(Failure::of(failure));
      throw whole.withSentence(whole.what() + wholeFiles(i, asked.size()));
    }
  }
  progress.reset();
  if (options.output == Output::json) {
    Json json = documentJson("cut", options.file.string());
    json["time_base"] = kJsonTimeBase;
    addDuration(json, "duration", parts.whole.duration);
    json["format"] = form.name;
    json["files"] = std::move(cuts);
    out << cli::indented(json) << '\n';
    return;
  }
  (options.playable == cli::kStandardOutput ? err : out) << text.str();
}

}  // namespace velahost
