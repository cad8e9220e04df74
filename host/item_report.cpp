#include "host/item_report.h"

#include <algorithm>
#include <map>
#include <system_error>

#include "cli/text.h"
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

/// The identifier under which a film's tags are found.
constexpr uint32_t kFirstChapter = 1;

// Every chapter tells the tags of the file, too, so that a small file may tell them without end.
constexpr uint64_t kBytesOfTags = 8 << 20;   // that are kept of any file
constexpr uint64_t kBytesForEachOfFile = 4;  // and of larger ones

/// Bytes of memory for the tags of all items.
class TagBudget {
 public:
  explicit TagBudget(const std::filesystem::path& file) {
    std::error_code unknown;
    const uint64_t size = std::filesystem::file_size(file, unknown);
    left_ = kBytesOfTags + (unknown ? 0 : size * kBytesForEachOfFile);
  }

  bool isSpent() const { return left_ == 0; }
  void spend(const std::vector<Tag>& tags) {
    for (const Tag& tag : tags) {
      const uint64_t units = tag.name.size() + tag.value.size();
      left_ -= std::min<uint64_t>(left_, sizeof tag + units * sizeof(char16_t));
    }
  }

 private:
  uint64_t left_;
};

/// What stopped an operation that the rest of the report does not depend on.
template <class Operation>
std::optional<Failure> failureOf(const Session& session, const Operation& operation) {
  try {
    operation();
    return std::nullopt;
  } catch (const Failure& failure) {
    return session.context.explained(failure);
  }
}

/// All values of each tag, in order.
using ValuesByName = std::map<std::u16string, std::vector<std::u16string>>;

ValuesByName valuesByName(const MediaInfoRecord& info) {
  ValuesByName values;
  for (const Tag& tag : info.tags) values[tag.name].push_back(tag.value);
  return values;
}

}  // namespace

std::optional<Failure> FileReport::failure() const {
  for (const ItemReport& item : items) {
    if (item.failure) return item.failure;
  }
  return formatsFailure;
}

void shareCommonTags(FileReport& report) {
  // What describing the whole file may have told of tags is told again with the items.
  report.whole.tags.clear();
  report.whole.flags = 0;
  std::vector<MediaInfoRecord*> infos;
  for (ItemReport& item : report.items) {
    if (!item.failure) infos.push_back(&item.info);
  }
  if (infos.empty()) return;

  const MediaInfoRecord first = *infos.front();
  ValuesByName shared = valuesByName(first);
  for (const MediaInfoRecord* const info : infos) {
    const ValuesByName values = valuesByName(*info);
    std::erase_if(shared, [&](const auto& tag) {
      const auto same = values.find(tag.first);
      return same == values.end() || same->second != tag.second;
    });
  }
  for (const Tag& tag : first.tags) {
    if (shared.contains(tag.name)) report.whole.tags.push_back(tag);
  }
  for (MediaInfoRecord* const info : infos) {
    std::erase_if(info->tags, [&](const Tag& tag) { return shared.contains(tag.name); });
  }

  for (const ReplayGainValue& value : kReplayGainValues) {
    const bool common = std::all_of(infos.begin(), infos.end(), [&](const MediaInfoRecord* info) {
      return (info->flags & value.flag) && info->*value.member == first.*value.member;
    });
    if (!common) continue;
    report.whole.*value.member = first.*value.member;
    report.whole.flags |= value.flag;
    for (MediaInfoRecord* const info : infos) info->flags &= ~uint32_t{value.flag};
  }
}

FileReport reportOf(Session& session, const std::filesystem::path& file) {
  FileReport report;
  report.file = file.string();
  report.pluginVersion = session.plugin().version();
  TextSink filter;
  session.plugin().factory().getFilter(&filter);
  report.filter = cli::toUtf8(filter.text);
  report.matchesFilter = session.plugin().factory().matchesFilter(sourceName(file).c_str()) != 0;

  const Reference<vela::IMediaSplitter> splitter = session.openForInformation(file);
  report.whole = describe(*splitter.get(), 0, session.token);
  const uint32_t count = splitter->getItemCount();
  report.audioOnly = splitter->getItemId(0) != 0;
  TagBudget budget(file);
  for (uint32_t index = 0; index < count; ++index) {
    ItemReport item;
    item.id = splitter->getItemId(index);
    if (report.audioOnly && index < report.whole.chapters.size()) {
      item.start = report.whole.chapters[index].start;
    }
    item.failure = failureOf(session, [&] {
      if (budget.isSpent()) {
        throw Failure(
            Place::describing, TIOResult::outOfMemory,
            "The tags of the items before it take all the memory that a file of this size "
            "may have.");
      }
      item.info = describe(*splitter.get(), item.id, session.token);
    });
    budget.spend(item.info.tags);
    if (item.id == 0) {
      MediaInfoRecord chapter;
      if (splitter->describeItem(kFirstChapter, &chapter, &session.token) == TIOResult::success) {
        item.info.tags = chapter.tags;
        item.info.flags = chapter.flags;
        for (const ReplayGainValue& value : kReplayGainValues) {
          item.info.*value.member = chapter.*value.member;
        }
      }
    }
    report.items.push_back(std::move(item));
  }

  const Reference<vela::IMediaSplitterEx> player = session.openForPlaying(file);
  Playback playback(*player.get(), &session.token);
  report.formatsFailure = failureOf(session, [&] { playback.start(0, Wanted::both); });
  report.audioFormat = std::move(playback.audioFormat);
  report.videoFormat = std::move(playback.videoFormat);
  return report;
}

}  // namespace velahost
