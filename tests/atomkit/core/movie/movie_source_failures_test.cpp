// Parses whose source fails: what it throws comes out of Movie::parse() unchanged, whichever
// operation it was, also where the metadata readers end the library's own exceptions.
#include <gtest/gtest.h>

#include "atomkit/core/movie/movie.h"
#include "tests/atomkit/core/movie/movie_reading.h"
#include "tests/support/counting_allocator.h"
#include "tests/support/failing_source.h"
#include "tests/support/rich_files.h"

namespace atomkit {
namespace {

using namespace boxes;

constexpr ParseOptions kEverything = kPlayback | kWantCoverArt;

/// Lets every operation of a parse fail in turn. @return the number of operations
uint32_t failEachOperation(const Bytes& file, ParseOptions options, ScanRange range,
                           Failure failure) {
  for (uint32_t number = 0;; ++number) {
    FailingSource source(file, number, failure);
    FailingAllocation memory;
    bool thrown = false;
    try {
      Movie movie;
      movie.parse(source, range, options, source.size());
    } catch (const HostCode& code) {
      thrown = true;
      EXPECT_EQ(code.value, number);
    }
    EXPECT_EQ(memory.blocksHeld(), 0u) << "operation " << number;
    if (!source.failed()) return number;
    EXPECT_TRUE(thrown) << "the code of operation " << number << " was swallowed";
  }
}

TEST(SourceFailure, OfAnyOperationOfAFilmEndsTheParseUnchanged) {
  for (const Failure failure : {Failure::once, Failure::forGood}) {
    for (const ParseOptions options : {kInformation, kPlayback, kEverything}) {
      EXPECT_GT(failEachOperation(richFilm(), options, ScanRange::wholeFile, failure), 400u);
    }
    EXPECT_GT(failEachOperation(richFilm(), kEverything, ScanRange::upToMediaData, failure), 400u);
  }
}

TEST(SourceFailure, OfAnyOperationOfAnAudioBookEndsTheParseUnchanged) {
  for (const Failure failure : {Failure::once, Failure::forGood}) {
    for (const ParseOptions options : {kInformation, kPlayback, kEverything}) {
      EXPECT_GT(failEachOperation(richAudioBook(), options, ScanRange::wholeFile, failure), 200u);
    }
  }
}

TEST(SourceFailure, FilesOfThisTestHoldWhatTheyAreSaidToHold) {
  const ParsedMovie film(richFilm(), kEverything);
  EXPECT_EQ(film.trackCount(), 5u);
  EXPECT_EQ(film.codecKind(4), CodecKind::other);
  EXPECT_EQ(describe(film.tags()), "album=Box artist=A|B");
  EXPECT_EQ(describe(film.chapter(0).tags), "album=Box artist=A|B title=One");
  EXPECT_EQ(describe(film.chapter(1).tags), "album=Box artist=A|B mood!=calm title=Two");
  EXPECT_EQ(film.itemListCover().count(), 300u);
  EXPECT_EQ(film.taggingCover().count(), 300u);
  const ParsedMovie book(join(ftyp(), moov({.tracks = {trak()}, .udta = richItemList()})),
                         kEverything);
  EXPECT_EQ(describe(book.tags()),
            "title=Song artist=First|Second compilation=\x01 track=3 totaltracks=12 disc=1 "
            "totaldiscs=2 genre=Jazz tempo=00120 BPM mood=calm");
  EXPECT_EQ(ParsedMovie(richAudioBook()).chapterCount(), 2u);
}

}  // namespace
}  // namespace atomkit
