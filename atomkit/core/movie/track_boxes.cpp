#include "atomkit/core/movie/track_boxes.h"

#include "atomkit/core/movie/header_boxes.h"

namespace atomkit {

void TrackBoxHandler::handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) {
  if (type != fourCC("mdia")) return;
  MediaBoxHandler handler(options_, *record_);
  walkChildren(handler, reader, payloadSize);
}

void MediaBoxHandler::handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) {
  switch (type) {
    case fourCC("mdhd"): {
      const MediaHeader header = readMediaHeader(reader);
      record_->mediaTimescale = header.timescale;
      record_->mediaDuration = header.duration;
      return;
    }
    case fourCC("minf"): {
      MediaInfoBoxHandler handler(options_, *record_);
      walkChildren(handler, reader, payloadSize);
      return;
    }
  }
}

void MediaInfoBoxHandler::handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) {
  if (type != fourCC("stbl")) return;
  SampleTableBoxHandler handler(options_, *record_);
  walkChildren(handler, reader, payloadSize);
}

// DELIBERATE D-208: a table before 'stsd' is read even if the track turns out unwanted; only the
// tables after it are passed over.
bool SampleTableBoxHandler::trackWanted() const noexcept {
  const CodecKind kind = record_->description.codecKind;
  if (isAudio(kind)) return options_ & kWantAudio;
  if (isVideo(kind)) return options_ & kWantVideo;
  return kind == CodecKind::none;
}

// The start of an audio track depends on its composition offsets, so they are needed even for
// information alone.
bool SampleTableBoxHandler::compositionWanted() const noexcept {
  return tablesWanted() || !isVideo(record_->description.codecKind);
}

void SampleTableBoxHandler::handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) {
  if (!trackWanted()) return;
  switch (type) {
    case fourCC("stsd"):
      readSampleDescriptions(options_, record_->description, reader, payloadSize);
      return;
    case fourCC("stts"):
      record_->timing.readTimeToSample(reader);
      return;
    case fourCC("ctts"):
      if (compositionWanted()) record_->timing.readCompositionOffsets(reader);
      return;
    case fourCC("stss"):
      if (tablesWanted()) record_->timing.readSyncSamples(reader);
      return;
    case fourCC("stsz"):
      if (tablesWanted()) record_->samples.readSampleSizes(reader);
      return;
    case fourCC("stsc"):
      if (tablesWanted()) record_->samples.readChunkMap(reader);
      return;
    case fourCC("stco"):
      if (tablesWanted()) record_->samples.readChunkOffsets(reader, ChunkOffsetWidth::bits32);
      return;
    case fourCC("co64"):
      if (tablesWanted()) record_->samples.readChunkOffsets(reader, ChunkOffsetWidth::bits64);
      return;
    case fourCC("stz2"):  // compact sample sizes are not supported: such a track has no sizes
      return;
  }
}

}  // namespace atomkit
