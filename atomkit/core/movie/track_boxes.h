// What a 'trak' box holds: the handlers from 'trak' down to the sample table.
#pragma once
#include "atomkit/core/streams/box_reader.h"
#include "atomkit/core/streams/parse_options.h"
#include "atomkit/meta/timing/track_record.h"

namespace atomkit {

/// A handler that fills one track.
class TrackPartHandler : public BoxHandler {
 public:
  TrackPartHandler(ParseOptions options, TrackRecord& record) noexcept
      : options_(options), record_(&record) {}

 protected:
  ~TrackPartHandler() = default;

  ParseOptions options_;
  TrackRecord* record_;
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
  bool trackWanted() const noexcept;
  bool tablesWanted() const noexcept { return options_ & kWantSampleTables; }
  bool compositionWanted() const noexcept;
};

}  // namespace atomkit
