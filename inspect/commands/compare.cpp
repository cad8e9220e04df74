#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <nlohmann/json.hpp>

#include "cli/text.h"
#include "inspect/commands/commands.h"
#include "inspect/comparison.h"

namespace inspect {
namespace {

using Json = nlohmann::ordered_json;

class Compare final : public Command {
 public:
  const char* name() const override { return "compare"; }
  const char* help() const override { return "Tell whether two files hold the same."; }
  const char* notes() const override {
    return "Tracks, packets, times, headers, decoder configurations, tags, chapters and\n"
           "covers are compared, wherever in the files they lie: a file that was only\n"
           "written in another order is the same. The first difference of each subject is\n"
           "told. Where the tables claim far more samples than the file can hold, the rest\n"
           "is not compared, and the files don't count as the same. Of files that the\n"
           "library refuses only tracks, packets, times and headers are compared.\n"
           "Tracks and samples are counted from 0.";
  }
  void addOptions(CLI::App& app) override {
    app.add_option("A", left_, "The first file")->required()->type_name("");
    app.add_option("B", right_, "The second file")->required()->type_name("");
    addJsonOption(app, output_);
  }

  ExitStatus run(const Surroundings& surroundings) override {
    ExitStatus status = ExitStatus::success;
    std::unique_ptr<File> left;
    std::unique_ptr<File> right;
    const auto openInto = [&](std::unique_ptr<File>& file, const std::filesystem::path& name) {
      status = graver(status, forEachFile(surroundings, {name}, output_, [&](const auto& opened) {
                        file = std::make_unique<File>(opened);
                        return ExitStatus::success;
                      }));
    };
    openInto(left, left_);
    openInto(right, right_);
    if (!left || !right) return status;
    // Either may fail to be read; the name of the first stands for both.
    return forEachFile(surroundings, {left_}, output_, [&](const auto&) {
      const std::vector<Compared> all =
          compareFiles(*left, *right, [&] { surroundings.throwIfCancelled(); });
      return tell(all, surroundings.out);
    });
  }

 private:
  ExitStatus tell(const std::vector<Compared>& all, Printer& out) const {
    const auto has = [&](Verdict verdict) {
      return std::any_of(all.begin(), all.end(),
                         [verdict](const Compared& one) { return one.verdict == verdict; });
    };
    const bool differ = has(Verdict::differ);
    const bool same = !differ && !has(Verdict::unknown);
    if (output_ == Output::json) {
      Json document = startDocument("compare", left_);
      document["other"] = right_.string();
      document["same"] = same;
      document["subjects"] = Json::array();
      for (const Compared& one : all) {
        document["subjects"].push_back({{"subject", one.subject},
                                        {"same", one.verdict == Verdict::same},
                                        {"complete", one.verdict != Verdict::unknown},
                                        {"message", one.text}});
      }
      out.json(document);
    } else {
      out.line("{}", same     ? "The files hold the same."
                     : differ ? "The files differ."
                              : "The files were not compared to their ends.");
      for (const Compared& one : all) {
        const char* const verdict = one.verdict == Verdict::same     ? "the same"
                                    : one.verdict == Verdict::differ ? "differ"
                                                                     : "not known";
        out.line("  {:<13}  {}{}{}", one.subject, verdict, one.text.empty() ? "" : ": ", one.text);
      }
    }
    return same ? ExitStatus::success : ExitStatus::differs;
  }

  std::filesystem::path left_;
  std::filesystem::path right_;
  Output output_ = Output::text;
};

}  // namespace

std::unique_ptr<Command> makeCompare() { return std::make_unique<Compare>(); }

}  // namespace inspect
