// The same decoders, fed with the same packets by the reference host instead of the element: what
// comes out is what should come out of the element's pipelines.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "host/playback.h"
#include "tests/gst/support/decoded.h"

namespace pipelines {

/// What the reference host tells of an item.
struct Packets {
  struct Packet {
    std::vector<uint8_t> bytes;
    uint32_t frames = 0;       ///< audio: to play
    uint32_t startOffset = 0;  ///< audio: before those
    int64_t time = 0;          ///< video: host units from the item's start
  };
  velahost::AudioFormatRecord audioFormat;
  velahost::VideoFormatRecord videoFormat;
  uint32_t sampleRate = 0;
  uint32_t channels = 0;
  std::vector<Packet> audio;
  std::vector<Packet> video;
};

/// @throws velahost::Failure when the item can't be played to its end
Packets readPackets(const std::string& file, uint32_t item = 0);

/// Decodes whole packets that follow each other from frame 0 on. Nothing is cut.
Sound decodeSound(const Packets& packets, const std::string& decoder);

/// Frames to play, as the packets say: from the first one on.
uint64_t playedFrames(const Packets& packets);

/// Decodes pictures. H.264 goes through as a byte stream, whose parameter sets stand before the
/// first picture, so that nothing depends on the element's way of telling the configuration.
std::vector<Picture> decodePictures(const Packets& packets, const std::string& decoder);

/// The decoders that fit a file's formats.
std::vector<std::string> soundDecoders(const Packets& packets);
std::string pictureDecoder(const Packets& packets);

}  // namespace pipelines
