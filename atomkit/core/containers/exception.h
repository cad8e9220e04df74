// atomkit::exception: how the MP4 library reports every failure of its own.
#pragma once
#include <cstdint>

namespace atomkit {

/// Thrown by value. Carries one fixed English text: no code, no formatting, no nested cause.
class exception {
 public:
  /// @param message  a static, NUL-terminated text; only the pointer is kept
  explicit exception(const char* message) noexcept : message_(message) {}

  const char* message() const noexcept { return message_; }

 private:
  const char* message_;
};

// Messages that more than one place throws.
inline constexpr char kIndexOutOfRange[] = "array access out of range";
inline constexpr char kOutOfMemory[] = "out of memory";
inline constexpr char kOutOfMemoryInArray[] = "out of memory when resizing array";
inline constexpr char kReadPastAtom[] = "attempting to read past end of atom";
inline constexpr char kReadPastFile[] = "attempting to read past end of file";
inline constexpr char kSkipPastAtom[] = "attempting to skip past end of atom";
inline constexpr char kSkipPastFile[] = "attempting to skip past end of file";
inline constexpr char kInvalidBoxHeader[] = "invalid box/atom header";
inline constexpr char kFrameOutOfRange[] = "frame out of range";

/// Checked before every access to an element of an array.
/// @return `index`
/// @throws exception "array access out of range" when `index` is not below `count`
inline uint32_t checkedIndex(uint32_t index, uint32_t count) {
  if (index >= count) throw exception(kIndexOutOfRange);
  return index;
}

}  // namespace atomkit
