// Counts what the plug-in takes from the heap. Usage: vela_memory [--open-only] PLUGIN FILE
// Prints one line of JSON: the bytes of the movie box, the bytes held after an open and the
// allocations made by it; then, unless only that is wanted, the bytes held after all packets and a
// series of seeks, and the allocations of each of the two.
#include <malloc.h>

#include <cstddef>
#include <cstdio>
#include <exception>
#include <string_view>

#include "bench/workload.h"

namespace {

struct Heap {
  uint64_t allocations = 0;
  uint64_t bytesHeld = 0;
};
Heap g_heap;

void* taken(void* block) {
  if (block) {
    ++g_heap.allocations;
    g_heap.bytesHeld += malloc_usable_size(block);
  }
  return block;
}
void givenBack(void* block) {
  if (block) g_heap.bytesHeld -= malloc_usable_size(block);
}

}  // namespace

// The C library's own entry points, under which its allocator stays reachable when the usual names
// are taken over.
extern "C" {
void* __libc_malloc(size_t);          // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(size_t, size_t);  // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void*, size_t);  // NOLINT(bugprone-reserved-identifier)
void __libc_free(void*);              // NOLINT(bugprone-reserved-identifier)

void* malloc(size_t bytes) { return taken(__libc_malloc(bytes)); }
void* calloc(size_t count, size_t bytes) { return taken(__libc_calloc(count, bytes)); }
void* realloc(void* block, size_t bytes) {
  givenBack(block);
  void* const moved = __libc_realloc(block, bytes);
  if (!moved && block && bytes) g_heap.bytesHeld += malloc_usable_size(block);  // it stays
  return taken(moved);
}
void free(void* block) {
  givenBack(block);
  __libc_free(block);
}
}

namespace bench {
namespace {

void figure(const char* name, uint64_t value, const char* after) {
  std::printf("\"%s\": %llu%s", name, static_cast<unsigned long long>(value), after);
}

int run(const char* pluginPath, const char* file, bool plays) {
  const Plugin plugin(pluginPath);
  Workload work(plugin, file);
  Packets packets;

  work.player().close();
  const Heap before = g_heap;
  work.player().open();
  const Heap opened = g_heap;
  work.player().start();
  const Heap started = g_heap;
  Heap played, sought;
  if (plays) {
    work.play(packets.audio, packets.video);
    played = g_heap;
    for (const uint64_t target : work.targets()) {
      work.seek(target, packets.audio, packets.video);
      work.player().nextStream();
    }
    sought = g_heap;
  }

  // Only now, as printing takes memory, too.
  std::printf("{");
  figure("moov", work.layout().movieBox.length, ", ");
  figure("heap", opened.bytesHeld - before.bytesHeld, ", ");
  figure("open_allocations", opened.allocations - before.allocations, plays ? ", " : "}\n");
  if (!plays) return 0;
  figure("heap_after_seeks", sought.bytesHeld - before.bytesHeld, ", ");
  figure("packet_allocations", played.allocations - started.allocations, ", ");
  figure("seek_allocations", sought.allocations - played.allocations, "}\n");
  return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  const bool opensOnly = argc == 4 && std::string_view(argv[1]) == "--open-only";
  if (argc != 3 && !opensOnly) {
    std::fprintf(stderr, "usage: %s [--open-only] PLUGIN FILE\n", argv[0]);
    return 2;
  }
  try {
    return bench::run(argv[argc - 2], argv[argc - 1], !opensOnly);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "vela_memory: %s\n", failure.what());
    return 1;
  }
}
