#include "host/splitter_file.h"

#include <exception>

#include "host/failure.h"

namespace velahost {

std::u16string sourceName(const std::filesystem::path& file) {
  try {
    return file.u16string();
  } catch (const std::exception&) {
    throw Failure(Place::opening, vela::TIOResult::sourceNotFound,
                  "The file's name is not text in UTF-8, and only text can name a source (result "
                  "3).");
  }
}

Reference<vela::IMediaSplitter> Session::openForInformation(const std::filesystem::path& file) {
  Reference<vela::IMediaSplitter> splitter;
  require(Place::opening,
          plugin_.factory().createSplitter(splitter.outSlot(), sourceName(file).c_str(), &token));
  return splitter;
}

Reference<vela::IMediaSplitterEx> Session::openForPlaying(const std::filesystem::path& file) {
  Reference<vela::IMediaSplitterEx> splitter;
  require(Place::opening,
          plugin_.factory().createSplitterEx(splitter.outSlot(), sourceName(file).c_str(), &token));
  return splitter;
}

void requireItem(vela::IMediaSplitter& splitter, uint32_t itemId) {
  const uint32_t count = splitter.getItemCount();
  if (itemId <= count) return;
  throw Failure(ExitStatus::usage,
                "There is no item " + std::to_string(itemId) +
                    ". The items are 0 (the whole file) and " +
                    (count == 1 ? "1 (its first chapter)."
                                : "1 to " + std::to_string(count) + " (its chapters)."));
}

MediaInfoRecord describe(vela::IMediaSplitter& splitter, uint32_t itemId, Token& token) {
  MediaInfoRecord record;
  require(Place::describing, splitter.describeItem(itemId, &record, &token));
  return record;
}

uint64_t durationOf(vela::IMediaSplitter& splitter, uint32_t itemId, Token& token) {
  // An item can be played though its tags can't be told, so the result doesn't matter here.
  MediaInfoRecord record;
  splitter.describeItem(itemId, &record, &token);
  return record.duration;
}

}  // namespace velahost
