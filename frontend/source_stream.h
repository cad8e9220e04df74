// SourceStream: the byte source that the movie is parsed from: the session's stream with the token
// of the call that opens it.
#pragma once
#include <cstdint>

#include "atomkit/core/streams/byte_stream.h"
#include "frontend/out_slot.h"
#include "frontend/vela_splitter.h"

namespace vela {

/// Throws a code that the stream gives as a TIOResult of the same value. Fields in order: the table
/// pointer, the token, the stream.
class SourceStream final : public atomkit::ByteSource {
 public:
  /// Longest skip in bytes that is left to the stream's own skip(); longer ones seek.
  // DELIBERATE D-005: 256 bytes are still skipped, 257 seek. A skip inside a box costs one call, a
  // seek four: whether the stream can seek, its length, its position, and the seek.
  static constexpr uint32_t kLongestPlainSkip = 256;

  /// @param stream  a reference is held
  SourceStream(HostStream* stream, CancelToken* token) : token_(token), stream_(stream) {}
  SourceStream(const SourceStream&) = delete;
  SourceStream& operator=(const SourceStream&) = delete;

  /// Slot 0. @return bytes read, fewer at the end
  uint32_t read(void* buffer, uint32_t count) override;
  /// Slot 1. @return bytes skipped, fewer at the end
  /// @throws TIOResult::outOfRange when a long skip starts past the end of the stream, or when one
  ///         of 4 GiB or more can't seek
  uint64_t skip(uint64_t count) override;
  /// Slot 2. @return bytes from the start
  virtual uint64_t position();
  /// Slot 3. Goes to the byte `target`; a stream that can't seek is skipped forward.
  /// @throws exception "stream seeking error" for a step backwards in a stream that can't seek;
  ///         there also TIOResult::outOfRange for a distance of 4 GiB or more, and
  ///         TIOResult::failed when the stream ends before the target
  virtual void seek(uint64_t target);
  /// Slot 4. @throws TIOResult::failed when fewer bytes were written
  virtual void write(const void* buffer, uint32_t count);
  /// Slot 5. Ends the stream at its position.
  virtual void truncate();

  /// Bytes of the stream, or kUnknownLength; the parser holds declared counts against it.
  // DELIBERATE D-008: a stream that fails to give its length counts as one of unknown length,
  // because nothing that is read depends on it.
  uint64_t length();

 private:
  HostStreamReader& reader() const noexcept { return *stream_.get(); }
  HostStreamWriter& writer() const noexcept { return *stream_.get(); }
  uint32_t skipPlainly(uint32_t count);
  void seekStream(uint64_t target);

  CancelToken* token_;
  Reference<HostStream> stream_;
};
static_assert(sizeof(SourceStream) == 3 * sizeof(void*));

}  // namespace vela
