// A movie around boxes that are fuzzed by themselves, parsed by the library and by the model.
#pragma once
#include <cstddef>
#include <cstdint>
#include <optional>

#include "atomkit/core/movie/movie.h"
#include "fuzz/model/plain_file.h"
#include "tests/support/memory_source.h"
#include "tests/support/movie_builder.h"
#include "tests/support/require.h"

namespace fuzz {

inline constexpr atomkit::ParseOptions kPlayingOptions = 0x37;

/// Parses `bytes`; library and model agree on whether they can be read.
/// @return the model, where they can
inline std::optional<plain::PlainFile> parseBoth(const boxes::Bytes& bytes, atomkit::Movie& movie) {
  auto model = plain::PlainFile::read(bytes.data(), bytes.size(), plain::Depth::playing,
                                      plain::Access::seekable);
  MemorySource source(bytes);
  bool parsed = true;
  try {
    movie.parse(source, atomkit::ScanRange::wholeFile, kPlayingOptions, source.size());
  } catch (const atomkit::exception&) {
    parsed = false;
  }
  REQUIRE(parsed == model.has_value());
  return model;
}

}  // namespace fuzz
