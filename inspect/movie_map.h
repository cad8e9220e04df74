// MovieMap: the headers and the places of the sample tables of a file, whether or not the library
// takes the file.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "inspect/box.h"
#include "inspect/file.h"
#include "inspect/table.h"

namespace inspect {

/// One entry of an edit list.
struct Edit {
  uint64_t duration = 0;  ///< ticks of the movie
  int64_t mediaTime = 0;  ///< ticks of the media; -1 for a time of nothing
};

/// A sample entry, as far as it tells what a track holds.
struct SampleEntry {
  FourCC type = 0;
  uint64_t offset = 0;  ///< of its box
  bool audio = false;
  bool video = false;
  uint32_t channels = 0;
  uint32_t sampleRate = 0;     ///< Hz
  uint32_t width = 0;          ///< pixels
  uint32_t height = 0;         ///< pixels
  uint32_t objectType = 0;     ///< of 'esds'; 0 without one
  uint32_t nalLengthSize = 0;  ///< bytes, of 'avcC'; 0 without one
};

struct TrackMap {
  uint32_t number = 0;  ///< place among the tracks of the file, from 0
  uint64_t offset = 0;  ///< of the 'trak' box
  uint32_t id = 0;      ///< track_ID of 'tkhd'
  FourCC handler = 0;   ///< handler_type of 'hdlr': "vide", "soun" and so on; 0 without one
  bool hasMediaHeader = false;
  uint8_t mediaHeaderVersion = 0;
  uint32_t timescale = 0;               ///< ticks/s of 'mdhd'
  uint64_t duration = 0;                ///< ticks of 'mdhd'; all ones when unknown
  uint64_t headerDuration = 0;          ///< ticks of the movie, of 'tkhd'
  std::vector<SampleEntry> entries;     ///< of 'stsd', at most kMostEntries
  std::vector<Edit> edits;              ///< of 'elst', at most kMostEdits
  std::vector<uint32_t> chapterTracks;  ///< track identifiers that 'tref'/'chap' names

  // A second box of a kind replaces the first, as in the library.
  TableSpan times;         ///< 'stts': count, delta
  TableSpan compositions;  ///< 'ctts': count, offset
  TableSpan syncs;         ///< 'stss': sample numbers, one-based
  TableSpan sizes;         ///< 'stsz' with listed sizes
  TableSpan chunkMap;      ///< 'stsc': first chunk (one-based), samples per chunk, description
  TableSpan chunks;        ///< 'stco' or 'co64': offsets
  uint8_t compositionVersion = 0;
  uint32_t constantSize = 0;   ///< of 'stsz'; 0 when the sizes are listed
  uint32_t declaredSizes = 0;  ///< sample_count of 'stsz'
  bool compactSizes = false;   ///< 'stz2' is there

  /// Sum of the counts of 'stts'.
  uint64_t sampleCount = 0;
  /// Sum of count times delta of 'stts', in ticks; wraps past 2^64, which `timesWrap` tells.
  uint64_t tableDuration = 0;
  bool timesWrap = false;

  bool isAudio() const { return !entries.empty() && entries.back().audio; }
  bool isVideo() const { return !entries.empty() && entries.back().video; }
  /// "mp4a", or what else the last entry is; the handler where there is none.
  std::string kindText() const;
};

struct ByteRange {
  uint64_t offset = 0;  ///< bytes from the file's start
  uint64_t end = 0;
};

struct MovieMap {
  uint32_t movieBoxes = 0;
  uint64_t movieOffset = 0;  ///< of the first 'moov'
  bool hasHeader = false;
  uint8_t headerVersion = 0;
  uint32_t timescale = 0;            ///< of 'mvhd', in its own layout
  uint64_t duration = 0;             ///< ticks of the movie
  uint32_t fragments = 0;            ///< 'moof' boxes
  std::vector<ByteRange> mediaData;  ///< the payloads of 'mdat', as far as they are there
  std::vector<TrackMap> tracks;
};

inline constexpr size_t kMostEntries = 16;
inline constexpr size_t kMostEdits = 64;

/// Reads the map of a file in one walk. Sums of 'stts' take a read of that table.
MovieMap readMovieMap(File& file);

}  // namespace inspect
