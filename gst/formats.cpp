#include "gst/formats.h"

#include <gst/pbutils/pbutils.h>

#include <cstring>

#include "gst/avc_configuration.h"

namespace velagst {
namespace {

bool isSame(const vela::Guid& left, const vela::Guid& right) {
  return std::memcmp(left.bytes, right.bytes, sizeof left.bytes) == 0;
}

void setCodecData(GstCaps* caps, const std::vector<uint8_t>& bytes) {
  GstBuffer* const data = gst_buffer_new_memdup(bytes.data(), bytes.size());
  gst_caps_set_simple(caps, "codec_data", GST_TYPE_BUFFER, data, nullptr);
  gst_buffer_unref(data);
}

void setPositive(GstCaps* caps, const char* field, int64_t value) {
  if (value > 0 && value <= G_MAXINT) {
    gst_caps_set_simple(caps, field, G_TYPE_INT, static_cast<gint>(value), nullptr);
  }
}

/// Writers put 2 into the description of every file; the configuration of AAC knows better.
int64_t channelsOf(const AudioFormat& format, const vela::ItemDescription& description) {
  const auto size = static_cast<guint>(format.config.size());
  const bool isAac = isSame(format.mediaId, vela::kMediaAac);
  const guint configured =
      !isAac ? 0 : gst_codec_utils_aac_get_channels(format.config.data(), size);
  return configured ? configured : description.channels;
}

}  // namespace

void AudioFormat::set(const vela::Guid* id, const uint8_t* bytes, uint32_t size) {
  present = true;
  mediaId = *id;
  config.assign(bytes, bytes + size);
}

void VideoFormat::set(const vela::Guid* id, const uint8_t* bytes, uint32_t size,
                      int32_t widthPixels, int32_t heightPixels) {
  present = true;
  mediaId = *id;
  config.assign(bytes, bytes + size);
  width = widthPixels;
  height = heightPixels;
}

GstCaps* makeAudioCaps(const AudioFormat& format, const vela::ItemDescription& description,
                       std::string& problem) {
  GstCaps* caps = nullptr;
  if (isSame(format.mediaId, vela::kMediaAac)) {
    if (format.config.empty()) {
      problem = "The file holds no decoder configuration for its AAC sound.";
      return nullptr;
    }
    caps = gst_caps_new_simple("audio/mpeg", "mpegversion", G_TYPE_INT, 4, "stream-format",
                               G_TYPE_STRING, "raw", "framed", G_TYPE_BOOLEAN, TRUE, nullptr);
    gst_codec_utils_aac_caps_set_level_and_profile(caps, format.config.data(),
                                                   static_cast<guint>(format.config.size()));
    setCodecData(caps, format.config);
  } else if (isSame(format.mediaId, vela::kMediaMp3)) {
    caps = gst_caps_new_simple("audio/mpeg", "mpegversion", G_TYPE_INT, 1, "layer", G_TYPE_INT, 3,
                               nullptr);
  } else {
    problem = "The splitter names a kind of sound that this element does not know.";
    return nullptr;
  }
  setPositive(caps, "rate", description.sampleRate);
  setPositive(caps, "channels", channelsOf(format, description));
  return caps;
}

GstCaps* makeVideoCaps(const VideoFormat& format, std::string& problem) {
  GstCaps* caps = nullptr;
  if (isSame(format.mediaId, vela::kMediaH264)) {
    if (format.config.empty()) {
      problem = "The file holds no parameter sets for its H.264 pictures.";
      return nullptr;
    }
    const auto avc = buildAvcConfiguration(format.config.data(), format.config.size());
    if (!avc) {
      problem = "The parameter sets of the H.264 pictures are damaged.";
      return nullptr;
    }
    caps = gst_caps_new_simple("video/x-h264", "stream-format", G_TYPE_STRING, "avc", "alignment",
                               G_TYPE_STRING, "au", nullptr);
    gst_codec_utils_h264_caps_set_level_and_profile(
        caps, avc->firstSequenceSet.data() + 1,
        static_cast<guint>(avc->firstSequenceSet.size() - 1));
    setCodecData(caps, avc->record);
  } else if (isSame(format.mediaId, vela::kMediaMpeg4Visual)) {
    caps = gst_caps_new_simple("video/mpeg", "mpegversion", G_TYPE_INT, 4, "systemstream",
                               G_TYPE_BOOLEAN, FALSE, nullptr);
    // Without a configuration the headers may stand before the first picture.
    if (!format.config.empty()) setCodecData(caps, format.config);
  } else {
    problem = "The splitter names a kind of picture that this element does not know.";
    return nullptr;
  }
  setPositive(caps, "width", format.width);
  setPositive(caps, "height", format.height);
  return caps;
}

}  // namespace velagst
