// Times the parse of many tags.
#include <benchmark/benchmark.h>

#include <string>

#include "bench/parsing_bench.h"
#include "tests/support/movie_builder.h"

namespace {

using namespace boxes;

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
    bench::parse(movie, bytes);
    benchmark::DoNotOptimize(movie.tags().entryCount());
  }
}
BENCHMARK(ParseManyTags)->Arg(100)->Arg(1000)->Arg(10000)->Unit(benchmark::kMicrosecond);

}  // namespace
