// velainspect scan: one line of JSON for every file in folders.
#include <CLI/CLI.hpp>
#include <array>
#include <atomic>
#include <fstream>
#include <iostream>
#include <thread>

#include "cli/text.h"
#include "inspect/commands/commands.h"
#include "inspect/scan_record.h"

namespace inspect {
namespace {

namespace fs = std::filesystem;

/// Files that each thread gets at a time. A batch ends when its slowest file does.
constexpr size_t kFilesPerJob = 64;

/// Names of a list, a line or a zero byte after each.
class NameList {
 public:
  /// @param list  "-" for standard input
  NameList(const fs::path& list, char end) : list_(list), end_(end) {
    if (list == "-") return;
    file_.open(list, std::ios::binary);
    if (!file_) fail(ExitStatus::cannotOpen, "opened");
  }

  /// @throws Failure when the list can't be read to its end
  std::optional<fs::path> next() {
    std::istream& in = file_.is_open() ? file_ : std::cin;
    for (std::string name; std::getline(in, name, end_);) {
      if (end_ == '\n' && name.ends_with('\r')) name.pop_back();
      if (!name.empty()) return fs::path(name);
    }
    if (in.bad()) fail(ExitStatus::otherResult, "read");
    return std::nullopt;
  }

 private:
  [[noreturn]] void fail(ExitStatus status, const std::string& what) const {
    const std::string list = list_ == "-" ? "Standard input" : "The list " + cli::pathText(list_);
    throw cli::Failure(status, list + " can't be " + what + ".");
  }

  fs::path list_;
  std::ifstream file_;
  char end_;
};

/// How many files came to what.
class Counts {
 public:
  void add(ScanRecord::Outcome outcome) { ++counts_[static_cast<size_t>(outcome)]; }
  uint64_t of(ScanRecord::Outcome outcome) const { return counts_[static_cast<size_t>(outcome)]; }

  std::string text() const {
    using enum ScanRecord::Outcome;
    return cli::counted(of(plays) + of(refused), "file") + ": " + std::to_string(of(plays)) +
           " opened, " + std::to_string(of(refused)) + " refused; " +
           std::to_string(of(unreadable)) + " unreadable, " + std::to_string(of(passedOver)) +
           " passed over";
  }

 private:
  std::array<uint64_t, 4> counts_{};
};

class Scan final : public Command {
 public:
  const char* name() const override { return "scan"; }
  const char* help() const override { return "Tell of every file in folders, a line each."; }
  const char* notes() const override {
    return "Each line is a JSON object: whether the file opens or why it is refused, tracks,\n"
           "duration, chapters, number of tags, and the seconds taken. Files count by their\n"
           "names (mp4, m4a, m4b, mov, 3gp and so on) unless named themselves. Links to\n"
           "files are followed, links to folders are not. Devices, pipes and what can't be\n"
           "read get a line too, and the rest goes on. A count goes to standard error.\n"
           "The exit status is 3 when something could not be read, whatever was refused.";
  }
  void addOptions(CLI::App& app) override {
    app.add_option("FOLDER", names_, "Folders, or files")->type_name("");
    app.add_option("--files-from", list_, "Names, one a line; - is standard input")
        ->type_name("LIST");
    app.add_flag("--null", zeroEnds_, "Names of the list end in a zero byte");
    app.add_flag("--recursive", find_.recursive, "Also in subfolders");
    app.add_flag("--sorted", find_.sorted, "By name: files, then subfolders");
    app.add_flag("--all-names", find_.everyName, "Also files of other names");
    app.add_option("--jobs", jobs_, "Files at a time; all processors")
        ->type_name("N")
        ->check(CLI::Range(1u, 256u).description(""));
  }

  ExitStatus run(const Surroundings& surroundings) override {
    if (names_.empty() && list_.empty()) {
      throw cli::Failure(ExitStatus::usage, "Name a folder, or a list with --files-from.");
    }
    FileFinder finder(nameSource(), find_);
    const size_t jobs = jobs_ != 0 ? jobs_ : std::max(1u, std::thread::hardware_concurrency());
    Counts counts;
    std::vector<FoundFile> batch;
    for (bool more = true; more;) {
      batch.clear();
      FoundFile found;
      while (batch.size() < jobs * kFilesPerJob && (more = finder.next(found))) {
        surroundings.throwIfCancelled();
        batch.push_back(std::move(found));
      }
      for (const ScanRecord& record : scanAll(batch, jobs, surroundings)) {
        surroundings.out.write(record.line + "\n");
        counts.add(record.outcome);
      }
      surroundings.out.flush();
      showProgress(surroundings, counts);
    }
    summarize(surroundings, counts, finder);
    return counts.of(ScanRecord::Outcome::unreadable) == 0 ? ExitStatus::success
                                                           : ExitStatus::cannotOpen;
  }

 private:
  /// The names on the command line, then those of the list.
  FileFinder::NextName nameSource() const {
    std::shared_ptr<NameList> list;
    if (!list_.empty()) list = std::make_shared<NameList>(list_, zeroEnds_ ? '\0' : '\n');
    return [this, list, i = size_t{0}]() mutable -> std::optional<fs::path> {
      if (i < names_.size()) return names_[i++];
      return list ? list->next() : std::nullopt;
    };
  }

  /// The records of a batch, in its order.
  static std::vector<ScanRecord> scanAll(const std::vector<FoundFile>& batch, size_t jobs,
                                         const Surroundings& surroundings) {
    std::vector<ScanRecord> records(batch.size());
    std::atomic<size_t> next = 0;
    const auto work = [&] {
      for (size_t i = next++; i < batch.size() && !surroundings.cancelled; i = next++) {
        records[i] =
            batch[i].kind == FoundFile::Kind::file ? scanFile(batch[i].name) : recordOf(batch[i]);
      }
    };
    {
      std::vector<std::jthread> threads;  // they end before the records are looked at
      for (size_t i = 1; i < std::min(jobs, batch.size()); ++i) threads.emplace_back(work);
      work();
    }
    surroundings.throwIfCancelled();
    return records;
  }

  static void showProgress(const Surroundings& surroundings, const Counts& counts) {
    if (surroundings.errTerminal != cli::Terminal::yes) return;
    surroundings.err << "\r\x1b[K" << counts.text() << std::flush;
  }

  static void summarize(const Surroundings& surroundings, const Counts& counts,
                        const FileFinder& finder) {
    if (surroundings.errTerminal == cli::Terminal::yes) surroundings.err << "\r\x1b[K";
    surroundings.err << counts.text();
    if (finder.otherNames() > 0) {
      surroundings.err << "; " << cli::counted(finder.otherNames(), "file")
                       << " of other names not looked at";
    }
    if (finder.subfolders() > 0) {
      surroundings.err << "; " << cli::counted(finder.subfolders(), "subfolder")
                       << " not entered without --recursive";
    }
    surroundings.err << '\n';
  }

  std::vector<fs::path> names_;
  fs::path list_;
  bool zeroEnds_ = false;
  FindOptions find_;
  unsigned jobs_ = 0;
};

}  // namespace

std::unique_ptr<Command> makeScan() { return std::make_unique<Scan>(); }

}  // namespace inspect
