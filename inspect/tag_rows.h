// The tags of a file beside what the plug-in tells of them.
#pragma once
#include <string>
#include <vector>

#include "inspect/plugin_view.h"
#include "inspect/raw_tags.h"

namespace inspect {

/// A tag that the plug-in tells.
struct ToldTag {
  std::string name;
  std::vector<std::string> values;  ///< UTF-8
  bool differsByItem = false;       ///< the values are those of the first item that has it
};

/// Everything that the plug-in tells: the tags of all items, then those of single items, then the
/// replay gain, under the names of the tags that it comes from.
std::vector<ToldTag> toldTags(const velahost::FileReport& report);

/// Tags of the file that have one name in one place, and what the plug-in makes of them.
struct TagRow {
  std::vector<RawTag> raw;    ///< empty: the plug-in tells what no tag of the file says
  std::vector<ToldTag> told;  ///< empty: not told; several for a number with a total

  /// All values of the file, in order.
  std::vector<RawValue> values() const;
  /// Told with exactly these values.
  bool isToldAsItIs() const;
};

/// @param report  null when the plug-in tells nothing
std::vector<TagRow> tagRows(const std::vector<RawTag>& raw, const velahost::FileReport* report);

}  // namespace inspect
