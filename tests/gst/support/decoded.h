// What comes out of decoders: sound by its place on the time line, pictures by their checksums.
#pragma once
#include <gst/gst.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/gst/support/pipeline.h"

namespace pipelines {

/// Decoded sound, frame by frame on a time line that begins at 0.
class Sound {
 public:
  /// Adds a sample at the place that its time says. @param time  ns on this time line
  void add(GstSample* sample, uint64_t time);

  uint64_t begin() const { return begin_; }  ///< first frame
  uint64_t end() const { return end_; }      ///< after the last frame
  uint32_t rate() const { return rate_; }
  uint64_t gaps() const { return gaps_; }  ///< places where a sample did not follow the one before

  /// Whether this sound is `other`'s between this one's begin and end, moved by some frames.
  bool isPartOf(const Sound& other, int64_t by = 0) const;
  /// First frame at or after `from` that differs from `other`'s; end() without one.
  uint64_t firstDifference(const Sound& other, uint64_t from, int64_t by = 0) const;
  /// Largest difference of a value to `other`'s, over full scale; 1 where formats differ.
  double largestDifference(const Sound& other) const;
  double loudness() const;  ///< root of the mean square, over full scale

 private:
  double value(uint64_t frame, uint32_t channel) const;

  std::string format_;
  uint32_t rate_ = 0;
  uint32_t channels_ = 0;
  uint32_t frameBytes_ = 0;
  uint64_t begin_ = 0;
  uint64_t end_ = 0;
  uint64_t gaps_ = 0;
  std::vector<uint8_t> bytes_;
};

struct Picture {
  uint64_t time;  ///< ns
  std::string checksum;
};

Picture pictureOf(GstSample* sample);

/// Everything that an appsink receives until its end. Times are those of the stream, by the
/// segment.
Sound soundOf(GstElement* appsink);
std::vector<Picture> picturesOf(GstElement* appsink);

/// Adds the next samples until at least `frames` frames are there, or the end.
Sound someSound(GstElement* appsink, uint64_t frames);

}  // namespace pipelines
