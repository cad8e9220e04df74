// The numbers that a report plots: few enough for a page, however long the track is.
#pragma once
#include <cstdint>
#include <functional>
#include <vector>

#include "inspect/file.h"
#include "inspect/movie_map.h"

namespace inspect {

/// Bits of each stretch of time, by decoding time.
struct BitRateSeries {
  uint32_t step = 1;             ///< seconds that a value stands for
  std::vector<double> kilobits;  ///< kbit/s
};

/// Sizes of the samples, one point for one or several of them.
struct SizeSeries {
  uint64_t samplesPerPoint = 1;
  std::vector<double> time;        ///< seconds, of a point's first sample
  std::vector<uint32_t> smallest;  ///< bytes
  std::vector<uint32_t> largest;   ///< bytes
  std::vector<double> keyTime;     ///< seconds; of a point's largest key frame
  std::vector<uint32_t> keySize;   ///< bytes
};

/// Where in the file the data of a moment lies.
struct PlaceSeries {
  std::vector<double> time;      ///< seconds
  std::vector<uint64_t> offset;  ///< bytes from the file's start
};

struct TrackSeries {
  uint64_t samples = 0;  ///< that were looked at
  uint64_t leftOut = 0;  ///< further samples
  uint64_t keyFrames = 0;
  uint64_t bytes = 0;
  double duration = 0;  ///< seconds, to the end of the last sample
  BitRateSeries bitRate;
  SizeSeries sizes;
  PlaceSeries places;
};

/// Points of sizes and places of a track, and values of its bit rate, at most.
inline constexpr uint64_t kMostPoints = 4000;
inline constexpr uint64_t kMostBitRates = 40'000;
/// Samples of a file that are looked at. A few bytes can claim thousands of millions.
inline constexpr uint64_t kMostSamples = 20'000'000;

/// @param poll  called now and then; may throw to end a long look
/// @param mostSamples  how many are looked at
TrackSeries readTrackSeries(File& file, const TrackMap& track, const std::function<void()>& poll,
                            uint64_t mostSamples = kMostSamples);

}  // namespace inspect
