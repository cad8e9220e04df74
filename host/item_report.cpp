#include "host/item_report.h"

#include "host/failure.h"
#include "host/playback.h"
#include "host/text.h"

namespace velahost {
namespace {

using vela::TIOResult;

/// Keeps what the plug-in writes, at the place where it writes it.
class TextSink final : public vela::IStringSink {
 public:
  uint64_t set(const char16_t* units, uint32_t count, uint32_t start) override {
    text.resize(start);
    text += takeText(units, count);
    return 0;
  }

  std::u16string text;
};

/// The identifier under which an item's tags are found.
constexpr uint32_t kFirstChapter = 1;

}  // namespace

TIOResult FileReport::worst() const {
  for (const ItemReport& item : items) {
    if (item.result != TIOResult::success) return item.result;
  }
  return formatsResult;
}

FileReport reportOf(Session& session, const std::filesystem::path& file) {
  FileReport report;
  report.file = file.string();
  report.pluginVersion = session.plugin().version();
  TextSink filter;
  session.plugin().factory().getFilter(&filter);
  report.filter = toUtf8(filter.text);
  report.matchesFilter = session.plugin().factory().matchesFilter(sourceName(file).c_str()) != 0;

  const Reference<vela::IMediaSplitter> splitter = session.openForInformation(file);
  report.whole = describe(*splitter.get(), 0, session.token);
  const uint32_t count = splitter->getItemCount();
  report.audioOnly = splitter->getItemId(0) != 0;
  for (uint32_t index = 0; index < count; ++index) {
    ItemReport item;
    item.id = splitter->getItemId(index);
    if (report.audioOnly && index < report.whole.chapters.size()) {
      item.start = report.whole.chapters[index].start;
    }
    item.result = splitter->describeItem(item.id, &item.info, &session.token);
    if (item.id == 0) {
      MediaInfoRecord firstChapter;
      if (splitter->describeItem(kFirstChapter, &firstChapter, &session.token) ==
          TIOResult::success) {
        item.info.tags = firstChapter.tags;
        item.info.flags = firstChapter.flags;
        item.info.trackGain = firstChapter.trackGain;
        item.info.albumGain = firstChapter.albumGain;
        item.info.trackPeak = firstChapter.trackPeak;
        item.info.albumPeak = firstChapter.albumPeak;
      }
    }
    report.items.push_back(std::move(item));
  }

  const Reference<vela::IMediaSplitterEx> player = session.openForPlaying(file);
  report.formatsResult =
      player->startItem(0, &report.audioFormat, &report.videoFormat, &session.token);
  return report;
}

}  // namespace velahost
