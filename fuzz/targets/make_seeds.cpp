// Writes small well-formed inputs as first ones for the fuzz targets: make_seeds FOLDER. There is a
// folder in it for each kind of input.
#include <filesystem>
#include <fstream>
#include <string>

#include "tests/support/rich_files.h"

namespace {

using namespace boxes;
namespace fs = std::filesystem;

void write(const fs::path& file, const Bytes& bytes) {
  fs::create_directories(file.parent_path());
  std::ofstream stream(file, std::ios::binary);
  stream.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
}

/// A little-endian word of a host's script.
Bytes word(uint32_t value) {
  return {static_cast<uint8_t>(value), static_cast<uint8_t>(value >> 8)};
}

// ---- tables

/// Runs of lengths that differ, so that most samples have neighbours in other runs.
std::vector<std::pair<uint32_t, uint32_t>> manyRuns(uint32_t runs, uint32_t delta) {
  std::vector<std::pair<uint32_t, uint32_t>> all;
  for (uint32_t i = 0; i < runs; ++i) all.emplace_back(1 + i % 3, delta + i % 5);
  return all;
}

uint32_t samplesOf(const std::vector<std::pair<uint32_t, uint32_t>>& runs) {
  uint32_t samples = 0;
  for (const auto& [count, delta] : runs) samples += count;
  return samples;
}

/// More than two blocks of every index: times, offsets, sizes, chunks and key frames.
MediaTrack tabledVideo(uint32_t runs) {
  const auto times = manyRuns(runs, 900);
  MediaTrack track = avcTrack({.samples = samplesOf(times), .sampleSize = 5, .syncEvery = 7});
  track.boxes.stts = stts(times);
  std::vector<std::pair<uint32_t, int32_t>> offsets;
  for (uint32_t i = 0; i < runs; ++i) offsets.emplace_back(1 + (i + 1) % 3, int32_t(i % 4) * 500);
  track.boxes.ctts = ctts(offsets);
  track.samplesPerChunk = 3;
  return track;
}

/// Chunks of lengths that change, as the map lists them.
Bytes growingMap(uint32_t entries) {
  std::vector<ChunkRun> runs;
  for (uint32_t i = 0; i < entries; ++i) runs.push_back({1 + 2 * i, 1 + i % 4});
  return stsc(runs);
}

Bytes tablesOf(const std::vector<Bytes>& tables) {
  Bytes all;
  for (const Bytes& table : tables) append(all, table);
  return all;
}

/// An 'esds' whose lengths take four bytes each, as many writers have it.
Bytes longLengthEsds() {
  const auto length = [](uint8_t bytes) { return raw({0x80, 0x80, 0x80, bytes}); };
  const Bytes config = join(u8(5), length(2), raw({0x11, 0x90}));
  const Bytes decoder =
      join(u8(4), length(24), u8(0x40), u8(0x15), u24(6144), u32(1), u32(2), config);
  return box("esds", full(0), u8(3), length(39), u16(1), u8(0), decoder, u8(6), length(1), u8(2));
}

void writeTables(const fs::path& folder) {
  const auto times = manyRuns(200, 1000);
  const uint32_t samples = samplesOf(times);
  std::vector<uint32_t> sizes;
  std::vector<uint32_t> sync;
  std::vector<uint64_t> chunks;
  for (uint32_t i = 0; i < samples; ++i) sizes.push_back(100 + i % 17);
  for (uint32_t i = 0; i < samples; i += 1 + i % 6) sync.push_back(i + 1);
  for (uint32_t i = 0; i < 300; ++i) chunks.push_back(1000 + 700 * i);
  std::vector<std::pair<uint32_t, int32_t>> offsets;
  for (uint32_t i = 0; i < 150; ++i) offsets.emplace_back(1 + i % 4, int32_t(i % 9) - 4);
  const Bytes all = tablesOf({stsd(avc1()), stts(times), ctts(offsets), stss(sync), stsz(sizes),
                              growingMap(150), stco(chunks)});
  write(folder / "all", join(u8(1), all));
  write(folder / "all-again", join(u8(7), all));
  write(folder / "long-offsets",
        join(u8(2), tablesOf({stsd(mp4a()), stts({{400, 1024}}), stszConstant(9, 400),
                              stsc({{1, 10}, {3, 5}}), co64({uint64_t{1} << 33, 5000, 9000})})));
  write(folder / "short",
        join(u8(3),
             tablesOf({stsd(mp4a()), stts({{3, 1000}, {2, 500}}), ctts({{5, 7}}), stss({1, 5, 9}),
                       stsz({5, 6, 7, 8, 9}), stsc({{1, 2}}), stco({100, 200, 300})})));
  write(folder / "empty-runs",
        join(u8(4),
             tablesOf({stsd(mp4v()), stts({{0, 5}, {3, 1000}, {0, 9}, {2, 500}, {0, 1}}),
                       ctts({{0, 4}, {2, 7}, {0, 3}, {3, 1}}), stss({2, 4}), stsz({5, 6, 7, 8, 9}),
                       stsc({{1, 2}, {2, 0}, {4, 3}}), stco({100, 200})})));
  write(folder / "map-does-not-rise",
        join(u8(5), tablesOf({stsd(mp4a()), stts({{90, 10}}), stszConstant(3, 90),
                              stsc({{4, 3}, {2, 5}, {9, 1}, {1, 2}}), stco({10, 20, 30})})));
  write(folder / "wrapping-counts",
        join(u8(6), tablesOf({stsd(mp4a()), stts({{0xffffff00, 1}, {0x200, 2}, {9, 0xffffffff}}),
                              stszConstant(0x80000001, 9), stsc({{1, 0xffffffff}}), stco({8})})));
  write(folder / "alac", join(u8(8), tablesOf({stsd(alac()), stts({{9, 4096}})})));
  write(folder / "long-lengths",
        join(u8(10), tablesOf({stsd(mp4a({.child = longLengthEsds()})), stts({{9, 4096}})})));
  write(folder / "misplaced", join(u8(11), stsd(videoEntry("mp4v", {.child = avcC()}))));
  write(folder / "entries",
        join(u8(9), tablesOf({stsd(otherEntry(), mp4v(), avc1()), stts({{9, 1}})})));
}

// ---- chapters and tags

Bytes marks(uint32_t count, bool titled) {
  std::vector<Mark> all;
  for (uint32_t i = 0; i < count; ++i) {
    all.push_back({uint64_t{i} * 400'000, titled ? "Chapter " + std::to_string(i) : ""});
  }
  return chpl(all);
}

Bytes replayGain() {
  return metaWith(
      ilstNamed("replaygain_track_gain", "-6.54 dB"), ilstNamed("REPLAYGAIN_ALBUM_GAIN", "+1.2 dB"),
      ilstNamed("replaygain_track_peak", "0.988"), ilstNamed("replaygain_album_peak", "1.01"),
      ilstNamed("replaygain_album_peak", "0.5"), ilstNamed("Date", "1999"),
      ilstNamed("tracknumber", "7"), ilstText(itemType("too"), "one"),
      ilstText(itemType("too"), "two"));
}

Bytes twoNames() {
  return metaWith(
      box("----", itemName("first"), itemName("second"), data(text("value")), data(text("later"))));
}

Bytes manySegments(uint32_t count) {
  Bytes segments;
  for (uint32_t i = 0; i < count; ++i) {
    append(segments, ztSegment(i * 2 % count,
                               {{"title", {"S" + std::to_string(i)}}, {"TITLE", {"again"}, 0}}));
  }
  return ztTags(ztFields({{"title", {"All"}}, {"artist", {"A", "B"}, 0x80}, {"", {""}, 0}}),
                segments, box("covr", repeat(7, 30)));
}

void writeMetadata(const fs::path& folder) {
  write(folder / "rich", join(u8(1), richTaggingBox(), richItemList(), marks(3, true)));
  write(folder / "items", join(u8(2), richItemList(), marks(2, true)));
  write(folder / "replay-gain", join(u8(3), replayGain()));
  write(folder / "two-names", join(u8(4), twoNames()));
  write(folder / "segments", join(u8(5), marks(12, true), manySegments(12)));
  write(folder / "chapters-1024", join(u8(6), marks(1024, false), richItemList()));
  write(folder / "chapters-1025", join(u8(7), marks(1025, false)));
  // At the limits and just past them.
  for (const size_t count : {size_t{256}, size_t{257}}) {
    const std::vector<std::string> values(count, "");
    const std::vector<ZtField> fields(count, ZtField{"", {}});
    write(folder / ("values-" + std::to_string(count)),
          join(u8(10), ztTags(ztFields({{"many", values}}))));
    write(folder / ("skipped-values-" + std::to_string(count)),
          join(u8(10), ztTags(ztFields({{"many", values, 2}}))));
    write(folder / ("fields-" + std::to_string(count)), join(u8(11), ztTags(ztFields(fields))));
  }
  for (const uint32_t number : {1000u, 1001u}) {
    write(folder / ("segment-" + std::to_string(number)),
          join(u8(12), ztTags(ztSegment(number, {{"title", {"T"}}}))));
  }
  write(folder / "two-tags", join(u8(8), richTaggingBox(), manySegments(2), richItemList()));
  write(folder / "short-starts",
        join(u8(9), box("chpl", u8(0), zeros(4), u32(2), u32(0), u8(3), text("One"), u32(5), u8(0)),
             twoNames()));
}

// ---- whole files

Bytes film() {
  return movieFile({.tracks = {avcTrack(), aacTrack()}, .udta = marks(3, true)}).bytes;
}

void writeFiles(const fs::path& folder) {
  write(folder / "song", movieFile({.tracks = {aacTrack()}, .udta = richItemList()}).bytes);
  write(folder / "album", movieFile({.tracks = {aacTrack({.samples = 60})},
                                     .udta = join(marks(3, true), manySegments(3), replayGain())})
                              .bytes);
  write(folder / "film", film());
  write(folder / "film-media-first",
        movieFile({.tracks = {mpeg4Track(), aacTrack()}, .order = BoxOrder::mediaFirst}).bytes);
  write(folder / "rich-film", richFilm());
  write(folder / "rich-audio-book", richAudioBook());
  MediaTrack late = avcTrack({.samples = 9});
  late.boxes.ctts = ctts({{4, 2000}, {3, -1000}, {2, 0}});
  write(folder / "composition-offsets", movieFile({.tracks = {late}}).bytes);
  MediaTrack lossless = aacTrack();
  lossless.boxes.stsd = stsd(alac(), otherEntry());
  write(folder / "lossless", movieFile({.tracks = {lossless}}).bytes);
  write(folder / "no-media", join(ftyp(), moov({.tracks = {trak()}})));
  MediaTrack mp3 = aacTrack({.samples = 30, .timescale = 44100, .delta = 1152, .objectType = 0x6b});
  mp3.boxes.stsz = stszConstant(24, 30);
  write(folder / "mp3", movieFile({.tracks = {mp3}}).bytes);
  MediaTrack offset = aacTrack({.samples = 20});
  offset.boxes.ctts = ctts({{20, 2112}});
  write(folder / "late-sound", movieFile({.tracks = {offset}}).bytes);
  write(
      folder / "tables",
      movieFile({.tracks = {tabledVideo(150), aacTrack({.samples = 260, .sampleSize = 9})}}).bytes);
  // More than two blocks of the read cache, so that packets cross from one into the next.
  write(folder / "large",
        movieFile({.tracks = {aacTrack({.samples = 60, .sampleSize = 400}),
                              avcTrack({.samples = 25, .sampleSize = 1100, .syncEvery = 6})},
                   .udta = marks(2, true)})
            .bytes);
  write(folder / "chapters-1024",
        movieFile({.tracks = {aacTrack({.samples = 200, .sampleSize = 6})},
                   .udta = join(marks(1024, false), richItemList())})
            .bytes);
  write(folder / "chapters-1025",
        movieFile(
            {.tracks = {aacTrack({.samples = 200, .sampleSize = 6})}, .udta = marks(1025, false)})
            .bytes);
  for (const bool wide : {false, true}) {
    MediaTrack endless = aacTrack({.samples = 12});
    const MdhdFields unknown{.duration = wide ? ~uint64_t{0} : 0xffffffff,
                             .versionAndFlags = wide ? u32(1) : full(0)};
    endless.boxes.mdhd = wide ? mdhdLong(unknown) : mdhd(unknown);
    write(folder / (wide ? "unknown-long-duration" : "unknown-duration"),
          movieFile({.tracks = {endless, avcTrack()}}).bytes);
  }
  MediaTrack empty = aacTrack({.samples = 8});
  empty.boxes.stsz = stsz({24, 25, 0, 24, 25, 26, 24, 25});
  write(folder / "empty-sample", movieFile({.tracks = {empty}}).bytes);
  write(folder / "long-samples",
        movieFile({.tracks = {aacTrack({.samples = 20, .delta = 48000})}}).bytes);
  Bytes manyTracks;
  for (int i = 0; i < 200; ++i) append(manyTracks, box("trak"));
  write(folder / "empty-tracks",
        join(ftyp(), box("moov", mvhd(), manyTracks, trak({.stsd = stsd(mp4a())}))));
}

// ---- files and hosts

struct ScriptedFault {
  uint8_t kind;
  uint8_t call;
  uint32_t at;
  uint32_t argument;
};

Bytes script(uint8_t flags, uint8_t player, uint32_t piece,
             const std::vector<ScriptedFault>& faults) {
  Bytes all = join(u8(flags), u8(player), word(piece), u8(static_cast<uint8_t>(faults.size())));
  for (const ScriptedFault& fault : faults) {
    append(all, u8(fault.kind), u8(fault.call), word(fault.at), word(fault.argument));
  }
  return all;
}

void writeHosts(const fs::path& folder) {
  const Bytes file = film();
  const Bytes book = movieFile({.tracks = {aacTrack({.samples = 40, .sampleSize = 600})},
                                .udta = join(marks(3, true), richItemList()),
                                .order = BoxOrder::mediaFirst})
                         .bytes;
  const Bytes large = movieFile({.tracks = {aacTrack({.samples = 40, .sampleSize = 500}),
                                            avcTrack({.samples = 20, .sampleSize = 1300})}})
                          .bytes;
  for (uint8_t flags = 0; flags < 16; ++flags) {
    write(folder / ("ways-" + std::to_string(flags)), join(script(flags, flags, 50, {}), large));
  }
  write(folder / "piecewise", join(script(0x98, 3, 7, {}), book));
  write(folder / "slot-and-order", join(script(0x78, 4, 4096, {}), file));
  for (uint8_t kind = 0; kind < 10; ++kind) {
    for (uint8_t call = 0; call < 10; ++call) {
      const uint32_t at = (kind * 7u + call * 3u) % 12;
      const std::string name = "fault-" + std::to_string(kind) + "-" + std::to_string(call);
      write(folder / name, join(script(8, kind, 300, {{kind, call, at, 0x1234u + kind}}),
                                call % 2 ? large : book));
    }
    write(folder / ("late-" + std::to_string(kind)),
          join(script(8, kind, 300, {{kind, 8, 5, 3}, {kind, 1, 4, 9}}), large));
  }
}

// ---- the helper library

void writeHelpers(const fs::path& folder) {
  write(folder / "text",
        text("-1,5e3 \xE2\x82\xAC \xF0\x9F\x98\x80 *.mp4;a?c C:\\dir\\name.ext?x"));
  write(folder / "overlong", text("a\xC1\x81 b \xE0\x80\x90 \xC3\xA4"));
  Bytes operations;
  for (uint32_t i = 0; i < 60; ++i) {
    append(operations, raw({static_cast<uint8_t>(i * 7), static_cast<uint8_t>(i * 11),
                            static_cast<uint8_t>(i * 13)}));
  }
  write(folder / "operations", operations);
  for (const uint8_t failing : {uint8_t{2}, uint8_t{255}}) {
    write(folder / ("transfers-" + std::to_string(failing)),
          join(raw({64, 40,  failing, 12, 0, 10, 1, 20,  0, 205, 0, 3,  1, 203,
                    0,  255, 0,       1,  0, 64, 1, 128, 0, 129, 0, 90, 0, 240}),
               repeat(0x5a, 255), operations, repeat(3, 700)));
  }
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) return 1;
  const fs::path folder = arguments[1];
  writeFiles(folder / "file");
  writeHosts(folder / "host");
  writeTables(folder / "tables");
  writeMetadata(folder / "metadata");
  writeHelpers(folder / "helpers");
  return 0;
}
