#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <charconv>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

#include "cli/text.h"
#include "inspect/commands/commands.h"
#include "inspect/movie_map.h"
#include "inspect/sample_reader.h"

namespace inspect {
namespace {

using Json = nlohmann::ordered_json;

constexpr uint32_t kPollInterval = 65536;  // samples

constexpr uint64_t kNoEnd = std::numeric_limits<uint64_t>::max();

/// Samples from `first` up to, not including, `end`.
struct Range {
  uint64_t first = 0;
  uint64_t end = kNoEnd;
};

/// "10:20", "10:", ":20". @throws cli::Failure (usage)
Range parseRange(const std::string& text) {
  Range range;
  const size_t colon = text.find(':');
  const auto number = [](std::string_view digits, uint64_t& value) {
    if (digits.empty()) return true;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc() && end == digits.data() + digits.size();
  };
  const std::string_view view = text;
  if (colon == std::string::npos || !number(view.substr(0, colon), range.first) ||
      !number(view.substr(colon + 1), range.end)) {
    throw cli::Failure(ExitStatus::usage, "\"" + cli::printable(text) +
                                              "\" is not a range. A range is like 10:20, from "
                                              "sample 10 up to 19; either number may be left out.");
  }
  return range;
}

/// Ticks as seconds with six decimals, rounded; "-" without a timescale.
std::string seconds(int64_t ticks, uint32_t timescale, const char* unknown) {
  if (timescale == 0) return unknown;
  const uint64_t size = ticks < 0 ? 0 - static_cast<uint64_t>(ticks) : static_cast<uint64_t>(ticks);
  const uint64_t micro = (size % timescale * 1000000 + timescale / 2) / timescale;
  return fmt::format("{}{}.{:06}", ticks < 0 ? "-" : "", size / timescale + micro / 1000000,
                     micro % 1000000);
}

/// Prints the samples, or the runs of the tables, of one track.
class TrackPrinter {
 public:
  /// @param budget  samples that may still be listed where the range has no end; borrowed
  TrackPrinter(File& file, const TrackMap& track, const Surroundings& surroundings, Output output,
               uint64_t& budget)
      : file_(file), track_(track), surroundings_(surroundings), output_(output), budget_(budget) {}

  void heading() const {
    const std::string kind = track_.kindText();
    if (output_ == Output::json) {
      surroundings_.out.json({{"type", "track"},
                              {"track", track_.number},
                              {"kind", kind},
                              {"timescale", track_.timescale},
                              {"samples", track_.sampleCount}});
      return;
    }
    surroundings_.out.line("Track {}: {}, {} ticks/s, {}", track_.number, kind, track_.timescale,
                           cli::counted(track_.sampleCount, "sample"));
  }

  void samples(const Range& range) const {
    if (output_ == Output::text) {
      surroundings_.out.line("{:>8}  {:>12} {:>14}  {:>12} {:>14}  {:>8}  {:>8}  {:>12}  {:>7}",
                             "sample", "decoded at", "s", "shown at", "s", "duration", "size",
                             "offset", "chunk");
    }
    SampleReader reader(file_, track_);
    Sample sample;
    while (reader.next(sample) && sample.number < range.end) {
      if (sample.number % kPollInterval == 0) surroundings_.throwIfCancelled();
      // Past the size table nothing more is known of any sample.
      if (!sample.hasSize) return tellRest("without_size", sample.number, "have no size");
      if (sample.number < range.first) continue;
      if (range.end == kNoEnd) {
        if (budget_ == 0) {
          return tellRest("left_out", sample.number,
                          "are left out, as the file claims more samples than it has bytes",
                          ". --range with an end lists them.");
        }
        --budget_;
      }
      if (output_ == Output::json) {
        writeJson(sample);
      } else {
        writeText(sample);
      }
    }
  }

  void runs() const {
    listRuns(
        "stts", track_.times,
        [](Table& table, uint32_t run) { return fmt::format("{} ticks each", table.at32(run, 1)); },
        [](Table& table, uint32_t run) {
          return Json{{"delta", table.at32(run, 1)}};
        });
    listRuns(
        "ctts", track_.compositions,
        [](Table& table, uint32_t run) {
          return fmt::format("shown {} ticks later", static_cast<int32_t>(table.at32(run, 1)));
        },
        [](Table& table, uint32_t run) {
          return Json{{"offset", static_cast<int32_t>(table.at32(run, 1))}};
        });
    listSyncs();
    listSizes();
    listChunkMap();
    listChunks();
  }

 private:
  /// Why the samples from `number` on are not listed. @param advice  after their number
  void tellRest(const char* type, uint32_t number, const char* why, const char* advice = "") const {
    const uint64_t rest = track_.sampleCount - number;
    if (output_ == Output::json) {
      surroundings_.out.json(
          {{"type", type}, {"track", track_.number}, {"first_sample", number}, {"samples", rest}});
      return;
    }
    surroundings_.out.line("{:>8}  and those after it {}: {}{}", number, why,
                           cli::counted(rest, "sample"), advice);
  }

  void writeText(const Sample& sample) const {
    surroundings_.out.line(
        "{:>8}  {:>12} {:>14}  {:>12} {:>14}  {:>8}  {:>8}  {:>12}  {:>7}{}{}", sample.number,
        sample.decodeTime, seconds(static_cast<int64_t>(sample.decodeTime), track_.timescale, "-"),
        sample.compositionTime(), seconds(sample.compositionTime(), track_.timescale, "-"),
        sample.duration, sample.size, sample.offset, sample.chunk,
        sample.sync && track_.syncs.count != 0 ? "  sync" : "",
        sample.hasPlace ? "" : "  no such chunk");
  }

  void writeJson(const Sample& sample) const {
    surroundings_.out.line(
        R"({{"type":"sample","track":{},"sample":{},"decode_ticks":{},"decode":{},)"
        R"("composition_ticks":{},"composition":{},"duration_ticks":{},"size":{},"offset":{},)"
        R"("chunk":{},"chunk_exists":{},"description":{},"sync":{}}})",
        track_.number, sample.number, sample.decodeTime,
        seconds(static_cast<int64_t>(sample.decodeTime), track_.timescale, "null"),
        sample.compositionTime(), seconds(sample.compositionTime(), track_.timescale, "null"),
        sample.duration, sample.size, sample.offset, sample.chunk, sample.hasPlace,
        sample.description, sample.sync);
  }

  void writeRun(const char* table, uint64_t first, uint64_t count, const std::string& text,
                const Json& values) const {
    if (output_ == Output::json) {
      Json json = {{"type", "run"},
                   {"track", track_.number},
                   {"table", table},
                   {"first", first},
                   {"count", count}};
      json.update(values);
      surroundings_.out.json(json);
      return;
    }
    const std::string span =
        count == 1 ? std::to_string(first) : fmt::format("{} to {}", first, first + count - 1);
    surroundings_.out.line("  {}  {:<20}  {}", table, count == 0 ? "none" : span, text);
  }

  template <class Text, class Values>
  void listRuns(const char* name, const TableSpan& span, const Text& text,
                const Values& values) const {
    Table table(file_, span);
    uint64_t first = 0;
    for (uint32_t run = 0; run < table.count(); ++run) {
      if (run % kPollInterval == 0) surroundings_.throwIfCancelled();
      const uint32_t count = table.at32(run, 0);
      writeRun(name, first, count, text(table, run), values(table, run));
      first += count;
    }
  }

  /// Neighbouring sync samples are one run.
  void listSyncs() const {
    Table table(file_, track_.syncs);
    for (uint32_t entry = 0; entry < table.count();) {
      if (entry % kPollInterval == 0) surroundings_.throwIfCancelled();
      const uint64_t first = table.at(entry);
      uint32_t count = 1;
      while (entry + count < table.count() && table.at(entry + count) == first + count) ++count;
      writeRun("stss", first == 0 ? 0 : first - 1, count, "sync", Json::object());
      entry += count;
    }
  }

  /// Neighbouring samples of one size are one run.
  void listSizes() const {
    if (track_.constantSize != 0) {
      writeRun("stsz", 0, track_.declaredSizes, fmt::format("{} bytes each", track_.constantSize),
               {{"size", track_.constantSize}});
      return;
    }
    Table table(file_, track_.sizes);
    for (uint32_t entry = 0; entry < table.count();) {
      if (entry % kPollInterval == 0) surroundings_.throwIfCancelled();
      const uint32_t size = table.at32(entry);
      uint32_t count = 1;
      while (entry + count < table.count() && table.at32(entry + count) == size) ++count;
      writeRun("stsz", entry, count, fmt::format("{} bytes{}", size, count == 1 ? "" : " each"),
               {{"size", size}});
      entry += count;
    }
  }

  void listChunkMap() const {
    Table table(file_, track_.chunkMap);
    for (uint32_t entry = 0; entry < table.count(); ++entry) {
      if (entry % kPollInterval == 0) surroundings_.throwIfCancelled();
      const uint64_t first = table.at(entry, 0);
      const bool last = entry + 1 == table.count();
      const uint64_t end = last ? uint64_t{track_.chunks.count} + 1 : table.at(entry + 1, 0);
      writeRun("stsc", first == 0 ? 0 : first - 1, end > first ? end - first : 0,
               fmt::format("chunks of {}, description {}",
                           cli::counted(table.at(entry, 1), "sample"), table.at(entry, 2)),
               {{"samples_per_chunk", table.at(entry, 1)}, {"description", table.at(entry, 2)}});
    }
  }

  void listChunks() const {
    Table table(file_, track_.chunks);
    for (uint32_t entry = 0; entry < table.count(); ++entry) {
      if (entry % kPollInterval == 0) surroundings_.throwIfCancelled();
      writeRun(track_.chunks.wordBytes == 8 ? "co64" : "stco", entry, 1,
               fmt::format("at {}", table.at(entry)), {{"offset", table.at(entry)}});
    }
  }

  File& file_;
  const TrackMap& track_;
  const Surroundings& surroundings_;
  Output output_;
  uint64_t& budget_;
};

class Samples final : public Command {
 public:
  const char* name() const override { return "samples"; }
  const char* help() const override { return "List the samples of a file's tracks."; }
  const char* notes() const override {
    return "Columns: number; time of decoding and of showing, each in ticks and in seconds;\n"
           "duration in ticks; size; offset in the file; chunk; whether it is a sync sample,\n"
           "where only some are. Edit lists are not applied. Samples, chunks and tracks are\n"
           "counted from 0. Refused files are listed too, as far as their tables go.\n"
           "With --runs the tables are shown as they are stored: how many samples share a\n"
           "duration, an offset or a size, and where each chunk lies.\n"
           "Where tracks claim more samples than the file has bytes, only that many are\n"
           "listed, unless --range has an end.\n"
           "With --json one object a line: a track, then its samples or runs.";
  }

  void addOptions(CLI::App& app) override {
    addFile(app, file_);
    app.add_option("--track", track_, "This track only")->type_name("N");
    app.add_option("--range", range_, "Samples A up to, not including, B;\neither may be left out")
        ->type_name("A:B");
    app.add_flag("--runs", runs_, "Show the tables run by run");
    addJsonOption(app, output_);
  }

  ExitStatus run(const Surroundings& surroundings) override {
    const Range range = range_.empty() ? Range() : parseRange(range_);
    return forEachFile(surroundings, {file_}, output_, [&](const std::filesystem::path& name) {
      File file(name);
      const MovieMap map = readMovieMap(file);
      requireTrack(map);
      if (output_ == Output::json) {
        Json document = startDocument("samples", name);
        document["tracks"] = map.tracks.size();
        surroundings.out.json(document);
      }
      // Tables of some kilobytes may claim thousands of millions of samples. Those that there are
      // have a byte each.
      uint64_t budget = file.size();
      for (const TrackMap& track : map.tracks) {
        if (track_ && *track_ != track.number) continue;
        const TrackPrinter printer(file, track, surroundings, output_, budget);
        printer.heading();
        if (runs_) {
          printer.runs();
        } else {
          printer.samples(range);
        }
      }
      return ExitStatus::success;
    });
  }

 private:
  void requireTrack(const MovieMap& map) const {
    if (map.tracks.empty()) {
      throw cli::Failure(ExitStatus::refused, "The file has no tracks.");
    }
    if (track_ && *track_ >= map.tracks.size()) {
      throw cli::Failure(ExitStatus::usage,
                         fmt::format("There is no track {}. The file has {}, counted from 0.",
                                     *track_, cli::counted(map.tracks.size(), "track")));
    }
  }

  std::filesystem::path file_;
  std::optional<uint32_t> track_;
  std::string range_;
  bool runs_ = false;
  Output output_ = Output::text;
};

}  // namespace

std::unique_ptr<Command> makeSamples() { return std::make_unique<Samples>(); }

}  // namespace inspect
