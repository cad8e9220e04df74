#include "inspect/opening.h"

#include <algorithm>

#include "atomkit/core/containers/exception.h"

namespace inspect {
namespace {

using atomkit::CodecKind;
using atomkit::Movie;

constexpr atomkit::ParseOptions kDescribing =
    atomkit::kWantVideo | atomkit::kWantAudio | atomkit::kWantTextTags;
constexpr atomkit::ParseOptions kPlaying = kDescribing | atomkit::kWantSampleTables;

bool isPlayedAudio(const Movie& movie, uint32_t track) {
  if (movie.codecKind(track) != CodecKind::mp4a) return false;
  const uint32_t type = movie.objectType(track);
  return type == 0x40 || (type >= 0x66 && type <= 0x69) || type == 0x6b;
}

bool isPlayedVideo(const Movie& movie, uint32_t track) {
  const CodecKind kind = movie.codecKind(track);
  return kind == CodecKind::avc1 || (kind == CodecKind::mp4v && movie.objectType(track) == 0x20);
}

/// Why a file whose boxes are sound has nothing to play; empty when it has.
std::string refusedTracks(const Movie& movie, const TakenTracks& taken) {
  if (!taken.any()) return "no track that can be played";
  if (taken.audio) {
    atomkit::TrackSummary summary;
    movie.summary(*taken.audio, summary);
    if (summary.sampleRate == 0) return "the audio track has a sample rate of 0";
    if (summary.channelCount == 0) return "the audio track has no channels";
  }
  return "";
}

bool isDescribable(File& file) {
  try {
    Movie movie;
    CountingSource source(file);
    movie.parse(source, atomkit::ScanRange::wholeFile, kDescribing, file.size());
    return refusedTracks(movie, takenTracks(movie)).empty();
  } catch (const atomkit::exception&) {
    return false;
  }
}

}  // namespace

uint32_t CountingSource::read(void* buffer, uint32_t count) {
  const size_t got = file_.read(position_, buffer, count);
  position_ += got;
  return static_cast<uint32_t>(got);
}

uint64_t CountingSource::skip(uint64_t count) {
  const uint64_t left = file_.size() - std::min(position_, file_.size());
  const uint64_t skipped = std::min(count, left);
  position_ += skipped;
  return skipped;
}

TakenTracks takenTracks(const Movie& movie) {
  TakenTracks taken;
  for (uint32_t track = 0; track < movie.trackCount(); ++track) {
    if (!taken.audio && isPlayedAudio(movie, track)) taken.audio = track;
    if (!taken.video && isPlayedVideo(movie, track)) taken.video = track;
  }
  return taken;
}

void open(File& file, Opening& opening) {
  CountingSource source(file);
  try {
    opening.movie.parse(source, atomkit::ScanRange::wholeFile, kPlaying, file.size());
  } catch (const atomkit::exception& error) {
    Refusal& refusal = opening.refusal.emplace();
    refusal.message = error.message();
    refusal.position = source.position();
    if (source.position() > 0) refusal.box = boxAt(file, source.position() - 1);
    refusal.describable = isDescribable(file);
    return;
  }
  opening.taken = takenTracks(opening.movie);
  const std::string message = refusedTracks(opening.movie, opening.taken);
  if (!message.empty()) opening.refusal.emplace().message = message;
}

}  // namespace inspect
