// The engine's hook: changes of the tree of boxes, mixed with the engine's own changes.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <random>

#include "fuzz/mutator/box_mutator.h"
#include "fuzz/targets/input_head.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* data, size_t size, size_t room);
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t room, unsigned seed);

size_t LLVMFuzzerCustomMutator(uint8_t* data, size_t size, size_t room, unsigned seed) {
  std::mt19937 random(seed);
  const size_t head = fuzz::inputHead(data, size);
  if (size <= head || room <= head || random() % 6 == 0) return LLVMFuzzerMutate(data, size, room);
  if (head > 0 && random() % 3 == 0) {
    LLVMFuzzerMutate(data, head, head);
    return size;
  }
  const fuzz::Bytes changed =
      fuzz::mutateBoxes(data + head, size - head, room - head, random, LLVMFuzzerMutate);
  if (changed.empty()) return size;
  std::memcpy(data + head, changed.data(), changed.size());
  return head + changed.size();
}
