// Does one piece of work under callgrind and dumps its cost under a name. Outside callgrind it does
// the work and prints nothing. Usage: vela_callgrind PLUGIN FILE PHASE
//   open          one open; the dump "open"
//   open-floor    what an open can't do without; the dump "open-floor"
//   packets       nextStream and the read of each packet; the dump "packets N", N of them
//   seeks         for each of a few targets the dump "first", the first seek after an open; then
//   for
//                 each of more targets the dumps "seek", "next" (nextStream after it) and "again",
//                 the second of two equal seeks
#include <valgrind/callgrind.h>

#include <cstdio>
#include <exception>
#include <string>

#include "bench/workload.h"

namespace bench {
namespace {

constexpr uint32_t kCountedPackets = 20'000;
constexpr uint32_t kCountedSeeks = 64;
constexpr uint32_t kCountedFirstSeeks = 8;

/// What runs while this lives is counted, and dumped at its end.
class Counted {
 public:
  Counted() {
    CALLGRIND_ZERO_STATS;
    CALLGRIND_TOGGLE_COLLECT;
  }
  Counted(const Counted&) = delete;
  Counted& operator=(const Counted&) = delete;
  ~Counted() { CALLGRIND_TOGGLE_COLLECT; }
};

void dump(const std::string& name) { CALLGRIND_DUMP_STATS_AT(name.c_str()); }

void countOpen(Workload& work) {
  work.player().close();
  {
    const Counted counted;
    work.player().open();
  }
  dump("open");
}

void countOpenFloor(Workload& work) {
  OpenFloor floor = work.openFloor();
  {
    const Counted counted;
    floor.replay(work.stream(), TableCopy::bytewise);
  }
  dump("open-floor");
}

void countPackets(Workload& work) {
  Packets packets;
  work.play(packets.audio, packets.video, kCountedPackets);
  uint32_t taken = 0;
  {
    const Counted counted;
    taken = work.play(packets.audio, packets.video, kCountedPackets);
  }
  dump("packets " + std::to_string(taken));
}

void countSeeks(Workload& work) {
  Packets packets;
  for (uint32_t i = 0; i < kCountedFirstSeeks; ++i) {
    work.reopen();
    {
      const Counted counted;
      work.seek(work.targets()[i], packets.audio, packets.video);
    }
    dump("first");
  }
  work.seek(work.targets().back(), packets.audio, packets.video);
  for (uint32_t i = 0; i < kCountedSeeks; ++i) {
    const uint64_t target = work.targets()[i];
    {
      const Counted counted;
      work.seek(target, packets.audio, packets.video);
    }
    dump("seek");
    {
      const Counted counted;
      work.player().nextStream();
    }
    dump("next");
    work.player().seek(target);
    {
      const Counted counted;
      work.player().seek(target);
    }
    dump("again");
  }
}

int run(const std::string& pluginPath, const std::string& file, const std::string& phase) {
  const Plugin plugin(pluginPath);
  Workload work(plugin, file);
  if (phase == "open") {
    countOpen(work);
  } else if (phase == "open-floor") {
    countOpenFloor(work);
  } else if (phase == "packets") {
    countPackets(work);
  } else if (phase == "seeks") {
    countSeeks(work);
  } else {
    std::fprintf(stderr, "vela_callgrind: no phase %s\n", phase.c_str());
    return 2;
  }
  return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: %s PLUGIN FILE PHASE\n", argv[0]);
    return 2;
  }
  bench::keepFreedMemory();
  try {
    return bench::run(argv[1], argv[2], argv[3]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "vela_callgrind: %s\n", failure.what());
    return 1;
  }
}
