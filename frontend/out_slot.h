// References to counted objects, and the one rule by which they are stored.
#pragma once
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
