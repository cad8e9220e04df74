// Big-endian values of the file, read from a ByteStream with its exact read: a value that is not
// wholly there throws the stream's "past end" message.
#pragma once
#include <cstdint>

#include "atomkit/core/byte_stream.h"
#include "atomkit/core/plain_array.h"

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

/// Gives `bytes` the next `count` bytes of the stream in place of its contents.
/// @throws exception (past end) before anything is allocated when they can't be there;
///         "out of memory when resizing array"
void readBytes(ByteStream& stream, ByteArray& bytes, uint32_t count);

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
