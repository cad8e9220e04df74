// Times opening, delivery and seeking of media files: the plug-in, the floor, and libavformat where
// the build has it, in turn. Every figure comes once in each round, so that the sides of a
// comparison are measured close to each other. Usage: vela_times PLUGIN ROUNDS NAME=FILE ...
// [--benchmark_... ] A name that begins with "tables" is opened only.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "bench/workload.h"
#ifdef VELA_BENCH_LIBAVFORMAT
#include "bench/libavformat_player.h"
#endif

namespace bench {
namespace {

constexpr double kSecondsPerMeasurement = 0.03;

/// All that is measured of one file; the floors are watched when they are first asked for.
class File {
 public:
  File(const Plugin& plugin, const std::string& path)
      : path_(path), work_(plugin, path), openFloor_(work_.openFloor()) {}

  void open(benchmark::State& state) {
    work_.player().close();
    for (auto _ : state) {
      work_.player().open();
      work_.player().close();
    }
    work_.player().open();
    work_.player().start();
  }
  void openFloor(benchmark::State& state) {
    for (auto _ : state) openFloor_.replay(work_.stream(), TableCopy::fast);
  }

  void packets(benchmark::State& state) {
    int64_t packets = 0;
    for (auto _ : state) packets += work_.play(packets_.audio, packets_.video);
    state.SetItemsProcessed(packets);
  }
  void packetsFloor(benchmark::State& state) {
    if (!packetFloor_) packetFloor_ = std::make_unique<PacketFloor>(work_.packetFloor());
    int64_t packets = 0;
    for (auto _ : state) {
      packetFloor_->replay(0, work_.stream(), packets_);
      packets += static_cast<int64_t>(packetFloor_->packetCount(0));
    }
    state.SetItemsProcessed(packets);
  }

  void seek(benchmark::State& state) {
    size_t next = 0;
    for (auto _ : state) {
      work_.seek(work_.targets()[next], packets_.audio, packets_.video);
      next = (next + 1) % kSeekTargets;
    }
  }
  void seekFloor(benchmark::State& state) {
    if (!seekFloor_) seekFloor_ = std::make_unique<PacketFloor>(work_.seekFloor());
    size_t next = 0;
    for (auto _ : state) {
      seekFloor_->replay(next, work_.stream(), packets_);
      next = (next + 1) % kSeekTargets;
    }
  }

#ifdef VELA_BENCH_LIBAVFORMAT
  void openLibavformat(benchmark::State& state) {
    LibavformatPlayer player(path_);
    for (auto _ : state) {
      player.open();
      player.close();
    }
  }
  void packetsLibavformat(benchmark::State& state) {
    LibavformatPlayer player(path_);
    player.open();
    int64_t packets = 0;
    for (auto _ : state) {
      player.seek(0);
      while (player.read()) ++packets;
    }
    state.SetItemsProcessed(packets);
  }
  void seekLibavformat(benchmark::State& state) {
    LibavformatPlayer player(path_);
    player.open();
    size_t next = 0;
    for (auto _ : state) {
      player.seek(work_.targets()[next]);
      player.read();
      next = (next + 1) % kSeekTargets;
    }
  }
#endif

 private:
  std::string path_;
  Workload work_;
  OpenFloor openFloor_;
  std::unique_ptr<PacketFloor> packetFloor_;
  std::unique_ptr<PacketFloor> seekFloor_;
  Packets packets_;
};

using Measurement = void (File::*)(benchmark::State&);
struct Side {
  const char* name;
  Measurement measure;
};
struct Subject {
  const char* name;
  std::vector<Side> sides;
};

std::vector<Subject> subjects() {
  std::vector<Subject> all = {
      {"open", {{"ours", &File::open}, {"floor", &File::openFloor}}},
      {"packets", {{"ours", &File::packets}, {"floor", &File::packetsFloor}}},
      {"seek", {{"ours", &File::seek}, {"floor", &File::seekFloor}}},
  };
#ifdef VELA_BENCH_LIBAVFORMAT
  all[0].sides.push_back({"libavformat", &File::openLibavformat});
  all[1].sides.push_back({"libavformat", &File::packetsLibavformat});
  all[2].sides.push_back({"libavformat", &File::seekLibavformat});
#endif
  return all;
}

/// Registers SUBJECT/FILE/SIDE/ROUND for all of them, round by round.
void registerAll(std::map<std::string, std::unique_ptr<File>>& files, int rounds) {
  for (int round = 0; round < rounds; ++round) {
    for (const auto& [name, file] : files) {
      const bool opensOnly = name.starts_with("tables");
      for (const Subject& subject : subjects()) {
        if (opensOnly && std::string_view(subject.name) != "open") continue;
        for (const Side& side : subject.sides) {
          const std::string full = std::string(subject.name) + "/" + name + "/" + side.name + "/" +
                                   std::to_string(round);
          const auto measure = std::bind_front(side.measure, file.get());
          benchmark::RegisterBenchmark(full.c_str(), measure)
              ->Unit(benchmark::kMicrosecond)
              ->MinTime(kSecondsPerMeasurement);
        }
      }
    }
  }
}

int run(int argc, char** argv) {
  const Plugin plugin(argv[1]);
  const int rounds = std::stoi(argv[2]);
  std::map<std::string, std::unique_ptr<File>> files;
  for (int i = 3; i < argc; ++i) {
    const std::string argument = argv[i];
    const size_t equals = argument.find('=');
    if (equals == std::string::npos) {
      std::fprintf(stderr, "vela_times: %s is not NAME=FILE\n", argv[i]);
      return 2;
    }
    files[argument.substr(0, equals)] = std::make_unique<File>(plugin, argument.substr(equals + 1));
  }
  registerAll(files, rounds);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  bench::keepFreedMemory();
  benchmark::Initialize(&argc, argv);
  if (argc < 4) {
    std::fprintf(stderr, "usage: %s PLUGIN ROUNDS NAME=FILE ... [--benchmark_...]\n", argv[0]);
    return 2;
  }
  try {
    return bench::run(argc, argv);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "vela_times: %s\n", failure.what());
    return 1;
  }
}
