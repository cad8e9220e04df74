// Comparing interface identifiers.
#pragma once
#include <cstring>

#include "frontend/out_slot.h"
#include "frontend/vela_splitter.h"

namespace vela {

inline bool sameGuid(const Guid& left, const Guid& right) noexcept {
  return std::memcmp(left.bytes, right.bytes, sizeof left.bytes) == 0;
}

/// The rule of queryInterface(): an object that answers is stored in the out-slot, anything else
/// leaves the slot alone.
template <class Interface>
uint32_t answerQuery(bool answers, Interface* object, void** out) {
  if (answers) assignOutSlot(out, object);
  return answers ? 1 : 0;
}

}  // namespace vela
