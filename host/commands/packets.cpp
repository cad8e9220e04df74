#include <cinttypes>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>

#include "cli/text.h"
#include "host/checksum.h"
#include "host/commands/commands.h"
#include "host/json_output.h"
#include "host/stream_ends.h"
#include "host/text.h"

namespace velahost {
namespace {

struct Totals {
  bool present = false;
  uint64_t packets = 0;
  uint64_t bytes = 0;
  uint64_t frames = 0;  ///< of audio, those that are played

  void count(const Payload& payload) {
    ++packets;
    bytes += payload.bytes.size();
  }
};

void writeHeading(std::ostream& out) {
  out << "stream   index          time  frames   start      size        offset  crc32\n";
}

/// Columns that count frames hold a dash for video.
void writePacket(std::ostream& out, const Playback& playback, StreamKind kind) {
  const bool isAudio = kind == StreamKind::audio;
  const Payload& payload = isAudio ? playback.audio.payload : playback.video.payload;
  const uint64_t index = isAudio ? playback.audioIndex : playback.videoIndex;
  const int64_t time = isAudio ? playback.audioTime : playback.videoTime;
  const std::string frames = isAudio ? std::to_string(playback.audio.frames) : "-";
  const std::string start = isAudio ? std::to_string(playback.audio.startOffset) : "-";
  char text[160];
  std::snprintf(text, sizeof text,
                "%-6s  %6" PRIu64 "  %12s  %6s  %6s  %8zu  %12" PRIu64 "  %08x\n", name(kind),
                index, secondsText(time, 6).c_str(), frames.c_str(), start.c_str(),
                payload.bytes.size(), payload.fileOffset,
                static_cast<unsigned>(crc32(payload.bytes.data(), payload.bytes.size())));
  out << text;
}

std::string totalsText(const Totals& totals) {
  if (!totals.present) return "none";
  return cli::counted(totals.packets, "packet") + ", " + cli::counted(totals.bytes, "byte");
}

void writeTotals(std::ostream& out, const Totals& audio, const Totals& video) {
  out << "audio   " << totalsText(audio);
  if (audio.present) out << ", " << cli::counted(audio.frames, "frame");
  out << "\nvideo   " << totalsText(video) << '\n';
}

/// The first line: what the packets are packets of.
Json headingJson(const PacketsOptions& options, const Playback& playback) {
  Json json = documentJson("packets", options.file.string());
  json["item"] = options.item;
  json["time_base"] = kJsonTimeBase;
  addDuration(json, "from", options.from);
  json["audio"] = toJson(playback.audioFormat);
  json["video"] = toJson(playback.videoFormat);
  return json;
}

/// The last line, and all there is of a summary.
Json summaryJson(const PacketsOptions& options, uint64_t duration, const Totals& audio,
                 const Totals& video, const StreamEnds& ends) {
  Json json = documentJson("summary", options.file.string());
  json["item"] = options.item;
  json["time_base"] = kJsonTimeBase;
  addDuration(json, "duration", duration);
  json["audio"] = nullptr;
  json["video"] = nullptr;
  if (audio.present) {
    json["audio"] = {{"packets", audio.packets}, {"bytes", audio.bytes}, {"frames", audio.frames}};
    addEnd(json["audio"], StreamKind::audio, ends);
  }
  if (video.present) {
    json["video"] = {{"packets", video.packets}, {"bytes", video.bytes}};
    addEnd(json["video"], StreamKind::video, ends);
  }
  return json;
}

}  // namespace

void packets(Session& session, const PacketsOptions& options, std::ostream& out,
             std::ostream& err) {
  const Reference<vela::IMediaSplitterEx> splitter = session.openForPlaying(options.file);
  Playback playback(*splitter.get(), &session.token);
  requireItem(*splitter.get(), options.item);
  const uint64_t duration = durationOf(*splitter.get(), options.item, session.token);
  playback.start(options.item, options.stream);
  if (options.from != 0) playback.seek(options.from);

  const bool json = options.output == Output::json;
  if (json && !options.summary) out << cli::compact(headingJson(options, playback)) << '\n';
  if (!json && !options.summary) writeHeading(out);
  StreamEnds ends(duration, options.from);
  Totals audio;
  Totals video;
  audio.present = playback.audioFormat.present;
  video.present = playback.videoFormat.present;
  for (StreamKind kind = playback.next(); kind != StreamKind::none; kind = playback.next()) {
    ends.count(playback, kind);
    if (kind == StreamKind::audio) {
      audio.count(playback.audio.payload);
      audio.frames += playback.audio.frames;
    } else {
      video.count(playback.video.payload);
    }
    if (options.summary) continue;
    if (json) {
      out << cli::compact(packetJson(playback, kind)) << '\n';
    } else {
      writePacket(out, playback, kind);
    }
  }
  if (json) {
    out << cli::compact(summaryJson(options, duration, audio, video, ends)) << '\n';
    return;
  }
  if (options.summary) writeTotals(out, audio, video);
  out.flush();
  ends.write(err, options.file, playback);
}

}  // namespace velahost
