// The formats that startItem() tells, as caps of the framework.
#pragma once
#include <gst/gst.h>

#include <string>
#include <vector>

#include "frontend/vela_splitter.h"

namespace velagst {

class AudioFormat final : public vela::AudioFormat {
 public:
  void clear() override { present = false; }
  void set(const vela::Guid* id, const uint8_t* bytes, uint32_t size) override;

  bool present = false;
  vela::Guid mediaId{};
  std::vector<uint8_t> config;
};

class VideoFormat final : public vela::VideoFormat {
 public:
  void clear() override { present = false; }
  void set(const vela::Guid* id, const uint8_t* bytes, uint32_t size, int32_t widthPixels,
           int32_t heightPixels) override;

  bool present = false;
  vela::Guid mediaId{};
  std::vector<uint8_t> config;
  int32_t width = -1;
  int32_t height = -1;
};

/// Caps of the stream, owned by the caller.
/// @param problem  receives a sentence when no decoder could do with the format
/// @return null with a problem
GstCaps* makeAudioCaps(const AudioFormat& format, const vela::ItemDescription& description,
                       std::string& problem);
GstCaps* makeVideoCaps(const VideoFormat& format, std::string& problem);

}  // namespace velagst
