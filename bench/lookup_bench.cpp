// Times the lookup of samples in the MP4 library, without a host or a stream.
#include <benchmark/benchmark.h>

#include <cstdint>

#include "bench/parsing_bench.h"
#include "tests/support/movie_builder.h"

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

void WalkEverySample(benchmark::State& state) {
  atomkit::Movie movie;
  bench::parse(movie, longMovie(506250));
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
  bench::parse(movie, longMovie(506250));
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

}  // namespace
