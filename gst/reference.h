// Reference counting on the element's side: objects that count, and holders of a reference.
#pragma once
#include <cstdint>
#include <utility>

#include "frontend/vela_splitter.h"

namespace velagst {

/// The first four slots of a reference-counted interface, for an object of the element. It is used
/// by one thread at a time, as everything that belongs to a splitter.
template <class Derived, class Interface>
class Counted : public Interface {
 public:
  uint32_t addRef() override { return ++references_; }
  uint32_t release() override {
    const uint32_t left = --references_;
    if (left == 0) deletingDestructor(1);
    return left;
  }
  uint32_t queryInterface(const vela::Guid*, void**) override { return 0; }
  void deletingDestructor(uint32_t) override { delete static_cast<Derived*>(this); }

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
  Reference(const Reference&) = delete;
  Reference& operator=(const Reference&) = delete;
  ~Reference() { reset(); }

  Interface* operator->() const { return static_cast<Interface*>(pointer_); }
  Interface& operator*() const { return *static_cast<Interface*>(pointer_); }
  explicit operator bool() const { return pointer_ != nullptr; }

  void reset() {
    void* const held = std::exchange(pointer_, nullptr);
    if (held) static_cast<Interface*>(held)->release();
  }

  /// The address to pass as an out-slot.
  void** outSlot() { return &pointer_; }

 private:
  void* pointer_ = nullptr;
};

/// Stores an object in the plug-in's out-slot.
template <class Interface>
void storeInOutSlot(void** out, Interface* object) {
  object->addRef();
  void* const previous = std::exchange(*out, static_cast<void*>(object));
  if (previous) static_cast<vela::IObject*>(previous)->release();
}

}  // namespace velagst
