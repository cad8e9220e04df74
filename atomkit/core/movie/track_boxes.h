// What a 'trak' box holds: the handlers from 'trak' down to the sample table.
#pragma once
#include "atomkit/core/containers/shared.h"
#include "atomkit/core/streams/box_reader.h"
#include "atomkit/core/streams/parse_options.h"
#include "atomkit/meta/timing/track_record.h"

namespace atomkit {

/// A handler that fills one track. The track's record is made when the first of its boxes has
/// something to fill in: a file of empty 'trak' boxes must not cost a record for each.
class TrackPartHandler : public BoxHandler {
 public:
  TrackPartHandler(ParseOptions options, const LazyHandle<TrackRecord>& track) noexcept
      : options_(options), track_(&track) {}

 protected:
  ~TrackPartHandler() = default;

  /// The record, made now if there is none.
  /// @throws exception "out of memory"
  TrackRecord& record() const { return **track_; }

  ParseOptions options_;
  const LazyHandle<TrackRecord>* track_;
};

/// 'trak'. The sample description alone tells the kind of a track, so neither 'tkhd' nor 'hdlr' is
/// read.
class TrackBoxHandler final : public TrackPartHandler {
 public:
  using TrackPartHandler::TrackPartHandler;
  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override;
};

/// 'mdia'.
class MediaBoxHandler final : public TrackPartHandler {
 public:
  using TrackPartHandler::TrackPartHandler;
  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override;
};

/// 'minf'.
class MediaInfoBoxHandler final : public TrackPartHandler {
 public:
  using TrackPartHandler::TrackPartHandler;
  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override;
};

/// 'stbl'. Boxes before 'stsd' are always handled, as the kind of the track is not known yet; those
/// after it only for tracks that the options want.
class SampleTableBoxHandler final : public TrackPartHandler {
 public:
  using TrackPartHandler::TrackPartHandler;
  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override;

 private:
  CodecKind codecKind() const noexcept;
  bool trackWanted() const noexcept;
  bool tablesWanted() const noexcept { return options_ & kWantSampleTables; }
  bool compositionWanted() const noexcept;
};

}  // namespace atomkit
