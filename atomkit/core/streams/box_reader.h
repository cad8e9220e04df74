// The box header and the walk over the boxes that fill a container.
#pragma once
#include <cstdint>

#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/core/streams/fourcc.h"

namespace atomkit {

// Box header
//   u32 size (header included; 1: a 64-bit size follows the type), u32 type (each byte 0x20 or
//   above), only when size is 1: u64 largesize (header included)
struct BoxHeader {
  FourCC type = 0;
  uint64_t payloadSize = 0;  ///< bytes after the header
  uint32_t headerSize = 0;   ///< 8 or 16

  /// Bytes of the whole box. The sum never wraps: it is the value of a size field.
  uint64_t boxSize() const noexcept { return headerSize + payloadSize; }
};

/// Reads a box header.
/// @return false when fewer than 8 bytes are left or a type byte is below 0x20, with up to 8 bytes
///         consumed
/// @throws exception "invalid box/atom header" when the size is smaller than the header (which
///         includes 0, a box that goes to the end of the file); the stream's "past end" message
///         inside largesize
bool readBoxHeader(ByteStream& stream, BoxHeader& header);

/// Reads the header of a box that must be there and must fit.
/// @param limit  bytes left in the enclosing payload
/// @throws exception "invalid box/atom header"; "atom size bigger than expected"
BoxHeader expectBoxHeader(ByteStream& stream, uint64_t limit);

/// Takes the boxes of one container. Lives on the stack for one walk and borrows what it fills.
class BoxHandler {
 public:
  /// @param reader  stands at the first payload byte; what the handler leaves unread is skipped
  virtual void handleBox(AtomReader& reader, FourCC type, uint64_t payloadSize) = 0;

 protected:
  ~BoxHandler() = default;
};

/// Hands every box that fills a payload of `payloadSize` bytes to `handler`.
/// @throws what expectBoxHeader() and the handler throw
void walkChildren(BoxHandler& handler, ByteStream& stream, uint64_t payloadSize);

}  // namespace atomkit
