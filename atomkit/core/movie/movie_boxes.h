// What a 'moov' box holds: the movie header, the tracks and the user data.
#pragma once
#include "atomkit/core/movie/movie.h"
#include "atomkit/core/streams/box_reader.h"

namespace atomkit {

/// 'moov'. Every 'trak' yields a track, whatever its kind and whether it is wanted; a second 'mvhd'
/// replaces the first.
class MovieBoxHandler final : public BoxHandler {
 public:
  explicit MovieBoxHandler(Movie& movie) noexcept : movie_(&movie) {}

  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override;

 private:
  Movie* movie_;
};

/// 'udta' inside 'moov'.
class UserDataBoxHandler final : public BoxHandler {
 public:
  explicit UserDataBoxHandler(Movie& movie) noexcept : movie_(&movie) {}

  void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) override;

 private:
  Movie* movie_;
};

}  // namespace atomkit
