// PlainFile: what a file says, read box by box with the whole file in memory, and refused where the
// plug-in must refuse it.
#pragma once
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "fuzz/model/plain_tags.h"
#include "fuzz/model/plain_track.h"

namespace plain {

/// What is read: everything, or only what describes a file (no places of samples).
enum class Depth { describing, playing };
/// Whether the reader can go back, to read a movie box that lies after the media data.
enum class Access { seekable, forward };

struct Chapter {
  uint64_t start = 0;  // 100 ns
  Tags tags;
};

struct PlainFile {
  std::vector<PlainTrack> tracks;
  uint32_t timescale = 0;
  uint32_t headerDuration = 0;  // movie timescale
  uint64_t duration = 0;        // 100 ns
  std::vector<Chapter> chapters;

  uint64_t chapterEnd(uint32_t chapter) const {
    return chapter + 1 < chapters.size() ? chapters[chapter + 1].start : duration;
  }

  /// @return nothing where the file must be refused
  static std::optional<PlainFile> read(const uint8_t* bytes, uint64_t count, Depth depth,
                                       Access access);
};

/// Reads the boxes of a sample table into `track`. @throws Refused
void readSampleTable(BytesIn in, Depth depth, PlainTrack& track);

}  // namespace plain
