#include "bench/hostile/families.h"

#include <algorithm>
#include <string>

#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"

using namespace boxes;

namespace {

// ---- filling a file up to a size

/// As many copies of `piece` as fit.
Bytes fill(uint64_t bytes, const Bytes& piece) { return repeated(piece, bytes / piece.size()); }

/// piece(0), piece(1) and so on, as many as fit.
template <class Piece>
Bytes fillWith(uint64_t bytes, Piece piece) {
  Bytes all;
  all.reserve(bytes);
  for (uint32_t i = 0;; ++i) {
    const Bytes one = piece(i);
    if (all.size() + one.size() > bytes) return all;
    all.insert(all.end(), one.begin(), one.end());
  }
}

/// A full box with a count of entries and the entries.
Bytes table(std::string_view type, uint32_t count, const Bytes& entries) {
  return box(type, full(0), u32(count), entries);
}
template <class Entry>
Bytes table(std::string_view type, uint64_t bytes, uint32_t entryBytes, Entry entry) {
  const auto count = static_cast<uint32_t>(bytes / entryBytes);
  return table(type, count, fillWith(uint64_t{count} * entryBytes, entry));
}

Bytes file(const Bytes& udta, const std::vector<Bytes>& tracks) {
  return join(ftyp(), moov({.tracks = tracks, .udta = udta}), box("mdat", zeros(4096)));
}

/// A minute of sound whose tables are short, changed by the caller.
TrackBoxes soundTrack() {
  return {.timescale = 48000,
          .duration = uint64_t{3000} * 1024,
          .stts = stts({{3000, 1024}}),
          .stsz = stszConstant(10, 3000),
          .stsc = stsc({{1, 10}}),
          .stco = stco({64, 128, 192})};
}
TrackBoxes pictureTrack() {
  return {.timescale = 25000,
          .duration = uint64_t{1500} * 1000,
          .stsd = stsd(avc1()),
          .stts = stts({{1500, 1000}}),
          .stsz = stszConstant(20, 1500),
          .stsc = stsc({{1, 5}}),
          .stco = stco({96, 160, 224})};
}
Bytes sound(const TrackBoxes& track) { return file({}, {trak(track)}); }
Bytes withTags(const Bytes& udta) { return file(udta, {trak(soundTrack())}); }
Bytes withItems(const Bytes& items) { return withTags(metaWith(items)); }

/// A sample count that many samples of a table of `bytes` have.
TrackBoxes longSound(uint32_t samples) {
  TrackBoxes track = soundTrack();
  track.duration = uint64_t{samples} * 1024;
  track.stts = stts({{samples, 1024}});
  return track;
}

// ---- boxes in number

Bytes emptyTopLevelBoxes(uint64_t bytes) {
  return join(ftyp(), fill(bytes, box("free")), moov({.tracks = {trak(soundTrack())}}));
}
Bytes emptyMovieChildren(uint64_t bytes) {
  return join(ftyp(), box("moov", mvhd(), fill(bytes, box("free")), trak(soundTrack())));
}
Bytes movieHeaders(uint64_t bytes) {
  return join(ftyp(), box("moov", fill(bytes, mvhd()), trak(soundTrack())));
}
Bytes emptyTracks(uint64_t bytes) {
  return join(ftyp(), box("moov", mvhd(), fill(bytes, box("trak"))));
}
Bytes hollowTracks(uint64_t bytes) {
  const Bytes hollow = box("trak", box("mdia", box("minf", box("stbl"))));
  return join(ftyp(), box("moov", mvhd(), fill(bytes, hollow)));
}
Bytes headerTracks(uint64_t bytes) {
  return join(ftyp(), box("moov", mvhd(), fill(bytes, box("trak", box("mdia", mdhd())))));
}
Bytes constantSizeTracks(uint64_t bytes) {
  const Bytes track = box("trak", box("mdia", box("minf", box("stbl", stszConstant(1, 0)))));
  return join(ftyp(), box("moov", mvhd(), fill(bytes, track)));
}
Bytes shortTracks(uint64_t bytes) {
  return join(ftyp(), box("moov", mvhd(), fill(bytes, trak(soundTrack()))));
}
Bytes emptyUserData(uint64_t bytes) {
  return join(ftyp(), box("moov", mvhd(), trak(soundTrack()), fill(bytes, box("udta"))));
}
Bytes unknownUserData(uint64_t bytes) { return withTags(fill(bytes, box("name"))); }
Bytes boxesInBoxes(uint64_t bytes) {
  const auto depth = static_cast<uint32_t>(bytes / 8);
  return withTags(fillWith(
      bytes, [&](uint32_t level) { return join(u32((depth - level) * 8), text("udta")); }));
}

// ---- sample tables

Bytes timeRuns(uint64_t bytes) {
  TrackBoxes track = soundTrack();
  track.stts = table("stts", bytes, 8, [](uint32_t i) { return join(u32(1), u32(900 + i % 200)); });
  return sound(track);
}
Bytes emptyTimeRuns(uint64_t bytes) {
  TrackBoxes track = soundTrack();
  const Bytes empty = fill(bytes, join(u32(0), u32(1024)));
  track.stts =
      table("stts", static_cast<uint32_t>(empty.size() / 8) + 1, join(empty, u32(3000), u32(1024)));
  return sound(track);
}
Bytes wrappingTimeRuns(uint64_t bytes) {
  TrackBoxes track = soundTrack();
  track.stts = table("stts", bytes, 8, [](uint32_t i) {
    return join(u32(0x80000000 + i % 7), u32(0xffffffff - i % 5));
  });
  return sound(track);
}
Bytes standingTimeRuns(uint64_t bytes) {
  TrackBoxes track = soundTrack();
  track.stts = table("stts", bytes, 8, [](uint32_t) { return join(u32(3), u32(0)); });
  return sound(track);
}
Bytes compositionRuns(uint64_t bytes) {
  TrackBoxes track = pictureTrack();
  track.ctts = table("ctts", bytes, 8, [](uint32_t i) { return join(u32(1), u32(i % 3 * 1000)); });
  return sound(track);
}
Bytes emptyCompositionRuns(uint64_t bytes) {
  TrackBoxes track = pictureTrack();
  track.ctts = table("ctts", bytes, 8, [](uint32_t) { return join(u32(0), u32(1)); });
  return sound(track);
}
Bytes wrappingCompositionRuns(uint64_t bytes) {
  TrackBoxes track = pictureTrack();
  track.ctts =
      table("ctts", bytes, 8, [](uint32_t i) { return join(u32(0xfffffff0 + i % 9), u32(i)); });
  return sound(track);
}
Bytes syncSamples(uint64_t bytes) {
  TrackBoxes track = pictureTrack();
  track.stss = table("stss", bytes, 4, [](uint32_t i) { return u32(i + 1); });
  return sound(track);
}
Bytes sampleSizes(uint64_t bytes, uint32_t samplesPerChunk, uint32_t size) {
  const auto samples = static_cast<uint32_t>(bytes / 4);
  TrackBoxes track = longSound(samples);
  track.stsz = box("stsz", full(0), u32(0), u32(samples), fill(bytes, u32(size)));
  track.stsc = stsc({{1, samplesPerChunk}});
  return sound(track);
}
Bytes sizesInOneChunk(uint64_t bytes) { return sampleSizes(bytes, 0xffffffff, 1); }
Bytes sizesInManyChunks(uint64_t bytes) { return sampleSizes(bytes, 1, 1); }
Bytes largestSizes(uint64_t bytes) { return sampleSizes(bytes, 0x10000, 0xffffffff); }
Bytes zeroSizes(uint64_t bytes) { return sampleSizes(bytes, 3, 0); }

/// A chunk map of an entry for each twelve bytes, over as many samples as it may have.
template <class Entry>
Bytes chunkMap(uint64_t bytes, Entry entry) {
  TrackBoxes track = longSound(0x7fffffff);
  track.stsz = stszConstant(1, 0);
  track.stsc = table("stsc", bytes, 12, entry);
  return sound(track);
}
Bytes risingChunkMap(uint64_t bytes) {
  return chunkMap(bytes, [](uint32_t i) { return join(u32(i + 1), u32(1 + i % 3), u32(1)); });
}
Bytes fallingChunkMap(uint64_t bytes) {
  return chunkMap(bytes, [](uint32_t i) { return join(u32(0xffffff00 - i), u32(5), u32(1)); });
}
Bytes standingChunkMap(uint64_t bytes) {
  return chunkMap(bytes, [](uint32_t) { return join(u32(1), u32(7), u32(1)); });
}
Bytes chunkMapWithoutSamples(uint64_t bytes) {
  return chunkMap(bytes, [](uint32_t i) { return join(u32(i + 1), u32(0), u32(1)); });
}
Bytes wrappingChunkMap(uint64_t bytes) {
  return chunkMap(bytes, [](uint32_t i) {
    return join(u32(i * 0x01000193u + 1), u32(0x10001 + i % 11), u32(1));
  });
}
Bytes chunkOffsets(uint64_t bytes) {
  TrackBoxes track = longSound(static_cast<uint32_t>(bytes / 4));
  track.stsc = stsc({{1, 1}});
  track.stco = table("stco", bytes, 4, [](uint32_t i) { return u32(i * 7); });
  return sound(track);
}
Bytes longChunkOffsets(uint64_t bytes) {
  TrackBoxes track = longSound(static_cast<uint32_t>(bytes / 8));
  track.stsc = stsc({{1, 1}});
  track.stco = table("co64", bytes, 8, [](uint32_t i) { return u64(uint64_t{i} << 20); });
  return sound(track);
}
Bytes repeatedTables(uint64_t bytes) {
  const Bytes some = join(stsz({1, 2, 3, 4, 5, 6, 7, 8}), stsc({{1, 2}, {3, 4}}), stco({1, 2, 3}),
                          stss({1, 2, 3, 4}));
  TrackBoxes track = soundTrack();
  track.stss = fill(bytes, some);
  return sound(track);
}
Bytes twoLongTracks(uint64_t bytes) {
  const auto samples = static_cast<uint32_t>(bytes / 40);
  TrackBoxes audio = longSound(samples);
  audio.stts = table("stts", samples, fillWith(uint64_t{samples} * 8, [](uint32_t i) {
                       return join(u32(1), u32(1000 + i % 48));
                     }));
  audio.stsz = box("stsz", full(0), u32(0), u32(samples), fill(uint64_t{samples} * 4, u32(8)));
  audio.stsc = stsc({{1, 1}});
  audio.stco = table("stco", samples, fill(uint64_t{samples} * 4, u32(4000)));
  TrackBoxes video = pictureTrack();
  video.duration = uint64_t{samples} * 1000;
  video.stts = stts({{samples, 1000}});
  video.ctts = table("ctts", samples, fillWith(uint64_t{samples} * 8, [](uint32_t i) {
                       return join(u32(1), u32(i % 3 * 1000));
                     }));
  video.stsz = box("stsz", full(0), u32(0), u32(samples), fill(uint64_t{samples} * 4, u32(9)));
  video.stsc = stsc({{1, 1}});
  video.stco = table("stco", samples, fill(uint64_t{samples} * 4, u32(4100)));
  video.stss = table("stss", samples,
                     fillWith(uint64_t{samples} * 4, [](uint32_t i) { return u32(i + 1); }));
  return file({}, {trak(audio), trak(video)});
}

// ---- sample descriptions

Bytes descriptions(uint64_t bytes, const Bytes& entry) {
  TrackBoxes track = soundTrack();
  const Bytes entries = fill(bytes, entry);
  track.stsd =
      box("stsd", full(0), u32(static_cast<uint32_t>(entries.size() / entry.size())), entries);
  return sound(track);
}
Bytes soundEntries(uint64_t bytes) { return descriptions(bytes, mp4a()); }
Bytes pictureEntries(uint64_t bytes) { return descriptions(bytes, avc1()); }
Bytes unknownEntries(uint64_t bytes) { return descriptions(bytes, box("text")); }
Bytes parameterSets(uint64_t bytes) {
  AvcConfigFields config;
  config.sps.assign(31, repeat(0x67, std::min<uint64_t>(bytes / 31, 0xffff)));
  TrackBoxes track = pictureTrack();
  track.stsd = stsd(avc1({.child = avcC(config)}));
  return sound(track);
}
Bytes emptyParameterSets(uint64_t bytes) {
  AvcConfigFields config;
  config.sps.assign(31, {});
  config.pps.assign(255, {});
  return descriptions(bytes, avc1({.child = avcC(config)}));
}

// ---- the item list

Bytes itemsOfOneName(uint64_t bytes) {
  return withItems(fill(bytes, ilstText(itemType("ART"), "x")));
}
Bytes itemsOfManyNames(uint64_t bytes) {
  return withItems(fillWith(bytes, [](uint32_t i) { return ilstNamed(std::to_string(i), "v"); }));
}
Bytes itemsOfShortNames(uint64_t bytes) {
  return withItems(fillWith(bytes, [](uint32_t i) {
    return box("----", itemName(std::string(1, static_cast<char>('A' + i % 60))), data(text("v")));
  }));
}
Bytes emptyItems(uint64_t bytes) { return withItems(fill(bytes, box(itemType("nam")))); }
Bytes emptyValues(uint64_t bytes) { return withItems(fill(bytes, ilstText(itemType("ART"), ""))); }
Bytes oneLongValue(uint64_t bytes) {
  return withItems(ilstText(itemType("ART"), std::string(bytes, 'x')));
}
Bytes oneLongTitle(uint64_t bytes) {
  return withItems(ilstText(itemType("nam"), std::string(bytes, 'x')));
}
Bytes oneLongName(uint64_t bytes) { return withItems(ilstNamed(std::string(bytes, 'n'), "v")); }
Bytes valuesBeyondAscii(uint64_t bytes) {
  std::string wide;
  while (wide.size() + 3 <= bytes) wide += "\xE2\x82\xAC";
  return withItems(ilstText(itemType("ART"), wide));
}
Bytes brokenUtf8(uint64_t bytes) {
  return withItems(ilstText(itemType("ART"), std::string(bytes, '\xF4')));
}
Bytes numberItems(uint64_t bytes) { return withItems(fill(bytes, numberPair("trkn", 1, 2))); }
Bytes genreItems(uint64_t bytes) { return withItems(fill(bytes, gnre(9))); }
Bytes replayGainItems(uint64_t bytes) {
  return withItems(fill(bytes, ilstNamed("replaygain_track_gain", "-6.54 dB")));
}
Bytes longReplayGain(uint64_t bytes) {
  return withItems(ilstNamed("replaygain_track_gain", std::string(bytes, '1')));
}
Bytes nearReplayGainNames(uint64_t bytes) {
  return withItems(fillWith(bytes, [](uint32_t i) {
    return ilstNamed("replaygain_track_gai" + std::to_string(i), "-6.54 dB");
  }));
}
Bytes dataBoxesOfOneItem(uint64_t bytes) {
  return withItems(box(itemType("ART"), fill(bytes, data(text("value")))));
}
Bytes itemLists(uint64_t bytes) {
  return withTags(fill(bytes, metaWith(ilstText(itemType("ART"), "x"))));
}
Bytes itemListsInOneBox(uint64_t bytes) {
  return withTags(box("meta", full(0), fill(bytes, box("ilst", ilstText(itemType("nam"), "x")))));
}
Bytes itemListCover(uint64_t bytes) { return withItems(covr(zeros(bytes))); }

// ---- the tagging box

/// Field lists of 256 equal fields each.
Bytes fieldLists(uint64_t bytes, const Bytes& field) {
  const Bytes list = box("meta", u32(256), repeated(field, 256));
  return withTags(ztTags(fill(bytes, list)));
}
Bytes shortestFields(uint64_t bytes) { return fieldLists(bytes, ztField({})); }
Bytes fieldsOfEmptyValues(uint64_t bytes) {
  return fieldLists(bytes, ztField({"n", std::vector<std::string>(256)}));
}
Bytes fieldsOfShortValues(uint64_t bytes) {
  return fieldLists(bytes, ztField({"n", std::vector<std::string>(256, "v")}));
}
Bytes fieldsOfOneShortValue(uint64_t bytes) { return fieldLists(bytes, ztField({"n", {"v"}})); }
Bytes fieldsOfLongNames(uint64_t bytes) {
  return fieldLists(bytes, ztField({std::string(255, 'n')}));
}
Bytes fieldsOfLongValues(uint64_t bytes) {
  const Bytes list = ztFields({{"artist", {std::string(65536, 'v')}}});
  return withTags(ztTags(fill(std::max<uint64_t>(bytes, list.size()), list)));
}
Bytes skippedFields(uint64_t bytes) {
  return fieldLists(bytes, ztField({"n", std::vector<std::string>(256), 2}));
}
Bytes replayGainFields(uint64_t bytes) {
  return fieldLists(bytes,
                    ztField({"REPLAYGAIN_ALBUM_PEAK", std::vector<std::string>(256, "0.98")}));
}
Bytes distinctFields(uint64_t bytes) {
  const Bytes lists = fillWith(bytes, [](uint32_t i) {
    return ztFields({{"name" + std::to_string(i), {"v"}}});
  });
  return withTags(ztTags(lists));
}
Bytes emptySegments(uint64_t bytes) { return withTags(ztTags(fill(bytes, tseg(tshd(1000))))); }
Bytes taggingBoxes(uint64_t bytes) {
  return withTags(fill(bytes, ztTags(ztFields({{"artist", {"x"}}}))));
}
Bytes taggingCovers(uint64_t bytes) {
  return withTags(ztTags(fill(bytes, box("covr", zeros(64)))));
}

// ---- chapters

std::vector<Mark> marks(uint32_t count, const std::string& title) {
  std::vector<Mark> all;
  for (uint32_t i = 0; i < count; ++i) all.push_back({uint64_t{i} * 600'000, title});
  return all;
}
Bytes manyChapters(uint64_t bytes) {
  return withTags(chpl(
      marks(static_cast<uint32_t>(std::min<uint64_t>(bytes / 264, 1024)), std::string(255, 't'))));
}
Bytes chapterLists(uint64_t bytes) { return withTags(fill(bytes, chpl(marks(1024, "t")))); }
Bytes chaptersUnderOneTitle(uint64_t bytes) {
  return withTags(
      join(metaWith(ilstText(itemType("nam"), std::string(bytes, 'x'))), chpl(marks(1024, ""))));
}
Bytes chaptersUnderManyTags(uint64_t bytes) {
  const Bytes items = fillWith(bytes, [](uint32_t i) { return ilstNamed(std::to_string(i), "v"); });
  return withTags(join(metaWith(items), chpl(marks(1024, "t"))));
}
Bytes chaptersOfManyFields(uint64_t bytes) {
  const Bytes segments = fillWith(bytes, [](uint32_t i) {
    return ztSegment(i % 1001, {{"a", {"1"}}, {"b", {"2"}}, {"title", {"t"}}});
  });
  return withTags(join(ztTags(ztFields({{"artist", {"x"}}}), segments), chpl(marks(1024, ""))));
}
Bytes chaptersThatChangeManyTags(uint64_t bytes) {
  // Half for the tags of the file, half for chapters that each change some of them.
  const Bytes fields = fillWith(bytes / 2, [](uint32_t i) {
    return ztFields({{"name" + std::to_string(i), {"v"}}});
  });
  const Bytes segments = fillWith(bytes / 2, [](uint32_t i) {
    return ztSegment(i % 1001, {{"name" + std::to_string(i % 64), {"own"}}});
  });
  return withTags(join(ztTags(fields, segments), chpl(marks(1024, ""))));
}

constexpr Family kFamilies[] = {
    {"empty top-level boxes", emptyTopLevelBoxes},
    {"empty children of moov", emptyMovieChildren},
    {"movie headers", movieHeaders},
    {"empty tracks", emptyTracks},
    {"tracks of empty containers", hollowTracks},
    {"tracks with a header only", headerTracks},
    {"tracks with a constant size only", constantSizeTracks},
    {"short tracks", shortTracks},
    {"empty user data boxes", emptyUserData},
    {"unknown boxes of user data", unknownUserData},
    {"boxes in boxes", boxesInBoxes},
    {"stts, a run per sample", timeRuns},
    {"stts, runs without samples", emptyTimeRuns},
    {"stts, totals that wrap", wrappingTimeRuns},
    {"stts, runs of no duration", standingTimeRuns},
    {"ctts, a run per sample", compositionRuns},
    {"ctts, runs without samples", emptyCompositionRuns},
    {"ctts, totals that wrap", wrappingCompositionRuns},
    {"stss", syncSamples},
    {"stsz, all in one chunk", sizesInOneChunk},
    {"stsz, a chunk per sample", sizesInManyChunks},
    {"stsz, the largest sizes", largestSizes},
    {"stsz, sizes of zero", zeroSizes},
    {"stsc, rising", risingChunkMap},
    {"stsc, falling", fallingChunkMap},
    {"stsc, all runs of one chunk", standingChunkMap},
    {"stsc, chunks without samples", chunkMapWithoutSamples},
    {"stsc, totals that wrap", wrappingChunkMap},
    {"stco", chunkOffsets},
    {"co64", longChunkOffsets},
    {"tables that replace each other", repeatedTables},
    {"two tracks of long tables", twoLongTracks},
    {"stsd, sound entries", soundEntries},
    {"stsd, picture entries", pictureEntries},
    {"stsd, unknown entries", unknownEntries},
    {"avcC, long sets", parameterSets},
    {"avcC, empty sets", emptyParameterSets},
    {"items of one name", itemsOfOneName},
    {"items of many names", itemsOfManyNames},
    {"items of short names", itemsOfShortNames},
    {"empty items", emptyItems},
    {"empty values", emptyValues},
    {"one long value", oneLongValue},
    {"one long title", oneLongTitle},
    {"one long name", oneLongName},
    {"a value beyond ASCII", valuesBeyondAscii},
    {"a value that is no UTF-8", brokenUtf8},
    {"number items", numberItems},
    {"genre items", genreItems},
    {"replay gain items", replayGainItems},
    {"a long replay gain", longReplayGain},
    {"names near those of replay gain", nearReplayGainNames},
    {"data boxes of one item", dataBoxesOfOneItem},
    {"item lists", itemLists},
    {"item lists in one box", itemListsInOneBox},
    {"a cover in the item list", itemListCover},
    {"fields of five bytes", shortestFields, false, true},
    {"fields of empty values", fieldsOfEmptyValues},
    {"fields of short values", fieldsOfShortValues},
    {"fields of one short value", fieldsOfOneShortValue},
    {"fields of long names", fieldsOfLongNames},
    {"fields of long values", fieldsOfLongValues},
    {"skipped fields", skippedFields},
    {"replay gain fields", replayGainFields},
    {"fields of many names", distinctFields},
    {"empty segments", emptySegments},
    {"tagging boxes", taggingBoxes},
    {"covers of the tagging box", taggingCovers},
    {"1,024 chapters", manyChapters, true},
    {"chapter lists", chapterLists, true},
    {"chapters under one title", chaptersUnderOneTitle, true},
    {"chapters under many tags", chaptersUnderManyTags, true},
    {"chapters of many fields", chaptersOfManyFields, true},
    {"chapters that change many tags", chaptersThatChangeManyTags, true},
};

}  // namespace

std::span<const Family> hostileFamilies() { return kFamilies; }
