// A session beside a plain player, which looks every sample up anew for every call: the same codes,
// packets and places after any sequence of calls, over tracks with all sorts of tables.
#include <algorithm>
#include <vector>

#include "frontend/interleaving.h"
#include "tests/frontend/open_session.h"
#include "tests/support/seeded_random.h"

using namespace boxes;
using vela::SessionProbe;
using vela::TIOResult;

namespace {

/// What one call gave.
struct Result {
  TIOResult code = TIOResult::success;
  uint32_t which = 99;
  uint8_t end = 0;
  uint64_t time = 0;
  uint32_t frames = 0;
  uint32_t startOffset = 0;
  Bytes payload = {};
  bool operator==(const Result&) const = default;
};
std::ostream& operator<<(std::ostream& out, const Result& r) {
  return out << "code " << static_cast<uint32_t>(r.code) << " which " << r.which << " end "
             << int{r.end} << " time " << r.time << " frames " << r.frames << " from "
             << r.startOffset << " bytes " << r.payload.size();
}

/// One stream of the plain player.
struct PlainStream {
  uint32_t track = 0;
  atomkit::SampleCursor cursor = {};
  atomkit::TrackSummary summary = {};
  bool isEnabled = false;
  uint32_t next = 0;

  bool isLeft() const { return next < summary.sampleCount; }
};

class PlainPlayer {
 public:
  PlainPlayer(const atomkit::Movie& movie, const Bytes& file, uint32_t audioTrack,
              uint32_t videoTrack)
      : movie_(movie), file_(file) {
    audio.track = audio.cursor.track = audioTrack;
    video.track = video.cursor.track = videoTrack;
    movie_.summary(audioTrack, audio.summary);
    movie_.summary(videoTrack, video.summary);
  }

  PlainStream audio;
  PlainStream video;
  uint64_t rangeStart = 0;
  uint64_t rangeEnd = 0;
  uint64_t framesLeft = 0;

  Result start(bool withAudio, bool withVideo) {
    return run([&](Result& result) {
      audio.isEnabled = withAudio;
      if (withAudio) movie_.open(audio.cursor, audio.track);
      video.isEnabled = withVideo;
      if (withVideo) movie_.open(video.cursor, video.track);
      result.code = withAudio || withVideo ? seekTo(0) : TIOResult::failed;
    });
  }

  Result seek(uint64_t offset) {
    return run([&](Result& result) { result.code = seekTo(offset); });
  }

  Result nextStream() {
    return run([&](Result& result) {
      if (!audio.isEnabled && !video.isEnabled) {
        result.code = TIOResult::failed;
      } else if (!video.isEnabled) {
        result.which = audio.isLeft() && framesLeft != 0 ? vela::kNextAudio : vela::kNextNone;
      } else if (!audio.isEnabled || !audio.isLeft()) {
        result.which = video.isLeft() ? vela::kNextVideo : vela::kNextNone;
      } else if (!video.isLeft()) {
        result.which = vela::kNextAudio;
      } else {
        const atomkit::SampleInfo a = locate(audio);
        const atomkit::SampleInfo v = locate(video);
        result.which =
            vela::chooseStream({timeOf(a), a.fileOffset}, {timeOf(v), v.fileOffset}, rangeEnd);
      }
    });
  }

  Result readAudio() {
    return run([&](Result& result) {
      if (!audio.isEnabled) throw TIOResult::failed;
      result.end = 1;
      if (!audio.isLeft() || framesLeft == 0) return;
      const atomkit::SampleInfo sample = locate(audio);
      result.frames = static_cast<uint32_t>(
          vela::ticksToFrames(sample.duration, audio.summary.sampleRate, audio.summary.timescale));
      if (result.frames == 0) return;
      result.end = 0;
      if (sample.size == 0) throw TIOResult::failed;
      result.payload = payloadOf(sample);
      if (preroll_ > 0) {
        result.frames = 0;
        --preroll_;
      } else {
        result.startOffset = std::min(result.frames, framesToDrop_);
        framesToDrop_ -= result.startOffset;
        result.frames -= result.startOffset;
        result.frames = static_cast<uint32_t>(std::min<uint64_t>(result.frames, framesLeft));
        framesLeft -= result.frames;
      }
      ++audio.next;
    });
  }

  Result readVideo() {
    return run([&](Result& result) {
      if (!video.isEnabled) throw TIOResult::failed;
      result.end = 1;
      if (!video.isLeft()) return;
      const atomkit::SampleInfo sample = locate(video);
      if (timeOf(sample) >= rangeEnd) return;
      result.end = 0;
      if (sample.size == 0) throw TIOResult::failed;
      result.payload = payloadOf(sample);
      result.time = timeOf(sample) - rangeStart;
      ++video.next;
    });
  }

 private:
  template <class Call>
  static Result run(Call call) {
    Result result;
    result.code = vela::guarded([&] {
      call(result);
      return result.code;
    });
    if (result.code != TIOResult::success) result = {.code = result.code, .end = result.end};
    if (result.end) result.frames = 0;
    return result;
  }

  atomkit::SampleInfo locate(PlainStream& stream) {
    movie_.move(stream.cursor, stream.next);
    atomkit::SampleInfo info;
    movie_.sampleInfo(stream.cursor, info);
    return info;
  }
  static uint64_t timeOf(const atomkit::SampleInfo& info) {
    return vela::ticksToHostUnits(info.compositionTime, info.timescale);
  }
  Bytes payloadOf(const atomkit::SampleInfo& sample) const {
    const auto at = file_.begin() + static_cast<ptrdiff_t>(sample.fileOffset);
    return Bytes(at, at + static_cast<ptrdiff_t>(sample.size));
  }

  TIOResult seekTo(uint64_t offset) {
    const uint64_t target = rangeStart + offset;
    if (target >= rangeEnd) {
      if (audio.isEnabled) audio.next = audio.summary.sampleCount;
      if (video.isEnabled) video.next = video.summary.sampleCount;
      return TIOResult::success;
    }
    if (audio.isEnabled) {
      const atomkit::SampleAtTime found =
          movie_.sampleAt(audio.track, vela::hostUnitsToTicks(target, audio.summary.timescale));
      preroll_ = std::min(found.sample, 10u);
      audio.next = found.sample - preroll_;
      framesToDrop_ = static_cast<uint32_t>(
          vela::ticksToFrames(found.remainder, audio.summary.sampleRate, audio.summary.timescale));
      framesLeft = vela::hostUnitsToTicks(rangeEnd - target, audio.summary.sampleRate);
    }
    if (video.isEnabled) {
      const uint32_t sample =
          movie_.sampleAt(video.track, vela::hostUnitsToTicks(target, video.summary.timescale))
              .sample;
      video.next = movie_.nearestSyncSample(video.track, sample, atomkit::Direction::backward);
    }
    return TIOResult::success;
  }

  const atomkit::Movie& movie_;
  const Bytes& file_;
  uint32_t preroll_ = 0;
  uint32_t framesToDrop_ = 0;
};

/// Runs of `samples` samples. Some runs are empty, some have no ticks.
std::vector<std::pair<uint32_t, uint32_t>> randomRuns(SeededRandom& random, uint32_t samples,
                                                      uint32_t mostTicks) {
  std::vector<std::pair<uint32_t, uint32_t>> runs;
  while (samples > 0) {
    const uint32_t count = random.oneIn(5) ? 0 : std::min(samples, 1 + random.below(9));
    runs.emplace_back(count, random.oneIn(12) ? 0 : 1 + random.below(mostTicks));
    samples -= count;
  }
  return runs;
}

/// Changes some tables of a track for others, sound or not.
void varyTables(SeededRandom& random, MediaTrack& track, uint32_t mostTicks) {
  const auto samples = static_cast<uint32_t>(track.samples.size());
  if (random.oneIn(2)) track.boxes.stts = stts(randomRuns(random, samples, mostTicks));
  if (random.oneIn(2)) {
    std::vector<std::pair<uint32_t, int32_t>> offsets;
    for (const auto& [count, ticks] : randomRuns(random, samples, mostTicks)) {
      offsets.emplace_back(count, static_cast<int32_t>(ticks));
    }
    track.boxes.ctts = ctts(offsets);
  }
  if (random.oneIn(3)) {
    std::vector<uint32_t> sizes;
    const uint32_t listed = random.oneIn(2) ? samples : random.below(samples);
    for (uint32_t i = 0; i < listed; ++i) sizes.push_back(random.oneIn(9) ? 0 : random.below(60));
    track.boxes.stsz = stsz(sizes);
  }
}

Bytes randomFile(SeededRandom& random) {
  MediaTrack audio = aacTrack({.samples = 10 + random.below(120), .samplesPerChunk = 7});
  MediaTrack video = avcTrack({.samples = 10 + random.below(90), .samplesPerChunk = 3});
  varyTables(random, audio, 2500);
  varyTables(random, video, 3000);
  Bytes file = movieFile({.tracks = {audio, video},
                          .udta = chpl({{0, "One"}, {5'000'000, "Two"}, {12'000'000, "Three"}})})
                   .bytes;
  file.resize(file.size() + 0x10000);  // samples may lie anywhere
  return file;
}

/// The session and the plain player under the same calls.
class Both {
 public:
  explicit Both(const Bytes& file)
      : open_(file),
        file_(file),
        plain_(SessionProbe::movie(open_.session), file_,
               static_cast<uint32_t>(SessionProbe::audioTrack(open_.session)),
               static_cast<uint32_t>(SessionProbe::videoTrack(open_.session))) {}

  void start(uint32_t item, bool audio, bool video) {
    Result did;
    did.code = open_.start(item, audio ? &open_.audioFormat : nullptr,
                           video ? &open_.videoFormat : nullptr);
    takeRange();
    compare("startItem", did, plain_.start(audio, video));
  }

  // The description selects the item, here and there.
  void describe(uint32_t item) {
    open_.describe(item);
    takeRange();
  }

  void seek(uint64_t offset) {
    Result did;
    did.code = open_.seek(offset);
    compare("seekTo", did, plain_.seek(offset));
  }

  void seekWithKeyFrame(uint64_t offset) {
    FakeVideoPacket packet;
    Result did;
    did.code = open_.seekWithKeyFrame(packet, offset);
    did.payload = packet.payload.bytes;
    Result should = plain_.seek(offset);
    if (should.code == TIOResult::success && plain_.video.isEnabled) {
      const Result picture = plain_.readVideo();
      should = plain_.seek(offset);
      if (picture.code == TIOResult::success) should.payload = picture.payload;
    }
    compare("seekWithKeyFrame", did, should);
  }

  void next() {
    Result did;
    did.code = open_.nextStream(did.which);
    if (did.code != TIOResult::success) did.which = 99;
    compare("nextStream", did, plain_.nextStream());
  }

  void readAudio() {
    FakeAudioPacket packet;
    Result did;
    did.code = open_.readAudio(packet);
    did.end = open_.endOfStream;
    if (did.code == TIOResult::success && !did.end) {
      did.frames = packet.frameCount;
      did.startOffset = packet.startOffset;
      did.payload = packet.payload.bytes;
    }
    compare("readAudioPacket", did, plain_.readAudio());
  }

  void readVideo() {
    FakeVideoPacket packet;
    Result did;
    did.code = open_.readVideo(packet);
    did.end = open_.endOfStream;
    if (did.code == TIOResult::success && !did.end) {
      did.time = open_.time;
      did.payload = packet.payload.bytes;
    }
    compare("readVideoPacket", did, plain_.readVideo());
  }

 private:
  void takeRange() {
    plain_.rangeStart = SessionProbe::rangeStart(open_.session);
    plain_.rangeEnd = SessionProbe::rangeEnd(open_.session);
  }

  void compare(const char* call, const Result& did, Result should) {
    if (should.code != TIOResult::success) should.end = did.end;  // means nothing then
    ASSERT_EQ(did, should) << call;
    ASSERT_EQ(SessionProbe::audioNextSample(open_.session), plain_.audio.next) << call;
    ASSERT_EQ(SessionProbe::videoNextSample(open_.session), plain_.video.next) << call;
    ASSERT_EQ(SessionProbe::framesLeft(open_.session), plain_.framesLeft) << call;
  }

  OpenSession open_;
  const Bytes& file_;
  PlainPlayer plain_;
};

}  // namespace

TEST(DeliveryModel, EveryCallAgreesWithAPlayerThatLooksEverySampleUpAnew) {
  SeededRandom random(11);
  for (int round = 0; round < 400; ++round) {
    SCOPED_TRACE(testing::Message() << "round " << round);
    const Bytes file = randomFile(random);
    Both both(file);
    both.start(0, true, true);
    uint64_t offset = 0;
    for (int call = 0; call < 120 && !testing::Test::HasFailure(); ++call) {
      switch (random.below(16)) {
        case 0:
          both.start(random.below(4), !random.oneIn(4), !random.oneIn(4));
          break;
        case 1:
          both.describe(random.below(4));
          break;
        case 2:
          offset = random.below(40) * (vela::kHostUnitsPerSecond / 20);
          [[fallthrough]];
        case 3:  // to the same place
          both.seek(offset);
          break;
        case 4:
          both.seekWithKeyFrame(offset);
          break;
        case 5:
        case 6:
        case 7:
        case 8:
          both.next();
          break;
        case 9:
        case 10:
        case 11:
        case 12:
          both.readAudio();
          break;
        default:
          both.readVideo();
          break;
      }
    }
    if (HasFailure()) return;
  }
}
