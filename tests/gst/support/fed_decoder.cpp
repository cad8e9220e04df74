#include "tests/gst/support/fed_decoder.h"

#include <gst/app/gstappsrc.h>

#include <algorithm>
#include <utility>

#include "cli/text.h"
#include "host/failure.h"
#include "host/media_info.h"
#include "host/splitter_file.h"
#include "host/text.h"

namespace pipelines {
namespace {

using Bytes = std::vector<uint8_t>;

std::string hexadecimal(const Bytes& bytes) { return cli::hexText(bytes, ""); }

bool isAac(const Packets& packets) {
  return velahost::sameGuid(packets.audioFormat.mediaId, vela::kMediaAac);
}

bool isH264(const Packets& packets) {
  return velahost::sameGuid(packets.videoFormat.mediaId, vela::kMediaH264);
}

std::string soundCaps(const Packets& packets) {
  std::string caps = isAac(packets) ? "audio/mpeg, mpegversion=(int)4, stream-format=(string)raw"
                                    : "audio/mpeg, mpegversion=(int)1, layer=(int)3";
  caps += ", rate=(int)" + std::to_string(packets.sampleRate) + ", channels=(int)" +
          std::to_string(packets.channels);
  if (isAac(packets)) {
    caps += ", codec_data=(buffer)" + hexadecimal(packets.audioFormat.config);
  }
  return caps;
}

std::string pictureCaps(const Packets& packets) {
  if (isH264(packets)) {
    return "video/x-h264, stream-format=(string)byte-stream, alignment=(string)au";
  }
  return "video/mpeg, mpegversion=(int)4, systemstream=(boolean)false, codec_data=(buffer)" +
         hexadecimal(packets.videoFormat.config);
}

void appendUnit(Bytes& stream, const uint8_t* unit, size_t size) {
  const uint8_t startCode[] = {0, 0, 0, 1};
  stream.insert(stream.end(), startCode, startCode + 4);
  stream.insert(stream.end(), unit, unit + size);
}

/// NAL units after a length become NAL units after a start code.
void appendUnits(Bytes& stream, const Bytes& units, size_t lengthBytes) {
  for (size_t at = 0; at + lengthBytes <= units.size();) {
    size_t length = 0;
    for (size_t i = 0; i < lengthBytes; ++i) length = length << 8 | units[at + i];
    at += lengthBytes;
    length = std::min(length, units.size() - at);
    appendUnit(stream, &units[at], length);
    at += length;
  }
}

class Feeder {
 public:
  /// @param sink  ends with "name="
  Feeder(const std::string& caps, const std::string& decoder, const std::string& sink)
      : pipeline_("appsrc name=in format=time max-bytes=0 ! " + decoder + sink + "out"),
        input_(pipeline_.element("in")),
        output_(pipeline_.element("out")) {
    GstCaps* const parsed = gst_caps_from_string(caps.c_str());
    gst_app_src_set_caps(GST_APP_SRC(input_.get()), parsed);
    gst_caps_unref(parsed);
    pipeline_.setState(GST_STATE_PLAYING);
  }

  void push(const Bytes& bytes, uint64_t time) {
    GstBuffer* const buffer = gst_buffer_new_memdup(bytes.data(), bytes.size());
    GST_BUFFER_PTS(buffer) = time;
    gst_app_src_push_buffer(GST_APP_SRC(input_.get()), buffer);
  }

  GstElement* finish() {
    gst_app_src_end_of_stream(GST_APP_SRC(input_.get()));
    return output_.get();
  }

 private:
  Pipeline pipeline_;
  Owned<GstElement> input_;
  Owned<GstElement> output_;
};

}  // namespace

Packets readPackets(const std::string& file, uint32_t item) {
  velahost::Session session("");
  const auto splitter = session.openForPlaying(file);
  const velahost::MediaInfoRecord info = velahost::describe(*splitter.get(), item, session.token);
  velahost::Playback playback(*splitter.get(), &session.token);
  playback.start(item, velahost::Wanted::both);
  Packets packets;
  packets.audioFormat = playback.audioFormat;
  packets.videoFormat = playback.videoFormat;
  packets.sampleRate = info.description->sampleRate;
  packets.channels = info.description->channels;
  for (;;) {
    const velahost::StreamKind kind = playback.next();
    if (kind == velahost::StreamKind::none) return packets;
    if (kind == velahost::StreamKind::audio) {
      const velahost::AudioPacketRecord& audio = playback.audio;
      packets.audio.push_back({audio.payload.bytes, audio.frames, audio.startOffset, 0});
    } else {
      packets.video.push_back({playback.video.payload.bytes, 0, 0, playback.videoTime});
    }
  }
}

uint64_t playedFrames(const Packets& packets) {
  uint64_t frames = 0;
  for (const Packets::Packet& packet : packets.audio) frames += packet.frames;
  return frames;
}

Sound decodeSound(const Packets& packets, const std::string& decoder) {
  Feeder feeder(soundCaps(packets), decoder, kSoundSink);
  uint64_t frame = 0;
  for (const Packets::Packet& packet : packets.audio) {
    feeder.push(packet.bytes, gst_util_uint64_scale(frame, GST_SECOND, packets.sampleRate));
    frame += packet.startOffset + packet.frames;
  }
  return soundOf(feeder.finish());
}

std::vector<Picture> decodePictures(const Packets& packets, const std::string& decoder) {
  Feeder feeder(pictureCaps(packets), decoder, " ! appsink sync=false name=");
  Bytes headers;
  if (isH264(packets)) appendUnits(headers, packets.videoFormat.config, 2);
  for (const Packets::Packet& packet : packets.video) {
    Bytes stream = std::move(headers);
    headers.clear();
    if (isH264(packets)) {
      appendUnits(stream, packet.bytes, 4);
    } else {
      stream = packet.bytes;
    }
    const auto units = static_cast<uint64_t>(std::max<int64_t>(packet.time, 0));
    feeder.push(stream, gst_util_uint64_scale_round(units, GST_SECOND, vela::kHostUnitsPerSecond));
  }
  return picturesOf(feeder.finish());
}

std::vector<std::string> soundDecoders(const Packets& packets) {
  if (!packets.audioFormat.present) return {};
  if (isAac(packets)) return {"avdec_aac", "faad"};
  return {"avdec_mp3float"};
}

std::string pictureDecoder(const Packets& packets) {
  return isH264(packets) ? "avdec_h264 max-threads=1" : "avdec_mpeg4 max-threads=1";
}

}  // namespace pipelines
