#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "cli/text.h"
#include "host/commands/commands.h"
#include "host/failure.h"
#include "host/json_output.h"
#include "host/text.h"

namespace velahost {
namespace {

/// Where a seek took the two streams. A stream that is at its end has no packet.
struct Landing {
  int64_t target = 0;  ///< host units from the item's start
  uint32_t prerollPackets = 0;
  bool hasAudio = false;  ///< `playback.audio` is the first packet that is heard
  bool hasVideo = false;  ///< `playback.video` is the key frame
};

Landing land(Playback& playback, uint64_t target) {
  Landing landing;
  landing.target = static_cast<int64_t>(target);
  playback.seek(target);
  while (playback.audioFormat.present && playback.nextAudio()) {
    if (playback.audio.frames != 0) {
      landing.hasAudio = true;
      break;
    }
    ++landing.prerollPackets;
  }
  landing.hasVideo = playback.videoFormat.present && playback.nextVideo();
  return landing;
}

std::string place(const Payload& payload) {
  return std::to_string(payload.bytes.size()) + " bytes at file offset " +
         std::to_string(payload.fileOffset);
}

/// A time in seconds and in host units.
std::string bothUnits(int64_t hostUnits) {
  return secondsText(hostUnits, 3) + " s (" + std::to_string(hostUnits) + " host units)";
}

void writeAudio(std::ostream& out, const Playback& playback, const Landing& landing) {
  if (!landing.hasAudio) {
    out << "Audio   at its end\n";
    return;
  }
  out << "Audio   " << cli::counted(landing.prerollPackets, "packet")
      << " of pre-roll, then a packet";
  if (playback.audio.startOffset != 0) {
    out << " whose first " << cli::counted(playback.audio.startOffset, "frame") << " are cut";
  }
  out << "\n        " << cli::counted(playback.audio.frames, "frame") << " to play; "
      << place(playback.audio.payload) << '\n';
}

void writeVideo(std::ostream& out, const Playback& playback, const Landing& landing) {
  if (!landing.hasVideo) {
    out << "Video   at its end\n";
    return;
  }
  const int64_t late = playback.videoTime - landing.target;
  out << "Video   key frame at " << bothUnits(playback.videoTime) << ",\n        ";
  if (late == 0) {
    out << "at the target";
  } else {
    out << secondsText(late < 0 ? -late : late, 3) << " s " << (late < 0 ? "before" : "after")
        << " the target";
  }
  out << "; " << place(playback.video.payload) << '\n';
}

void writeText(std::ostream& out, const Playback& playback, const Landing& landing, uint32_t item) {
  out << "Target  " << bothUnits(landing.target) << " in item " << item << '\n';
  if (playback.audioFormat.present) writeAudio(out, playback, landing);
  if (playback.videoFormat.present) writeVideo(out, playback, landing);
}

Json audioJson(const Playback& playback, const Landing& landing) {
  if (!playback.audioFormat.present) return nullptr;
  return {{"at_end", !landing.hasAudio},
          {"preroll_packets", landing.prerollPackets},
          {"packet", landing.hasAudio ? packetJson(playback, StreamKind::audio) : Json(nullptr)}};
}

Json videoJson(const Playback& playback, const Landing& landing) {
  if (!playback.videoFormat.present) return nullptr;
  return {{"at_end", !landing.hasVideo},
          {"packet", landing.hasVideo ? packetJson(playback, StreamKind::video) : Json(nullptr)}};
}

Json landingJson(const SeekOptions& options, const Playback& playback, const Landing& landing) {
  Json json = documentJson("seek", options.file.string());
  json["item"] = options.item;
  json["time_base"] = kJsonTimeBase;
  addTime(json, "target", landing.target);
  json["audio"] = audioJson(playback, landing);
  json["video"] = videoJson(playback, landing);
  return json;
}

}  // namespace

void seek(Session& session, const SeekOptions& options, std::ostream& out) {
  const Reference<vela::IMediaSplitterEx> splitter = session.openForPlaying(options.file);
  Playback playback(*splitter.get(), &session.token);
  requireItem(*splitter.get(), options.item);
  playback.start(options.item, Wanted::both);
  const Landing landing = land(playback, options.to);
  if (options.output == Output::json) {
    out << cli::indented(landingJson(options, playback, landing)) << '\n';
  } else {
    writeText(out, playback, landing, options.item);
  }
}

}  // namespace velahost
