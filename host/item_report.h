// Everything that the interface tells about a file, gathered.
#pragma once
#include <filesystem>
#include <string>
#include <vector>

#include "host/media_info.h"
#include "host/packets.h"
#include "host/splitter_file.h"

namespace velahost {

/// An item, or why it can't be described.
struct ItemReport {
  uint32_t id = 0;
  uint64_t start = 0;  ///< host units from the start of the file
  MediaInfoRecord info;
  vela::TIOResult result = vela::TIOResult::success;
};

struct FileReport {
  std::string file;  ///< as it was named
  uint32_t pluginVersion = 0;
  std::string filter;  ///< file names that the plug-in takes for its own
  bool matchesFilter = false;
  MediaInfoRecord whole;  ///< duration, record and chapters of the whole file
  std::vector<ItemReport> items;
  bool audioOnly = false;  ///< an item for every chapter
  AudioFormatRecord audioFormat;
  VideoFormatRecord videoFormat;
  vela::TIOResult formatsResult = vela::TIOResult::success;

  /// The first result that is not success, or success.
  vela::TIOResult worst() const;
};

/// Opens the file and asks for all there is. The tags of a file with video are asked for under the
/// identifier of its first chapter, because the interface tells tags with a chapter only.
/// @throws Failure when the file can't be opened or described at all
FileReport reportOf(Session& session, const std::filesystem::path& file);

}  // namespace velahost
