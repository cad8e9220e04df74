#include "atomkit/meta/codec/elementary_stream_descriptor.h"

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/value_readers.h"

namespace atomkit {
namespace {

// Descriptor tags of ISO/IEC 14496-1.
constexpr uint8_t kElementaryStreamTag = 3;
constexpr uint8_t kDecoderConfigTag = 4;
constexpr uint8_t kDecoderSpecificInfoTag = 5;

// Shortest descriptors that hold the fields and descriptors that they must.
constexpr uint32_t kElementaryStreamMinLength = 20;
constexpr uint32_t kDecoderConfigMinLength = 13;

// ES_Descriptor
//   u8 tag (3), length, u16 ES_ID, u8 flags, then the fields that the flags announce, then the
//   DecoderConfigDescriptor
//
// DELIBERATE D-306: the fields that the flags announce (stream dependence, URL, OCR stream) are not
// skipped; the byte after the flags is taken as the next tag.
// DELIBERATE D-307: a first tag other than 3 is not an error; two bytes are dropped, and reading
// goes on with the next tag.
void skipToDecoderConfig(AtomReader& reader) {
  if (readU8(reader) != kElementaryStreamTag) {
    readU16(reader);
    return;
  }
  if (readExpandableLength(reader) < kElementaryStreamMinLength) {
    throw exception("invalid esds atom (1)");
  }
  readU24(reader);
}

}  // namespace

// 'esds' ESDBox
//   u8 version, u24 flags (both ignored), ES_Descriptor {
//     DecoderConfigDescriptor: u8 tag (4), length, u8 objectTypeIndication, u32 { u6 streamType,
//       u1 upStream, u1 reserved, u24 bufferSizeDB } (ignored), u32 maxBitrate, u32 avgBitrate,
//       DecoderSpecificInfo (optional): u8 tag (5), length, bytes
//     SLConfigDescriptor and what else follows (not read) }
//
// DELIBERATE D-312: the lengths of the two outer descriptors must reach a minimum and are not used
// otherwise. The byte after avgBitrate is always read as a tag, inside the DecoderConfigDescriptor
// or not, and a box that ends there is an error.
// DELIBERATE D-308: without a DecoderSpecificInfo the configuration stays as it was, even if an
// earlier entry set it.
void readElementaryStreamDescriptor(SampleDescription& description, AtomReader& reader) {
  skipVersionAndFlags(reader);
  skipToDecoderConfig(reader);

  if (readU8(reader) != kDecoderConfigTag) throw exception("invalid esds atom (2)");
  if (readExpandableLength(reader) < kDecoderConfigMinLength) {
    throw exception("invalid esds atom (3)");
  }
  description.objectType = readU8(reader);
  readU32(reader);
  description.maximumBitrate = readU32(reader);
  description.averageBitrate = readU32(reader);

  if (readU8(reader) != kDecoderSpecificInfoTag) return;
  readBytes(reader, description.decoderConfig, readExpandableLength(reader));
}

}  // namespace atomkit
