// What the plug-in tells about a file through its interface, as any host would hear it.
#pragma once
#include <filesystem>
#include <optional>
#include <string>

#include "cli/failure.h"
#include "cli/json_text.h"
#include "host/item_report.h"

namespace inspect {

struct PluginView {
  /// Tags that all items have stand with the whole file. Nothing when the plug-in refuses the file
  /// or can't be loaded.
  std::optional<velahost::FileReport> report;
  std::string refusal;  ///< a sentence; empty when there is a report
  /// success also for a refused file: that is an answer. pluginUnavailable, cannotOpen and so on
  /// when there is none.
  cli::ExitStatus status = cli::ExitStatus::success;
};

/// Opens the file in the plug-in.
/// @param plugin  the library to load; empty to look in the usual places
PluginView askPlugin(const std::filesystem::path& plugin, const std::filesystem::path& file);

/// The start of what a JSON document says of the plug-in: whether it opens the file, and why not.
cli::Json pluginDocument(const PluginView& view);

}  // namespace inspect
