#include "atomkit/core/movie/movie.h"

#include <cstring>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/movie/movie_boxes.h"
#include "atomkit/core/streams/box_reader.h"

namespace atomkit {

void Movie::parse(ByteSource& source, ScanRange range, ParseOptions options,
                  uint64_t sourceLength) {
  options_ = options;
  HostStreamAdapter stream(source, sourceLength);
  walkTopLevel(stream, range);
  if (header_.duration == 0 || header_.timescale == 0) {
    throw exception("invalid or missing mvhd data");
  }
  finish();
}

// Only 'moov' and 'mdat' mean anything here. Whatever doesn't look like a header ends the walk
// quietly: real files carry a few bytes of padding behind their last box.
void Movie::walkTopLevel(ByteStream& stream, ScanRange range) {
  scannedEnd_ = 0;
  BoxHeader header;
  while (readBoxHeader(stream, header)) {
    const uint64_t offset = scannedEnd_;
    scannedEnd_ += header.boxSize();
    lastTopLevelType_ = header.type;
    AtomReader payload(stream, header.payloadSize);
    if (range == ScanRange::upToMediaData && header.type == fourCC("mdat")) {
      if (!moovSeen_) throw exception("streaming a file that isn't optimized");
      return;
    }
    if (header.type == fourCC("moov")) {
      if (moovSeen_) throw exception("duplicate moov atom");
      moovOffset_ = offset;
      moovSize_ = header.boxSize();
      moovSeen_ = true;
      MovieBoxHandler handler(*this);
      walkChildren(handler, payload, header.payloadSize);
    }
    payload.finish();
  }
}

const TrackRecord& Movie::track(uint32_t index) const { return *tracks_[index]; }

CodecKind Movie::codecKind(uint32_t index) const { return track(index).description.codecKind; }

uint32_t Movie::objectType(uint32_t index) const { return track(index).description.objectType; }

void Movie::decoderConfig(uint32_t index, ByteArray& config) const {
  const ByteArray& kept = track(index).description.decoderConfig;
  config.resize(kept.count());
  if (kept.count() != 0) std::memcpy(config.data(), kept.data(), kept.count());
}

void Movie::summary(uint32_t index, TrackSummary& summary) const {
  const TrackRecord& record = track(index);
  const SampleDescription& description = record.description;
  summary.sampleRate = description.sampleRate & 0xffff;
  summary.channelCount = description.channelCount;
  summary.averageBitrate = description.averageBitrate;
  summary.sampleSize = description.sampleSize;
  summary.timescale = record.mediaTimescale;
  summary.sampleCount = record.timing.sampleCount();
  summary.maximumBitrate = description.maximumBitrate;
  summary.leadingAudioOffset = leadingAudioOffset(record);
  summary.width = description.width;
  summary.height = description.height;
  summary.durationLow = static_cast<uint32_t>(record.mediaDuration);
  summary.durationHigh = static_cast<uint32_t>(record.mediaDuration >> 32);
}

SampleAtTime Movie::sampleAt(uint32_t index, uint64_t time) const {
  return track(index).timing.sampleAt(time);
}

uint32_t Movie::nearestSyncSample(uint32_t index, uint32_t sample, Direction direction) const {
  return track(index).timing.nearestSyncSample(sample, direction);
}

void Movie::open(SampleCursor& cursor, uint32_t index) const {
  cursor = {};
  cursor.track = index;
  reposition(cursor, 0);
}

void Movie::reposition(SampleCursor& cursor, uint32_t sample) const {
  seekCursor(track(cursor.track), cursor, sample);
}

bool Movie::step(SampleCursor& cursor) const { return advanceCursor(track(cursor.track), cursor); }

void Movie::move(SampleCursor& cursor, uint32_t sample) const {
  if (sample == cursor.sample) return;
  if (sample != cursor.sample + 1) {
    reposition(cursor, sample);
  } else if (!step(cursor)) {
    throw exception("error advancing iterator");
  }
}

uint32_t Movie::sampleInfo(const SampleCursor& cursor, SampleInfo& info) const {
  return readSampleInfo(track(cursor.track), cursor, info);
}

uint64_t Movie::chapterStart(uint32_t index) const { return chapters_[index].start; }

// Any index is answered, as this operation has no range check of its own. The index is compared
// without adding to it: index + 1 would wrap for all ones, the absent index, and make the first
// chapter's start the end of a chapter that isn't there.
uint64_t Movie::chapterEnd(uint32_t index) const {
  const uint32_t count = chapters_.count();
  return count > 1 && index < count - 1 ? chapters_[index + 1].start : duration_;
}

const Chapter& Movie::chapter(uint32_t index) const { return chapters_[index]; }

}  // namespace atomkit
