#include "inspect/file_check.h"

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "inspect/box.h"
#include "inspect/opening.h"

namespace inspect {
namespace {

/// A file without a track that can be played may be sound all the same.
void addRefusal(const Refusal& refusal, std::vector<Finding>& findings) {
  const Severity severity = refusal.position ? Severity::error : Severity::note;
  std::string text = "the plug-in refuses the file: " + refusal.message;
  if (const Box* const box = refusal.box.deepest()) text += ", in " + pathText(*box);
  findings.insert(findings.begin(), {severity, "refused", std::nullopt, 1, text});
}

void addInterleaving(const Interleaving& measured, std::vector<Finding>& findings) {
  if (measured.largestLeadSeconds <= kTolerableLead) return;
  const auto place = std::find_if(findings.begin(), findings.end(), [](const Finding& finding) {
    return finding.severity == Severity::note;
  });
  findings.insert(
      place, {Severity::warning, "interleaving", std::nullopt, measured.jumps,
              fmt::format("sound and picture lie up to {:.3f} s apart in the file, the most at {}",
                          measured.largestLeadSeconds, measured.largestLeadOffset)});
}

}  // namespace

FileCheck checkFile(File& file, const std::function<void()>& poll) {
  const MovieMap map = readMovieMap(file);
  FileCheck result;
  result.findings = findFaults(file, map, poll);
  Opening opening;
  open(file, opening);
  if (opening.refusal) {
    addRefusal(*opening.refusal, result.findings);
    return result;
  }
  const auto track = [&](const std::optional<uint32_t>& number) {
    return number ? &map.tracks.at(*number) : nullptr;
  };
  result.interleaving =
      measureInterleaving(file, track(opening.taken.audio), track(opening.taken.video), poll);
  addInterleaving(*result.interleaving, result.findings);
  return result;
}

}  // namespace inspect
