#include "inspect/command.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <new>
#include <nlohmann/json.hpp>

#include "cli/text.h"

namespace inspect {

void Surroundings::throwIfCancelled() const {
  if (cancelled) throw cli::Failure(ExitStatus::cancelled, "Stopped by a signal.");
}

void addJsonOption(CLI::App& app, Output& output) {
  app.add_flag_callback(
      "--json", [&output] { output = Output::json; }, "Print JSON");
}

void addFile(CLI::App& app, std::filesystem::path& file) {
  app.add_option("FILE", file, "The MP4 file")->required()->type_name("");
}

void addFiles(CLI::App& app, std::vector<std::filesystem::path>& files) {
  app.add_option("FILE", files, "The MP4 files")->required()->type_name("");
}

void addPluginOption(CLI::App& app, std::filesystem::path& plugin) {
  app.add_option("--plugin", plugin, "The plug-in's library")->type_name("PATH");
}

ExitStatus graver(ExitStatus left, ExitStatus right) {
  constexpr std::array kRising = {ExitStatus::success,     ExitStatus::differs,
                                  ExitStatus::warnings,    ExitStatus::errors,
                                  ExitStatus::refused,     ExitStatus::cannotOpen,
                                  ExitStatus::otherResult, ExitStatus::outOfMemory};
  const auto rank = [&](ExitStatus status) {
    return std::find(kRising.begin(), kRising.end(), status) - kRising.begin();
  };
  return rank(left) < rank(right) ? right : left;
}

ExitStatus forEachFile(const Surroundings& surroundings,
                       const std::vector<std::filesystem::path>& files, Output output,
                       const std::function<ExitStatus(const std::filesystem::path&)>& one) {
  ExitStatus gravest = ExitStatus::success;
  const auto tell = [&](const cli::Failure& failure, const std::filesystem::path& file) {
    if (output == Output::json) surroundings.out.json(errorDocument(failure, file));
    surroundings.out.flush();  // so that both outputs, on one terminal, come in order
    surroundings.err << "velainspect: " << cli::pathText(file) << ": " << failure.what() << '\n';
    gravest = graver(gravest, static_cast<ExitStatus>(failure.status()));
  };
  for (const std::filesystem::path& file : files) {
    surroundings.throwIfCancelled();
    try {
      gravest = graver(gravest, one(file));
    } catch (const cli::Failure& failure) {
      const auto status = static_cast<ExitStatus>(failure.status());
      if (status == ExitStatus::outputFailed || status == ExitStatus::cancelled) throw;
      tell(failure, file);
    } catch (const std::bad_alloc&) {
      tell(cli::Failure(ExitStatus::outOfMemory, "There is not enough memory."), file);
    }
  }
  return gravest;
}

cli::Json startDocument(const char* type, const std::filesystem::path& file) {
  return {{"type", type},
          {"format_version", kJsonFormatVersion},
          {"file", file.empty() ? cli::Json(nullptr) : cli::Json(file.string())}};
}

cli::Json errorDocument(const cli::Failure& failure, const std::filesystem::path& file) {
  cli::Json document = startDocument("error", file);
  document["error"] = {{"code", failure.status()}, {"message", failure.what()}};
  return document;
}

}  // namespace inspect
