#include "inspect/scan_record.h"

#include <chrono>
#include <cmath>
#include <new>
#include <nlohmann/json.hpp>

#include "cli/failure.h"
#include "cli/text.h"
#include "inspect/command.h"
#include "inspect/opening.h"

namespace inspect {

namespace fs = std::filesystem;

namespace {

using cli::Json;
using Outcome = ScanRecord::Outcome;

const char* outcomeName(Outcome outcome) {
  switch (outcome) {
    case Outcome::plays:
      return "plays";
    case Outcome::refused:
      return "refused";
    case Outcome::unreadable:
      return "unreadable";
    case Outcome::passedOver:
      break;
  }
  return "passed_over";
}

Json startRecord(const fs::path& name) {
  Json record = startDocument("scan", name);
#ifndef _WIN32
  // JSON can't carry a name that is not UTF-8; a script may need it.
  const std::string& bytes = name.native();
  if (cli::toUtf8(cli::toUtf16(bytes)) != bytes) {
    record["file_hex"] = cli::hexText({bytes.begin(), bytes.end()}, "");
  }
#endif
  return record;
}

Json audioOf(const atomkit::Movie& movie, uint32_t track) {
  atomkit::TrackSummary summary;
  movie.summary(track, summary);
  const uint32_t type = movie.objectType(track);
  return {{"codec", type == 0x69 || type == 0x6b ? "MP3" : "AAC"},
          {"sample_rate", summary.sampleRate},
          {"channels", summary.channelCount},
          {"samples", summary.sampleCount}};
}

Json videoOf(const atomkit::Movie& movie, uint32_t track) {
  atomkit::TrackSummary summary;
  movie.summary(track, summary);
  const bool avc = movie.codecKind(track) == atomkit::CodecKind::avc1;
  return {{"codec", avc ? "H.264" : "MPEG-4 Visual"},
          {"width", summary.width},
          {"height", summary.height},
          {"samples", summary.sampleCount}};
}

/// Adds what there is to say of a file that opens, or why it does not. @return the outcome
Outcome describe(File& file, Json& record) {
  constexpr double kHundredNsPerSecond = 1e7;
  Opening opening;
  open(file, opening);
  record["bytes"] = file.size();
  if (opening.refusal) {
    const Refusal& refusal = *opening.refusal;
    const Box* const box = refusal.box.deepest();
    record["reason"] = refusal.message;
    record["offset"] = refusal.position ? Json(*refusal.position) : Json(nullptr);
    record["path"] = box ? Json(pathText(*box)) : Json(nullptr);
    return Outcome::refused;
  }
  const atomkit::Movie& movie = opening.movie;
  record["duration"] = static_cast<double>(movie.duration()) / kHundredNsPerSecond;
  record["tracks"] = movie.trackCount();
  record["audio"] = opening.taken.audio ? audioOf(movie, *opening.taken.audio) : Json(nullptr);
  record["video"] = opening.taken.video ? videoOf(movie, *opening.taken.video) : Json(nullptr);
  record["chapters"] = movie.chapterCount();
  record["tags"] = movie.tags().entryCount();
  return Outcome::plays;
}

}  // namespace

ScanRecord scanFile(const fs::path& name) {
  const auto start = std::chrono::steady_clock::now();
  ScanRecord result;
  Json record = startRecord(name);
  record["outcome"] = nullptr;  // its place is here
  record["reason"] = nullptr;
  try {
    File file(name);
    result.outcome = describe(file, record);
  } catch (const cli::Failure& failure) {
    result.outcome = Outcome::unreadable;
    record["reason"] = failure.what();
  } catch (const std::bad_alloc&) {
    result.outcome = Outcome::unreadable;
    record["reason"] = "There is not enough memory.";
  }
  record["outcome"] = outcomeName(result.outcome);
  const std::chrono::duration<double> taken = std::chrono::steady_clock::now() - start;
  record["time"] = std::round(taken.count() * 1e6) / 1e6;
  result.line = cli::compact(record);
  return result;
}

ScanRecord recordOf(const FoundFile& found) {
  ScanRecord result;
  result.outcome =
      found.kind == FoundFile::Kind::unreadable ? Outcome::unreadable : Outcome::passedOver;
  Json record = startRecord(found.name);
  record["outcome"] = outcomeName(result.outcome);
  record["reason"] = found.reason;
  result.line = cli::compact(record);
  return result;
}

}  // namespace inspect
