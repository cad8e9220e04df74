// A file that plays by itself: packets put into a new MP4 file, with libavformat.
#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cli/output_file.h"
#include "host/packets.h"

namespace velahost {

/// Whether this program was built with libavformat.
bool canWriteMp4();

/// Ticks of video in a second.
inline constexpr uint32_t kVideoTicks = 90000;

/// What is known before the first packet. Audio is counted in sample frames, video in ticks.
struct Mp4Settings {
  struct Audio {
    AudioFormatRecord format;
    uint32_t sampleRate = 0;  ///< Hz
    uint32_t channels = 0;
    uint32_t packetFrames = 0;  ///< that a whole packet decodes to
  };
  struct Video {
    VideoFormatRecord format;
  };
  std::optional<Audio> audio;
  std::optional<Video> video;
  /// Names as libavformat has them, and values.
  std::vector<std::pair<std::string, std::string>> tags;
};

/// Writes a file that begins with its movie box. Times below 0 are not played: an edit list begins
/// at 0, where audio and video begin together. The edit list ends with the last packet's duration.
class Mp4Writer {
 public:
  /// @param file  borrowed; created by the first bytes
  /// @throws Failure (notRepresentable) when the program was built without libavformat, or a format
  ///   can't be put into MP4
  Mp4Writer(cli::OutputFile& file, const Mp4Settings& settings);
  Mp4Writer(const Mp4Writer&) = delete;
  Mp4Writer& operator=(const Mp4Writer&) = delete;
  ~Mp4Writer();

  /// @param start   the first decoded frame of the packet; below 0 for what only primes the decoder
  /// @param frames  from there to the next packet, or to the end
  /// @throws Failure (outputFailed, notRepresentable)
  void writeAudio(const std::vector<uint8_t>& packet, int64_t start, uint32_t frames);

  /// @param shown, decoded  ticks; `decoded` rises from packet to packet and is not above `shown`
  /// @param duration        ticks
  /// @throws Failure (outputFailed, notRepresentable)
  void writeVideo(const std::vector<uint8_t>& packet, int64_t shown, int64_t decoded,
                  int64_t duration);

  /// Writes the movie box. @throws Failure (outputFailed)
  void finish();

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace velahost
