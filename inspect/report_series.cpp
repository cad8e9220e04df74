#include "inspect/report_series.h"

#include <algorithm>
#include <cmath>

#include "inspect/sample_reader.h"

namespace inspect {
namespace {

uint64_t dividedUp(uint64_t value, uint64_t by) { return value / by + (value % by != 0 ? 1 : 0); }

/// To the millisecond: more digits only make the page larger.
double rounded(double seconds) { return std::round(seconds * 1000) / 1000; }

/// Collects a track's samples.
class Collector {
 public:
  Collector(const TrackMap& track, uint64_t samples)
      : timescale_(track.timescale == 0 ? 1 : track.timescale) {
    series_.sizes.samplesPerPoint = std::max<uint64_t>(1, dividedUp(samples, kMostPoints));
    const uint64_t seconds = track.timesWrap ? 0 : track.tableDuration / timescale_ + 1;
    const uint64_t step = std::max<uint64_t>(1, dividedUp(seconds, kMostBitRates));
    series_.bitRate.step = static_cast<uint32_t>(std::min<uint64_t>(step, UINT32_MAX));
    bits_.resize(static_cast<size_t>(std::min(dividedUp(seconds, step), kMostBitRates)));
  }

  void add(const Sample& sample) {
    const double time = static_cast<double>(sample.decodeTime) / timescale_;
    addBits(sample);
    addSize(sample, rounded(time));
    series_.bytes += sample.size;
    series_.keyFrames += sample.sync ? 1 : 0;
    series_.duration =
        std::max(series_.duration, time + static_cast<double>(sample.duration) / timescale_);
    ++series_.samples;
  }

  TrackSeries take() {
    const double perValue = 1000.0 * series_.bitRate.step;
    // The last stretch may be shorter than the others; its rate counts for what there is of it.
    for (size_t i = 0; i < bits_.size(); ++i) {
      const double start = static_cast<double>(i) * series_.bitRate.step;
      const double share =
          std::min(1.0, (series_.duration - start) / static_cast<double>(series_.bitRate.step));
      if (share <= 0) break;
      const double rate = bits_[i] / (perValue * share);
      series_.bitRate.kilobits.push_back(std::round(rate * 100) / 100);
    }
    return std::move(series_);
  }

 private:
  void addBits(const Sample& sample) {
    const uint64_t stretch = sample.decodeTime / timescale_ / series_.bitRate.step;
    if (stretch < bits_.size()) bits_[static_cast<size_t>(stretch)] += 8.0 * sample.size;
  }

  void addSize(const Sample& sample, double time) {
    SizeSeries& sizes = series_.sizes;
    const bool begins = series_.samples % sizes.samplesPerPoint == 0;
    if (begins) {
      sizes.time.push_back(time);
      sizes.smallest.push_back(sample.size);
      sizes.largest.push_back(sample.size);
      if (sample.hasPlace) {
        series_.places.time.push_back(time);
        series_.places.offset.push_back(sample.offset);
      }
      keyInPoint_ = false;
    }
    sizes.smallest.back() = std::min(sizes.smallest.back(), sample.size);
    sizes.largest.back() = std::max(sizes.largest.back(), sample.size);
    if (sample.sync) addKey(sample.size, time);
  }

  void addKey(uint32_t size, double time) {
    SizeSeries& sizes = series_.sizes;
    if (!keyInPoint_) {
      sizes.keyTime.push_back(time);
      sizes.keySize.push_back(size);
    } else if (size > sizes.keySize.back()) {
      sizes.keyTime.back() = time;
      sizes.keySize.back() = size;
    }
    keyInPoint_ = true;
  }

  uint32_t timescale_;
  TrackSeries series_;
  std::vector<double> bits_;
  bool keyInPoint_ = false;
};

}  // namespace

TrackSeries readTrackSeries(File& file, const TrackMap& track, const std::function<void()>& poll,
                            uint64_t mostSamples) {
  constexpr uint64_t kSamplesBetweenPolls = 65536;
  SampleReader reader(file, track);
  const uint64_t wanted = std::min(reader.count(), mostSamples);
  Collector collector(track, wanted);
  Sample sample;
  for (uint64_t i = 0; i < wanted && reader.next(sample); ++i) {
    if (i % kSamplesBetweenPolls == 0) poll();
    collector.add(sample);
  }
  TrackSeries series = collector.take();
  series.leftOut = reader.count() - series.samples;
  // Where every sample is a key frame, marking each says nothing.
  if (series.keyFrames == series.samples) {
    series.sizes.keyTime.clear();
    series.sizes.keySize.clear();
  }
  return series;
}

}  // namespace inspect
