#include <cinttypes>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "host/checksum.h"
#include "host/commands/commands.h"
#include "host/json_output.h"
#include "host/text.h"

namespace velahost {
namespace {

struct Totals {
  uint64_t packets = 0;
  uint64_t bytes = 0;
};

void writeHeading(std::ostream& out) {
  out << "stream            time  frames   start      size        offset  crc32\n";
}

/// Columns that don't apply hold a dash: audio counts frames, video has times.
void writePacket(std::ostream& out, const Playback& playback, StreamKind kind) {
  const bool isAudio = kind == StreamKind::audio;
  const Payload& payload = isAudio ? playback.audio.payload : playback.video.payload;
  const std::string time = isAudio ? "-" : secondsText(playback.videoTime);
  const std::string frames = isAudio ? std::to_string(playback.audio.frames) : "-";
  const std::string start = isAudio ? std::to_string(playback.audio.startOffset) : "-";
  char text[160];
  std::snprintf(text, sizeof text, "%-6s  %14s  %6s  %6s  %8zu  %12" PRIu64 "  %08x\n", name(kind),
                time.c_str(), frames.c_str(), start.c_str(), payload.bytes.size(),
                payload.fileOffset,
                static_cast<unsigned>(crc32(payload.bytes.data(), payload.bytes.size())));
  out << text;
}

void count(Totals& totals, const Payload& payload) {
  ++totals.packets;
  totals.bytes += payload.bytes.size();
}

void writeTotals(std::ostream& out, const Totals& audio, uint64_t frames, const Totals& video) {
  out << "audio   " << audio.packets << " packets, " << audio.bytes << " bytes, " << frames
      << " frames\n";
  out << "video   " << video.packets << " packets, " << video.bytes << " bytes\n";
}

}  // namespace

void packets(Session& session, const PacketsOptions& options, std::ostream& out) {
  const uint64_t from = hostUnitsFromSeconds(options.from);
  const Reference<vela::IMediaSplitterEx> splitter = session.openForPlaying(options.file);
  Playback playback(*splitter.get(), &session.token);
  playback.start(options.item, options.stream);
  if (from != 0) playback.seek(from);

  const bool text = options.output == Output::text && !options.summary;
  if (text) writeHeading(out);
  Totals audio;
  Totals video;
  uint64_t frames = 0;
  for (StreamKind kind = playback.next(); kind != StreamKind::none; kind = playback.next()) {
    if (kind == StreamKind::audio) {
      count(audio, playback.audio.payload);
      frames += playback.audio.frames;
    } else {
      count(video, playback.video.payload);
    }
    if (text) {
      writePacket(out, playback, kind);
    } else if (!options.summary) {
      out << compact(toJson(playback, kind)) << '\n';
    }
  }
  if (options.summary) writeTotals(out, audio, frames, video);
}

}  // namespace velahost
