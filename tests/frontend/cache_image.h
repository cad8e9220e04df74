// CacheImage: the fields of a read cache, which show which blocks it holds and when they were used.
#pragma once
#include <cstdint>
#include <cstring>
#include <memory>

#include "frontend/read_cache.h"

/// The object as plain words and bytes: the layout that its memory must have.
struct CacheImage {
  struct Block {
    uint8_t data[16384];
    uint32_t validLength;
    uint64_t start;
    uint64_t useStamp;
    uint8_t valid;
  };
  const void* faces[3];
  Block blocks[4];
  uint64_t position;
  uint64_t hostPosition;
  uint64_t useClock;
  const void* stream;
  struct {
    const void* table;
    int32_t count;
  } counter;
};

/// A copy of the object's memory.
inline std::unique_ptr<CacheImage> imageOf(const vela::ReadCache& cache) {
  static_assert(sizeof(CacheImage) <= sizeof(vela::ReadCache));
  auto image = std::make_unique<CacheImage>();
  std::memcpy(image.get(), static_cast<const void*>(&cache), sizeof(CacheImage));
  return image;
}
