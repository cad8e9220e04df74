#include "inspect/raw_chapters.h"

#include <algorithm>
#include <utility>

#include "cli/text.h"
#include "inspect/box_walker.h"
#include "inspect/movie_map.h"
#include "inspect/payload.h"
#include "inspect/sample_reader.h"

namespace inspect {
namespace {

class ChapterVisitor final : public BoxVisitor {
 public:
  explicit ChapterVisitor(File& file) : file_(file) {}

  Go enter(const Box& box) override {
    if (box.type == fourCC("chpl") && box.isIn(fourCC("udta"))) readList(box);
    return box.type == fourCC("mdat") ? Go::past : Go::into;
  }

  std::vector<RawChapterList> lists;

 private:
  // 'chpl': u8 version, u24 flags, u8 reserved, u32 count,
  //   count x { u32 or, in version 1, u64 start (100 ns), u8 title_length, u8 title[] }
  void readList(const Box& box) {
    RawChapterList list;
    list.path = pathText(box);
    list.offset = box.offset;
    Payload payload(file_, box.payload(), box.end);
    const uint8_t version = payload.u8();
    list.version = version;
    payload.skip(4);
    const uint32_t count = payload.u32();
    for (uint32_t i = 0; i < count; ++i) {
      RawChapter chapter;
      chapter.start = payload.word(version);
      chapter.title = payload.bytes(payload.u8());
      if (payload.isShort()) {
        list.isCutShort = true;
        break;
      }
      list.chapters.push_back(std::move(chapter));
    }
    // The library passes over versions that it doesn't know, and lists elsewhere.
    list.isReadByLibrary = version <= 1 && count != 0 && box.parent->isIn(fourCC("moov"));
    lists.push_back(std::move(list));
  }

  File& file_;
};

// Sample of a text track: u16 length, u8 text[length] (UTF-8, or UTF-16 after a byte order mark),
// and boxes that tell how it looks
std::string sampleText(File& file, const Sample& sample) {
  Payload payload(file, std::min(sample.offset, file.size()), std::min(sample.end(), file.size()));
  const uint16_t length = payload.u16();
  const std::string bytes = payload.bytes(std::min<uint64_t>(length, payload.left()));
  if (!bytes.starts_with("\xfe\xff")) return bytes;
  std::u16string units;
  for (size_t i = 2; i + 1 < bytes.size(); i += 2) {
    units.push_back(static_cast<char16_t>(static_cast<uint8_t>(bytes[i]) << 8 |
                                          static_cast<uint8_t>(bytes[i + 1])));
  }
  return cli::toUtf8(units);
}

// What a chapter takes besides its title, in the budget of readTrack().
constexpr uint64_t kChapterCost = 16;

/// @param budget  bytes of chapters that may still be kept, less those of this list afterwards.
/// Samples may share their bytes, so that a small file claims titles without end.
RawChapterList readTrack(File& file, const TrackMap& track, uint64_t& budget) {
  RawChapterList list;
  list.kind = RawChapterList::Kind::track;
  list.path = "/moov/trak" + (track.number == 0 ? "" : "[" + std::to_string(track.number) + "]");
  list.offset = track.offset;
  SampleReader reader(file, track);
  Sample sample;
  while (list.chapters.size() < kMostTrackChapters && reader.next(sample)) {
    if (!sample.hasSize || !sample.hasPlace || sample.end() > file.size()) {
      list.isCutShort = true;
      break;
    }
    constexpr double kHundredNsPerSecond = 1e7;
    const double seconds =
        track.timescale == 0 ? 0 : static_cast<double>(sample.decodeTime) / track.timescale;
    std::string title = sampleText(file, sample);
    const uint64_t cost = title.size() + kChapterCost;
    if (cost > budget) {
      list.isCutShort = true;
      break;
    }
    budget -= cost;
    list.chapters.push_back(
        {static_cast<uint64_t>(std::min(seconds, 1e12) * kHundredNsPerSecond), std::move(title)});
  }
  list.isCutShort = list.isCutShort || list.chapters.size() < reader.count();
  return list;
}

bool isTextTrack(const TrackMap& track) {
  return std::any_of(track.entries.begin(), track.entries.end(), [](const SampleEntry& entry) {
    return entry.type == fourCC("text") || entry.type == fourCC("tx3g");
  });
}

/// The text tracks that others name as their chapters. Pictures of chapters are none.
void readTracks(File& file, std::vector<RawChapterList>& lists) {
  const MovieMap map = readMovieMap(file);
  // A title in UTF-16 becomes half as long again in UTF-8.
  uint64_t budget = file.size() + file.size() / 2;
  for (const TrackMap& track : map.tracks) {
    const bool isNamed = std::any_of(map.tracks.begin(), map.tracks.end(), [&](const auto& other) {
      const auto& named = other.chapterTracks;
      return std::find(named.begin(), named.end(), track.id) != named.end();
    });
    if (isNamed && isTextTrack(track)) lists.push_back(readTrack(file, track, budget));
  }
}

}  // namespace

std::vector<RawChapterList> readRawChapters(File& file) {
  ChapterVisitor visitor(file);
  walkBoxes(file, visitor);
  readTracks(file, visitor.lists);
  return std::move(visitor.lists);
}

}  // namespace inspect
