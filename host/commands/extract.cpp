#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <system_error>
#include <vector>

#include "cli/output_file.h"
#include "cli/progress.h"
#include "cli/text.h"
#include "host/commands/commands.h"
#include "host/elementary_writer.h"
#include "host/failure.h"
#include "host/item_range.h"
#include "host/json_output.h"
#include "host/range_reader.h"
#include "host/stream_ends.h"
#include "host/text.h"

namespace velahost {
namespace {

Wanted wantedStreams(const ExtractOptions& options) {
  if (options.audio.empty() && options.video.empty()) {
    throw Failure(ExitStatus::usage,
                  "Name an output: --output, --chapters, --audio, --video or the last two.");
  }
  if (options.video.empty()) return Wanted::audio;
  return options.audio.empty() ? Wanted::video : Wanted::both;
}

bool usesStandardOutput(const ExtractOptions& options) {
  return options.audio == cli::kStandardOutput || options.video == cli::kStandardOutput ||
         options.playable == cli::kStandardOutput;
}

void refuseCombinations(const ExtractOptions& options, const cli::Console& console) {
  const bool bare = !options.audio.empty() || !options.video.empty();
  if (bare + !options.playable.empty() + !options.chapters.empty() > 1) {
    throw Failure(ExitStatus::usage,
                  "--output, --chapters, and --audio with --video exclude each other.");
  }
  if (bare && !options.form.empty()) {
    throw Failure(ExitStatus::usage,
                  "--format goes with --output and --chapters; a bare stream has one form.");
  }
  if (!usesStandardOutput(options)) return;
  if (options.output == Output::json) {
    throw Failure(ExitStatus::usage, "Standard output can't take both the stream and JSON.");
  }
  if (console.out == cli::Terminal::yes) {
    throw Failure(ExitStatus::usage,
                  "Standard output is a terminal; send it to a file or to a program.");
  }
}

void refuseSharedFiles(const ExtractOptions& options) {
  for (const std::filesystem::path& output : {options.audio, options.video}) {
    if (!output.empty() && cli::sameFile(output, options.file)) {
      throw Failure(ExitStatus::usage,
                    "The output " + cli::pathText(output) + " is the input itself.");
    }
  }
  if (!options.audio.empty() && !options.video.empty() &&
      cli::sameFile(options.audio, options.video)) {
    throw Failure(ExitStatus::usage, "The output " + cli::pathText(options.video) +
                                         " can't take both audio and video.");
  }
}

/// One stream on its way into a file.
class Extraction {
 public:
  Extraction(const char* kind, const std::filesystem::path& target, cli::Existing existing)
      : kind_(kind), file_(target, existing) {}

  template <class Format>
  void start(const Format& format) {
    if (!format.present) {
      throw Failure(ExitStatus::notRepresentable,
                    std::string("The file has no ") + kind_ + " that can be extracted.");
    }
    mediaName_ = mediaName(format.mediaId);
    writer_.emplace(file_, format);
  }

  void write(std::vector<uint8_t>& packet) { writer_->write(packet); }

  void requirePackets() const {
    if (!file_.begun()) {
      throw Failure(ExitStatus::notRepresentable,
                    std::string("The ") + kind_ + " ends before its first packet.");
    }
  }

  void finish() { file_.finish(); }

  /// Gives its name to what was written, and says so; says nothing when there is nothing.
  std::string keepPartial() {
    if (!file_.begun()) return "";
    try {
      file_.finish();
    } catch (const cli::Failure& failure) {
      return std::string(" ") + failure.what();
    }
    return " The output " + cli::pathText(file_.target()) + " has the " +
           std::to_string(writer_->packets()) + " packets before that.";
  }

  Json json(StreamKind kind, const StreamEnds& ends) const {
    Json json = {{"output", file_.target().string()},
                 {"codec_name", mediaName_},
                 {"packets", writer_->packets()},
                 {"bytes", writer_->bytes()}};
    addEnd(json, kind, ends);
    return json;
  }

  void report(std::ostream& out) const {
    out << kind_ << "   " << mediaName_ << ", " << writer_->packets() << " packets, "
        << writer_->bytes() << " bytes\n";
  }

 private:
  const char* kind_;
  cli::OutputFile file_;
  std::optional<ElementaryWriter> writer_;
  std::string mediaName_;
};

void copyPackets(RangeReader& reader, Playback& playback, std::optional<Extraction>& audio,
                 std::optional<Extraction>& video, cli::Progress& progress, StreamEnds& ends) {
  uint64_t furthest = 0;
  for (StreamKind kind = reader.next(); kind != StreamKind::none; kind = reader.next()) {
    const bool isAudio = kind == StreamKind::audio;
    Payload& payload = isAudio ? playback.audio.payload : playback.video.payload;
    furthest = std::max(furthest, payload.fileOffset);
    progress.reach(furthest);
    ends.count(playback, kind);
    (isAudio ? audio : video)->write(payload.bytes);
  }
  for (const auto* stream : {&audio, &video}) {
    if (*stream) (*stream)->requirePackets();
  }
}

}  // namespace

void extract(Session& session, const ExtractOptions& options, std::ostream& out, std::ostream& err,
             const cli::Console& console) {
  refuseCombinations(options, console);
  if (!options.playable.empty() || !options.chapters.empty()) {
    cut(session, options, out, err, console);
    return;
  }
  const Wanted wanted = wantedStreams(options);
  refuseSharedFiles(options);
  std::optional<Extraction> audio;
  std::optional<Extraction> video;
  if (!options.audio.empty()) audio.emplace("audio", options.audio, options.existing);
  if (!options.video.empty()) video.emplace("video", options.video, options.existing);

  const Reference<vela::IMediaSplitterEx> splitter = session.openForPlaying(options.file);
  Playback playback(*splitter.get(), &session.token);
  const Range range = rangeOf(partsOf(*splitter.get(), session.token), options.item);
  const uint64_t duration = range.end == vela::kUnknown64
                                ? durationOf(*splitter.get(), range.itemId, session.token)
                                : range.end;
  StreamEnds ends(duration, range.start);
  RangeReader reader(playback, range, wanted);
  reader.begin();  // describing an item selects it, so playing comes after it
  if (audio) audio->start(playback.audioFormat);
  if (video) video->start(playback.videoFormat);

  try {
    {
      std::error_code unknown;
      const auto length = std::filesystem::file_size(options.file, unknown);
      cli::Progress progress(err, console, unknown ? 0 : length, cli::Progress::Unit::bytes);
      copyPackets(reader, playback, audio, video, progress, ends);
    }
    if (audio) audio->finish();
    refuseSharedFiles(options);  // names that differ in case may be one file, now that it exists
    if (video) video->finish();
  } catch (const cli::Failure& failure) {
    if (!options.keepPartial) throw;
    std::string sentence = failure.what();
    if (audio) sentence += audio->keepPartial();
    if (video) sentence += video->keepPartial();
    throw Failure::of(failure).withSentence(sentence);
  }
  if (options.output == Output::json) {
    Json json = documentJson("extract", options.file.string());
    json["time_base"] = kJsonTimeBase;
    addDuration(json, "duration", duration);
    json["audio"] = audio ? audio->json(StreamKind::audio, ends) : Json(nullptr);
    json["video"] = video ? video->json(StreamKind::video, ends) : Json(nullptr);
    out << cli::indented(json) << '\n';
    return;
  }
  std::ostream& words = usesStandardOutput(options) ? err : out;
  if (audio) audio->report(words);
  if (video) video->report(words);
  out.flush();
  ends.write(err, options.file, playback);
}

}  // namespace velahost
