// SourceStream: the byte source that the movie is parsed from, over a stream and the token of the
// host's call.
#pragma once
#include <cstdint>

#include "atomkit/core/streams/byte_stream.h"
#include "frontend/out_slot.h"
#include "frontend/vela_splitter.h"

namespace vela {

/// Every failure of the stream is thrown as its TIOResult. Fields in order: the table pointer, the
/// token, the stream.
class SourceStream final : public atomkit::ByteSource {
 public:
  /// Skips of up to so many bytes are left to the stream's own skip(); longer ones seek.
  // DELIBERATE D-005: the border lies behind 256, not in front of it. It decides which calls a
  // stream gets.
  static constexpr uint32_t kLongestPlainSkip = 256;

  /// @param stream  a reference is held
  SourceStream(HostStream* stream, CancelToken* token) : token_(token), stream_(stream) {}
  SourceStream(const SourceStream&) = delete;
  SourceStream& operator=(const SourceStream&) = delete;

  /// Slot 0. @return bytes read, fewer at the end
  uint32_t read(void* buffer, uint32_t count) override;
  /// Slot 1. @return bytes skipped, fewer at the end
  /// @throws TIOResult::outOfRange when the stream stands behind its end, or when 4 GiB and more
  ///         are to be skipped without seeking
  uint64_t skip(uint64_t count) override;
  /// Slot 2. @return bytes from the start
  virtual uint64_t position();
  /// Slot 3. Goes to the byte `target`; a stream that can't seek is skipped forward.
  /// @throws exception "stream seeking error" for a step backwards without seeking;
  ///         TIOResult::outOfRange for 4 GiB and more without seeking; TIOResult::failed when the
  ///         stream ends before the target
  virtual void seek(uint64_t target);
  /// Slot 4. @throws TIOResult::failed when fewer bytes were written
  virtual void write(const void* buffer, uint32_t count);
  /// Slot 5. Ends the stream at its position.
  virtual void truncate();

  /// Bytes of the stream, for the parser's checks of declared counts; kUnknownLength when the
  /// stream does not tell, which is no failure: nothing that is read depends on it.
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
