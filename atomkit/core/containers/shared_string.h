// SharedString: an 8-bit text with several owners.
#pragma once
#include <cstdint>
#include <utility>

namespace atomkit {

/// A NUL-terminated text in the encoding of the file: a tag's value, a chapter's name. Its copies
/// share one block of memory, which begins with their count; the last one frees it. The text itself
/// never changes. The empty text owns no memory, so that a file of empty values costs little. The
/// count is a plain integer: one thread uses the library.
class SharedString {
 public:
  /// Bytes that adopt() takes for itself at the beginning of a block.
  static constexpr uint32_t kHeaderBytes = sizeof(uint32_t);

  SharedString() noexcept = default;
  SharedString(const SharedString& other) noexcept : block_(other.block_) {
    if (block_) ++*block_;
  }
  SharedString(SharedString&& other) noexcept : block_(std::exchange(other.block_, nullptr)) {}
  // By value, for both kinds of assignment: the old text is given up by the argument.
  SharedString& operator=(SharedString other) noexcept {
    std::swap(block_, other.block_);
    return *this;
  }
  ~SharedString();

  /// Copies `text` up to its NUL. @throws exception "out of memory"
  static SharedString copyOf(const char* text);

  /// Takes over a block of allocate() that holds room for a header and then a text that ends with a
  /// zero byte. Bytes after an earlier zero byte are kept, but text() does not show them. The block
  /// of an empty text is freed at once.
  static SharedString adopt(void* block) noexcept;

  /// The text; never null. It lives as long as one of the owners.
  const char* text() const noexcept {
    return block_ ? static_cast<const char*>(static_cast<const void*>(block_ + 1)) : "";
  }
  bool empty() const noexcept { return block_ == nullptr; }
  /// Number of owners; 0 for the empty text.
  uint32_t references() const noexcept { return block_ ? *block_ : 0; }

 private:
  explicit SharedString(uint32_t* block) noexcept : block_(block) {}

  uint32_t* block_ = nullptr;  // the number of owners; the text follows
};

}  // namespace atomkit
