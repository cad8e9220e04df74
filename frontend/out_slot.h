// References to counted objects, the rule by which they are stored, and the two ways in which a
// host receives one: an out-slot, and the answer to queryInterface().
#pragma once
#include <cstring>

#include "frontend/vela_splitter.h"

namespace vela {

/// Stores `value` in `slot`: takes a reference to the new value, then gives back the one that the
/// slot held. In this order because both may be the same object. Either may be null.
template <class Object>
void assignSlot(Object*& slot, Object* value) {
  if (value) value->addRef();
  Object* const previous = slot;
  slot = value;
  if (previous) previous->release();
}

/// Stores `value` in an out-slot of the host; what it held answers to IObject.
template <class Interface>
void assignOutSlot(void** out, Interface* value) {
  if (value) value->addRef();
  void* const previous = *out;
  *out = value;
  if (previous) static_cast<IObject*>(previous)->release();
}

inline bool sameGuid(const Guid& left, const Guid& right) noexcept {
  return std::memcmp(left.bytes, right.bytes, sizeof left.bytes) == 0;
}

/// The rule of queryInterface(): an object that answers is stored in the out-slot; one that does
/// not leaves the slot alone.
template <class Interface>
uint32_t answerQuery(bool answers, Interface* object, void** out) {
  if (answers) assignOutSlot(out, object);
  return answers ? 1 : 0;
}

/// Holds one reference to a counted object, or none.
template <class Object>
class Reference {
 public:
  Reference() noexcept = default;
  explicit Reference(Object* object) { assignSlot(object_, object); }
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;
  ~Reference() { reset(); }

  void reset(Object* object = nullptr) { assignSlot(object_, object); }

  Object* get() const noexcept { return object_; }
  Object* operator->() const noexcept { return object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  /// Takes over the reference that a host stored in an out-slot, null included.
  static Reference adopt(void* stored) noexcept { return Reference(stored, Adopted{}); }

 private:
  struct Adopted {};
  Reference(void* stored, Adopted) noexcept : object_(static_cast<Object*>(stored)) {}

  Object* object_ = nullptr;
};

}  // namespace vela
