#include "inspect/movie_map.h"

#include <algorithm>

#include "inspect/box_catalog.h"
#include "inspect/box_walker.h"
#include "inspect/payload.h"

namespace inspect {
namespace {

class Mapper final : public BoxVisitor {
 public:
  Mapper(File& file, MovieMap& map) : file_(file), map_(map) {}

  Go enter(const Box& box) override {
    if (!box.parent) return topLevel(box);
    if (box.parent->type == fourCC("moov") && box.depth == 1) {
      if (box.type == fourCC("mvhd")) readMovieHeader(box);
      if (box.type == fourCC("trak")) {
        TrackMap& track = map_.tracks.emplace_back();
        track.number = static_cast<uint32_t>(map_.tracks.size() - 1);
        track.offset = box.offset;
        return Go::into;
      }
      return Go::past;
    }
    if (map_.tracks.empty()) return Go::past;
    return inTrack(box, map_.tracks.back());
  }

 private:
  Go topLevel(const Box& box) {
    switch (box.type) {
      case fourCC("moov"):
        // The library refuses a second one; the first is the one that other players take.
        if (map_.movieBoxes++ != 0) return Go::past;
        map_.movieOffset = box.offset;
        return Go::into;
      case fourCC("mdat"):
        map_.mediaData.push_back({box.payload(), box.end});
        return Go::past;
      case fourCC("moof"):
        ++map_.fragments;
        return Go::past;
      default:
        return Go::past;
    }
  }

  void readMovieHeader(const Box& box) {
    Payload in(file_, box.payload(), box.end);
    map_.hasHeader = true;
    map_.headerVersion = in.u8();
    in.skip(3);
    in.word(map_.headerVersion);
    in.word(map_.headerVersion);
    map_.timescale = in.u32();
    map_.duration = in.word(map_.headerVersion);
  }

  Go inTrack(const Box& box, TrackMap& track) {
    if (box.isIn(fourCC("stsd"))) {
      readEntry(box, track);
      return Go::into;
    }
    if (box.parent->isIn(fourCC("stsd"))) {
      if (!track.entries.empty()) readConfiguration(box, track.entries.back());
      return Go::past;
    }
    // A box in another place than its own is passed over, as the library does.
    switch (box.type) {
      case fourCC("mdia"):
      case fourCC("edts"):
      case fourCC("tref"):
        return box.isIn(fourCC("trak")) ? Go::into : Go::past;
      case fourCC("minf"):
        return box.isIn(fourCC("mdia")) ? Go::into : Go::past;
      case fourCC("stbl"):
        return box.isIn(fourCC("minf")) ? Go::into : Go::past;
      case fourCC("stsd"):
        return box.isIn(fourCC("stbl")) ? Go::into : Go::past;
      default:
        readBox(box, track);
        return Go::past;
    }
  }

  void readBox(const Box& box, TrackMap& track) {
    Payload in(file_, box.payload(), box.end);
    const uint8_t version = in.u8();
    in.skip(3);
    switch (box.type) {
      case fourCC("tkhd"):
        if (!box.isIn(fourCC("trak"))) return;
        in.word(version);
        in.word(version);
        track.id = in.u32();
        in.skip(4);
        track.headerDuration = in.word(version);
        return;
      case fourCC("mdhd"):
        if (!box.isIn(fourCC("mdia"))) return;
        track.hasMediaHeader = true;
        track.mediaHeaderVersion = version;
        in.word(version);
        in.word(version);
        track.timescale = in.u32();
        track.duration = in.word(version);
        if (version != 1 && track.duration == UINT32_MAX) track.duration = UINT64_MAX;
        return;
      case fourCC("hdlr"):
        if (!box.isIn(fourCC("mdia"))) return;
        in.skip(4);
        track.handler = type(in);
        return;
      case fourCC("elst"):
        if (!box.isIn(fourCC("edts"))) return;
        readEdits(in, version, track);
        return;
      case fourCC("chap"):
        if (box.isIn(fourCC("tref"))) readReferences(box, track);
        return;
    }
    if (box.isIn(fourCC("stbl"))) readTable(box, version, in, track);
  }

  static FourCC type(Payload& in) {
    const std::string bytes = in.bytes(4);
    uint8_t four[4] = {};
    std::copy(bytes.begin(), bytes.end(), four);
    return atomkit::fourCCFrom(four);
  }

  static void readEdits(Payload& in, uint8_t version, TrackMap& track) {
    const uint32_t count = in.u32();
    for (uint32_t i = 0; i < count && track.edits.size() < kMostEdits; ++i) {
      Edit edit;
      edit.duration = in.word(version);
      edit.mediaTime =
          version == 1 ? static_cast<int64_t>(in.u64()) : static_cast<int32_t>(in.u32());
      in.skip(4);
      if (in.isShort()) return;
      track.edits.push_back(edit);
    }
  }

  void readReferences(const Box& box, TrackMap& track) {
    Payload in(file_, box.payload(), box.end);
    while (in.left() >= 4 && track.chapterTracks.size() < kMostEntries) {
      track.chapterTracks.push_back(in.u32());
    }
  }

  static void setTable(Payload& in, uint32_t words, uint32_t wordBytes, TableSpan& span) {
    span.present = true;
    span.entryWords = words;
    span.wordBytes = wordBytes;
    span.declared = in.u32();
    span.offset = in.position();
    span.count = static_cast<uint32_t>(
        std::min<uint64_t>(span.declared, in.left() / (uint64_t{words} * wordBytes)));
  }

  void readTable(const Box& box, uint8_t version, Payload& in, TrackMap& track) {
    switch (box.type) {
      case fourCC("stts"):
        setTable(in, 2, 4, track.times);
        return sumTimes(track);
      case fourCC("ctts"):
        track.compositionVersion = version;
        return setTable(in, 2, 4, track.compositions);
      case fourCC("stss"):
        return setTable(in, 1, 4, track.syncs);
      case fourCC("stsc"):
        return setTable(in, 3, 4, track.chunkMap);
      case fourCC("stco"):
        return setTable(in, 1, 4, track.chunks);
      case fourCC("co64"):
        return setTable(in, 1, 8, track.chunks);
      case fourCC("stz2"):
        track.compactSizes = true;
        return;
      case fourCC("stsz"):
        track.constantSize = in.u32();
        setTable(in, 1, 4, track.sizes);
        track.declaredSizes = track.sizes.declared;
        if (track.constantSize != 0) track.sizes.count = 0;
        return;
    }
  }

  void sumTimes(TrackMap& track) {
    Table times(file_, track.times);
    track.sampleCount = 0;
    track.tableDuration = 0;
    track.timesWrap = false;
    for (uint32_t run = 0; run < times.count(); ++run) {
      const uint64_t count = times.at(run, 0);
      const uint64_t ticks = count * times.at(run, 1);  // both below 2^32
      track.sampleCount += count;
      track.tableDuration += ticks;
      if (track.tableDuration < ticks) track.timesWrap = true;
    }
  }

  void readEntry(const Box& box, TrackMap& track) const {
    SampleEntry entry;
    entry.type = box.type;
    entry.offset = box.offset;
    entry.audio = isAudioEntry(box.type);
    entry.video = isVideoEntry(box.type);
    Payload in(file_, box.payload(), box.end);
    if (entry.audio) {
      in.skip(16);
      entry.channels = in.u16();
      in.skip(6);
      entry.sampleRate = in.u16();
    } else if (entry.video) {
      in.skip(24);
      entry.width = in.u16();
      entry.height = in.u16();
    }
    if (track.entries.size() == kMostEntries) track.entries.pop_back();
    track.entries.push_back(entry);
  }

  void readConfiguration(const Box& box, SampleEntry& entry) const {
    Payload in(file_, box.payload(), box.end);
    if (box.type == fourCC("avcC")) {
      in.skip(4);
      entry.nalLengthSize = (in.u8() & 3u) + 1;
    } else if (box.type == fourCC("esds")) {
      in.skip(4);
      uint8_t tag = in.u8();
      if (tag == 3) {
        in.descriptorLength();
        in.skip(3);
        tag = in.u8();
      }
      if (tag != 4) return;
      in.descriptorLength();
      entry.objectType = in.u8();
    }
  }

  File& file_;
  MovieMap& map_;
};

}  // namespace

std::string TrackMap::kindText() const {
  if (!entries.empty()) return typeText(entries.back().type);
  return handler == 0 ? "no description" : typeText(handler);
}

MovieMap readMovieMap(File& file) {
  MovieMap map;
  Mapper mapper(file, map);
  walkBoxes(file, mapper);
  return map;
}

}  // namespace inspect
