#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "host/commands/commands.h"
#include "host/failure.h"
#include "host/json_output.h"
#include "host/text.h"

namespace velahost {
namespace {

/// Where a seek took the two streams. A stream that is at its end has no packet.
struct Landing {
  uint64_t target = 0;  ///< host units from the item's start
  uint32_t prerollPackets = 0;
  bool hasAudio = false;  ///< `playback.audio` is the first packet that is heard
  bool hasVideo = false;  ///< `playback.video` is the key frame
};

Landing land(Playback& playback, uint64_t target) {
  Landing landing;
  landing.target = target;
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

void writeText(std::ostream& out, const Playback& playback, const Landing& landing, uint32_t item) {
  out << "Target  " << clockTime(landing.target) << " in item " << item << '\n';
  if (playback.audioFormat.present) {
    out << "Audio   ";
    if (landing.hasAudio) {
      out << landing.prerollPackets << " packets of pre-roll, then " << playback.audio.frames
          << " frames after the first " << playback.audio.startOffset << " are cut; "
          << place(playback.audio.payload) << '\n';
    } else {
      out << "at its end\n";
    }
  }
  if (playback.videoFormat.present) {
    out << "Video   ";
    if (landing.hasVideo) {
      const bool behind = playback.videoTime > landing.target;
      const uint64_t distance =
          behind ? playback.videoTime - landing.target : landing.target - playback.videoTime;
      out << "key frame at " << clockTime(playback.videoTime) << ", " << secondsText(distance)
          << " s " << (behind ? "behind" : "before") << " the target; "
          << place(playback.video.payload) << '\n';
    } else {
      out << "at its end\n";
    }
  }
}

nlohmann::ordered_json json(const Playback& playback, const Landing& landing, uint32_t item) {
  nlohmann::ordered_json value = {{"item", item},
                                  {"targetHostUnits", landing.target},
                                  {"prerollPackets", landing.prerollPackets},
                                  {"audio", nullptr},
                                  {"video", nullptr}};
  if (landing.hasAudio) value["audio"] = toJson(playback, StreamKind::audio);
  if (landing.hasVideo) value["video"] = toJson(playback, StreamKind::video);
  return value;
}

}  // namespace

void seek(Session& session, const SeekOptions& options, std::ostream& out) {
  const uint64_t target = hostUnitsFromSeconds(options.to);
  const Reference<vela::IMediaSplitterEx> splitter = session.openForPlaying(options.file);
  Playback playback(*splitter.get(), &session.token);
  playback.start(options.item, Wanted::both);
  const Landing landing = land(playback, target);
  if (options.output == Output::json) {
    out << indented(json(playback, landing, options.item)) << '\n';
  } else {
    writeText(out, playback, landing, options.item);
  }
}

}  // namespace velahost
