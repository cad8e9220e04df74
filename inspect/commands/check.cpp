#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "cli/text.h"
#include "inspect/box.h"
#include "inspect/commands/commands.h"
#include "inspect/file_check.h"

namespace inspect {
namespace {

using Json = nlohmann::ordered_json;

ExitStatus statusOf(const std::vector<Finding>& findings) {
  ExitStatus status = ExitStatus::success;
  for (const Finding& finding : findings) {
    if (finding.severity == Severity::warning) status = graver(status, ExitStatus::warnings);
    if (finding.severity == Severity::error) status = graver(status, ExitStatus::errors);
  }
  return status;
}

uint64_t countOf(const std::vector<Finding>& findings, Severity severity) {
  return static_cast<uint64_t>(
      std::count_if(findings.begin(), findings.end(),
                    [severity](const Finding& finding) { return finding.severity == severity; }));
}

class Check final : public Command {
 public:
  const char* name() const override { return "check"; }
  const char* help() const override { return "Look for faults in the structure of files."; }
  const char* notes() const override {
    return "Errors: data is lost or wrong. Warnings: a player loses time or is told what is\n"
           "untrue. Notes are harmless. Looked at are the tables of all tracks: overlaps,\n"
           "samples outside of the media data or of the file, holes, the order of chunks,\n"
           "sync samples, counts and durations that disagree, sums that wrap. For the tracks\n"
           "that are played: how far sound and picture lie apart in the file, and how often\n"
           "a host has to jump.\n"
           "With --json one object a line for each file.";
  }
  void addOptions(CLI::App& app) override {
    addFiles(app, files_);
    addJsonOption(app, output_);
  }

  ExitStatus run(const Surroundings& surroundings) override {
    return forEachFile(surroundings, files_, output_, [&](const std::filesystem::path& name) {
      File file(name);
      return check(file, surroundings);
    });
  }

 private:
  ExitStatus check(File& file, const Surroundings& surroundings) const {
    const auto [findings, interleaving] = checkFile(file, [&] { surroundings.throwIfCancelled(); });
    if (output_ == Output::json) {
      writeJson(file, findings, interleaving, surroundings.out);
    } else {
      writeText(file, findings, interleaving, surroundings.out);
    }
    return statusOf(findings);
  }

  void writeText(const File& file, const std::vector<Finding>& findings,
                 const std::optional<Interleaving>& interleaving, Printer& out) const {
    const uint64_t errors = countOf(findings, Severity::error);
    const uint64_t warnings = countOf(findings, Severity::warning);
    const std::string sum = errors == 0 && warnings == 0 ? "no faults"
                                                         : cli::counted(errors, "error") + ", " +
                                                               cli::counted(warnings, "warning");
    out.line("{}: {}", cli::pathText(file.name()), sum);
    for (const Finding& finding : findings) {
      const std::string track = finding.track ? fmt::format("track {}: ", *finding.track) : "";
      out.line("  {:<8} {}{}", inspect::name(finding.severity), track, finding.text);
    }
    if (!interleaving) return;
    const Interleaving& measured = *interleaving;
    out.line("  playing  {}, {} over {}, the farthest over {}",
             cli::counted(measured.packets, "packet"), cli::counted(measured.jumps, "jump"),
             cli::counted(measured.jumpedBytes, "byte"), measured.largestJumpBytes);
  }

  void writeJson(const File& file, const std::vector<Finding>& findings,
                 const std::optional<Interleaving>& interleaving, Printer& out) const {
    Json document = startDocument("check", file.name());
    document["errors"] = countOf(findings, Severity::error);
    document["warnings"] = countOf(findings, Severity::warning);
    document["findings"] = Json::array();
    for (const Finding& finding : findings) {
      document["findings"].push_back(
          {{"severity", inspect::name(finding.severity)},
           {"code", finding.code},
           {"track", finding.track ? Json(*finding.track) : Json(nullptr)},
           {"count", finding.count},
           {"message", finding.text}});
    }
    document["interleaving"] = nullptr;
    if (interleaving) {
      document["interleaving"] = {{"packets", interleaving->packets},
                                  {"jumps", interleaving->jumps},
                                  {"jumped_bytes", interleaving->jumpedBytes},
                                  {"largest_jump_bytes", interleaving->largestJumpBytes},
                                  {"largest_lead_seconds", interleaving->largestLeadSeconds},
                                  {"largest_lead_offset", interleaving->largestLeadOffset}};
    }
    out.json(document);
  }

  std::vector<std::filesystem::path> files_;
  Output output_ = Output::text;
};

}  // namespace

std::unique_ptr<Command> makeCheck() { return std::make_unique<Check>(); }

}  // namespace inspect
