// Whole parses of one rich file under every kind of trouble: cut short, and short of memory.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <limits>
#include <string>
#include <vector>

#include "atomkit/core/movie/movie.h"
#include "tests/atomkit/box_reading.h"
#include "tests/atomkit/core/movie/movie_reading.h"
#include "tests/support/boxes.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/memory_meter.h"
#include "tests/support/memory_source.h"
#include "tests/support/movie_builder.h"
#include "tests/support/throws_message.h"

namespace atomkit {
namespace {

using namespace boxes;

constexpr ParseOptions kEverything = kPlayback | kWantCoverArt;

/// A file with everything that the library reads.
Bytes richFile(BoxOrder order) {
  MediaTrack video = avcTrack({.samples = 7});
  video.boxes.ctts = ctts({{3, 1000}, {4, 0}});
  MediaTrack audio = aacTrack({.samples = 9});
  audio.boxes.ctts = ctts({{1, 100}});
  return movieFile({.tracks = {audio, video, mpeg4Track({.samples = 3})},
                    .udta = join(ztTags(ztFields({{"album", {"Box"}}, {"artist", {"A", "B"}}}),
                                        ztSegment(1, {{"artist", {"Guest"}}, {"mood", {"calm"}}}),
                                        box("covr", zeros(40))),
                                 metaWith(ilstText("\xA9nam", "Song"), ilstText("\xA9nam", "Other"),
                                          box("covr", box("data", full(0), u32(0), zeros(30)))),
                                 chpl({{0, "One"}, {5, "Two"}, {9, ""}})),
                    .order = order})
      .bytes;
}

/// What a host can see of a movie, in one text.
std::string describe(const Movie& movie) {
  std::string all = std::to_string(movie.duration()) + '\n' + describe(movie.tags()) + '\n';
  for (uint32_t i = 0; i < movie.chapterCount(); ++i) {
    all += std::to_string(movie.chapterStart(i)) + ' ' + describe(movie.chapter(i).tags) + '\n';
  }
  for (uint32_t track = 0; track < movie.trackCount(); ++track) {
    SampleCursor cursor;
    movie.open(cursor, track);
    do {
      SampleInfo info;
      movie.sampleInfo(cursor, info);
      all += std::to_string(info.fileOffset) + ':' + std::to_string(info.size) + '@' +
             std::to_string(info.compositionTime) + ' ';
    } while (movie.step(cursor));
    all += '\n';
  }
  return all;
}

/// Takes the file one byte at a time but delivers all that is asked for, as a buffer over a slow
/// host does.
class TricklingSource final : public ByteSource {
 public:
  explicit TricklingSource(const Bytes& bytes) : source_(bytes) {}
  uint32_t read(void* buffer, uint32_t count) override {
    auto* bytes = static_cast<uint8_t*>(buffer);
    uint32_t done = 0;
    while (done < count && source_.read(bytes + done, 1) == 1) ++done;
    return done;
  }
  uint64_t skip(uint64_t count) override {
    uint64_t done = 0;
    while (done < count && source_.skip(1) == 1) ++done;
    return done;
  }

 private:
  MemorySource source_;
};

TEST(Robustness, TheRichFileIsReadWhole) {
  const ParsedMovie movie(richFile(BoxOrder::movieFirst), kEverything);
  EXPECT_EQ(movie.trackCount(), 3u);
  EXPECT_EQ(movie.chapterCount(), 3u);
  EXPECT_EQ(describe(movie.tags()), "album=Box artist=A|B");
  EXPECT_EQ(movie.itemListCover().count(), 30u);
  EXPECT_EQ(movie.taggingCover().count(), 40u);
}

TEST(Robustness, ATricklingSourceGivesTheSameMovie) {
  for (const BoxOrder order : {BoxOrder::movieFirst, BoxOrder::mediaFirst}) {
    const Bytes file = richFile(order);
    TricklingSource source(file);
    Movie movie;
    movie.parse(source, ScanRange::wholeFile, kEverything);
    EXPECT_EQ(describe(movie), describe(ParsedMovie(file, kEverything)));
  }
}

TEST(Robustness, AShortReadOfTheSourceIsTheEndOfTheFile) {
  OneByteSource source(richFile(BoxOrder::movieFirst));
  Movie movie;
  EXPECT_THROWS_MESSAGE(movie.parse(source, ScanRange::wholeFile, kEverything),
                        "invalid or missing mvhd data");
}

TEST(Robustness, CutAtEveryLengthItFailsWithAMessageOrGivesTheWholeMovie) {
  for (const BoxOrder order : {BoxOrder::movieFirst, BoxOrder::mediaFirst}) {
    const Bytes file = richFile(order);
    const uint64_t whole = ParsedMovie(file, kEverything).scannedEnd();
    for (size_t length = 0; length < file.size(); ++length) {
      const Bytes cut(file.begin(), file.begin() + static_cast<ptrdiff_t>(length));
      FailingAllocation memory;
      try {
        const ParsedMovie movie(cut, kEverything);
        // Only a cut between the boxes of the top level goes unnoticed.
        EXPECT_LT(movie.scannedEnd(), whole) << length;
        EXPECT_GT(movie.moovSize(), 0u) << length;
      } catch (const exception& error) {
        const std::string message = error.message();
        EXPECT_TRUE(message == "attempting to read past end of file" ||
                    message == "attempting to skip past end of file" ||
                    message == "invalid or missing mvhd data" || message == kInvalidBoxHeader)
            << message << " at " << length;
      }
      EXPECT_EQ(memory.blocksHeld(), 0u) << length;
    }
  }
}

TEST(Robustness, CutInsideEveryBoxOfTheMovieItFailsOrReadsLessAndLeaksNothing) {
  // The movie box ends early but says so: every length of its payload is tried.
  const Bytes file = moov({.tracks = {trak({.stts = stts({{1, 1}}),
                                            .ctts = ctts({{1, 1}}),
                                            .stss = stss({1}),
                                            .stsz = stsz({9}),
                                            .stsc = stsc({{1, 1}}),
                                            .stco = stco({48})})},
                           .udta = join(chpl({{0, "A"}}), metaWith(ilstText("\xA9nam", "S")))});
  uint32_t parsed = 0;
  for (size_t length = 8; length < file.size(); ++length) {
    FailingAllocation memory;
    try {
      const ParsedMovie movie(
          join(box("moov", Bytes(file.begin() + 8, file.begin() + static_cast<ptrdiff_t>(length))),
               zeros(16)));
      ++parsed;
    } catch (const exception& error) {
      EXPECT_NE(std::string(error.message()), "") << length;
    }
    EXPECT_EQ(memory.blocksHeld(), 0u) << length;
  }
  // Only the cuts after 'mvhd' and after 'trak' leave whole boxes.
  EXPECT_EQ(parsed, 2u);
}

TEST(Robustness, EveryAllocationMayFailAndNothingLeaks) {
  const Bytes file = richFile(BoxOrder::movieFirst);
  uint64_t failures = 0;
  for (uint64_t failAt = 0;; ++failAt) {
    MemorySource source(file);
    FailingAllocation memory(failAt);
    bool threw = false;
    {
      Movie movie;
      try {
        movie.parse(source, ScanRange::wholeFile, kEverything, source.size());
      } catch (const exception& error) {
        threw = true;
        const std::string message = error.message();
        EXPECT_TRUE(message == "out of memory" || message == "out of memory when resizing array")
            << message << " at allocation " << failAt;
      }
    }
    EXPECT_EQ(memory.blocksHeld(), 0u) << failAt;
    if (!memory.failed()) {
      EXPECT_FALSE(threw);
      break;
    }
    // Inside the two metadata boxes a failure costs only their contents.
    failures += threw ? 1 : 0;
  }
  EXPECT_GT(failures, 20u);
}

TEST(Robustness, DeclaredCountsOfASourceThatKnowsItsLengthCostNoMemory) {
  // The boxes claim gigabytes, and the counts fit into what they claim; the file is short.
  const Bytes tables = boxClaiming(0xf0000000, "stsz", full(0), u32(0), u32(0x30000000));
  const Bytes file = join(
      ftyp(),
      boxClaiming(0xf4000000, "moov", mvhd(),
                  boxClaiming(0xf3000000, "trak",
                              boxClaiming(0xf2000000, "mdia",
                                          boxClaiming(0xf1000000, "minf",
                                                      boxClaiming(0xf0800000, "stbl", tables))))));
  MemorySource source(file);
  FailingAllocation memory;
  Movie movie;
  EXPECT_THROWS_MESSAGE(movie.parse(source, ScanRange::wholeFile, kEverything, source.size()),
                        "attempting to read past end of file");
  EXPECT_LT(memory.largestBlock(), 4096u);
}

TEST(Robustness, TwoHundredTracksAreKeptApart) {
  std::vector<Bytes> tracks;
  for (uint32_t i = 0; i < 200; ++i) tracks.push_back(trak({.timescale = 1000 + i}));
  const ParsedMovie movie(moov({.tracks = tracks}));
  ASSERT_EQ(movie.trackCount(), 200u);
  for (uint32_t i = 0; i < 200; ++i) {
    TrackSummary summary;
    movie.summary(i, summary);
    EXPECT_EQ(summary.timescale, 1000 + i);
  }
}

/// Processor time of one parse. The limit is far above what an unoptimised build with sanitizers
/// takes, and far below what quadratic work takes.
double secondsToParse(const Bytes& bytes, Movie& movie) {
  const std::clock_t start = std::clock();
  MemorySource source(bytes);
  movie.parse(source, ScanRange::wholeFile, kEverything, bytes.size());
  return static_cast<double>(std::clock() - start) / CLOCKS_PER_SEC;
}
constexpr double kSecondsAllowed = 5;

TEST(Deliberate, D212_ManyEmptyTracksCostTimeInProportion) {
  constexpr uint32_t kTracks = 131072;
  const Bytes tracks = repeated(box("trak"), kTracks);
  Movie movie;
  EXPECT_LT(secondsToParse(join(ftyp(), box("moov", mvhd(), tracks)), movie), kSecondsAllowed);
  EXPECT_EQ(movie.trackCount(), kTracks);
}

TEST(Robustness, ATrackOfWhichTheFileSaysNothingHasNoRecord) {
  // A box in each of these containers, but none that fills anything in.
  const Bytes hollow[] = {
      box("trak"), box("trak", box("mdia")), box("trak", box("tkhd", zeros(84))),
      box("trak", box("mdia", box("hdlr", zeros(24)), box("minf"))),
      box("trak", box("mdia", box("minf", box("stbl", box("sdtp", zeros(8))))))};
  for (const Bytes& track : hollow) {
    const Bytes file = join(ftyp(), box("moov", mvhd(), track));
    MemorySource source(file);
    Movie movie;
    FailingAllocation memory;
    movie.parse(source, ScanRange::wholeFile, kEverything, file.size());
    ASSERT_EQ(movie.trackCount(), 1u);
    EXPECT_LT(memory.largestBlock(), sizeof(TrackRecord));
    const uint64_t allocations = memory.allocations();

    TrackSummary summary;
    movie.summary(0, summary);
    EXPECT_EQ(summary.timescale, 0u);
    EXPECT_EQ(summary.sampleCount, 0u);
    EXPECT_EQ(movie.codecKind(0), CodecKind::none);
    EXPECT_THROWS_MESSAGE(movie.sampleAt(0, 0), "frame out of range");
    SampleCursor cursor;
    EXPECT_THROWS_MESSAGE(movie.open(cursor, 0), "frame out of range");
    EXPECT_EQ(memory.allocations(), allocations) << "queries make no record";
  }
}

TEST(Robustness, EmptyTracksTakeLessThanFourTimesTheirBytes) {
  constexpr uint32_t kTracks = 100'000;
  const Bytes file = join(ftyp(), box("moov", mvhd(), repeated(box("trak"), kTracks)));
  MemorySource source(file);
  MemoryMeter memory;
  Movie movie;
  movie.parse(source, ScanRange::wholeFile, kEverything, file.size());
  EXPECT_EQ(movie.trackCount(), kTracks);
  EXPECT_LT(memory.mostBytesHeld(), 4 * file.size());
}

/// Processor time of the quickest of three parses of a file with these segments, which no chapter
/// takes, and `chapters` marks.
double secondsWithSegments(const Bytes& segments, uint32_t chapters) {
  const Bytes file =
      join(ftyp(), moov({.udta = join(box("tags", segments), chpl(std::vector<Mark>(chapters)))}));
  double quickest = std::numeric_limits<double>::infinity();
  for (int run = 0; run < 3; ++run) {
    Movie movie;
    quickest = std::min(quickest, secondsToParse(file, movie));
    EXPECT_EQ(movie.chapterCount(), chapters);
  }
  return quickest;
}

TEST(Robustness, ManyChapterSegmentsCostTimeInProportion) {
  constexpr uint32_t kSegments = 70000;
  const Bytes segments = repeated(box("tseg", box("tshd", u32(1000))), kSegments);
  // One walk over the segments serves all chapters. A search for each of them would take a
  // thousand walks, many times what reading the segments takes.
  const double withOneChapter = secondsWithSegments(segments, 1);
  const double withManyChapters = secondsWithSegments(segments, 1000);
  EXPECT_LT(withManyChapters, 3 * withOneChapter + 0.05);
}

}  // namespace
}  // namespace atomkit
