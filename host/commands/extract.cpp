#include <algorithm>
#include <memory>
#include <string>
#include <system_error>

#include "host/commands/commands.h"
#include "host/elementary_writer.h"
#include "host/failure.h"
#include "host/text.h"

namespace velahost {
namespace {

Wanted wantedStreams(const ExtractOptions& options) {
  if (options.audio.empty() && options.video.empty()) {
    throw Failure(ExitStatus::usage, "Name an output file with --audio, --video or both.");
  }
  if (options.video.empty()) return Wanted::audio;
  return options.audio.empty() ? Wanted::video : Wanted::both;
}

template <class Format>
std::unique_ptr<ElementaryWriter> writerFor(const std::filesystem::path& file, const Format& format,
                                            const char* kind) {
  if (file.empty()) return nullptr;
  if (!format.present) {
    throw Failure(ExitStatus::notRepresentable,
                  std::string("The file holds no ") + kind + " that can be extracted.");
  }
  return std::make_unique<ElementaryWriter>(file, format);
}

void finish(const std::unique_ptr<ElementaryWriter>& writer, const char* kind,
            const vela::Guid& mediaId, std::ostream& out) {
  if (!writer) return;
  writer->finish();
  out << kind << "   " << mediaName(mediaId) << ", " << writer->packets() << " packets, "
      << writer->bytes() << " bytes\n";
}

}  // namespace

void extract(Session& session, const ExtractOptions& options, std::ostream& out, std::ostream& err,
             Terminal errTerminal) {
  const Wanted wanted = wantedStreams(options);
  const Reference<vela::IMediaSplitterEx> splitter = session.openForPlaying(options.file);
  Playback playback(*splitter.get(), &session.token);
  playback.start(0, wanted);
  const auto audio = writerFor(options.audio, playback.audioFormat, "audio");
  const auto video = writerFor(options.video, playback.videoFormat, "video");

  {
    std::error_code unknown;
    const auto length = std::filesystem::file_size(options.file, unknown);
    Progress progress(err, errTerminal, unknown ? 0 : length);
    uint64_t furthest = 0;
    for (StreamKind kind = playback.next(); kind != StreamKind::none; kind = playback.next()) {
      Payload& payload =
          kind == StreamKind::audio ? playback.audio.payload : playback.video.payload;
      furthest = std::max(furthest, payload.fileOffset);
      progress.reach(furthest);
      (kind == StreamKind::audio ? audio : video)->write(payload.bytes);
    }
  }
  finish(audio, "audio", playback.audioFormat.mediaId, out);
  finish(video, "video", playback.videoFormat.mediaId, out);
}

}  // namespace velahost
