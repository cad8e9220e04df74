// Delivery: the next sample of a track as a packet of the host. Nothing is allocated here.
#include <algorithm>

#include "frontend/guarded.h"
#include "frontend/host_time.h"
#include "frontend/splitter_session.h"

namespace vela {

// What was known is forgotten before the cursor moves: a lookup that throws leaves the cursor half
// moved, with the new number, and the next call describes it as it then stands.
void SplitterSession::locateAnew(atomkit::SampleCursor& cursor, Located& located,
                                 uint32_t sample) const {
  located.isKnown = 0;
  located.isTimeKnown = 0;
  movie_.moveAndDescribe(cursor, sample, located.info);
  located.isKnown = 1;
}

// The place counts as unknown until the packet is filled, so that after a failure the next read
// seeks, even for the same sample.
void SplitterSession::positionStream(uint64_t offset, CancelToken* token) {
  const bool standsThere = nextReadOffset_ != kUnknown64 && offset == nextReadOffset_;
  nextReadOffset_ = kUnknown64;
  if (standsThere) return;
  const Word64 target = toWord64(offset);
  throwOnFailure(stream_->seek(target.low, target.high, token));
}

TIOResult SplitterSession::readAudioPacket(AudioPacket& packet, uint8_t& endOfStream,
                                           CancelToken* token) {
  endOfStream = 0;
  if (!audioEnabled_) return TIOResult::failed;
  if (audioNextSample_ >= audioSampleCount_ || framesLeft_ == 0) {
    endOfStream = 1;
    return TIOResult::success;
  }
  const atomkit::SampleInfo& sample = locate(audioCursor_, audioLocated_, audioNextSample_);
  const auto frames =
      static_cast<uint32_t>(ticksToFrames(sample.duration, sampleRate_, audioScale_));
  if (frames == 0) {
    endOfStream = 1;
    return TIOResult::success;
  }
  if (sample.size == 0) return TIOResult::failed;

  positionStream(sample.fileOffset, token);
  fillAudio(packet, sample.size, frames, token);
  nextReadOffset_ = sample.fileOffset + sample.size;

  if (prerollLeft_ > 0) {
    packet.setFrameCount(0);
    --prerollLeft_;
  } else {
    trimAudio(packet);
  }
  ++audioNextSample_;
  return TIOResult::success;
}

void SplitterSession::fillAudio(AudioPacket& packet, uint32_t size, uint32_t frames,
                                CancelToken* token) {
  packet.setMediaId(&audioMediaId_);
  throwOnFailure(packet.readPayload(stream_.get(), size, token));
  packet.setSampleRate(sampleRate_);
  packet.setFrameCount(frames);
  packet.setStartOffset(0);
  packet.setFurtherValue(0);
}

// Cuts what lies before the seek target from the head, and what lies past the range from the end.
// DELIBERATE D-051: frame count and start offset are read back from the packet after they were
// written to it, because a host's packet may hold other values than it was given.
void SplitterSession::trimAudio(AudioPacket& packet) {
  const uint32_t frames = packet.getFrameCount();
  const uint32_t dropped = std::min(frames, framesToDrop_);
  packet.setFrameCount(frames - dropped);
  packet.setStartOffset(packet.getStartOffset() + dropped);
  framesToDrop_ -= dropped;

  const uint32_t kept = packet.getFrameCount();
  if (kept > framesLeft_) {
    packet.setFrameCount(static_cast<uint32_t>(framesLeft_));
    framesLeft_ = 0;
  } else {
    framesLeft_ -= kept;
  }
}

// DELIBERATE D-044: samples come in decoding order, and the first one that is shown at or after the
// range's end stops the delivery, even when later ones would be shown before it.
// DELIBERATE D-047: the time counts from the item's start. Where an item does not begin at a key
// frame, the key frame before it has a time below zero, modulo 2^64.
TIOResult SplitterSession::readVideoPacket(VideoPacket& packet, uint8_t& endOfStream,
                                           uint64_t& time, CancelToken* token) {
  endOfStream = 0;
  if (!videoEnabled_) return TIOResult::failed;
  if (videoNextSample_ >= videoSampleCount_) {
    endOfStream = 1;
    return TIOResult::success;
  }
  const atomkit::SampleInfo& sample = locate(videoCursor_, videoLocated_, videoNextSample_);
  const uint64_t presentation = timeOf(videoLocated_, videoScale_);
  if (presentation >= rangeEnd_) {
    endOfStream = 1;
    return TIOResult::success;
  }
  if (sample.size == 0) return TIOResult::failed;

  positionStream(sample.fileOffset, token);
  fillVideo(packet, sample.size, token);
  nextReadOffset_ = sample.fileOffset + sample.size;

  time = presentation - rangeStart_;
  ++videoNextSample_;
  return TIOResult::success;
}

void SplitterSession::fillVideo(VideoPacket& packet, uint32_t size, CancelToken* token) {
  packet.setMediaId(&videoMediaId_);
  const TIOResult code = packet.readPayload(stream_.get(), size, token);
  if (code != TIOResult::success) {
    packet.reset();
    throw code;
  }
  packet.setPictureSize(width_, height_);
}

}  // namespace vela
