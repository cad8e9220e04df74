// Parses arbitrary bytes with every useful options word. Invariants: the library throws nothing but
// atomkit::exception, frees everything, holds no more memory than the input justifies, and
// answers every query of a parsed movie with a value or an exception.
#include <algorithm>
#include <cstdint>
#include <cstring>

#include "atomkit/core/movie/movie.h"
#include "fuzz/host/memory_meter.h"
#include "fuzz/targets/input_head.h"
#include "tests/support/require.h"

namespace {

class InputSource final : public atomkit::ByteSource {
 public:
  InputSource(const uint8_t* data, size_t size) : data_(data), left_(size) {}

  uint32_t read(void* buffer, uint32_t count) override {
    const auto done = static_cast<uint32_t>(std::min<uint64_t>(count, left_));
    if (done > 0) std::memcpy(buffer, data_, done);
    advance(done);
    return done;
  }
  uint64_t skip(uint64_t count) override {
    const uint64_t done = std::min<uint64_t>(count, left_);
    advance(done);
    return done;
  }

 private:
  void advance(uint64_t done) {
    data_ += done;
    left_ -= done;
  }

  const uint8_t* data_;
  uint64_t left_;
};

void walkTrack(const atomkit::Movie& movie, uint32_t track) {
  atomkit::TrackSummary summary;
  movie.summary(track, summary);
  atomkit::ByteArray config;
  movie.decoderConfig(track, config);
  atomkit::SampleCursor cursor;
  movie.open(cursor, track);
  for (int steps = 0; steps < 500; ++steps) {
    atomkit::SampleInfo stepped;
    movie.sampleInfo(cursor, stepped);
    REQUIRE(cursor.track == track);
    if (steps % 50 == 7) {
      atomkit::SampleCursor placed = cursor;
      movie.reposition(placed, cursor.sample);
      atomkit::SampleInfo sought;
      movie.sampleInfo(placed, sought);
      REQUIRE(sought.fileOffset == stepped.fileOffset);
      REQUIRE(sought.size == stepped.size);
    }
    const uint32_t before = cursor.sample;
    if (!movie.step(cursor)) {
      REQUIRE(cursor.sample == before);
      break;
    }
    REQUIRE(cursor.sample == before + 1);
  }
}

void query(const atomkit::Movie& movie) {
  REQUIRE(movie.chapterCount() >= 1);
  for (uint32_t i = 0; i < movie.chapterCount(); ++i) {
    (void)movie.chapterStart(i);
    (void)movie.chapterEnd(i);
    const atomkit::TagStore& tags = movie.chapter(i).tags;
    for (uint32_t entry = 0; entry < tags.entryCount(); ++entry) {
      REQUIRE(tags.find(tags.entryName(entry)) <= entry);
      for (uint32_t v = 0; v < tags.valueCount(entry); ++v) (void)tags.value(entry, v);
    }
  }
  for (uint32_t track = 0; track < movie.trackCount(); ++track) {
    try {
      walkTrack(movie, track);
    } catch (const atomkit::exception& error) {
      REQUIRE(error.message()[0] != 0);
    }
  }
}

}  // namespace

size_t fuzz::inputHead(const uint8_t*, size_t) { return 0; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  for (const atomkit::ParseOptions options : {0x37u, 0x36u, 0x3bu, 0x08u, 0x00u}) {
    fuzz::MemoryMeter meter;
    {
      atomkit::Movie movie;
      InputSource source(data, size);
      try {
        movie.parse(source,
                    options & 1 ? atomkit::ScanRange::wholeFile : atomkit::ScanRange::upToMediaData,
                    options, size);
        query(movie);
      } catch (const atomkit::exception& error) {
        REQUIRE(error.message()[0] != 0);
      }
      // The shortest fields of a tagging box take sixteen times their bytes. Beside them stand the
      // records of the movie and of its chapters.
      REQUIRE(meter.mostBytes() <= 16 * size + 128 * 1024 + 384 * 1024);
    }
    REQUIRE(meter.heldBlocks() == 0);
  }
  return 0;
}
