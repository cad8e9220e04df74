#include "atomkit/core/containers/shared_string.h"

#include <cstring>

#include "atomkit/core/containers/memory.h"

namespace atomkit {

SharedString::~SharedString() {
  if (block_ && --*block_ == 0) release(block_);
}

SharedString SharedString::copyOf(const char* text) {
  if (!*text) return {};
  const size_t bytes = std::strlen(text) + 1;
  void* const block = allocate(kHeaderBytes + bytes);
  if (!block) throwOutOfMemory();
  std::memcpy(static_cast<char*>(block) + kHeaderBytes, text, bytes);
  return adopt(block);
}

SharedString SharedString::adopt(void* block) noexcept {
  SharedString shared(new (block) uint32_t(1));
  if (!*shared.text()) return {};
  return shared;
}

}  // namespace atomkit
