// The containers of the helper library under a script of operations, beside the standard library's.
//   operations x { u8 kind, u8 argument, u8 argument }
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <numeric>
#include <vector>

#include "fuzz/host/memory_meter.h"
#include "fuzz/targets/input_head.h"
#include "hal/containers/binary_search.h"
#include "hal/containers/bit_table.h"
#include "hal/containers/block_pool.h"
#include "hal/containers/byte_buffer.h"
#include "hal/containers/index_array.h"
#include "hal/containers/list.h"
#include "hal/containers/list_iterator.h"
#include "hal/containers/reorder.h"
#include "hal/containers/single_record_source.h"
#include "hal/containers/sort.h"
#include "tests/support/require.h"

namespace {

using Values = std::vector<uint32_t>;
using Position = VRecordSource::Position;

constexpr size_t kMostOperations = 200;
constexpr size_t kMostValues = 200;

VRecord recordOf(uint32_t value) { return {{value, ~value, 0, value}}; }

/// Lets pass the indices whose bit in a mask is set.
class MaskFilter final : public VFilter {
 public:
  explicit MaskFilter(uint8_t mask) : mask_(mask) {}
  uint32_t Test(uint32_t index) override { return uint32_t{mask_} >> (index % 8) & 1u; }

 private:
  uint8_t mask_;
};

/// A list and its model.
class ListPair {
 public:
  void apply(uint8_t kind, uint8_t first, uint8_t second) {
    const auto count = static_cast<uint32_t>(model_.size());
    const uint32_t place = count == 0 ? 0 : first % count;
    const auto at = model_.begin() + static_cast<ptrdiff_t>(place);
    Position position = nullptr;
    if (count > 0) {
      REQUIRE(list_.First(position));
      if (place > 0) REQUIRE(list_.Move(position, static_cast<int32_t>(place)));
    }
    MaskFilter filter(second);
    const VRecord record = recordOf(second);
    VSingleRecordSource single(record);
    VAcceptAllFilter all;
    switch (kind % 9) {
      case 0:
        REQUIRE(list_.InsertRecordBack(record));
        model_.push_back(second);
        break;
      case 1:
        REQUIRE(list_.InsertFront(single, all));
        model_.insert(model_.begin(), second);
        break;
      case 2:
        REQUIRE(list_.InsertBefore(position, single, all) == (count > 0));
        if (count > 0) model_.insert(at, second);
        break;
      case 3:
        REQUIRE(list_.InsertAfter(position, single, all) == (count > 0));
        if (count > 0) model_.insert(at + 1, second);
        break;
      case 4: {  // the list is its own source
        if (count > kMostValues) break;
        Values passed;
        for (uint32_t i = 0; i < count; ++i) {
          if (filter.Test(i)) passed.push_back(model_[i]);
        }
        REQUIRE(list_.InsertBack(list_, filter));
        model_.insert(model_.end(), passed.begin(), passed.end());
        break;
      }
      case 5: {
        REQUIRE(list_.RemoveIf(filter));
        Values kept;
        for (uint32_t i = 0; i < count; ++i) {
          if (!filter.Test(i)) kept.push_back(model_[i]);
        }
        model_ = kept;
        break;
      }
      case 6: {
        const int32_t step = second % 5 - 2;
        const bool there = count > 0 && step != 0 && static_cast<int64_t>(place) + step >= 0 &&
                           static_cast<int64_t>(place) + step < count;
        REQUIRE(list_.Remove(position, step) == there);
        if (count > 0) model_.erase(at);
        break;
      }
      case 7: {  // a rotation of the first records
        const uint32_t turned = count == 0 ? 0 : first % count + 1;
        Values order(turned);
        for (uint32_t i = 0; i < turned; ++i) order[i] = (i + second) % turned;
        REQUIRE(list_.Reorder(order.data(), turned));
        REQUIRE(!list_.Reorder(order.data(), count + 1));
        const Values before = model_;
        for (uint32_t i = 0; i < turned; ++i) model_[i] = before[order[i]];
        break;
      }
      default:
        REQUIRE(list_.Set(position, record) == (count > 0));
        if (count > 0) *at = second;
        break;
    }
    compare();
  }

 private:
  void compare() {
    REQUIRE(list_.GetCount() == model_.size());
    VListIterator walk;
    walk.Start(list_);
    for (uint32_t i = 0; i < model_.size(); ++i, walk.Next(list_)) {
      REQUIRE(walk.IsValid() && walk.GetIndex() == i);
      VRecord record{};
      REQUIRE(walk.Get(list_, record));
      const VRecord expected = recordOf(model_[i]);
      REQUIRE(std::memcmp(&record, &expected, sizeof record) == 0);
    }
    REQUIRE(!walk.IsValid());
    Position position = nullptr;
    bool valid = list_.Last(position);
    for (size_t i = model_.size(); i > 0; --i) {
      VRecord record{};
      REQUIRE(valid && list_.Get(position, record) && record.m_words[0] == model_[i - 1]);
      valid = list_.Move(position, -1);
    }
    REQUIRE(!valid);
  }

  VList list_;
  Values model_;
};

int32_t compareWords(const void* left, const void* right) {
  uint32_t a = 0;
  uint32_t b = 0;
  std::memcpy(&a, left, sizeof a);
  std::memcpy(&b, right, sizeof b);
  return a < b ? -1 : a > b ? 1 : 0;
}

void sortAndSearch(Values values) {
  Values expected = values;
  std::sort(expected.begin(), expected.end());
  VSort::GSort(values.data(), static_cast<uint32_t>(values.size()), sizeof(uint32_t), compareWords);
  REQUIRE(values == expected);
  for (uint32_t key = 0; key < 300; key += 7) {
    const void* const found = VBinarySearch::GFind(
        &key, values.data(), static_cast<uint32_t>(values.size()), sizeof(uint32_t), compareWords);
    const bool there = std::binary_search(expected.begin(), expected.end(), key);
    REQUIRE((found != nullptr) == there);
    REQUIRE(!found || compareWords(found, &key) == 0);
  }
}

void reorder(const Values& values) {
  Values order(values.size());
  std::iota(order.begin(), order.end(), 0u);
  std::stable_sort(order.begin(), order.end(),
                   [&](uint32_t a, uint32_t b) { return values[a] < values[b]; });
  if (order.empty()) return;
  const auto count = static_cast<uint32_t>(order.size());
  Values moved = values;
  REQUIRE(VReorder::GElements(moved.data(), sizeof(uint32_t), order.data(), count));
  for (uint32_t i = 0; i < count; ++i) REQUIRE(moved[i] == values[order[i]]);
  for (uint32_t i = 0; i < count; i += 5) {
    REQUIRE(order[VIndexArray::GFindInverse(order.data(), i)] == i);
  }
  VIndexArray identity(VIndexArray::MakeIdentity{count});
  REQUIRE(identity.GetCount() == count);
  for (uint32_t i = 0; i < count; ++i) REQUIRE(identity.GetPtr()[i] == i);
  const uint32_t old = identity.Swap(0, count - 1);
  REQUIRE(old == 0 && identity.GetPtr()[count - 1] == 0 && identity.GetPtr()[0] == count - 1);
}

void tablesAndBuffers(const uint8_t* data, size_t size) {
  VByteBuffer buffer;
  std::vector<uint8_t> model;
  VBitTable bits;
  std::vector<bool> bitModel;
  for (size_t i = 0; i + 1 < size; i += 2) {
    const uint32_t bytes = data[i] * (data[i + 1] % 4u);
    if (data[i + 1] % 2) {
      buffer.Reserve(bytes);
      REQUIRE(buffer.GetCapacity() == bytes);
    } else {
      buffer.SetSize(bytes);
      REQUIRE(buffer.GetSize() == bytes && buffer.GetCapacity() >= bytes);
    }
    model.resize(std::min<size_t>(model.size(), buffer.GetCapacity()));
    REQUIRE(model.empty() || std::memcmp(model.data(), buffer.GetPtr(), model.size()) == 0);
    model.assign(buffer.GetCapacity(), data[i]);
    if (!model.empty()) std::memset(buffer.GetPtr(), data[i], model.size());
    const VByteBuffer copy(buffer);
    REQUIRE(copy.GetCapacity() == buffer.GetCapacity());

    const uint32_t count = data[i] + 1u;
    const auto before = static_cast<uint32_t>(bitModel.size());
    REQUIRE(bits.SetCount(count) && bits.GetCount() == count);
    bitModel.resize(count);
    for (uint32_t bit = before; bit < count; ++bit) bits.Set(bit, 0);
    const uint32_t chosen = data[i + 1] % count;
    bits.Set(chosen, 1);
    bitModel[chosen] = true;
    for (uint32_t bit = 0; bit < count; ++bit) REQUIRE(bits.Get(bit) == bitModel[bit]);
  }
}

void blockPool(const uint8_t* data, size_t size) {
  VList pool;
  struct Held {
    uint8_t* block;
    uint32_t bytes;
    uint8_t fill;
  };
  std::vector<Held> held;
  for (size_t i = 0; i + 1 < size; i += 2) {
    if (data[i] % 3 == 0 && !held.empty()) {
      const size_t which = data[i + 1] % held.size();
      const Held given = held[which];
      for (uint32_t k = 0; k < given.bytes; ++k) REQUIRE(given.block[k] == given.fill);
      REQUIRE(VBlockPool::GRelease(pool, given.block));
      REQUIRE(!VBlockPool::GRelease(pool, given.block));
      held.erase(held.begin() + static_cast<ptrdiff_t>(which));
      continue;
    }
    const uint32_t bytes = data[i] * 3u + 1;
    const uint32_t align = 1u << data[i + 1] % 8;
    auto* const block = static_cast<uint8_t*>(VBlockPool::GAcquire(pool, bytes, align));
    REQUIRE(block && reinterpret_cast<uintptr_t>(block) % align == 0);
    std::memset(block, data[i], bytes);
    held.push_back({block, bytes, data[i]});
  }
  Position position = nullptr;
  for (bool valid = pool.First(position); valid; valid = pool.Move(position, 1)) {
    VRecord record{};
    pool.Get(position, record);
    VMemory::GFree(VBlockRecord::GUnpack(record).m_raw);
  }
}

}  // namespace

size_t fuzz::inputHead(const uint8_t*, size_t size) { return size; }

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t inputSize) {
  const size_t size = std::min<size_t>(inputSize, 3 * kMostOperations);
  fuzz::MemoryMeter meter;
  {
    ListPair list;
    for (size_t i = 0; i + 3 <= size; i += 3) list.apply(data[i], data[i + 1], data[i + 2]);
    const Values values(data, data + size);
    sortAndSearch(values);
    reorder(values);
    tablesAndBuffers(data, std::min<size_t>(size, 40));
    blockPool(data, std::min<size_t>(size, 120));
  }
  REQUIRE(meter.heldBlocks() == 0);
  return 0;
}
