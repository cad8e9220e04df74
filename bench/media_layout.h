// Where the movie box of a file and the sample tables in it lie. A plain walk over a file that is
// known to be well formed; the benchmarks need it to know what an open has to copy.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

namespace bench {

/// A part of a file, in bytes.
struct Range {
  uint64_t start = 0;
  uint64_t length = 0;
};

struct MediaLayout {
  Range movieBox = {};  ///< 'moov' with its header
  /// The entries of stts, ctts, stss, stsz, stsc, stco and co64.
  std::vector<Range> sampleTables = {};
};

/// @throws std::runtime_error for a file that can't be read or has no movie box
MediaLayout layoutOf(const std::string& file);

}  // namespace bench
