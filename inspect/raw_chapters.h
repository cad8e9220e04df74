// The chapters of a file as its boxes hold them: chapter lists and chapter tracks.
#pragma once
#include <cstdint>
#include <string>
#include <vector>

#include "inspect/file.h"

namespace inspect {

struct RawChapter {
  uint64_t start = 0;  ///< 100 ns
  std::string title;   ///< as the bytes of the file
};

/// One list of chapters.
struct RawChapterList {
  enum class Kind {
    list,   ///< 'chpl'
    track,  ///< text samples of a track that another one names as its chapters
  };
  Kind kind = Kind::list;
  std::string path;      ///< of the box or of the track
  uint64_t offset = 0;   ///< of the box, in bytes
  uint32_t version = 0;  ///< of the box
  bool isReadByLibrary = false;
  bool isCutShort = false;  ///< fewer chapters are there than the list declares
  std::vector<RawChapter> chapters;
};

/// Chapters of a track that are read at most.
inline constexpr size_t kMostTrackChapters = 65'536;

/// All lists in file order, lists before tracks.
std::vector<RawChapterList> readRawChapters(File& file);

}  // namespace inspect
