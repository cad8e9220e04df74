// The box header and the walk over the boxes that fill a container.
#pragma once
#include <cstdint>

#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/core/streams/fourcc.h"

namespace atomkit {

// Box header
//   u32 size (header included; 1: a 64-bit size follows the type), u32 type (each byte 0x20 or
//   above), size == 1: u64 largesize (header included)
struct BoxHeader {
  FourCC type = 0;
  uint64_t payloadSize = 0;  ///< bytes behind the header
  uint32_t headerSize = 0;   ///< 8 or 16

  /// Bytes of the whole box; wraps never, as the file's size field holds it in 64 bits.
  uint64_t boxSize() const noexcept { return headerSize + payloadSize; }
};

/// Reads a box header.
/// @return false when fewer than 8 bytes are left or a type byte is below 0x20; up to 8 bytes are
/// then
///         consumed
/// @throws exception "invalid box/atom header" when the size is smaller than the header (0, a box
/// to the
///         end of the file, included), or the stream's "past end" message inside largesize
bool readBoxHeader(ByteStream& stream, BoxHeader& header);

/// Reads the header of a box that must be there and must fit.
/// @param limit  bytes that are left in the enclosing payload
/// @throws exception "invalid box/atom header"; "atom size bigger than expected"
BoxHeader expectBoxHeader(ByteStream& stream, uint64_t limit);

/// Takes the boxes of one container. Made on the stack for one walk; borrows the model it fills.
class BoxHandler {
 public:
  /// @param reader  stands at the first payload byte; what is left unread is skipped afterwards
  virtual void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) = 0;

 protected:
  ~BoxHandler() = default;
};

/// Hands every box that fills a payload of `payloadSize` bytes to `handler`.
/// @throws what expectBoxHeader() and the handler throw
void walkChildren(BoxHandler& handler, ByteStream& stream, uint64_t payloadSize);

}  // namespace atomkit
