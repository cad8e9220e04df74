#include "fuzz/model/plain_file.h"

#include "fuzz/model/bytes_in.h"

namespace plain {
namespace {

constexpr uint32_t kMostChapters = 1024;

/// The entries of a table: their count, and then no more than the box holds.
uint32_t countOf(BytesIn& in, uint64_t bytesPerEntry) {
  in.skip(4);  // version and flags
  const uint32_t count = in.u32();
  if (count * bytesPerEntry > in.left()) throw Refused{};
  return count;
}

void readRuns(std::vector<Run>& runs, BytesIn in) {
  if (!runs.empty()) throw Refused{};
  for (uint32_t left = countOf(in, 8); left > 0; --left) {
    const uint32_t samples = in.u32();
    runs.push_back({samples, in.u32()});
  }
}

void readSync(std::vector<uint32_t>& sync, BytesIn in) {
  sync.clear();
  uint32_t previous = 0;
  for (uint32_t left = countOf(in, 4); left > 0; --left) {
    const uint32_t number = in.u32();
    if (number <= previous) throw Refused{};
    previous = number;
    sync.push_back(number - 1);
  }
}

void readSizes(PlainTrack& track, BytesIn in) {
  in.skip(4);
  track.constantSize = in.u32();
  const uint64_t count = in.u32();
  if (track.constantSize != 0) return;
  if (count * 4 > in.left()) throw Refused{};
  track.sizes.clear();
  for (uint64_t i = 0; i < count; ++i) track.sizes.push_back(in.u32());
}

void readMap(std::vector<ChunkRun>& map, BytesIn in) {
  map.clear();
  for (uint32_t left = countOf(in, 12); left > 0; --left) {
    const uint32_t firstChunk = in.u32();
    map.push_back({firstChunk, in.u32()});
    in.skip(4);
  }
}

void readChunks(std::vector<uint64_t>& chunks, BytesIn in, uint32_t bytesPerEntry) {
  chunks.clear();
  for (uint32_t left = countOf(in, bytesPerEntry); left > 0; --left) {
    chunks.push_back(in.number(bytesPerEntry));
  }
}

// ---- sample descriptions

uint32_t expandableLength(BytesIn& in) {
  uint32_t length = 0;
  for (int i = 0; i < 4; ++i) {
    const uint8_t byte = in.u8();
    length = length << 7 | (byte & 0x7fu);
    if (byte < 0x80) break;
  }
  return length;
}

void readEsds(PlainTrack& track, BytesIn in) {
  in.skip(4);
  if (in.u8() != 3) {
    in.skip(2);
  } else {
    if (expandableLength(in) < 20) throw Refused{};
    in.skip(3);
  }
  if (in.u8() != 4 || expandableLength(in) < 13) throw Refused{};
  track.objectType = in.u8();
  in.skip(12);
  if (in.u8() == 5) track.config = in.take(expandableLength(in));
}

void readAvcC(PlainTrack& track, BytesIn in) {
  in.skip(4);
  if (in.u8() < 0xfc) throw Refused{};
  const uint8_t sequences = in.u8();
  if (sequences < 0xe0) throw Refused{};
  track.config.clear();
  const auto readSets = [&](uint32_t count) {
    for (; count > 0; --count) {
      BytesIn start = in;
      track.config += start.take(2u + in.u16());
      in = start;
    }
  };
  readSets(sequences & 0x1fu);
  readSets(in.u8());
}

void readEntry(PlainTrack& track, std::string_view type, BytesIn in) {
  struct Known {
    std::string_view type;
    Kind kind;
    std::string_view child;
  };
  static constexpr Known kKnown[] = {{"mp4a", Kind::mp4a, "esds"},
                                     {"alac", Kind::alac, "alac"},
                                     {"mp4v", Kind::mp4v, "esds"},
                                     {"avc1", Kind::avc1, "avcC"}};
  const Known* own = nullptr;
  for (const Known& known : kKnown) {
    if (known.type == type) own = &known;
  }
  if (!own) return;
  track.kind = own->kind;
  if (isAudio(track.kind)) {
    in.skip(16);
    track.channels = in.u16();
    in.skip(6);
    track.rate = in.u16();
    in.skip(2);
  } else {
    in.skip(24);
    track.width = in.u16();
    track.height = in.u16();
    in.skip(50);
  }
  Box child;
  if (!readHeader(in, child)) return;
  const BytesIn payload = in.part(child.payloadBytes);
  if (child.type == own->child) {
    if (child.type == "esds") readEsds(track, payload);
    if (child.type == "avcC") readAvcC(track, payload);
    if (child.type == "alac") track.config = BytesIn(payload).take(payload.left());
    return;
  }
  // The configuration of the other codec of this medium.
  for (const Known& known : kKnown) {
    if (known.child == child.type && isAudio(known.kind) == isAudio(own->kind)) throw Refused{};
  }
}

void readDescriptions(PlainTrack& track, BytesIn in) {
  track.kind = Kind::other;
  in.skip(4);
  for (uint32_t left = in.u32(); left > 0; --left) {
    Box entry;
    if (!readHeader(in, entry)) throw Refused{};
    readEntry(track, entry.type, in.part(entry.payloadBytes));
  }
}

// ---- headers, chapters, the walk

void readMediaHeader(PlainTrack& track, BytesIn in) {
  const bool longTimes = in.u32() == 1;
  in.skip(longTimes ? 16 : 8);
  track.timescale = in.u32();
  track.duration = longTimes ? in.u64() : in.u32();
  if (!longTimes && track.duration == 0xffffffff) track.duration = ~uint64_t{0};
  in.skip(4);
}

struct Mark {
  uint64_t start;
  std::string title;
};

void readMarks(std::vector<Mark>& marks, BytesIn in) {
  const uint8_t version = in.u8();
  in.skip(4);
  if (version > 1) return;
  const uint32_t count = in.u32();
  if (count > kMostChapters) throw Refused{};
  if (count == 0) return;
  marks.clear();
  for (uint32_t i = 0; i < count; ++i) {
    const uint64_t start = version == 1 ? in.u64() : in.u32();
    marks.push_back({start, upToZero(in.take(in.u8()))});
  }
}

uint64_t hundredNs(uint64_t ticks, uint32_t timescale) {
  return timescale == 0 ? 0 : (ticks * 10'000'000 + timescale / 2) / timescale;
}

class Reader {
 public:
  explicit Reader(Depth depth) : depth_(depth) {}

  void readMovie(BytesIn in) {
    eachChild(in, [&](std::string_view type, BytesIn payload) {
      if (type == "mvhd") {
        payload.skip(12);
        file_.timescale = payload.u32();
        file_.headerDuration = payload.u32();
        payload.skip(80);
      } else if (type == "trak") {
        readTrack(payload);
      } else if (type == "udta") {
        eachChild(payload, [&](std::string_view child, BytesIn inside) {
          if (child == "meta") itemList_.read(inside);
          if (child == "tags") taggingBox_.read(inside);
          if (child == "chpl") readMarks(marks_, inside);
        });
      }
    });
  }

  PlainFile finish() {
    if (file_.timescale == 0 || file_.headerDuration == 0) throw Refused{};
    const uint64_t start = findDuration();
    const Tags* tags = nullptr;
    if (taggingBox_.seen) {
      tags = &taggingBox_.tags;
    } else if (itemList_.seen) {
      tags = &itemList_.tags;
    }
    if (marks_.empty()) {
      file_.chapters.push_back({start, tags ? *tags : Tags{}});
    } else {
      for (uint32_t i = 0; i < marks_.size(); ++i) addChapter(i, tags);
    }
    return std::move(file_);
  }

 private:
  void readTrack(BytesIn in) {
    PlainTrack track;
    eachChild(in, [&](std::string_view type, BytesIn media) {
      if (type != "mdia") return;
      eachChild(media, [&](std::string_view part, BytesIn inside) {
        if (part == "mdhd") readMediaHeader(track, inside);
        if (part != "minf") return;
        eachChild(inside, [&](std::string_view table, BytesIn tables) {
          if (table == "stbl") readSampleTable(tables, depth_, track);
        });
      });
    });
    file_.tracks.push_back(std::move(track));
  }

  /// @return the start of a file without marks
  uint64_t findDuration() {
    uint32_t audioTracks = 0;
    bool video = false;
    uint64_t start = 0;
    for (const PlainTrack& track : file_.tracks) {
      video = video || isVideo(track.kind);
      if (!isAudio(track.kind)) continue;
      ++audioTracks;
      start = hundredNs(track.leadingOffset(), track.timescale);
      file_.duration = hundredNs(track.duration, track.timescale);
    }
    if (!video && audioTracks == 1 && start < file_.duration) return start;
    const int64_t ofHeader = static_cast<int32_t>(file_.headerDuration);
    file_.duration = hundredNs(static_cast<uint64_t>(ofHeader), file_.timescale);
    return 0;
  }

  void addChapter(uint32_t number, const Tags* tags) {
    const Mark& mark = marks_[number];
    Chapter chapter{mark.start, tags ? *tags : Tags{}};
    if (taggingBox_.seen) {
      if (const Tags* own = taggingBox_.ofChapter(number)) mergeTags(chapter.tags, *own);
    }
    if (!mark.title.empty() && !findTag(chapter.tags, "title")) {
      chapter.tags.push_back({"title", {mark.title}, true});
    }
    if (marks_.size() > 1 && !taggingBox_.seen && !findTag(chapter.tags, "track")) {
      chapter.tags.push_back({"track", {std::to_string(number + 1)}, true});
    }
    file_.chapters.push_back(std::move(chapter));
  }

  Depth depth_;
  PlainFile file_;
  std::vector<Mark> marks_;
  PlainItemList itemList_;
  PlainTaggingBox taggingBox_;
};

}  // namespace

void readSampleTable(BytesIn in, Depth depth, PlainTrack& track) {
  const bool playing = depth == Depth::playing;
  eachChild(in, [&](std::string_view type, BytesIn table) {
    if (track.kind == Kind::other) return;
    if (type == "stsd") readDescriptions(track, table);
    if (type == "stts") readRuns(track.times, table);
    if (type == "ctts" && (playing || !isVideo(track.kind))) readRuns(track.offsets, table);
    if (!playing) return;
    if (type == "stss") readSync(track.sync, table);
    if (type == "stsz") readSizes(track, table);
    if (type == "stsc") readMap(track.map, table);
    if (type == "stco") readChunks(track.chunks, table, 4);
    if (type == "co64") readChunks(track.chunks, table, 8);
  });
}

std::optional<PlainFile> PlainFile::read(const uint8_t* bytes, uint64_t count, Depth depth,
                                         Access access) {
  Reader reader(depth);
  bool movieSeen = false;
  try {
    BytesIn in(bytes, count);
    Box box;
    while (readHeader(in, box)) {
      if (box.type == "mdat" && access == Access::forward) {
        if (!movieSeen) return std::nullopt;
        break;
      }
      const BytesIn payload = in.part(box.payloadBytes);
      if (box.type != "moov") continue;
      if (movieSeen) return std::nullopt;
      movieSeen = true;
      reader.readMovie(payload);
    }
    return reader.finish();
  } catch (const Refused&) {
    return std::nullopt;
  }
}

}  // namespace plain
