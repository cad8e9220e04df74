// Everything that the interface tells about a file, gathered.
#pragma once
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/failure.h"
#include "host/media_info.h"
#include "host/packets.h"
#include "host/splitter_file.h"

namespace velahost {

/// An item, or why it can't be described.
struct ItemReport {
  uint32_t id = 0;
  uint64_t start = 0;  ///< host units from the start of the file
  MediaInfoRecord info;
  std::optional<Failure> failure;
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
  std::optional<Failure> formatsFailure;

  /// The first of the failures in it.
  std::optional<Failure> failure() const;
};

/// Moves the tags that all items have with the same values, and the replay gain that they share,
/// from the items to the whole: each of the 300 chapters of a book bears the tags of the book.
void shareCommonTags(FileReport& report);

/// Opens the file and asks for all there is. The tags of a file with video are asked for under the
/// identifier of its first chapter, because the interface tells tags with a chapter only. Items
/// whose tags would need more memory than 8 MiB and four times the file's size have a failure.
/// @throws Failure when the file can't be opened or described at all
FileReport reportOf(Session& session, const std::filesystem::path& file);

}  // namespace velahost
