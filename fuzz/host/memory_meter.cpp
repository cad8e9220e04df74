#include "fuzz/host/memory_meter.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "tests/support/require.h"

namespace fuzz {
namespace {

struct Meter {
  uint64_t bytes = 0;
  uint64_t blocks = 0;
  uint64_t most = 0;
};
Meter meter;

// Before each block stands its size.
constexpr size_t kHead = alignof(std::max_align_t);
static_assert(kHead >= sizeof(size_t));

void* allocateCounted(size_t bytes) {
  if (bytes > SIZE_MAX - kHead) return nullptr;
  auto* const block = static_cast<uint8_t*>(std::malloc(bytes + kHead));
  if (!block) return nullptr;
  std::memcpy(block, &bytes, sizeof bytes);
  meter.bytes += bytes;
  meter.most = std::max(meter.most, meter.bytes);
  ++meter.blocks;
  return block + kHead;
}

size_t sizeOf(const void* block) {
  size_t bytes = 0;
  std::memcpy(&bytes, static_cast<const uint8_t*>(block) - kHead, sizeof bytes);
  return bytes;
}

void releaseCounted(void* block) {
  REQUIRE(meter.blocks > 0);
  meter.bytes -= sizeOf(block);
  --meter.blocks;
  std::free(static_cast<uint8_t*>(block) - kHead);
}

void* reallocateCounted(void* block, size_t bytes) {
  if (!block) return allocateCounted(bytes);
  void* const grown = allocateCounted(bytes);
  if (!grown) return nullptr;
  std::memcpy(grown, block, std::min(bytes, sizeOf(block)));
  releaseCounted(block);
  return grown;
}

}  // namespace

MemoryMeter::MemoryMeter()
    : library_(atomkit::setAllocator({allocateCounted, reallocateCounted, releaseCounted})),
      helpers_(VMemory::GSetAllocator({allocateCounted, reallocateCounted, releaseCounted})) {
  REQUIRE(meter.blocks == 0);
  meter = {};
}

MemoryMeter::~MemoryMeter() {
  atomkit::setAllocator(library_);
  VMemory::GSetAllocator(helpers_);
}

uint64_t MemoryMeter::heldBytes() const { return meter.bytes; }
uint64_t MemoryMeter::heldBlocks() const { return meter.blocks; }
uint64_t MemoryMeter::mostBytes() const { return meter.most; }

}  // namespace fuzz
