// Everything that a report shows, as the JSON that its page reads.
#pragma once
#include <cstdint>
#include <filesystem>
#include <functional>

#include "cli/json_text.h"
#include "inspect/file.h"
#include "inspect/plugin_view.h"
#include "inspect/report_series.h"

namespace inspect {

/// Boxes that a report lists at most.
inline constexpr uint64_t kMostBoxes = 20'000;
/// Bytes of pictures that a report holds at most, all together.
inline constexpr uint64_t kMostPictureBytes = 1'500'000;

/// Looks at kMostSamples of all tracks together, and at no more than the file has bytes.
/// @param view  what the plug-in tells of the file
/// @param poll  called now and then; may throw to end a long look
cli::Json reportData(File& file, const PluginView& view, const std::function<void()>& poll);

}  // namespace inspect
