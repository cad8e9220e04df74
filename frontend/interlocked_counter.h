// InterlockedCounter: the reference count of an object that several threads may hold.
#pragma once
#include <cstdint>

#include "platform/platform.h"

namespace vela {

/// A table pointer and a count that starts at 0. Not destroyed through a pointer.
class InterlockedCounter final {
 public:
  /// Slot 0. @return the new count
  virtual int32_t increment() noexcept { return platform::interlockedIncrement(&count_); }
  /// Slot 1. @return the new count
  virtual int32_t decrement() noexcept { return platform::interlockedDecrement(&count_); }
  /// Slot 2.
  virtual int32_t value() const noexcept { return count_; }

 private:
  int32_t count_ = 0;
};

}  // namespace vela
