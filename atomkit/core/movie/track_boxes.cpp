#include "atomkit/core/movie/track_boxes.h"

#include "atomkit/core/movie/header_boxes.h"

namespace atomkit {

void TrackBoxHandler::handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) {
  if (type != fourCC("mdia")) return;
  MediaBoxHandler handler(options_, *track_);
  walkChildren(handler, reader, payloadSize);
}

void MediaBoxHandler::handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) {
  switch (type) {
    case fourCC("mdhd"): {
      const MediaHeader header = readMediaHeader(reader);
      TrackRecord& track = record();
      track.mediaTimescale = header.timescale;
      track.mediaDuration = header.duration;
      return;
    }
    case fourCC("minf"): {
      MediaInfoBoxHandler handler(options_, *track_);
      walkChildren(handler, reader, payloadSize);
      return;
    }
  }
}

void MediaInfoBoxHandler::handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) {
  if (type != fourCC("stbl")) return;
  SampleTableBoxHandler handler(options_, *track_);
  walkChildren(handler, reader, payloadSize);
}

CodecKind SampleTableBoxHandler::codecKind() const noexcept {
  const TrackRecord* const filled = track_->peek();
  return filled ? filled->description.codecKind : CodecKind::none;
}

// DELIBERATE D-208: a table before 'stsd' is read even if the track turns out unwanted; only the
// tables after it are passed over.
bool SampleTableBoxHandler::trackWanted() const noexcept {
  const CodecKind kind = codecKind();
  if (isAudio(kind)) return options_ & kWantAudio;
  if (isVideo(kind)) return options_ & kWantVideo;
  return kind == CodecKind::none;
}

// The start of an audio track depends on its composition offsets, so they are needed even for
// information alone.
bool SampleTableBoxHandler::compositionWanted() const noexcept {
  return tablesWanted() || !isVideo(codecKind());
}

void SampleTableBoxHandler::handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) {
  if (!trackWanted()) return;
  switch (type) {
    case fourCC("stsd"):
      readSampleDescriptions(options_, record().description, reader, payloadSize);
      return;
    case fourCC("stts"):
      record().timing.readTimeToSample(reader);
      return;
    case fourCC("ctts"):
      if (compositionWanted()) record().timing.readCompositionOffsets(reader);
      return;
    case fourCC("stss"):
      if (tablesWanted()) record().timing.readSyncSamples(reader);
      return;
    case fourCC("stsz"):
      if (tablesWanted()) record().samples.readSampleSizes(reader);
      return;
    case fourCC("stsc"):
      if (tablesWanted()) record().samples.readChunkMap(reader);
      return;
    case fourCC("stco"):
      if (tablesWanted()) record().samples.readChunkOffsets(reader, ChunkOffsetWidth::bits32);
      return;
    case fourCC("co64"):
      if (tablesWanted()) record().samples.readChunkOffsets(reader, ChunkOffsetWidth::bits64);
      return;
    case fourCC("stz2"):  // compact sample sizes are not supported: such a track has no sizes
      return;
  }
}

}  // namespace atomkit
