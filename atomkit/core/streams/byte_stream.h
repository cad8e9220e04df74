// ByteStream: everything that the MP4 library reads passes through one of these, strictly forward.
#pragma once
#include <cstdint>

#include "atomkit/core/streams/read_head.h"

namespace atomkit {

/// Length of a source that doesn't know it.
inline constexpr uint64_t kUnknownLength = ~uint64_t{0};

/// Where a file's bytes come from; implemented by the caller of the parse. A source throws its
/// failures in a type of its own, which passes through the library unchanged.
class ByteSource {
 public:
  /// Reads up to `count` bytes. @return the number of bytes read; fewer at the end of the source
  virtual uint32_t read(void* buffer, uint32_t count) = 0;
  /// Skips up to `count` bytes. @return the number of bytes skipped; fewer at the end of the source
  virtual uint64_t skip(uint64_t count) = 0;

 protected:
  ~ByteSource() = default;
};

/// Lives on the stack of the code that walks a box; borrows what it reads from. The streams over
/// one source share a ReadHead, so that what the innermost one takes counts in all of them.
class ByteStream {
 public:
  /// Reads up to `count` bytes. @return the number of bytes read, possibly fewer
  virtual uint32_t read(void* buffer, uint32_t count) = 0;
  /// Skips up to `count` bytes. @return the number of bytes skipped, possibly fewer
  virtual uint64_t skip(uint64_t count) = 0;
  /// Reads exactly `count` bytes.
  /// @throws exception "attempting to read past end of atom" or "... of file"
  virtual void readExact(void* buffer, uint32_t count) = 0;
  /// Skips exactly `count` bytes.
  /// @throws exception "attempting to skip past end of atom" or "... of file"
  virtual void skipExact(uint64_t count) = 0;
  /// Throws what readExact() of `count` bytes would throw, as far as the sizes of the enclosing
  /// boxes and the known length of the source tell; reads nothing. Asked before memory is allocated
  /// for a declared count, so that a count that lies costs none. When the length of the source is
  /// not known, only the sizes of the boxes limit the count, and those may lie too, as may the
  /// length.
  virtual void requireBytes(uint64_t count) = 0;
  /// The next `count` bytes where they lie, when that is in memory and inside all enclosing boxes;
  /// they are then read, and stay until the next operation of a stream over the same source.
  /// @return null, with nothing read, when they must be read with one of the other operations
  const uint8_t* take(uint32_t count) noexcept {
    return fitsWindow(count) ? head_->take(count) : nullptr;
  }

  /// Where all streams over the source stand.
  ReadHead& head() noexcept { return *head_; }

 protected:
  /// The outermost stream. It moves `head` by what it reads and skips.
  explicit ByteStream(ReadHead& head) noexcept : head_(&head), limit_(UINT64_MAX) {}
  /// A stream of `size` bytes inside `parent`.
  ByteStream(ByteStream& parent, uint64_t size) noexcept;
  ~ByteStream() = default;

  uint64_t position() const noexcept { return head_->position(); }
  bool fitsWindow(uint64_t count) const noexcept {
    return count <= head_->left() && count <= limit_ - position();
  }

 private:
  ReadHead* head_;
  uint64_t limit_;  // place where the first of the enclosing boxes ends, as the head counts
};

/// The file as a whole, over a borrowed source that stands at its start.
class HostStreamAdapter final : public ByteStream {
 public:
  /// @param length  bytes of the source, or kUnknownLength
  /// @param lender  gives windows of the source; null when all is read by its operations
  HostStreamAdapter(ByteSource& source, uint64_t length, WindowLender* lender = nullptr) noexcept
      : ByteStream(head_), head_(lender), source_(&source), length_(length) {}
  HostStreamAdapter(const HostStreamAdapter&) = delete;
  HostStreamAdapter& operator=(const HostStreamAdapter&) = delete;
  /// Leaves the source where the last byte was read or skipped.
  ~HostStreamAdapter() { head_.closeWindow(); }

  uint32_t read(void* buffer, uint32_t count) override;
  uint64_t skip(uint64_t count) override;
  void readExact(void* buffer, uint32_t count) override;
  void skipExact(uint64_t count) override;
  void requireBytes(uint64_t count) override;

 private:
  uint32_t readFromSource(void* buffer, uint32_t count);
  uint64_t skipInSource(uint64_t count);

  ReadHead head_;
  ByteSource* source_;
  uint64_t length_;
};

/// The payload of one box: reading ends where the box ends.
class AtomReader final : public ByteStream {
 public:
  /// @param parent  the stream that holds the box, positioned at its first payload byte; borrowed
  /// @param payloadSize  bytes of the box after its header
  AtomReader(ByteStream& parent, uint64_t payloadSize) noexcept
      : ByteStream(parent, payloadSize), parent_(&parent), end_(position() + payloadSize) {}

  /// Payload bytes neither read nor skipped yet.
  uint64_t remaining() const noexcept { return end_ - position(); }

  /// @throws exception "bug: stream read more bytes than asked for"
  uint32_t read(void* buffer, uint32_t count) override;
  /// @throws exception "bug: stream skipped more bytes than asked for"
  uint64_t skip(uint64_t count) override;
  void readExact(void* buffer, uint32_t count) override;
  void skipExact(uint64_t count) override;
  void requireBytes(uint64_t count) override;

  /// Skips what is left, so that the parent stands just past the box.
  void finish();

 private:
  ByteStream* parent_;
  uint64_t end_;  // as the head counts, modulo 2^64: a size may claim anything
};

}  // namespace atomkit
