// Times what a host waits for. All input is made in memory, so no disk is measured.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <vector>

#include "atomkit/core/movie/movie.h"
#include "tests/support/memory_host.h"
#include "tests/support/memory_source.h"
#include "tests/support/movie_builder.h"
#include "tests/support/tag_boxes.h"

extern "C" vela::ISplitterModule* VelaEntry();

namespace {

using namespace boxes;

/// Tables of `samples` entries each: three hours of 48 kHz AAC have about 506,000.
Bytes longMovie(uint32_t samples) {
  Bytes sizes, offsets, offsetsOfComposition;
  for (uint32_t i = 0; i < samples; ++i) {
    const Bytes size = u32(300 + i % 50);
    const Bytes offset = u32(4096 + i * 350);
    const Bytes run = join(u32(1), u32(i % 3 * 512));
    sizes.insert(sizes.end(), size.begin(), size.end());
    offsets.insert(offsets.end(), offset.begin(), offset.end());
    offsetsOfComposition.insert(offsetsOfComposition.end(), run.begin(), run.end());
  }
  return join(
      ftyp(),
      moov({.tracks = {trak({.duration = uint64_t{samples} * 1024,
                             .stts = stts({{samples, 1024}}),
                             .ctts = box("ctts", full(0), u32(samples), offsetsOfComposition),
                             .stsz = box("stsz", full(0), u32(0), u32(samples), sizes),
                             .stsc = stsc({{1, 1}}),
                             .stco = box("stco", full(0), u32(samples), offsets)})}}));
}

void parse(atomkit::Movie& movie, const Bytes& bytes) {
  MemorySource source(bytes);
  movie.parse(source, atomkit::ScanRange::wholeFile, 0x37, bytes.size());
}

void ParseLargeMovieBox(benchmark::State& state) {
  const Bytes bytes = longMovie(static_cast<uint32_t>(state.range(0)));
  for (auto _ : state) {
    atomkit::Movie movie;
    parse(movie, bytes);
    benchmark::DoNotOptimize(movie.duration());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
}
BENCHMARK(ParseLargeMovieBox)->Arg(10000)->Arg(506250)->Unit(benchmark::kMicrosecond);

void ParseManyTags(benchmark::State& state) {
  Bytes items;
  for (int64_t i = 0; i < state.range(0); ++i) {
    const Bytes item = box("----", box("name", full(0), text("key" + std::to_string(i))),
                           box("data", full(0), u32(0), text("v")));
    items.insert(items.end(), item.begin(), item.end());
  }
  const Bytes bytes =
      join(ftyp(), moov({.tracks = {trak()}, .udta = box("meta", full(0), box("ilst", items))}));
  for (auto _ : state) {
    atomkit::Movie movie;
    parse(movie, bytes);
    benchmark::DoNotOptimize(movie.tags().entryCount());
  }
}
BENCHMARK(ParseManyTags)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

void WalkEverySample(benchmark::State& state) {
  atomkit::Movie movie;
  parse(movie, longMovie(506250));
  for (auto _ : state) {
    atomkit::SampleCursor cursor;
    movie.open(cursor, 0);
    uint64_t bytes = 0;
    do {
      atomkit::SampleInfo info;
      bytes += movie.sampleInfo(cursor, info);
    } while (movie.step(cursor));
    benchmark::DoNotOptimize(bytes);
  }
  state.SetItemsProcessed(state.iterations() * 506250);
}
BENCHMARK(WalkEverySample)->Unit(benchmark::kMillisecond);

void SeekCursor(benchmark::State& state) {
  atomkit::Movie movie;
  parse(movie, longMovie(506250));
  atomkit::SampleCursor cursor;
  movie.open(cursor, 0);
  uint32_t sample = 1;
  for (auto _ : state) {
    sample = (sample * 1103515245u + 12345u) % 506250;
    movie.reposition(cursor, sample);
    benchmark::DoNotOptimize(cursor.offsetInChunk);
  }
}
BENCHMARK(SeekCursor)->Unit(benchmark::kMicrosecond);

/// The plug-in over one file in memory, opened for playback.
class Player {
 public:
  explicit Player(const Bytes& bytes)
      : stream_(bytes.data(), bytes.size()), provider_(stream_), context_(provider_) {
    module_ = VelaEntry();
    module_->attachHost(&context_);
    memory_host::FactorySink sink;
    module_->enumerate(&sink);
    void* out = nullptr;
    sink.factory()->createSplitterEx(&out, u"input", nullptr);
    splitter = static_cast<vela::IMediaSplitterEx*>(out);
    REQUIRE(splitter);
    REQUIRE(splitter->startItem(0, &audioFormat_, &videoFormat_, nullptr) ==
            vela::TIOResult::success);
  }
  Player(const Player&) = delete;
  Player& operator=(const Player&) = delete;
  ~Player() {
    splitter->release();
    module_->deletingDestructor(1);
  }

  /// @return false at the end
  bool readNext() {
    uint32_t which = 0;
    uint8_t end = 0;
    uint64_t time = 0;
    splitter->nextStream(&which);
    if (which == vela::kNextAudio) splitter->readAudioPacket(&audio_, &end, nullptr);
    if (which == vela::kNextVideo) splitter->readVideoPacket(&video_, &end, &time, nullptr);
    return which != vela::kNextNone && !end;
  }

  vela::IMediaSplitterEx* splitter = nullptr;

 private:
  memory_host::Stream stream_;
  memory_host::Provider provider_;
  memory_host::Context context_;
  vela::ISplitterModule* module_ = nullptr;
  memory_host::AudioFormat audioFormat_;
  memory_host::VideoFormat videoFormat_;
  memory_host::AudioPacket audio_;
  memory_host::VideoPacket video_;
};

Bytes interleavedFile() {
  return movieFile({.tracks = {aacTrack({.samples = 1500, .sampleSize = 300}),
                               avcTrack({.samples = 800, .sampleSize = 2000})}})
      .bytes;
}

void OpenAndClose(benchmark::State& state) {
  const Bytes bytes = interleavedFile();
  for (auto _ : state) {
    Player player(bytes);
    benchmark::DoNotOptimize(player.splitter);
  }
}
BENCHMARK(OpenAndClose)->Unit(benchmark::kMicrosecond);

void DeliverEveryPacket(benchmark::State& state) {
  const Bytes bytes = interleavedFile();
  Player player(bytes);
  int64_t packets = 0;
  for (auto _ : state) {
    player.splitter->seekTo({0, 0}, nullptr);
    while (player.readNext()) ++packets;
  }
  state.SetItemsProcessed(packets);
}
BENCHMARK(DeliverEveryPacket)->Unit(benchmark::kMillisecond);

void SeekAndReadOne(benchmark::State& state) {
  const Bytes bytes = interleavedFile();
  Player player(bytes);
  uint32_t offset = 1;
  for (auto _ : state) {
    offset = offset * 1103515245u + 12345u;
    player.splitter->seekTo({offset % (30 * vela::kHostUnitsPerSecond), 0}, nullptr);
    player.readNext();
  }
}
BENCHMARK(SeekAndReadOne)->Unit(benchmark::kMicrosecond);

/// Describes one item over and over. @param itemId  0: the whole file, with its chapter list
void describe(benchmark::State& state, const Bytes& bytes, uint32_t itemId) {
  Player player(bytes);
  memory_host::Info info;
  info.measuresTexts = false;
  for (auto _ : state) {
    REQUIRE(player.splitter->describeItem(itemId, &info, nullptr) == vela::TIOResult::success);
  }
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
