#include "tests/gst/support/decoded.h"

#include <gst/video/video.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

namespace pipelines {
namespace {

uint64_t streamTime(GstSample* sample) {
  const GstClockTime time = GST_BUFFER_PTS(gst_sample_get_buffer(sample));
  return gst_segment_to_stream_time(gst_sample_get_segment(sample), GST_FORMAT_TIME, time);
}

class Mapped {
 public:
  explicit Mapped(GstBuffer* buffer) : buffer_(buffer) {
    if (!gst_buffer_map(buffer, &info_, GST_MAP_READ)) throw std::runtime_error("no map");
  }
  Mapped(const Mapped&) = delete;
  Mapped& operator=(const Mapped&) = delete;
  ~Mapped() { gst_buffer_unmap(buffer_, &info_); }
  const uint8_t* begin() const { return info_.data; }
  const uint8_t* end() const { return info_.data + info_.size; }
  size_t size() const { return info_.size; }

 private:
  GstBuffer* buffer_;
  GstMapInfo info_;
};

/// Of what is seen: rows may have bytes after the picture, which hold anything.
std::string checksumOf(GstSample* sample) {
  GstVideoInfo info;
  GstVideoFrame frame;
  if (!gst_video_info_from_caps(&info, gst_sample_get_caps(sample)) ||
      !gst_video_frame_map(&frame, &info, gst_sample_get_buffer(sample), GST_MAP_READ)) {
    throw std::runtime_error("no picture");
  }
  GChecksum* const sum = g_checksum_new(G_CHECKSUM_MD5);
  for (guint component = 0; component < GST_VIDEO_FRAME_N_COMPONENTS(&frame); ++component) {
    const auto* row = static_cast<const guchar*>(GST_VIDEO_FRAME_COMP_DATA(&frame, component));
    const gint bytes = GST_VIDEO_FRAME_COMP_WIDTH(&frame, component) *
                       GST_VIDEO_FRAME_COMP_PSTRIDE(&frame, component);
    for (gint y = 0; y < GST_VIDEO_FRAME_COMP_HEIGHT(&frame, component); ++y) {
      g_checksum_update(sum, row, bytes);
      row += GST_VIDEO_FRAME_COMP_STRIDE(&frame, component);
    }
  }
  const std::string text = g_checksum_get_string(sum);
  g_checksum_free(sum);
  gst_video_frame_unmap(&frame);
  return text;
}

}  // namespace

void Sound::add(GstSample* sample, uint64_t time) {
  if (rate_ == 0) {
    const GstStructure* const caps = gst_caps_get_structure(gst_sample_get_caps(sample), 0);
    gint rate = 0, channels = 0;
    gst_structure_get_int(caps, "rate", &rate);
    gst_structure_get_int(caps, "channels", &channels);
    format_ = gst_structure_get_string(caps, "format");
    rate_ = static_cast<uint32_t>(rate);
    channels_ = static_cast<uint32_t>(channels);
    frameBytes_ = channels_ * (format_.compare(0, 3, "S16") == 0 ? 2 : 4);
  }
  const uint64_t frame = gst_util_uint64_scale_round(time, rate_, GST_SECOND);
  if (bytes_.empty()) {
    begin_ = end_ = frame;
  } else if (frame != end_) {
    ++gaps_;
  }
  const Mapped mapped(gst_sample_get_buffer(sample));
  bytes_.insert(bytes_.end(), mapped.begin(), mapped.end());
  end_ += mapped.size() / frameBytes_;
}

uint64_t Sound::firstDifference(const Sound& other, uint64_t from, int64_t by) const {
  if (rate_ != other.rate_ || frameBytes_ != other.frameBytes_) return from;
  for (uint64_t frame = std::max(from, begin_); frame < end_; ++frame) {
    const uint64_t place = frame + static_cast<uint64_t>(by);
    if (place < other.begin_ || place >= other.end_) return frame;
    if (std::memcmp(&bytes_[(frame - begin_) * frameBytes_],
                    &other.bytes_[(place - other.begin_) * frameBytes_], frameBytes_) != 0) {
      return frame;
    }
  }
  return end_;
}

bool Sound::isPartOf(const Sound& other, int64_t by) const {
  return begin_ < end_ && firstDifference(other, begin_, by) == end_;
}

double Sound::value(uint64_t frame, uint32_t channel) const {
  const uint8_t* const at = &bytes_[(frame - begin_) * frameBytes_];
  if (format_ == "F32LE") {
    float value;
    std::memcpy(&value, at + channel * 4, sizeof value);
    return value;
  }
  int16_t value;
  if (format_ == "S16LE") {
    std::memcpy(&value, at + channel * 2, sizeof value);
    return value / 32768.0;
  }
  int32_t wide;
  std::memcpy(&wide, at + channel * 4, sizeof wide);
  return wide / 2147483648.0;
}

double Sound::largestDifference(const Sound& other) const {
  if (rate_ != other.rate_ || format_ != other.format_ || channels_ != other.channels_) return 1;
  double largest = 0;
  for (uint64_t frame = std::max(begin_, other.begin_); frame < std::min(end_, other.end_);
       ++frame) {
    for (uint32_t channel = 0; channel < channels_; ++channel) {
      largest = std::max(largest, std::abs(value(frame, channel) - other.value(frame, channel)));
    }
  }
  return largest;
}

double Sound::loudness() const {
  double sum = 0;
  for (uint64_t frame = begin_; frame < end_; ++frame) {
    for (uint32_t channel = 0; channel < channels_; ++channel) {
      sum += value(frame, channel) * value(frame, channel);
    }
  }
  return end_ == begin_ ? 0 : std::sqrt(sum / static_cast<double>((end_ - begin_) * channels_));
}

Sound soundOf(GstElement* appsink) {
  Sound sound;
  while (const Sample sample = pull(appsink)) sound.add(sample.get(), streamTime(sample.get()));
  return sound;
}

Sound someSound(GstElement* appsink, uint64_t frames) {
  Sound sound;
  while (sound.end() - sound.begin() < frames) {
    const Sample sample = pull(appsink);
    if (!sample) break;
    sound.add(sample.get(), streamTime(sample.get()));
  }
  return sound;
}

Picture pictureOf(GstSample* sample) { return {streamTime(sample), checksumOf(sample)}; }

std::vector<Picture> picturesOf(GstElement* appsink) {
  std::vector<Picture> pictures;
  while (const Sample sample = pull(appsink)) {
    pictures.push_back(pictureOf(sample.get()));
  }
  return pictures;
}

}  // namespace pipelines
