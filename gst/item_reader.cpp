#include "gst/item_reader.h"

#include <algorithm>
#include <utility>

#include "gst/timeline.h"

namespace velagst {
namespace {

using vela::TIOResult;

std::string numbered(TIOResult result) {
  return " (result " + std::to_string(static_cast<uint32_t>(result)) + ").";
}

Failure failureOf(TIOResult result, const std::string& sentence) {
  if (result == TIOResult::outOfMemory)
    return {result, "There is not enough memory" + numbered(result)};
  return {result, sentence + numbered(result)};
}

Failure openingFailure(TIOResult result) {
  if (result == TIOResult::failed) {
    return failureOf(result,
                     "The file is damaged, or it holds no stream that the splitter can play");
  }
  return failureOf(result, "The source can't be opened");
}

Failure readingFailure(TIOResult result, StreamKind kind) {
  const std::string packet = kind == StreamKind::audio ? "audio packet" : "video packet";
  if (result == TIOResult::failed) {
    return failureOf(result, "The next " + packet + " is damaged or cut short");
  }
  if (result == TIOResult::outOfRange) {
    return failureOf(result,
                     "The next " + packet + " lies outside the file, which may be cut short");
  }
  return failureOf(result, "The next " + packet + " can't be read");
}

}  // namespace

MaybeFailure ItemReader::open(uint32_t item) {
  const TIOResult created = factory_.createSplitterEx(splitter_.outSlot(), u"source", &token_);
  if (created != TIOResult::success) return openingFailure(created);
  if (MaybeFailure failure = describe(item)) return failure;
  const TIOResult started = splitter_->startItem(item, &audioFormat_, &videoFormat_, &token_);
  if (started == TIOResult::failed) {
    return failureOf(started, "The item can't be started: it has no samples at its beginning");
  }
  if (started != TIOResult::success) return failureOf(started, "The item can't be started");
  audioEnded_ = !audioFormat_.present;
  videoEnded_ = !videoFormat_.present;
  return seek(0, SeekMode::accurate);
}

// The whole file has chapters and no tags; a chapter has tags. So the file's tags are those of its
// first chapter, except for a title that is this chapter's own. Descriptions come before the start,
// since they move the range that is played.
MaybeFailure ItemReader::describe(uint32_t item) {
  ItemInfo whole;
  TIOResult result = splitter_->describeItem(0, &whole, &token_);
  if (result != TIOResult::success) return failureOf(result, "The file can't be described");
  chapters_ = whole.chapters;
  // The plug-in itself would take the whole file instead.
  const uint32_t items = splitter_->getItemCount();
  if (item > items || item > chapters_.size()) {
    return Failure{TIOResult::failed, "There is no item " + std::to_string(item) +
                                          "; the last one is " + std::to_string(items) + "."};
  }
  if (item == 0) {
    // A first chapter without an extent can't be described, and then there are no tags.
    result = splitter_->describeItem(1, &tags_, &token_);
    if (result != TIOResult::success && result != TIOResult::failed) {
      return failureOf(result, "The file can't be described");
    }
    titleIsOfItem_ = std::all_of(chapters_.begin(), chapters_.end(), [&](const ChapterMark& mark) {
      return mark.title == chapters_.front().title;
    });
    info_ = std::move(whole);
    return std::nullopt;
  }
  result = splitter_->describeItem(item, &info_, &token_);
  if (result != TIOResult::success) return failureOf(result, "The item can't be described");
  tags_ = info_;
  itemStart_ = chapters_[item - 1].start;
  return std::nullopt;
}

TIOResult ItemReader::seekTo(int64_t offset) {
  ready_.clear();
  held_.clear();
  audioEnded_ = !audioFormat_.present;
  videoEnded_ = !videoFormat_.present;
  const TIOResult result =
      splitter_->seekTo(vela::toWord64(static_cast<uint64_t>(offset)), &token_);
  const uint64_t target = itemStart_ + static_cast<uint64_t>(offset);
  clock_.restart(framesFromHostUnits(target, sampleRate()));
  return result;
}

TIOResult ItemReader::readFirstPicture() {
  while (!videoEnded_ && ready_.empty()) {
    const TIOResult result = readVideo();
    if (result != TIOResult::success) return result;
  }
  return TIOResult::success;
}

// A seek finds pictures by the time at which they are decoded, and that may come well before they
// are shown. Where the picture that was found is shown only after the target, the one before it is
// the right one, and so the seek is repeated from further back. What is played begins at the target
// all the same.
TIOResult ItemReader::landAtOrBefore(int64_t target) {
  const auto shown = itemStart_ + static_cast<uint64_t>(target);
  const int64_t fileStart = -static_cast<int64_t>(itemStart_);
  int64_t place = target;
  for (int64_t step = vela::kHostUnitsPerSecond / 16;; step *= 2) {
    TIOResult result = seekTo(place);
    if (result == TIOResult::success) result = readFirstPicture();
    if (result != TIOResult::success) return result;
    const bool late = !ready_.empty() && ready_.front().hostUnits > shown;
    landedBefore_ = place != target;
    if (!late || place == fileStart) return TIOResult::success;
    place = std::max(place - step, fileStart);
  }
}

MaybeFailure ItemReader::seek(uint64_t offset, SeekMode mode) {
  offset_ = offset;
  landedBefore_ = false;
  TIOResult result;
  const bool atFileStart = offset == 0 && itemStart_ == 0;
  if (!videoFormat_.present || atFileStart || offset >= duration()) {
    result = seekTo(static_cast<int64_t>(offset));
  } else {
    result = landAtOrBefore(static_cast<int64_t>(offset));
    const bool found = result == TIOResult::success && !ready_.empty();
    if (mode == SeekMode::keyUnit && found) {
      const uint64_t key = ready_.front().hostUnits;
      if (key < itemStart_ + offset && key >= itemStart_) {
        offset_ = key - itemStart_;
        result = landAtOrBefore(static_cast<int64_t>(offset_));
      }
    }
  }
  beyondSamples_ = result == TIOResult::failed;
  if (beyondSamples_) {
    audioEnded_ = videoEnded_ = true;
    ready_.clear();
    return std::nullopt;
  }
  if (result != TIOResult::success) return failureOf(result, "The place can't be read");
  return std::nullopt;
}

uint64_t ItemReader::firstFrame() const {
  return landedBefore_ ? framesFromHostUnits(itemStart_ + offset_, sampleRate())
                       : clock_.firstPlayed();
}

void ItemReader::end(StreamKind kind) {
  (kind == StreamKind::audio ? audioEnded_ : videoEnded_) = true;
  ready_.erase(std::remove_if(ready_.begin(), ready_.end(),
                              [&](const TimedPacket& packet) { return packet.kind == kind; }),
               ready_.end());
}

bool ItemReader::hasEnded(StreamKind kind) const {
  const bool ended = kind == StreamKind::audio ? audioEnded_ : videoEnded_;
  return ended && std::none_of(ready_.begin(), ready_.end(),
                               [&](const TimedPacket& packet) { return packet.kind == kind; });
}

TIOResult ItemReader::readAudio() {
  uint8_t ended = 0;
  const TIOResult result = splitter_->readAudioPacket(&audio_, &ended, &token_);
  if (result != TIOResult::success) return result;
  if (ended) {
    audioEnded_ = true;
    held_.clear();  // nothing counts after them
    return TIOResult::success;
  }
  TimedPacket packet;
  packet.kind = StreamKind::audio;
  packet.buffer = std::move(audio_.buffer);
  packet.frames = audio_.frames.whole;
  held_.push_back(std::move(packet));
  if (!clock_.add(audio_.frames)) return TIOResult::success;
  for (size_t i = 0; i < held_.size(); ++i) {
    held_[i].frame = clock_.begins()[i];
    ready_.push_back(std::move(held_[i]));
  }
  held_.clear();
  return TIOResult::success;
}

TIOResult ItemReader::readVideo() {
  uint8_t ended = 0;
  uint64_t time = 0;
  const TIOResult result = splitter_->readVideoPacket(&video_, &ended, &time, &token_);
  if (result != TIOResult::success) return result;
  if (ended) {
    videoEnded_ = true;
    return TIOResult::success;
  }
  TimedPacket packet;
  packet.kind = StreamKind::video;
  packet.buffer = std::move(video_.buffer);
  packet.hostUnits = itemStart_ + time;
  ready_.push_back(std::move(packet));
  return TIOResult::success;
}

MaybeFailure ItemReader::next(TimedPacket& packet) {
  while (ready_.empty()) {
    packet.kind = StreamKind::none;
    if (audioEnded_ && videoEnded_) return std::nullopt;
    uint32_t which = vela::kNextNone;
    TIOResult result = splitter_->nextStream(&which);
    if (result != TIOResult::success) return failureOf(result, "The next packet can't be found");
    if (which == vela::kNextNone) {
      audioEnded_ = videoEnded_ = true;
      return std::nullopt;
    }
    // A stream at its end may still be named; then it is the other one's turn.
    const bool audio = videoEnded_ || (which == vela::kNextAudio && !audioEnded_);
    result = audio ? readAudio() : readVideo();
    if (result != TIOResult::success) {
      return readingFailure(result, audio ? StreamKind::audio : StreamKind::video);
    }
  }
  packet = std::move(ready_.front());
  ready_.pop_front();
  return std::nullopt;
}

// After the end of both streams the plug-in names video only where samples of it are left. After a
// seek that failed it stands where it was before.
bool ItemReader::picturesAreLeft() {
  uint32_t which = vela::kNextNone;
  return videoFormat_.present && !beyondSamples_ &&
         splitter_->nextStream(&which) == TIOResult::success && which == vela::kNextVideo;
}

}  // namespace velagst
