#include "host/failure.h"

#include <cstdio>

namespace velahost {
namespace {

using vela::TIOResult;

Place placeOf(ExitStatus status) {
  switch (status) {
    case ExitStatus::usage:
      return Place::commandLine;
    case ExitStatus::pluginUnavailable:
      return Place::plugin;
    default:
      return Place::output;
  }
}

/// Code 5 is the plug-in's answer to everything that is wrong with a file.
const char* failedSentence(Place place) {
  switch (place) {
    case Place::opening:
      return "The file is not MP4, is damaged or cut short, or has no AAC, MP3, MPEG-4 Visual or "
             "H.264 track (result 5).";
    case Place::describing:
      return "The item can't be described (result 5).";
    case Place::starting:
      return "The item can't be started: its packet tables are empty or damaged (result 5).";
    case Place::seeking:
      return "The item can't be played from there: a stream has no packet at that time, or its "
             "packet tables are damaged (result 5).";
    default:
      return "A packet is damaged or cut short (result 5).";
  }
}

}  // namespace

const char* name(Place place) {
  switch (place) {
    case Place::commandLine:
      return "command_line";
    case Place::plugin:
      return "plugin";
    case Place::opening:
      return "opening";
    case Place::describing:
      return "describing";
    case Place::starting:
      return "starting";
    case Place::seeking:
      return "seeking";
    case Place::reading:
      return "reading";
    case Place::output:
      break;
  }
  return "output";
}

Failure::Failure(ExitStatus status, const std::string& sentence)
    : cli::Failure(status, sentence), place_(placeOf(status)) {}

Failure::Failure(Place place, TIOResult result, const std::string& sentence)
    : cli::Failure(exitStatus(result), sentence), place_(place), result_(result) {}

Failure Failure::of(const cli::Failure& failure) {
  if (const auto* const own = dynamic_cast<const Failure*>(&failure)) return *own;
  return Failure(static_cast<ExitStatus>(failure.status()), failure.what());
}

Failure Failure::withSentence(const std::string& sentence) const {
  Failure other(*this);
  static_cast<std::runtime_error&>(other) = std::runtime_error(sentence);
  return other;
}

std::string resultSentence(Place place, TIOResult result) {
  switch (result) {
    case TIOResult::success:
      return "The operation succeeded (result 0).";
    case TIOResult::outOfRange:
      return "A position lies outside the file, which may be cut short (result 1).";
    case TIOResult::cancelled:
      return "The operation was cancelled (result 2).";
    case TIOResult::sourceNotFound:
      return "The file could not be found or opened (result 3).";
    case TIOResult::failed:
      return failedSentence(place);
    case TIOResult::outOfMemory:
      return "There is not enough memory (result 6).";
  }
  if (result == kReadFailed) return "The file could not be read (result 0x80000001).";
  char text[80];
  std::snprintf(text, sizeof text, "The host stream reported a code of its own (result 0x%08x).",
                static_cast<unsigned>(result));
  return text;
}

int exitStatus(TIOResult result) {
  switch (result) {
    case TIOResult::success:
    case TIOResult::outOfRange:
    case TIOResult::cancelled:
    case TIOResult::sourceNotFound:
    case TIOResult::failed:
    case TIOResult::outOfMemory:
      return static_cast<int>(result);
  }
  return static_cast<int>(ExitStatus::otherResult);
}

}  // namespace velahost
