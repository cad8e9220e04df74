// Times the descriptions of items that take long.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "bench/player.h"
#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"

extern "C" vela::ISplitterModule* VelaEntry();

namespace {

using namespace boxes;

/// Describes one item over and over. @param itemId  0: the whole file, with its chapter list
void describe(benchmark::State& state, const Bytes& bytes, uint32_t itemId) {
  memory_host::Stream stream(bytes.data(), bytes.size());
  bench::Player player(VelaEntry(), stream);
  player.open();
  memory_host::Info info;
  info.measuresTexts = false;
  for (auto _ : state) player.describe(itemId, info);
  state.counters["file"] = static_cast<double>(bytes.size());
}

/// A file of one second with `chapters` marks.
Bytes chapteredFile(uint32_t chapters, const std::string& markTitle, const Bytes& tags) {
  std::vector<Mark> marks;
  for (uint32_t i = 0; i < chapters; ++i) marks.push_back({uint64_t{i} * 9000, markTitle});
  return movieFile({.tracks = {aacTrack({.samples = 50})}, .udta = join(chpl(marks), tags)}).bytes;
}

/// The tags that an encoder of audio books writes.
Bytes audioBookTags() {
  const std::string description(800, 'd');
  return metaWith(
      ilstText(itemType("ART"), "A. Writer"), ilstText("aART", "A. Reader"),
      ilstText(itemType("alb"), "A Book of Some Length"), ilstText(itemType("wrt"), "A. Writer"),
      ilstText(itemType("gen"), "Audiobook"), ilstText(itemType("day"), "2006"),
      ilstText(itemType("cmt"), description), ilstText(itemType("too"), "An Encoder 1.2.3"),
      ilstText("cprt", "2006 A. Publisher"), ilstText("desc", description),
      ilstNamed("replaygain_track_gain", "-6.54 dB"), ilstNamed("replaygain_track_peak", "0.988"),
      ilstNamed("MusicBrainz Album Id", "00000000-0000-0000-0000-000000000000"));
}

void DescribeAudioBookChapter(benchmark::State& state) {
  describe(state, chapteredFile(30, "Chapter", audioBookTags()), 1);
}
BENCHMARK(DescribeAudioBookChapter)->Unit(benchmark::kMicrosecond);

void ListChaptersThatShareATitle(benchmark::State& state) {
  const std::string title(static_cast<size_t>(state.range(0)), 't');
  describe(state, chapteredFile(1024, "", metaWith(ilstText(itemType("nam"), title))), 0);
}
BENCHMARK(ListChaptersThatShareATitle)->Arg(1 << 10)->Arg(1 << 20)->Unit(benchmark::kMillisecond);

// The names are almost those of replay gain, and the chapter has a field of its own.
void DescribeChapterOfManyValues(benchmark::State& state) {
  std::vector<ZtField> fields;
  for (uint32_t i = 100; i < 356; ++i) {
    fields.push_back({"replaygain_track_g" + std::to_string(i), std::vector<std::string>(256)});
  }
  const Bytes own = ztSegment(0, {{fields[0].name, {"v"}}});
  describe(state, chapteredFile(1024, "", ztTags(ztFields(fields), own)), 1);
}
BENCHMARK(DescribeChapterOfManyValues)->Unit(benchmark::kMillisecond);

// Names as long as those of replay gain, which begin with a letter that is not ASCII.
void DescribeManyForeignNames(benchmark::State& state) {
  Bytes items;
  for (uint32_t i = 10000; i < 20000; ++i) {
    const Bytes item = ilstNamed("\xC3\x89" + std::string(15, 'n') + std::to_string(i), "v");
    items.insert(items.end(), item.begin(), item.end());
  }
  describe(state, chapteredFile(2, "", metaWith(items)), 1);
}
BENCHMARK(DescribeManyForeignNames)->Unit(benchmark::kMillisecond);

}  // namespace
