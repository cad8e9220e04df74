// The boxes of one track's sample table, and a script of lookups: every answer is that of a plain
// walk through the tables.
//   u8 seed of the lookups; boxes of 'stbl'
#include <cstddef>
#include <cstdint>

#include "fuzz/host/memory_meter.h"
#include "fuzz/targets/checked_player.h"
#include "fuzz/targets/input_head.h"
#include "fuzz/targets/wrapped_movie.h"

namespace {

using fuzz::Choices;
using plain::PlainTrack;
using plain::Refused;

/// What a lookup gives: a value, or a refusal.
template <class Lookup>
auto answer(Lookup&& lookup) -> std::optional<decltype(lookup())> {
  try {
    return lookup();
  } catch (const Refused&) {
    return std::nullopt;
  } catch (const atomkit::exception&) {
    return std::nullopt;
  }
}

class Lookups {
 public:
  Lookups(const atomkit::Movie& movie, const PlainTrack& track, Choices& choices)
      : movie_(&movie), track_(&track), choices_(&choices) {}

  void run() {
    compareSummary();
    for (int i = 0; i < 40; ++i) compareTime(pickTime());
    for (int i = 0; i < 40; ++i) compareSync(pickSample());
    const bool opened = answer([&] {
                          movie_->open(cursor_, 0);
                          return true;
                        }).has_value();
    REQUIRE(opened == place([&] { track_->place(at_, 0); }));
    compareCursor(opened);
    for (int i = 0; i < 60; ++i) {
      reposition(pickSample());
      for (uint32_t steps = choices_->below(12); steps > 0; --steps) step();
      if (choices_->below(8) == 0) move(pickSample());
      if (choices_->below(8) == 0) move(cursor_.sample + 1);
      if (choices_->below(16) == 0) walk(choices_->below(300));
    }
  }

 private:
  template <class Action>
  static bool place(Action&& action) {
    try {
      action();
      return true;
    } catch (const Refused&) {
      return false;
    }
  }

  /// Numbers where runs, blocks of an index and tables begin and end, and any others.
  uint32_t pickSample() {
    const uint32_t count = track_->sampleCount();
    switch (choices_->below(6)) {
      case 0:
        return choices_->below(3);
      case 1:
        return count - choices_->below(3);
      case 2:
        return static_cast<uint32_t>(track_->sizes.size()) - choices_->below(3);
      case 3:
        return 64 * choices_->below(200) - choices_->below(3);
      case 4:
        return choices_->below(uint64_t{1} << 31) * 2 + choices_->below(2);
      default:
        return choices_->below(uint64_t{count} + 2);
    }
  }
  uint64_t pickTime() {
    uint64_t time = 0;
    const size_t runs = track_->times.empty() ? 0 : choices_->below(track_->times.size() + 1);
    for (size_t i = 0; i < runs; ++i) {
      time += uint64_t{track_->times[i].samples} * track_->times[i].value;
    }
    switch (choices_->below(4)) {
      case 0:
        return time;
      case 1:
        return time - 1;
      case 2:
        return time + choices_->below(5000);
      default:
        return uint64_t{choices_->below(1u << 31)} << choices_->below(34);
    }
  }

  void compareSummary() {
    atomkit::TrackSummary summary;
    movie_->summary(0, summary);
    REQUIRE(summary.sampleCount == track_->sampleCount());
    REQUIRE(summary.leadingAudioOffset == track_->leadingOffset());
    REQUIRE(summary.width == track_->width && summary.height == track_->height);
    REQUIRE(summary.sampleRate == track_->rate && summary.channelCount == track_->channels);
    REQUIRE(movie_->objectType(0) == track_->objectType);
    REQUIRE(static_cast<int>(movie_->codecKind(0)) == static_cast<int>(track_->kind));
    atomkit::ByteArray config;
    movie_->decoderConfig(0, config);
    REQUIRE(config.count() == track_->config.size());
    REQUIRE(config.count() == 0 ||
            std::memcmp(config.data(), track_->config.data(), config.count()) == 0);
  }

  void compareTime(uint64_t time) {
    const auto given = answer([&] { return movie_->sampleAt(0, time); });
    const auto expected = answer([&] { return track_->sampleAt(time); });
    REQUIRE(given.has_value() == expected.has_value());
    if (!given) return;
    REQUIRE(given->sample == expected->sample && given->remainder == expected->remainder);
  }

  void compareSync(uint32_t sample) {
    for (const bool forward : {false, true}) {
      const auto direction = forward ? atomkit::Direction::forward : atomkit::Direction::backward;
      REQUIRE(movie_->nearestSyncSample(0, sample, direction) == track_->syncFor(sample, forward));
    }
  }

  void reposition(uint32_t sample) {
    const bool done = answer([&] {
                        movie_->reposition(cursor_, sample);
                        return true;
                      }).has_value();
    REQUIRE(done == place([&] { track_->place(at_, sample); }));
    compareCursor(done);
  }

  bool step() {
    const auto stepped = answer([&] { return movie_->step(cursor_); });
    const auto expected = answer([&] { return track_->step(at_); });
    REQUIRE(stepped == expected);
    compareCursor(stepped.has_value());
    return stepped.value_or(false);
  }

  void walk(uint32_t steps) {
    while (steps-- > 0 && step()) continue;
  }

  void move(uint32_t sample) {
    const bool done = answer([&] {
                        movie_->move(cursor_, sample);
                        return true;
                      }).has_value();
    REQUIRE(done == place([&] { track_->move(at_, sample); }));
    compareCursor(done);
  }

  /// @param sound  false after a failure, when only the number of the sample is certain
  void compareCursor(bool sound) {
    REQUIRE(cursor_.sample == at_.sample && cursor_.track == 0);
    if (!sound) return;
    REQUIRE(cursor_.timeRun == at_.timeRun && cursor_.timePosition == at_.inTimeRun);
    REQUIRE(cursor_.decodeTime == at_.decodedAt);
    REQUIRE(cursor_.compositionRun == at_.offsetRun);
    REQUIRE(cursor_.compositionPosition == at_.inOffsetRun);
    REQUIRE(cursor_.chunk.chunk == at_.chunk && cursor_.chunk.firstSample == at_.chunkFirst);
    REQUIRE(cursor_.offsetInChunk == at_.inChunk);
    atomkit::SampleInfo info;
    const auto size = answer([&] { return movie_->sampleInfo(cursor_, info); });
    const auto expected = answer([&] { return track_->describe(at_); });
    REQUIRE(size.has_value() == expected.has_value());
    if (!size) return;
    REQUIRE(*size == expected->size && info.size == expected->size);
    REQUIRE(info.fileOffset == expected->offset && info.duration == expected->duration);
    REQUIRE(info.compositionTime == expected->shownAt && info.timescale == track_->timescale);
  }

  const atomkit::Movie* movie_;
  const PlainTrack* track_;
  Choices* choices_;
  atomkit::SampleCursor cursor_;
  plain::Place at_;
};

}  // namespace

size_t fuzz::inputHead(const uint8_t*, size_t size) { return size < 1 ? size : 1; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  using namespace boxes;
  const Bytes tables(data + 1, data + size);
  const Bytes track = box("trak", box("mdia", mdhd(), box("minf", box("stbl", tables))));
  fuzz::MemoryMeter meter;
  {
    atomkit::Movie movie;
    const auto model = fuzz::parseBoth(moov({.tracks = {track}}), movie);
    REQUIRE(meter.mostBytes() <= 8 * size + 128 * 1024);
    if (model) {
      Choices choices(data[0]);
      Lookups(movie, model->tracks[0], choices).run();
    }
  }
  REQUIRE(meter.heldBlocks() == 0);
  return 0;
}
