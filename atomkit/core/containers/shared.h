// Shared objects: a reference count followed by a value, and the handles that keep the count.
#pragma once
#include <cstddef>
#include <cstdint>
#include <utility>

#include "atomkit/core/containers/memory.h"

namespace atomkit {

/// A T after its reference count. The count is a plain integer: one thread uses the library.
template <class T>
struct Shared {
  uint32_t references = 1;
  T value{};
};
static_assert(offsetof(Shared<uint32_t>, references) == 0);

/// A pointer to a Shared<T>, or null. The last handle destroys the object.
template <class T>
class Handle {
 public:
  Handle() noexcept = default;
  Handle(const Handle& other) noexcept : target_(other.target_) { acquire(); }
  Handle(Handle&& other) noexcept : target_(std::exchange(other.target_, nullptr)) {}
  /// Releases the old target before it takes the new one, so `other` must not live inside the old
  /// target.
  // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): one target is compared with the other
  Handle& operator=(const Handle& other) noexcept {
    if (target_ == other.target_) return *this;
    drop();
    target_ = other.target_;
    acquire();
    return *this;
  }
  Handle& operator=(Handle&& other) noexcept {
    Handle(std::move(other)).swap(*this);
    return *this;
  }
  ~Handle() { drop(); }

  /// Makes a handle to a fresh object with a reference count of 1.
  /// @throws exception "out of memory"
  static Handle make() {
    Handle handle;
    handle.target_ = create<Shared<T>>();
    return handle;
  }

  void swap(Handle& other) noexcept { std::swap(target_, other.target_); }

  explicit operator bool() const noexcept { return target_ != nullptr; }
  /// The object; the handle must not be empty.
  T& operator*() const noexcept { return target_->value; }
  T* operator->() const noexcept { return &target_->value; }
  /// Number of handles to the object; 0 for an empty handle.
  uint32_t references() const noexcept { return target_ ? target_->references : 0; }

 private:
  void acquire() noexcept {
    if (target_) ++target_->references;
  }
  void drop() noexcept {
    if (target_ && --target_->references == 0) destroy(target_);
    target_ = nullptr;
  }

  Shared<T>* target_ = nullptr;
};

/// A handle whose object is made when it is first accessed.
template <class T>
class LazyHandle {
 public:
  LazyHandle() noexcept = default;
  /// Copying accesses the source: an empty handle gets an object, which both share.
  /// @throws exception "out of memory"
  LazyHandle(const LazyHandle& other) : handle_(other.access()) {}
  LazyHandle& operator=(const LazyHandle& other) {
    handle_ = other.access();
    return *this;
  }
  /// Moving leaves an empty handle empty.
  LazyHandle(LazyHandle&& other) noexcept = default;
  LazyHandle& operator=(LazyHandle&& other) noexcept = default;

  /// The object, made now if there is none.
  /// @throws exception "out of memory"
  T& operator*() const { return *access(); }
  T* operator->() const { return &*access(); }
  /// The object if it has been made, otherwise null.
  const T* peek() const noexcept { return handle_ ? &*handle_ : nullptr; }
  uint32_t references() const noexcept { return handle_.references(); }

 private:
  Handle<T>& access() const {
    if (!handle_) handle_ = Handle<T>::make();
    return handle_;
  }

  mutable Handle<T> handle_;
};

}  // namespace atomkit
