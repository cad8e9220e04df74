#include "fuzz/model/plain_session.h"

#include <algorithm>

#include "fuzz/model/bytes_in.h"

namespace plain {
namespace {

constexpr uint32_t kPrimingPackets = 10;
constexpr uint64_t kMostLead = kUnitsPerSecond * 7 / 4;  // of one stream over the other
constexpr uint32_t kHundredNsPerSecond = 10'000'000;

uint64_t toFrames(uint64_t ticks, uint32_t rate, uint32_t timescale) {
  if (timescale == 0) return 0;
  const auto scaled = static_cast<int64_t>(ticks * rate + timescale / 2);
  return static_cast<uint64_t>(scaled / int64_t{timescale});
}

}  // namespace

uint64_t PlainSession::toUnits(uint64_t ticks, uint64_t timescale) {
  return timescale == 0 || ticks == 0 ? 0 : (ticks * kUnitsPerSecond + timescale / 2) / timescale;
}

uint64_t PlainSession::toTicks(uint64_t units, uint64_t timescale) {
  return (units * timescale + kUnitsPerSecond / 2) >> 24;
}

PlainSession::PlainSession(const PlainFile& file) : file_(&file) {
  choose();
  if (audio_ && (audio_->rate == 0 || audio_->channels == 0)) return;
  const PlainTrack* const main = audio_ ? audio_ : video_;
  if (!main) return;
  opens_ = true;
  duration_ = main->duration == kUnknown ? kUnknown : toUnits(main->duration, main->timescale);
}

// The first track of each sort that qualifies.
void PlainSession::choose() {
  for (const PlainTrack& track : file_->tracks) {
    const uint32_t type = track.objectType;
    if (track.kind == Kind::mp4a && !audio_) {
      const bool aac = type == 0x40 || (type >= 0x66 && type <= 0x68);
      if (!aac && type != 0x69 && type != 0x6b) continue;
      audio_ = &track;
      audioMedia_ = aac ? Media::aac : Media::mp3;
    } else if (!video_ &&
               (track.kind == Kind::avc1 || (track.kind == Kind::mp4v && type == 0x20))) {
      video_ = &track;
      videoMedia_ = track.kind == Kind::avc1 ? Media::avc : Media::mpeg4;
    }
  }
}

uint32_t PlainSession::itemCount() const {
  return video_ ? 1 : static_cast<uint32_t>(file_->chapters.size());
}

uint32_t PlainSession::itemId(uint32_t index) const { return video_ ? 0 : index + 1; }

bool PlainSession::select(uint32_t itemId) {
  chapter_.reset();
  rangeStart_ = 0;
  rangeEnd_ = duration_;
  if (itemId == 0 || itemId > itemCount()) return true;
  chapter_ = itemId - 1;
  rangeStart_ = toUnits(file_->chapters[*chapter_].start, kHundredNsPerSecond);
  rangeEnd_ = toUnits(file_->chapterEnd(*chapter_), kHundredNsPerSecond);
  return rangeEnd_ > rangeStart_;
}

bool PlainSession::start(uint32_t itemId, bool wantsAudio, bool wantsVideo) {
  if (!select(itemId)) return false;
  try {
    audioOn_ = wantsAudio && audio_;
    if (audioOn_) {
      audioAt_ = {};
      audio_->place(audioAt_, 0);
    }
    videoOn_ = wantsVideo && video_;
    if (videoOn_) {
      videoAt_ = {};
      video_->place(videoAt_, 0);
    }
  } catch (const Refused&) {
    return false;
  }
  return (audioOn_ || videoOn_) && seek(0);
}

bool PlainSession::seek(uint64_t offset) {
  const uint64_t target = rangeStart_ + offset;
  if (target >= rangeEnd_) {
    if (audioOn_) audioNext_ = audio_->sampleCount();
    if (videoOn_) videoNext_ = video_->sampleCount();
    return true;
  }
  try {
    if (audioOn_) {
      const At at = audio_->sampleAt(toTicks(target, audio_->timescale));
      if (at.sample == kNone) return false;
      primingLeft_ = std::min(at.sample, kPrimingPackets);
      audioNext_ = at.sample - primingLeft_;
      toDrop_ = static_cast<uint32_t>(toFrames(at.remainder, audio_->rate, audio_->timescale));
      framesLeft_ = toTicks(rangeEnd_ - target, audio_->rate);
      framesInRange_ = framesLeft_;
    }
    if (videoOn_) {
      const At at = video_->sampleAt(toTicks(target, video_->timescale));
      videoNext_ = video_->syncFor(at.sample, false);
    }
  } catch (const Refused&) {
    return false;
  }
  return true;
}

Sample PlainSession::locate(const PlainTrack& track, Place& at, uint32_t sample) {
  track.move(at, sample);
  return track.describe(at);
}

std::optional<Next> PlainSession::next() {
  if (!audioOn_ && !videoOn_) return std::nullopt;
  const bool audioLeft = audioOn_ && audioNext_ < audio_->sampleCount();
  const bool videoLeft = videoOn_ && videoNext_ < video_->sampleCount();
  if (!videoOn_) return audioLeft && framesLeft_ != 0 ? Next::audio : Next::none;
  if (!audioLeft) return videoLeft ? Next::video : Next::none;
  if (!videoLeft) return Next::audio;
  try {
    const Sample sound = locate(*audio_, audioAt_, audioNext_);
    const Sample picture = locate(*video_, videoAt_, videoNext_);
    const uint64_t heard = toUnits(sound.shownAt, audio_->timescale);
    const uint64_t seen = toUnits(picture.shownAt, video_->timescale);
    if (heard >= rangeEnd_ || seen >= rangeEnd_) {
      if (heard >= rangeEnd_ && seen >= rangeEnd_) return Next::none;
      return heard >= rangeEnd_ ? Next::video : Next::audio;
    }
    if (heard + kMostLead < seen) return Next::audio;
    if (seen + kMostLead < heard) return Next::video;
    return sound.offset < picture.offset ? Next::audio : Next::video;
  } catch (const Refused&) {
    return std::nullopt;
  }
}

Expected PlainSession::expectAudio() {
  Expected expected;
  lastAudio_ = expected;
  if (!audioOn_) return expected;
  expected.what = Expected::What::end;
  if (audioNext_ >= audio_->sampleCount() || framesLeft_ == 0) return expected;
  try {
    const Sample sample = locate(*audio_, audioAt_, audioNext_);
    expected.frames =
        static_cast<uint32_t>(toFrames(sample.duration, audio_->rate, audio_->timescale));
    if (expected.frames == 0) return expected;
    expected.what = sample.size == 0 ? Expected::What::refusal : Expected::What::packet;
    expected.offset = sample.offset;
    expected.size = sample.size;
  } catch (const Refused&) {
    return {};
  }
  if (primingLeft_ == 0) {
    expected.startOffset = std::min(expected.frames, toDrop_);
    const uint32_t kept = expected.frames - expected.startOffset;
    expected.framesLeft = static_cast<uint32_t>(std::min<uint64_t>(kept, framesLeft_));
  }
  lastAudio_ = expected;
  return expected;
}

void PlainSession::audioTaken() {
  ++audioNext_;
  if (primingLeft_ > 0) {
    --primingLeft_;
    return;
  }
  toDrop_ -= lastAudio_.startOffset;
  framesLeft_ -= lastAudio_.framesLeft;
}

Expected PlainSession::expectVideo() {
  Expected expected;
  if (!videoOn_) return expected;
  expected.what = Expected::What::end;
  if (videoNext_ >= video_->sampleCount()) return expected;
  try {
    const Sample sample = locate(*video_, videoAt_, videoNext_);
    const uint64_t shown = toUnits(sample.shownAt, video_->timescale);
    if (shown >= rangeEnd_) return expected;
    expected.what = sample.size == 0 ? Expected::What::refusal : Expected::What::packet;
    expected.offset = sample.offset;
    expected.size = sample.size;
    expected.time = shown - rangeStart_;
  } catch (const Refused&) {
    return {};
  }
  return expected;
}

}  // namespace plain
