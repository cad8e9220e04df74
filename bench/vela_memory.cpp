// Counts what the plug-in takes from the heap. Usage: vela_memory PLUGIN FILE
// Prints one line of JSON: the bytes of the movie box, the bytes held after an open and the
// allocations made by it, and the allocations of a play of all packets and of a series of seeks.
#include <malloc.h>

#include <cstddef>
#include <cstdio>
#include <exception>

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

int run(const char* pluginPath, const char* file) {
  const Plugin plugin(pluginPath);
  Workload work(plugin, file);
  Packets packets;

  work.player().close();
  const Heap before = g_heap;
  work.player().open();
  const Heap opened = g_heap;
  work.player().start();

  const uint64_t beforePackets = g_heap.allocations;
  work.play(packets.audio, packets.video);
  const uint64_t beforeSeeks = g_heap.allocations;
  for (const uint64_t target : work.targets()) {
    work.seek(target, packets.audio, packets.video);
    work.player().nextStream();
  }
  const uint64_t end = g_heap.allocations;
  const uint64_t heldAtEnd = g_heap.bytesHeld - before.bytesHeld;

  std::printf(
      "{\"moov\": %llu, \"heap\": %llu, \"heap_after_seeks\": %llu, "
      "\"open_allocations\": %llu, \"packet_allocations\": %llu, "
      "\"seek_allocations\": %llu}\n",
      static_cast<unsigned long long>(work.layout().movieBox.length),
      static_cast<unsigned long long>(opened.bytesHeld - before.bytesHeld),
      static_cast<unsigned long long>(heldAtEnd),
      static_cast<unsigned long long>(opened.allocations - before.allocations),
      static_cast<unsigned long long>(beforeSeeks - beforePackets),
      static_cast<unsigned long long>(end - beforeSeeks));
  return 0;
}

}  // namespace
}  // namespace bench

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: %s PLUGIN FILE\n", argv[0]);
    return 2;
  }
  try {
    return bench::run(argv[1], argv[2]);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "vela_memory: %s\n", failure.what());
    return 1;
  }
}
