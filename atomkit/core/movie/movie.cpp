#include "atomkit/core/movie/movie.h"

#include <cstddef>
#include <cstring>

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/movie/movie_boxes.h"
#include "atomkit/core/streams/box_reader.h"

namespace atomkit {

static_assert(offsetof(TrackSummary, sampleRate) == 0);
static_assert(offsetof(TrackSummary, channelCount) == 4);
static_assert(offsetof(TrackSummary, averageBitrate) == 8);
static_assert(offsetof(TrackSummary, sampleSize) == 12);
static_assert(offsetof(TrackSummary, timescale) == 16);
static_assert(offsetof(TrackSummary, sampleCount) == 20);
static_assert(offsetof(TrackSummary, maximumBitrate) == 24);
static_assert(offsetof(TrackSummary, leadingAudioOffset) == 28);
static_assert(offsetof(TrackSummary, width) == 32);
static_assert(offsetof(TrackSummary, height) == 36);
static_assert(offsetof(TrackSummary, durationLow) == 40);
static_assert(offsetof(TrackSummary, durationHigh) == 44);
static_assert(sizeof(TrackSummary) == 48);

void Movie::parse(ByteSource& source, ScanRange range, ParseOptions options, uint64_t sourceLength,
                  WindowLender* windows) {
  model_.options = options;
  HostStreamAdapter stream(source, sourceLength, windows);
  walkTopLevel(stream, range);
  if (model_.header.duration == 0 || model_.header.timescale == 0) {
    throw exception("invalid or missing mvhd data");
  }
  finish(model_);
}

// Only 'moov' and 'mdat' mean anything here. Whatever doesn't look like a header ends the walk
// quietly: real files carry a few bytes of padding after their last box.
void Movie::walkTopLevel(ByteStream& stream, ScanRange range) {
  model_.scannedEnd = 0;
  BoxHeader header;
  while (readBoxHeader(stream, header)) {
    const uint64_t offset = model_.scannedEnd;
    model_.scannedEnd += header.boxSize();
    model_.lastTopLevelType = header.type;
    AtomReader payload(stream, header.payloadSize);
    if (range == ScanRange::upToMediaData && header.type == fourCC("mdat")) {
      if (!model_.moovSeen) throw exception("streaming a file that isn't optimized");
      return;
    }
    if (header.type == fourCC("moov")) {
      if (model_.moovSeen) throw exception("duplicate moov atom");
      model_.moovOffset = offset;
      model_.moovSize = header.boxSize();
      model_.moovSeen = true;
      MovieBoxHandler handler(model_);
      walkChildren(handler, payload, header.payloadSize);
    }
    payload.finish();
  }
}

const TrackRecord& Movie::track(uint32_t index) const {
  const TrackRecord* const record = model_.tracks[index].peek();
  return record ? *record : emptyTrack_;
}

CodecKind Movie::codecKind(uint32_t index) const { return track(index).description.codecKind; }

uint32_t Movie::objectType(uint32_t index) const { return track(index).description.objectType; }

void Movie::decoderConfig(uint32_t index, DecoderConfig& config) const {
  const DecoderConfig& kept = track(index).description.decoderConfig;
  config.resize(kept.count());
  if (kept.count() != 0) std::memcpy(config.data(), kept.data(), kept.count());
}

void Movie::summary(uint32_t index, TrackSummary& summary) const {
  const TrackRecord& record = track(index);
  const SampleDescription& description = record.description;
  summary.sampleRate = description.sampleRate;
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
  atomkit::reposition(track(cursor.track), cursor, sample);
}

bool Movie::step(SampleCursor& cursor) const { return atomkit::step(track(cursor.track), cursor); }

void Movie::move(SampleCursor& cursor, uint32_t sample) const {
  if (sample != cursor.sample) atomkit::move(track(cursor.track), cursor, sample);
}

uint32_t Movie::moveAndDescribe(SampleCursor& cursor, uint32_t sample, SampleInfo& info) const {
  const TrackRecord& record = track(cursor.track);
  atomkit::move(record, cursor, sample);
  return atomkit::sampleInfo(record, cursor, info);
}

uint32_t Movie::sampleInfo(const SampleCursor& cursor, SampleInfo& info) const {
  return atomkit::sampleInfo(track(cursor.track), cursor, info);
}

uint64_t Movie::chapterStart(uint32_t index) const { return model_.chapters[index].start; }

// Without a range check: any index has an answer. The index is compared without adding to it, as
// index + 1 would wrap for all ones and name the first chapter.
uint64_t Movie::chapterEnd(uint32_t index) const {
  const uint32_t count = model_.chapters.count();
  return count > 1 && index < count - 1 ? model_.chapters[index + 1].start : model_.duration;
}

const Chapter& Movie::chapter(uint32_t index) const { return model_.chapters[index]; }

}  // namespace atomkit
