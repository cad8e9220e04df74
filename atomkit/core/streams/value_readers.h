// Big-endian values of the file. All are read with the stream's exact read, so a value that is not
// there as a whole fails with its "past end" message.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/containers/shared_string.h"
#include "atomkit/core/streams/arriving_block.h"
#include "atomkit/core/streams/byte_stream.h"

namespace atomkit {

uint8_t readU8(ByteStream& stream);
uint16_t readU16(ByteStream& stream);
/// Three bytes, in the low 24 bits.
uint32_t readU24(ByteStream& stream);
uint32_t readU32(ByteStream& stream);
uint64_t readU64(ByteStream& stream);

/// Reads `count` values into `values` with one exact read and brings their bytes into the order of
/// this machine.
/// @pre count * sizeof(value) fits 32 bits; see requireEntries()
void readU32Array(ByteStream& stream, uint32_t* values, uint32_t count);
void readU64Array(ByteStream& stream, uint64_t* values, uint32_t count);

/// Reads the next `count` bytes into a block of allocate() that has `spare` room around them. Takes
/// memory for what arrives, not for what the box claims: see ArrivingBlock. One exact read, but for
/// the pieces that a large count needs.
/// @pre stream.requireBytes(count) did not throw
/// @return a block that the caller owns
/// @throws exception (past end); exception with the message `outOfMemory`; the block is then freed
void* readBlock(ByteStream& stream, uint32_t count, SpareRoom spare, const char* outOfMemory);

/// Replaces the contents of `bytes` with the next `count` bytes of the stream.
/// @throws what ByteStream::requireBytes() throws, leaving `bytes` as it was; exception (past end)
///         when the source turns out to be shorter, or "out of memory when resizing array", both
///         leaving it empty
void readBytes(ByteStream& stream, ByteArray& bytes, uint32_t count);

/// Reads the next `count` bytes of the stream as a text, which ends at the first zero byte among
/// them.
/// @throws what ByteStream::requireBytes() throws, before anything is read; exception (past end)
///         when the source turns out to be shorter, or "out of memory"
SharedString readString(ByteStream& stream, uint32_t count);

/// Length of an MPEG-4 descriptor: up to four bytes of seven bits each, most significant first; a
/// byte whose top bit is clear is the last. After a fourth byte the value is taken as it stands.
uint32_t readExpandableLength(ByteStream& stream);

/// Drops the version (u8) and flags (u24) of a full box, for readers that look at neither. They are
/// read like any value, so a box that ends inside them fails with the read message.
void skipVersionAndFlags(ByteStream& stream);

/// Checks that `count` entries of `bytesPerEntry` bytes can be there; asked before a table is
/// allocated. Computed in 64 bits.
/// @throws what ByteStream::requireBytes() throws; exception "out of memory when resizing array"
///         when a box claims to hold a table of 4 GiB or more and the source can't contradict it
void requireEntries(ByteStream& stream, uint32_t count, uint32_t bytesPerEntry);

}  // namespace atomkit
