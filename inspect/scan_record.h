// What scan says of one file, on one line of JSON.
#pragma once
#include <filesystem>
#include <string>

#include "cli/json_text.h"
#include "inspect/file_finder.h"

namespace inspect {

struct ScanRecord {
  enum class Outcome { plays, refused, unreadable, passedOver };
  Outcome outcome = Outcome::plays;
  std::string line;  ///< JSON, without a line's end
};

/// Opens a file as the plug-in does. Throws nothing but std::bad_alloc: what goes wrong is in the
/// record. May be called by several threads at once.
ScanRecord scanFile(const std::filesystem::path& name);

/// The record of what is passed over or can't be read.
ScanRecord recordOf(const FoundFile& found);

}  // namespace inspect
