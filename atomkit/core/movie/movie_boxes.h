// What a 'moov' box holds: the movie header, the tracks and the user data.
#pragma once
#include "atomkit/core/movie/movie_model.h"
#include "atomkit/core/streams/box_reader.h"

namespace atomkit {

/// 'moov'. Every 'trak' yields a track, whatever its kind and whether it is wanted; a second 'mvhd'
/// replaces the first.
class MovieBoxHandler final : public BoxHandler {
 public:
  explicit MovieBoxHandler(MovieModel& model) noexcept : model_(&model) {}

  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override;

 private:
  MovieModel* model_;
};

/// 'udta' inside 'moov'.
class UserDataBoxHandler final : public BoxHandler {
 public:
  explicit UserDataBoxHandler(MovieModel& model) noexcept : model_(&model) {}

  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override;

 private:
  MovieModel* model_;
};

}  // namespace atomkit
