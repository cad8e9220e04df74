// Calls an object's operations by their raw slot number, as code that knows only the table would.
#pragma once
#include <cstddef>
#include <cstring>

namespace raw_table {

/// Word `index` of the object, in pointer widths; word 0 points at the table.
inline void* word(const void* object, size_t index) {
  void* value;
  std::memcpy(&value, static_cast<const char*>(object) + index * sizeof(value), sizeof(value));
  return value;
}

/// Calls the operation in the zero-based `slot` of the object's first table.
template <class Result, class... Arguments>
Result call(void* object, size_t slot, Arguments... arguments) {
  using Operation = Result (*)(void*, Arguments...);
  return reinterpret_cast<Operation>(word(word(object, 0), slot))(object, arguments...);
}

/// The Itanium C++ ABI spends two entries on a virtual destructor: the first destroys the object,
/// the second frees its memory as well.
inline void destroyAndFree(void* object, size_t destructorSlot) {
  call<void>(object, destructorSlot + 1);
}

/// The offset of a field of type `Field` that follows `end` bytes of others.
template <class Field>
constexpr size_t placeAfter(size_t end) {
  return (end + alignof(Field) - 1) / alignof(Field) * alignof(Field);
}

/// Reads a field at a byte offset.
template <class T>
T field(const void* object, size_t offset) {
  T value;
  std::memcpy(&value, static_cast<const char*>(object) + offset, sizeof(value));
  return value;
}

/// Overwrites a field at a byte offset, as a stray write would.
template <class T>
void setField(void* object, size_t offset, T value) {
  std::memcpy(static_cast<char*>(object) + offset, &value, sizeof(value));
}

}  // namespace raw_table
