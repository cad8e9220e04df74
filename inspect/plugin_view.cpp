#include "inspect/plugin_view.h"

#include <nlohmann/json.hpp>

#include "host/failure.h"

namespace inspect {

using cli::ExitStatus;

PluginView askPlugin(const std::filesystem::path& plugin, const std::filesystem::path& file) {
  PluginView view;
  try {
    velahost::Session session(plugin);
    try {
      view.report = velahost::reportOf(session, file);
      velahost::shareCommonTags(*view.report);
    } catch (const velahost::Failure& failure) {
      throw session.context.explained(failure);
    }
  } catch (const velahost::Failure& failure) {
    view.refusal = failure.what();
    const auto status = static_cast<ExitStatus>(failure.status());
    if (status != ExitStatus::refused) view.status = status;
  }
  return view;
}

cli::Json pluginDocument(const PluginView& view) {
  return {{"opens", view.report.has_value()},
          {"refusal", view.report ? cli::Json(nullptr) : cli::Json(view.refusal)}};
}

}  // namespace inspect
