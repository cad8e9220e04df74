// A movie parsed from memory, for the benchmarks of the MP4 library alone.
#pragma once
#include "atomkit/core/movie/movie.h"
#include "tests/support/memory_source.h"

namespace bench {

inline void parse(atomkit::Movie& movie, const boxes::Bytes& bytes) {
  MemorySource source(bytes);
  movie.parse(source, atomkit::ScanRange::wholeFile, 0x37, bytes.size());
}

}  // namespace bench
