// Calls by raw table position, as a caller does that knows slot numbers only.
#pragma once
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace raw {

/// Calls slot `slot` of the object at `object`. The argument types are given by the caller and must
/// be those of the operation.
template <class Result, class... Arguments>
Result call(void* object, size_t slot, Arguments... arguments) {
  void** table = nullptr;
  std::memcpy(&table, object, sizeof(table));
  using Operation = Result (*)(void*, Arguments...);
  return reinterpret_cast<Operation>(table[slot])(object, arguments...);
}

/// Calls the destructor that stands in slot `slot`, which is the last operation of a helper class,
/// and frees the object. Compilers of the Itanium family spend two slots on a destructor, the
/// freeing one second.
inline void callDeletingDestructor(void* object, size_t slot) { call<void>(object, slot + 1); }

/// The pointer-wide or smaller field that starts `pointerWidths` pointers and `bytes` bytes into
/// the object.
template <class Field>
Field field(const void* object, size_t pointerWidths, size_t bytes = 0) {
  Field value;
  std::memcpy(&value, static_cast<const char*>(object) + pointerWidths * sizeof(void*) + bytes,
              sizeof(value));
  return value;
}

}  // namespace raw
