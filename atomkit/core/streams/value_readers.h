// Big-endian values of the file, read from a ByteStream with its exact read: a value that is not
// wholly there throws the stream's "past end" message.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/owned_string.h"
#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/streams/byte_stream.h"

namespace atomkit {

uint8_t readU8(ByteStream& stream);
uint16_t readU16(ByteStream& stream);
/// Three bytes, in the low 24 bits.
uint32_t readU24(ByteStream& stream);
uint32_t readU32(ByteStream& stream);
uint64_t readU64(ByteStream& stream);

/// `count` values with one exact read into `values` (room for `count`), swapped in place.
/// @pre count * sizeof(value) fits 32 bits; see requireEntries()
void readU32Array(ByteStream& stream, uint32_t* values, uint32_t count);
void readU64Array(ByteStream& stream, uint64_t* values, uint32_t count);

/// `count` 32-bit values, each widened with zeros; works through a buffer of 1024 bytes on the
/// stack.
void readU32ArrayWidened(ByteStream& stream, uint64_t* values, uint32_t count);

/// The next `count` bytes of the stream in a block of allocate(), which has room for `spare` more.
/// One allocation and one exact read when the source knows its length. Otherwise the block
/// begins with 64 KiB and doubles as the bytes arrive, whatever the boxes claim.
/// @pre stream.requireBytes(count) was asked
/// @return a block that the caller owns; nothing is held when this throws
/// @throws exception (past end); exception with the message `outOfMemory`
void* readBlock(ByteStream& stream, uint32_t count, uint32_t spare, const char* outOfMemory);

/// Gives `bytes` the next `count` bytes of the stream in place of its contents, with readBlock().
/// @throws exception (past end), leaving `bytes` as it was when they can't be there, and empty when
///         the source turns out to be shorter; "out of memory when resizing array", leaving it
///         empty
void readBytes(ByteStream& stream, ByteArray& bytes, uint32_t count);

/// Gives `text` the next `count` bytes of the stream in place of its text, and a zero byte after
/// them. Bytes after a zero byte among them are kept but not seen through OwnedString::text().
/// @throws what ByteStream::requireBytes() throws, leaving `text` as it was; what readBlock()
///         throws, or exception "out of memory", leaving it empty
void readString(ByteStream& stream, OwnedString& text, uint32_t count);

/// Length of an MPEG-4 descriptor: up to four bytes, seven bits each, most significant first, as
/// long as the top bit is set. After a fourth byte the value is taken as it stands.
uint32_t readExpandableLength(ByteStream& stream);

/// Version (u8) and flags (u24) of a full box, for readers that look at neither.
void skipVersionAndFlags(ByteStream& stream);

/// Fails with the stream's "read past end" message when `count` entries of `bytesPerEntry` bytes
/// can't be there. Asked before a table is allocated; computed in 64 bits.
/// @throws exception; also when the table would need 4 GiB or more in a box that claims to hold it
/// and
///         a source that doesn't know its length ("out of memory when resizing array")
void requireEntries(ByteStream& stream, uint32_t count, uint32_t bytesPerEntry);

}  // namespace atomkit
