// Arguments of a call into the device code, placed in the emulated memory for the time of the call.
#pragma once
#include <cstdint>
#include <cstring>
#include <string>

#include "tests/device/machine.h"

namespace device {

/// A block in the emulated memory that lives as long as this object. Address 0 for none.
class ArgumentBlock {
 public:
  ArgumentBlock(Machine& machine, uint32_t count, uint32_t offset)
      : machine_(&machine), count_(count), address_(machine.arguments().allocate(count, offset)) {
    if (address_ == 0) violation("no room for an argument");
  }
  ArgumentBlock(const ArgumentBlock&) = delete;
  ArgumentBlock& operator=(const ArgumentBlock&) = delete;
  ~ArgumentBlock() { machine_->arguments().release(address_); }

  uint32_t address() const { return address_; }
  uint8_t* bytes() { return machine_->bytes(address_, count_, "an argument"); }

 private:
  Machine* machine_;
  uint32_t count_;
  uint32_t address_;
};

/// Bytes go to odd addresses: nothing promises more of them.
inline constexpr uint32_t kOddAddress = 1;
/// Words and 64-bit values go to addresses that only a word may count on.
inline constexpr uint32_t kWordAddress = 4;
inline constexpr uint32_t kTextAddress = 2;

/// A text with its NUL; null stays null.
class ArgumentText {
 public:
  ArgumentText(Machine& machine, const char16_t* text)
      : block_(machine, bytesOf(text), kTextAddress), isNull_(!text) {
    if (text) std::memcpy(block_.bytes(), text, bytesOf(text));
  }
  uint32_t address() const { return isNull_ ? 0 : block_.address(); }

 private:
  static uint32_t bytesOf(const char16_t* text) {
    const size_t units = text ? std::char_traits<char16_t>::length(text) + 1 : 1;
    return static_cast<uint32_t>(units * sizeof(char16_t));
  }
  ArgumentBlock block_;
  bool isNull_;
};

/// `count` bytes of the caller's that the call may read and write; null stays null.
class ArgumentBytes {
 public:
  ArgumentBytes(Machine& machine, void* native, uint32_t count, uint32_t offset)
      : block_(machine, count, offset), native_(native), count_(count) {
    if (native_) std::memcpy(block_.bytes(), native_, count_);
  }
  uint32_t address() const { return native_ ? block_.address() : 0; }
  /// Takes over what the call has written.
  void takeBack() {
    if (native_) std::memcpy(native_, block_.bytes(), count_);
  }

 private:
  ArgumentBlock block_;
  void* native_;
  uint32_t count_;
};

}  // namespace device
