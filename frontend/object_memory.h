// Destruction of the objects that a host ends through deletingDestructor().
#pragma once
#include <cstdint>

#include "hal/memory/memory.h"

namespace vela {

/// Flag of every deletingDestructor(): free the memory too.
inline constexpr uint32_t kFreeMemory = 1;  // ABI: do not renumber

/// Destroys an object made by VMemory::GNew(), and frees its memory when bit 0 of `flags` is set.
/// `Object` must be the class that was made.
template <class Object>
void destroyObject(Object* object, uint32_t flags) noexcept {
  object->~Object();
  if (flags & kFreeMemory) VMemory::GFree(object);
}

}  // namespace vela
