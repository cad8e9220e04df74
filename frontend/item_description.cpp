// Description of an item: its duration, its record, and its chapters or tags.
#include <cstring>
#include <optional>

#include "atomkit/core/containers/owned_string.h"
#include "atomkit/meta/tags/replay_gain.h"
#include "atomkit/meta/tags/tag_store.h"
#include "frontend/host_time.h"
#include "frontend/splitter_session.h"
#include "hal/text/text_codec.h"
#include "hal/text/vstring.h"
#include "hal/text/wide_text.h"

namespace vela {
namespace {

/// A text of the file, read as UTF-8, in the host's UTF-16.
class HostText {
 public:
  /// @param bytes  up to its zero byte
  /// @throws TIOResult::failed without memory, so that the host never gets a part of the text
  explicit HostText(const char* bytes) {
    VTextCodec::GFromUtf8(bytes, static_cast<uint32_t>(std::strlen(bytes)), text_, 0);
    if (!text_.IsComplete()) throw TIOResult::failed;
  }
  const VString& string() const { return text_; }
  const char16_t* units() const { return text_.GetBuffer(); }

 private:
  VBufferString text_;
};

/// The first value of the first "title" entry; empty when there is none.
const char* titleOf(const atomkit::TagStore& tags) {
  const uint32_t entry = tags.find("title");
  if (entry == atomkit::TagStore::kNoTag || tags.valueCount(entry) == 0) return "";
  return tags.value(entry, 0).text();
}

/// Copies a format name, which is shorter than the record's field.
template <size_t Size>
void storeName(char (&field)[Size], const char16_t* name) {
  VWideText::GNarrow(name, Size - 1, field);
}

void addTag(MediaInfo& info, const HostText& name, const HostText& value) {
  const char16_t* const key = name.units();
  const char16_t* const text = value.units();
  const uint32_t length = kUntilNul;
  info.addTags(kAppendTags, 1, &key, &length, &text, &length);
}

using atomkit::presenceFlag;
using atomkit::ReplayGainField;
static_assert(presenceFlag(ReplayGainField::trackGain) == kTrackGainPresent &&
              presenceFlag(ReplayGainField::albumGain) == kAlbumGainPresent &&
              presenceFlag(ReplayGainField::trackPeak) == kTrackPeakPresent &&
              presenceFlag(ReplayGainField::albumPeak) == kAlbumPeakPresent);

/// Every value of every entry: replay gain as numbers, all else as text.
void reportTags(const atomkit::TagStore& tags, MediaInfo& info) {
  for (uint32_t i = 0; i < tags.entryCount(); ++i) {
    const atomkit::TagField& entry = tags.entry(i);
    const HostText name(entry.name.text());
    const auto gain = atomkit::ReplayGainText(name.string()).field();
    for (uint32_t k = 0; k < entry.values.count(); ++k) {
      const HostText value(entry.values[k].text());
      if (gain) {
        atomkit::setReplayGain(info, *gain, value.string());
      } else {
        addTag(info, name, value);
      }
    }
  }
}

void reportChapters(const atomkit::Movie& movie, MediaInfo& info) {
  const uint32_t count = movie.chapterCount();
  if (count == 0) return;
  info.beginChapters(count);
  // Many chapters may share the title of the file, which may be long: it is converted once.
  const char* const fileTitle = titleOf(movie.tags());
  std::optional<HostText> shared;
  for (uint32_t i = 0; i < count; ++i) {
    const char* const bytes = titleOf(movie.chapter(i).tags);
    std::optional<HostText> own;
    std::optional<HostText>& title = bytes == fileTitle ? shared : own;
    if (!title) title.emplace(bytes);
    info.addChapter(i, toWord64(hundredNsToHostUnits(movie.chapterStart(i))), title->units(),
                    kUntilNul);
  }
}

/// Bits per second of `length` bytes; the low word of a quotient that is too large.
/// @param duration  host units; 0 leaves the rate unknown (0)
uint32_t bitRate(uint64_t length, uint64_t duration) {
  constexpr uint64_t kBitsPerByte = 8;
  if (duration == 0) return 0;
  return static_cast<uint32_t>(length * (kBitsPerByte * kHostUnitsPerSecond) / duration);
}

}  // namespace

// DELIBERATE D-048: the item stays selected, even while another one is played.
// DELIBERATE D-052: flags are cleared after the chapters of a file, where that ends the list, but
// before the tags of a chapter, which then set those of their replay-gain values.
TIOResult SplitterSession::describeItem(uint32_t itemId, MediaInfo& info, CancelToken* token) {
  selectItem(itemId);
  info.setDuration(toWord64(rangeEnd_ - rangeStart_));
  const ItemDescription record = describeStreams(token);
  info.setDescription(&record);
  if (selectedChapter_ < 0) {
    reportChapters(movie_, info);
    info.setFlags(0);
  } else {
    info.setFlags(0);
    reportTags(movie_.chapter(static_cast<uint32_t>(selectedChapter_)).tags, info);
  }
  return TIOResult::success;
}

// DELIBERATE D-045: the bit rate is that of the whole file over the main track's duration,
// whichever item is described.
ItemDescription SplitterSession::describeStreams(CancelToken* token) {
  ItemDescription record = {};
  uint64_t length = 0;
  if (stream_->getLength(&length, token) == TIOResult::success && length != kUnknown64) {
    record.bitRate = bitRate(length, duration_);
  }
  if (hasAudio()) {
    record.sampleRate = sampleRate_;
    record.channels = channels_;
    storeName(record.audioFormatName, audioFormatName_);
  }
  if (hasVideo()) {
    record.width = static_cast<uint32_t>(width_);
    record.height = static_cast<uint32_t>(height_);
    storeName(record.videoFormatName, videoFormatName_);
  }
  return record;
}

}  // namespace vela
