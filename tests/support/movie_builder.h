// Movie files in few words. All defaults are here; a test spells out only what it is about. There
// are two levels:
//
// 1. Single boxes, for tests of one reader or of the movie model. Sample tables that a test does
//    not give are left out, so nothing hides in a default:
//
//      moov({.tracks = {trak({.timescale = 48000, .stsc = stsc({{1, 10, 1}, {3, 5, 1}})})},
//            .udta = chpl({{0, "One"}, {50'000'000, "Two"}})})
//
// 2. Complete little files that can be played. Sizes, chunks and offsets follow from the samples,
//    and the result says where every sample lies:
//
//      const BuiltMovie file = movieFile({.tracks = {aacTrack({.samples = 40}), avcTrack({})},
//                                         .udta = chpl({{0, "One"}})});
//      // file.bytes is the file; file.offsets[track][sample] the place of a sample in it;
//      // file.samples[track][sample] its bytes.
//
//    Any box of a track can be replaced by hand: `MediaTrack t = aacTrack({}); t.boxes.ctts = …;`.
//    `udta` takes the joined children of the box. A field of Bytes that is empty leaves its box
//    out.
#pragma once
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/boxes.h"

namespace boxes {

// ---- movie and media headers

struct MvhdFields {
  uint32_t timescale = 1000;  // per second
  uint32_t duration = 10000;  // movie timescale
  Bytes versionAndFlags = full(0);
};
inline Bytes mvhd(const MvhdFields& fields = {}) {
  return box("mvhd", fields.versionAndFlags, u32(1), u32(2),  // creation and modification time
             u32(fields.timescale), u32(fields.duration),     //
             u32(0x00010000), u16(0x0100), zeros(10),         // rate, volume, reserved
             zeros(36), zeros(24), u32(2));                   // matrix, pre-defined, next track
}

struct MdhdFields {
  uint32_t timescale = 48000;
  uint64_t duration = 48000;  // media ticks
  Bytes versionAndFlags = full(0);
};
/// The layout with 32-bit times.
inline Bytes mdhd(const MdhdFields& fields = {}) {
  return box("mdhd", fields.versionAndFlags, u32(1), u32(2), u32(fields.timescale),
             u32(static_cast<uint32_t>(fields.duration)), u16(0x55c4), u16(0));
}
/// The layout with 64-bit times.
inline Bytes mdhdLong(const MdhdFields& fields) {
  return box("mdhd", fields.versionAndFlags, u64(1), u64(2), u32(fields.timescale),
             u64(fields.duration), u16(0x55c4), u16(0));
}

inline Bytes ftyp() { return box("ftyp", text("M4A "), u32(0), text("M4A "), text("isom")); }

// ---- sample descriptions

/// A descriptor of ISO/IEC 14496-1 with a one-byte length; the payload is shorter than 128 bytes.
template <class... Pieces>
Bytes descriptor(uint8_t tag, const Pieces&... pieces) {
  const Bytes payload = join(pieces...);
  return join(u8(tag), u8(static_cast<uint8_t>(payload.size())), payload);
}

struct EsdsFields {
  uint8_t objectType = 0x40;         // MPEG-4 AAC
  uint8_t streamTypeByte = 0x15;     // audio stream
  uint32_t maximumBitrate = 160000;  // bits per second
  uint32_t averageBitrate = 128000;
  Bytes config = raw({0x11, 0x90});  // AAC LC, 48 kHz, 2 channels; empty: no descriptor for it
};
inline Bytes esds(const EsdsFields& fields = {}) {
  const Bytes config = fields.config.empty() ? Bytes{} : descriptor(5, fields.config);
  const Bytes decoder = descriptor(4, u8(fields.objectType), u8(fields.streamTypeByte), u24(6144),
                                   u32(fields.maximumBitrate), u32(fields.averageBitrate), config);
  return box("esds", full(0), descriptor(3, u16(1), u8(0), decoder, descriptor(6, u8(2))));
}

struct AudioEntryFields {
  uint16_t channels = 2;
  uint16_t bits = 16;
  uint16_t rate = 48000;  // Hz
  Bytes child = esds();
};
inline Bytes audioEntry(std::string_view type, const AudioEntryFields& fields) {
  return box(type, zeros(6), u16(1), u32(0), u32(0), u16(fields.channels), u16(fields.bits), u16(0),
             u16(0), u16(fields.rate), u16(0), fields.child);
}
inline Bytes mp4a(const AudioEntryFields& fields = {}) { return audioEntry("mp4a", fields); }
inline Bytes alac(AudioEntryFields fields = {}) {
  fields.child = box("alac", full(0), repeat(0x61, 24));
  return audioEntry("alac", fields);
}

struct AvcConfigFields {
  std::vector<Bytes> sps = {raw({0x67, 0x42, 0xc0, 0x0a, 0xd9})};
  std::vector<Bytes> pps = {raw({0x68, 0xce, 0x3c, 0x80})};
};
inline Bytes avcC(const AvcConfigFields& fields = {}) {
  Bytes sets = u8(static_cast<uint8_t>(0xe0 | fields.sps.size()));
  for (const Bytes& set : fields.sps) {
    append(sets, u16(static_cast<uint16_t>(set.size())), set);
  }
  append(sets, u8(static_cast<uint8_t>(fields.pps.size())));
  for (const Bytes& set : fields.pps) {
    append(sets, u16(static_cast<uint16_t>(set.size())), set);
  }
  return box("avcC", raw({1, 0x42, 0xc0, 0x0a}), u8(0xff), sets);
}

struct VideoEntryFields {
  uint16_t width = 320;
  uint16_t height = 240;
  Bytes compressorName = zeros(32);
  Bytes child = {};
};
inline Bytes videoEntry(std::string_view type, const VideoEntryFields& fields) {
  return box(type, zeros(6), u16(1), zeros(16), u16(fields.width), u16(fields.height),
             u32(0x00480000), u32(0x00480000), u32(0), u16(1), fields.compressorName, u16(0x18),
             u16(0xffff), fields.child);
}
inline Bytes avc1(VideoEntryFields fields = {}) {
  if (fields.child.empty()) fields.child = avcC();
  return videoEntry("avc1", fields);
}
inline Bytes mp4v(VideoEntryFields fields = {}) {
  if (fields.child.empty()) {
    fields.child =
        esds({.objectType = 0x20, .streamTypeByte = 0x11, .config = raw({0, 0, 1, 0xb0})});
  }
  return videoEntry("mp4v", fields);
}
inline Bytes otherEntry() { return box("text", zeros(8)); }

/// 'stsd' with the given entries.
template <class... Entries>
Bytes stsd(const Entries&... entries) {
  return box("stsd", full(0), u32(sizeof...(entries)), entries...);
}

// ---- sample tables

inline Bytes stts(const std::vector<std::pair<uint32_t, uint32_t>>& countAndDelta) {
  Bytes runs;
  for (const auto& [count, delta] : countAndDelta) append(runs, u32(count), u32(delta));
  return box("stts", full(0), u32(static_cast<uint32_t>(countAndDelta.size())), runs);
}
inline Bytes ctts(const std::vector<std::pair<uint32_t, int32_t>>& countAndOffset) {
  Bytes runs;
  for (const auto& [count, offset] : countAndOffset) append(runs, u32(count), i32(offset));
  return box("ctts", full(0), u32(static_cast<uint32_t>(countAndOffset.size())), runs);
}
/// `oneBased`: sample numbers as the file counts them.
inline Bytes stss(const std::vector<uint32_t>& oneBased) {
  Bytes entries;
  for (const uint32_t sample : oneBased) append(entries, u32(sample));
  return box("stss", full(0), u32(static_cast<uint32_t>(oneBased.size())), entries);
}
/// Sizes listed one by one.
inline Bytes stsz(const std::vector<uint32_t>& sizes) {
  Bytes entries;
  for (const uint32_t size : sizes) append(entries, u32(size));
  return box("stsz", full(0), u32(0), u32(static_cast<uint32_t>(sizes.size())), entries);
}
inline Bytes stszConstant(uint32_t size, uint32_t count) {
  return box("stsz", full(0), u32(size), u32(count));
}
struct ChunkRun {
  uint32_t firstChunk;  // one-based
  uint32_t samplesPerChunk;
  uint32_t description = 1;  // one-based
};
inline Bytes stsc(const std::vector<ChunkRun>& runs) {
  Bytes entries;
  for (const ChunkRun& run : runs) {
    append(entries, u32(run.firstChunk), u32(run.samplesPerChunk), u32(run.description));
  }
  return box("stsc", full(0), u32(static_cast<uint32_t>(runs.size())), entries);
}
inline Bytes stco(const std::vector<uint64_t>& offsets) {
  Bytes entries;
  for (const uint64_t offset : offsets) append(entries, u32(static_cast<uint32_t>(offset)));
  return box("stco", full(0), u32(static_cast<uint32_t>(offsets.size())), entries);
}
inline Bytes co64(const std::vector<uint64_t>& offsets) {
  Bytes entries;
  for (const uint64_t offset : offsets) append(entries, u64(offset));
  return box("co64", full(0), u32(static_cast<uint32_t>(offsets.size())), entries);
}

// ---- user data

struct Mark {
  uint64_t start = 0;  // 100 ns
  std::string title = {};
};
/// Chapter marks with 64-bit starts.
inline Bytes chpl(const std::vector<Mark>& marks) {
  Bytes entries;
  for (const Mark& mark : marks) {
    append(entries, u64(mark.start), u8(static_cast<uint8_t>(mark.title.size())), text(mark.title));
  }
  return box("chpl", u8(1), zeros(4), u32(static_cast<uint32_t>(marks.size())), entries);
}
/// An item of the item list that holds one text, for example ilstText("\xA9" "nam", "Song").
inline Bytes ilstText(std::string_view type, std::string_view value) {
  return box(type, box("data", full(0, 1), u32(0), text(value)));
}
/// A free-form item of the item list: a text under a name of its own.
inline Bytes ilstNamed(std::string_view name, std::string_view value) {
  return box("----", box("mean", full(0), text("org.example")), box("name", full(0), text(name)),
             box("data", full(0, 1), u32(0), text(value)));
}
/// 'meta' with an item list of the given items.
template <class... Items>
Bytes metaWith(const Items&... items) {
  return box("meta", full(0), box("ilst", items...));
}

/// A field of the ZT tagging box.
struct ZtField {
  std::string name;
  std::vector<std::string> values = {};
  uint8_t type = 1;  // takes further values; 0: takes none
  uint8_t reserved = 0;
};
inline Bytes ztField(const ZtField& field) {
  Bytes values;
  for (const std::string& value : field.values) {
    append(values, u32(static_cast<uint32_t>(value.size())), text(value));
  }
  return join(u8(field.type), u8(field.reserved), u8(static_cast<uint8_t>(field.name.size())),
              text(field.name), u16(static_cast<uint16_t>(field.values.size())), values);
}
/// 'meta' inside 'tags' or 'tseg': a field list.
inline Bytes ztFields(const std::vector<ZtField>& fields) {
  Bytes all;
  for (const ZtField& field : fields) append(all, ztField(field));
  return box("meta", u32(static_cast<uint32_t>(fields.size())), all);
}
/// 'tseg': the fields of one chapter (zero-based).
inline Bytes ztSegment(uint32_t chapter, const std::vector<ZtField>& fields) {
  return box("tseg", box("tshd", u32(chapter)), ztFields(fields));
}
/// 'tags', the ZT tagging box.
template <class... Children>
Bytes ztTags(const Children&... children) {
  return box("tags", children...);
}

// ---- track and movie boxes

/// The boxes of one track, in the order in which they are written. An empty one is left out.
struct TrackBoxes {
  uint32_t timescale = 48000;
  uint64_t duration = 48000;  // media ticks
  Bytes tkhd = box("tkhd", full(0, 7), zeros(80));
  Bytes mdhd = {};  // empty: made from timescale and duration, which may take 64 bits
  Bytes hdlr = box("hdlr", full(0), zeros(20), u8(0));
  Bytes stsd = boxes::stsd(mp4a());
  Bytes stts = {};
  Bytes ctts = {};
  Bytes stss = {};
  Bytes stsz = {};
  Bytes stsc = {};
  Bytes stco = {};  // or co64
};
inline Bytes trak(const TrackBoxes& track = {}) {
  Bytes mediaHeader = track.mdhd;
  if (mediaHeader.empty()) {
    const MdhdFields fields{.timescale = track.timescale, .duration = track.duration};
    const bool fits32Bits = fields.duration <= 0xffffffff;
    mediaHeader = fits32Bits ? mdhd(fields)
                             : mdhdLong({.timescale = fields.timescale,
                                         .duration = fields.duration,
                                         .versionAndFlags = u32(1)});
  }
  const Bytes tables = box("stbl", track.stsd, track.stts, track.ctts, track.stss, track.stsz,
                           track.stsc, track.stco);
  return box("trak", track.tkhd, box("mdia", mediaHeader, track.hdlr, box("minf", tables)));
}

struct MoovFields {
  Bytes mvhd = boxes::mvhd();
  std::vector<Bytes> tracks = {};  // whole 'trak' boxes
  Bytes udta = {};                 // joined children; empty: no 'udta'
};
inline Bytes moov(const MoovFields& fields = {}) {
  Bytes content = fields.mvhd;
  for (const Bytes& track : fields.tracks) append(content, track);
  if (!fields.udta.empty()) append(content, box("udta", fields.udta));
  return box("moov", content);
}

// ---- complete files

/// One track of a complete file. 'stsz', 'stsc' and the chunk offsets are made from the samples
/// where `boxes` leaves them empty.
struct MediaTrack {
  TrackBoxes boxes = {};
  std::vector<Bytes> samples = {};
  uint32_t samplesPerChunk = 4;
};

/// `count` samples of `size` + (number modulo 3) bytes; the first two bytes are the mark of the
/// track and the number.
inline std::vector<Bytes> markedSamples(uint8_t mark, uint32_t count, uint32_t size) {
  std::vector<Bytes> samples;
  for (uint32_t i = 0; i < count; ++i) {
    Bytes sample = join(u8(mark), u8(static_cast<uint8_t>(i)));
    while (sample.size() < size + i % 3) sample.push_back(static_cast<uint8_t>(i + sample.size()));
    samples.push_back(std::move(sample));
  }
  return samples;
}

struct AudioTrackFields {
  uint32_t samples = 20;
  uint32_t sampleSize = 24;  // bytes; see markedSamples()
  uint32_t timescale = 48000;
  uint32_t delta = 1024;  // ticks per sample
  uint8_t objectType = 0x40;
  Bytes config = raw({0x11, 0x90});
  uint32_t samplesPerChunk = 4;
};
/// An 'mp4a' track; objectType 0x6B makes it MP3 (give an empty config then).
inline MediaTrack aacTrack(const AudioTrackFields& fields = {}) {
  MediaTrack track;
  track.boxes.timescale = fields.timescale;
  track.boxes.duration = uint64_t{fields.samples} * fields.delta;
  track.boxes.stsd =
      stsd(mp4a({.rate = static_cast<uint16_t>(fields.timescale),
                 .child = esds({.objectType = fields.objectType, .config = fields.config})}));
  track.boxes.stts = stts({{fields.samples, fields.delta}});
  track.samples = markedSamples(0xa0, fields.samples, fields.sampleSize);
  track.samplesPerChunk = fields.samplesPerChunk;
  return track;
}

struct VideoTrackFields {
  uint32_t samples = 12;
  uint32_t sampleSize = 40;  // bytes; see markedSamples()
  uint32_t timescale = 25000;
  uint32_t delta = 1000;   // ticks per sample
  uint32_t syncEvery = 5;  // samples 0, 5, 10 … are sync samples; 0: no 'stss'
  uint16_t width = 320;
  uint16_t height = 240;
  uint32_t samplesPerChunk = 2;
};
/// The timing of a video track; the sample entry is `entry`.
inline MediaTrack videoTrack(const VideoTrackFields& fields, const Bytes& entry) {
  MediaTrack track;
  track.boxes.timescale = fields.timescale;
  track.boxes.duration = uint64_t{fields.samples} * fields.delta;
  track.boxes.stsd = stsd(entry);
  track.boxes.stts = stts({{fields.samples, fields.delta}});
  std::vector<uint32_t> sync;
  for (uint32_t i = 0; fields.syncEvery && i < fields.samples; i += fields.syncEvery) {
    sync.push_back(i + 1);
  }
  if (!sync.empty()) track.boxes.stss = stss(sync);
  track.samples = markedSamples(0xb0, fields.samples, fields.sampleSize);
  track.samplesPerChunk = fields.samplesPerChunk;
  return track;
}
inline MediaTrack avcTrack(const VideoTrackFields& fields = {}) {
  return videoTrack(fields, avc1({.width = fields.width, .height = fields.height}));
}
inline MediaTrack mpeg4Track(const VideoTrackFields& fields = {}) {
  return videoTrack(fields, mp4v({.width = fields.width, .height = fields.height}));
}

enum class BoxOrder { movieFirst, mediaFirst };

struct MovieFileFields {
  std::vector<MediaTrack> tracks = {};
  Bytes mvhd = boxes::mvhd();
  Bytes udta = {};  // joined children
  BoxOrder order = BoxOrder::movieFirst;
};

struct BuiltMovie {
  Bytes bytes = {};
  std::vector<std::vector<uint64_t>> offsets = {};  // file offset of [track][sample]
  std::vector<std::vector<Bytes>> samples = {};     // bytes of [track][sample]
};

/// The chunks of all tracks alternate in 'mdat'.
inline BuiltMovie movieFile(const MovieFileFields& fields) {
  BuiltMovie built;
  Bytes media;
  std::vector<std::vector<uint64_t>> chunks(fields.tracks.size());  // offsets within the payload
  for (const MediaTrack& track : fields.tracks) built.samples.push_back(track.samples);
  built.offsets.resize(fields.tracks.size());
  for (bool more = true; more;) {
    more = false;
    for (size_t t = 0; t < fields.tracks.size(); ++t) {
      const MediaTrack& track = fields.tracks[t];
      size_t next = built.offsets[t].size();
      if (next >= track.samples.size()) continue;
      more = true;
      chunks[t].push_back(media.size());
      for (uint32_t i = 0; i < track.samplesPerChunk && next < track.samples.size(); ++i, ++next) {
        built.offsets[t].push_back(media.size());
        append(media, track.samples[next]);
      }
    }
  }

  const auto movieAt = [&](uint64_t mediaStart) {
    std::vector<Bytes> tracks;
    for (size_t t = 0; t < fields.tracks.size(); ++t) {
      const MediaTrack& track = fields.tracks[t];
      TrackBoxes written = track.boxes;
      std::vector<uint32_t> sizes;
      for (const Bytes& sample : track.samples)
        sizes.push_back(static_cast<uint32_t>(sample.size()));
      std::vector<uint64_t> starts;
      for (const uint64_t chunk : chunks[t]) starts.push_back(mediaStart + chunk);
      if (written.stsz.empty()) written.stsz = stsz(sizes);
      if (written.stsc.empty()) written.stsc = stsc({{1, track.samplesPerChunk}});
      if (written.stco.empty()) written.stco = stco(starts);
      tracks.push_back(trak(written));
    }
    return moov({.mvhd = fields.mvhd, .tracks = tracks, .udta = fields.udta});
  };

  // The size of the movie box does not depend on the offsets in it.
  const bool movieFirst = fields.order == BoxOrder::movieFirst;
  const uint64_t mediaStart = ftyp().size() + (movieFirst ? movieAt(0).size() : 0) + 8;
  for (auto& track : built.offsets) {
    for (uint64_t& offset : track) offset += mediaStart;
  }
  const Bytes movie = movieAt(mediaStart);
  const Bytes data = box("mdat", media);
  built.bytes = movieFirst ? join(ftyp(), movie, data) : join(ftyp(), data, movie);
  return built;
}

}  // namespace boxes
