// Reference counting on the host's side: objects that count, and holders of a reference.
#pragma once
#include <cstdint>
#include <utility>

#include "frontend/vela_splitter.h"

namespace velahost {

/// The first four slots of a reference-counted interface, for an object of the host. The count
/// starts at 0; storing the object in an out-slot makes it 1. The last release deletes the object.
template <class Derived, class Interface>
class Counted : public Interface {
 public:
  uint32_t addRef() override { return ++references_; }

  uint32_t release() override {
    const uint32_t left = --references_;
    if (left == 0) deletingDestructor(1);
    return left;
  }

  /// Objects of the host have no further interface.
  uint32_t queryInterface(const vela::Guid*, void**) override { return 0; }

  void deletingDestructor(uint32_t flags) override {
    if (flags & 1) {
      delete static_cast<Derived*>(this);
    } else {
      static_cast<Derived*>(this)->~Derived();
    }
  }

 protected:
  ~Counted() = default;

 private:
  uint32_t references_ = 0;
};

/// Holds one reference to an object of either side, or none.
template <class Interface>
class Reference {
 public:
  Reference() = default;
  explicit Reference(Interface* object) : pointer_(object) {
    if (object) object->addRef();
  }
  Reference(Reference&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
  Reference& operator=(Reference&& other) noexcept {
    std::swap(pointer_, other.pointer_);
    return *this;
  }
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;
  ~Reference() {
    if (pointer_) get()->release();
  }

  Interface* get() const { return static_cast<Interface*>(pointer_); }
  Interface* operator->() const { return get(); }
  explicit operator bool() const { return pointer_ != nullptr; }

  /// The address to pass as an out-slot, through which the other side stores a `void*`.
  void** outSlot() { return &pointer_; }

 private:
  void* pointer_ = nullptr;
};

/// Stores an object in the other side's out-slot: references the new value, then releases what the
/// slot held.
template <class Interface>
void storeInOutSlot(void** out, Interface* object) {
  object->addRef();
  void* const previous = std::exchange(*out, static_cast<void*>(object));
  if (previous) static_cast<vela::IObject*>(previous)->release();
}

}  // namespace velahost
