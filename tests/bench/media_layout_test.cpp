// What the benchmarks find in a file: its movie box and the entries of its sample tables.
#include "bench/media_layout.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "tests/bench/written_file.h"
#include "tests/support/movie_builder.h"

namespace {

using namespace boxes;

TEST(MediaLayout, FindsTheMovieBoxBeforeAndAfterTheMedia) {
  for (const BoxOrder order : {BoxOrder::movieFirst, BoxOrder::mediaFirst}) {
    const Bytes bytes = movieFile({.tracks = {aacTrack()}, .order = order}).bytes;
    const WrittenFile file(bytes);
    const bench::Range found = bench::layoutOf(file.name()).movieBox;
    EXPECT_EQ(bytes[found.start + 4], 'm');
    EXPECT_EQ(bytes[found.start + 5], 'o');
    const uint32_t size = uint32_t{bytes[found.start + 2]} << 8 | bytes[found.start + 3];
    EXPECT_EQ(found.length, size);
  }
}

TEST(MediaLayout, ATableIsItsEntriesWithoutWhatComesBeforeThem) {
  const WrittenFile file(movieFile({.tracks = {aacTrack({.samples = 3})}}).bytes);
  uint64_t bytes = 0;
  const bench::MediaLayout layout = bench::layoutOf(file.name());
  for (const bench::Range& table : layout.sampleTables) bytes += table.length;
  // One run of time, three sizes, one run of chunks, one chunk.
  EXPECT_EQ(bytes, 8u + 12u + 12u + 4u);
  EXPECT_EQ(layout.sampleTables.size(), 4u);
}

TEST(MediaLayout, TheTablesOfEveryTrackCount) {
  const WrittenFile one(movieFile({.tracks = {aacTrack()}}).bytes);
  const WrittenFile two(movieFile({.tracks = {aacTrack(), aacTrack()}}).bytes);
  EXPECT_EQ(bench::layoutOf(two.name()).sampleTables.size(),
            2 * bench::layoutOf(one.name()).sampleTables.size());
}

TEST(MediaLayout, AFileWithoutAMovieBoxIsRefused) {
  const WrittenFile file(join(ftyp(), box("mdat", zeros(10))));
  EXPECT_THROW(bench::layoutOf(file.name()), std::runtime_error);
}

TEST(MediaLayout, ABoxThatClaimsMoreThanTheFileHasIsRefused) {
  const WrittenFile file(boxClaiming(1000, "moov", zeros(10)));
  EXPECT_THROW(bench::layoutOf(file.name()), std::runtime_error);
}

}  // namespace
