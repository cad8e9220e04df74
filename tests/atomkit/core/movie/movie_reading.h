// Parses the bytes of a file, for the tests of the movie model.
#pragma once
#include <string>

#include "atomkit/core/movie/movie.h"
#include "tests/support/boxes.h"
#include "tests/support/memory_source.h"

namespace atomkit {

inline constexpr ParseOptions kInformation = 0x36;  ///< tags and both kinds of tracks
inline constexpr ParseOptions kPlayback = 0x37;     ///< the same with sample tables

inline void parse(Movie& movie, const boxes::Bytes& file, ParseOptions options = kPlayback,
                  ScanRange range = ScanRange::wholeFile) {
  MemorySource source(file);
  movie.parse(source, range, options, source.size());
}

/// A movie that is parsed by its constructor.
struct ParsedMovie : Movie {
  explicit ParsedMovie(const boxes::Bytes& file, ParseOptions options = kPlayback,
                       ScanRange range = ScanRange::wholeFile) {
    atomkit::parse(*this, file, options, range);
  }
};

/// All tags in one line, for example "title=One artist=A|B", with '!' after the name of an entry of
/// a single value.
inline std::string describe(const TagStore& tags) {
  std::string line;
  for (uint32_t i = 0; i < tags.entryCount(); ++i) {
    if (i > 0) line += ' ';
    line += tags.entryName(i);
    if (tags.flag(i) == TagFlag::single) line += '!';
    for (uint32_t v = 0; v < tags.valueCount(i); ++v) {
      line += v == 0 ? '=' : '|';
      line += tags.value(i, v).text();
    }
  }
  return line;
}

}  // namespace atomkit
