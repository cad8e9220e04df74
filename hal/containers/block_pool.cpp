#include "hal/containers/block_pool.h"

#include "hal/memory/alignment.h"
#include "hal/memory/memory.h"

namespace {

// The record where two pointers alone would fill it.
struct PackedBlockRecord {
  void* m_raw;
  uint32_t m_raw_size;
  uint32_t m_distance_and_flag;
};

constexpr bool KFitsRecord = sizeof(VBlockRecord) <= sizeof(VRecord);
constexpr uint32_t KInUseBit = 0x80000000;

// Whether a free block of `p_size` bytes serves `need` better than one of `p_best` bytes: large
// enough beats too small, then the least waste or the least growth wins.
bool isBetter(uint32_t p_size, uint32_t p_best, uint32_t need) {
  const bool enough = p_size >= need;
  const bool bestEnough = p_best >= need;
  if (enough != bestEnough) return enough;
  return enough ? p_size < p_best : p_size > p_best;
}

}  // namespace

VBlockRecord VBlockRecord::GUnpack(const VRecord& p_record) noexcept {
  if constexpr (KFitsRecord) {
    return p_record.As<VBlockRecord>();
  } else {
    const auto packed = p_record.As<PackedBlockRecord>();
    const uint32_t distance = packed.m_distance_and_flag & ~KInUseBit;
    return {static_cast<uint8_t*>(packed.m_raw) + distance, packed.m_raw, packed.m_raw_size,
            static_cast<uint8_t>(packed.m_distance_and_flag / KInUseBit)};
  }
}

VRecord VBlockRecord::Pack() const noexcept {
  if constexpr (KFitsRecord) {
    return VRecord::GFrom(*this);
  } else {
    // Less than the alignment. The raw size has room for two of those, so the top bit is free.
    const auto distance =
        static_cast<uint32_t>(static_cast<uint8_t*>(m_aligned) - static_cast<uint8_t*>(m_raw));
    return VRecord::GFrom(
        PackedBlockRecord{m_raw, m_raw_size, distance | (m_in_use ? KInUseBit : 0)});
  }
}

void* VBlockPool::GAcquire(VList& list, uint32_t size, uint32_t align) {
  const uint32_t align_mask = align - 1;
  const uint64_t wide = size + 2 * uint64_t{align_mask};
  const auto need = static_cast<uint32_t>(wide);
  if (need != wide) return nullptr;

  VRecordSource::Position position = nullptr;
  VRecordSource::Position best = nullptr;
  VBlockRecord block = {};
  for (bool valid = list.First(position); valid; valid = list.Move(position, 1)) {
    VRecord record;
    list.Get(position, record);
    const VBlockRecord candidate = VBlockRecord::GUnpack(record);
    if (candidate.m_in_use) continue;
    if (best && !isBetter(candidate.m_raw_size, block.m_raw_size, need)) continue;
    best = position;
    block = candidate;
  }

  if (!best || block.m_raw_size < need) {
    void* raw = VMemory::GReallocate(block.m_raw, need);
    if (!raw) return nullptr;
    block.m_raw = raw;
    block.m_raw_size = need;
  }
  block.m_aligned = VAlignment::GAlignUp(block.m_raw, align);
  block.m_in_use = 1;
  if (best) {
    list.Set(best, block.Pack());
  } else if (!list.InsertRecordBack(block.Pack())) {
    VMemory::GFree(block.m_raw);
    return nullptr;
  }
  return block.m_aligned;
}

bool VBlockPool::GRelease(VList& list, const void* p_aligned) {
  VRecordSource::Position position = nullptr;
  for (bool valid = list.First(position); valid; valid = list.Move(position, 1)) {
    VRecord record;
    list.Get(position, record);
    VBlockRecord block = VBlockRecord::GUnpack(record);
    if (!block.m_in_use || block.m_aligned != p_aligned) continue;
    block.m_in_use = 0;
    list.Set(position, block.Pack());
    return true;
  }
  return false;
}
