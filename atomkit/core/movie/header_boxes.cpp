#include "atomkit/core/movie/header_boxes.h"

#include "atomkit/core/streams/value_readers.h"

namespace atomkit {
namespace {

// A creation time and a modification time.
constexpr uint32_t kShortTimesBytes = 8;
constexpr uint32_t kLongTimesBytes = 16;

constexpr uint32_t kMatrixWords = 9;
constexpr uint32_t kPreDefinedWords = 6;

void dropWords(AtomReader& reader, uint32_t words) {
  for (; words > 0; --words) readU32(reader);
}

}  // namespace

// 'mvhd' MovieHeaderBox
//   u8 version, u24 flags (both ignored), u32 creation_time, u32 modification_time, u32 timescale,
//   u32 duration, u32 rate, u16 volume, 10 reserved bytes, u32[9] matrix, u32[6] pre_defined,
//   u32 next_track_ID
MovieHeader readMovieHeader(AtomReader& reader) {
  // DELIBERATE D-205: a version 1 header, whose times have 64 bits, is read with this layout too.
  skipVersionAndFlags(reader);
  reader.skipExact(kShortTimesBytes);
  MovieHeader header;
  header.timescale = readU32(reader);
  header.duration = readU32(reader);
  dropWords(reader, 1);  // rate
  readU16(reader);       // volume
  uint8_t reserved[10];
  reader.readExact(reserved, sizeof reserved);
  dropWords(reader, kMatrixWords + kPreDefinedWords + 1);  // and next_track_ID
  return header;
}

// 'mdhd' MediaHeaderBox
//   u32 version and flags, then either
//   1: u64 creation_time, u64 modification_time, u32 timescale, u64 duration
//   else: u32 creation_time, u32 modification_time, u32 timescale, u32 duration (all ones: unknown)
//   and u16 language, u16 pre_defined
MediaHeader readMediaHeader(AtomReader& reader) {
  // DELIBERATE D-206: the version byte is not looked at by itself; the four bytes are compared with
  // 1 as one word, so a header written 01 00 00 00 is read with the 32-bit layout.
  const bool longTimes = readU32(reader) == 1;
  MediaHeader header;
  if (longTimes) {
    reader.skipExact(kLongTimesBytes);
    header.timescale = readU32(reader);
    header.duration = readU64(reader);
  } else {
    dropWords(reader, 2);  // read like any field, so that a short box fails with the read message
    header.timescale = readU32(reader);
    const uint32_t duration = readU32(reader);
    header.duration = duration == UINT32_MAX ? UINT64_MAX : duration;
  }
  readU16(reader);
  readU16(reader);
  return header;
}

}  // namespace atomkit
