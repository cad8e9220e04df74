#include "atomkit/meta/codec/sample_description.h"

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/box_reader.h"
#include "atomkit/core/streams/fourcc.h"
#include "atomkit/core/streams/value_readers.h"
#include "atomkit/meta/codec/avc_configuration.h"
#include "atomkit/meta/codec/elementary_stream_descriptor.h"

namespace atomkit {
namespace {

constexpr uint32_t kCompressorNameBytes = 32;

// 'alac' inside an 'alac' entry: the decoder's setup.
// DELIBERATE D-311: the box's version and flags stay in front of the setup.
void readAlacSetup(ByteArray& decoderConfig, AtomReader& reader, uint64_t payloadSize) {
  if (payloadSize > UINT32_MAX) throw exception("ALAC decoder setup too big");
  readBytes(reader, decoderConfig, static_cast<uint32_t>(payloadSize));
}

void readAudioChild(SampleDescription& description, AtomReader& child, const BoxHeader& header,
                    FourCC entryType) {
  if (header.type == fourCC("esds")) {
    if (entryType != fourCC("mp4a")) throw exception("esds atom not expected here");
    readElementaryStreamDescriptor(description, child);
  } else if (header.type == fourCC("alac")) {
    if (entryType != fourCC("alac")) throw exception("alac atom not expected here");
    readAlacSetup(description.decoderConfig, child, header.payloadSize);
  }
}

// DELIBERATE D-305: a misplaced 'esds' is reported in other words here than in an audio entry;
// both texts are known to users.
void readVideoChild(SampleDescription& description, AtomReader& child, const BoxHeader& header,
                    FourCC entryType) {
  if (header.type == fourCC("avcC")) {
    if (entryType != fourCC("avc1")) throw exception("avcC not expected here");
    readAvcConfiguration(description.decoderConfig, child);
  } else if (header.type == fourCC("esds")) {
    if (entryType != fourCC("mp4v")) throw exception("esds not expected here");
    readElementaryStreamDescriptor(description, child);
  }
}

using ChildReader = void (*)(SampleDescription& description, AtomReader& child,
                             const BoxHeader& header, FourCC entryType);

// DELIBERATE D-303: only the first box behind the fields of an entry is looked at, and none is
// opened: an 'esds' behind another box or inside a 'wave' box is not found.
void readFirstChild(SampleDescription& description, AtomReader& entry, FourCC entryType,
                    ChildReader readChild) {
  BoxHeader header;
  if (!readBoxHeader(entry, header)) return;
  AtomReader child(entry, header.payloadSize);
  readChild(description, child, header, entryType);
  child.finish();
}

// AudioSampleEntry
//   6 reserved bytes, u16 data_reference_index, u16 entry version, u16 revision, u32 vendor,
//   u16 channelcount, u16 samplesize, u16 compression_id, u16 packet_size,
//   u32 samplerate (16.16, only the integer part is kept), boxes
//
// DELIBERATE D-302: the entry version is not looked at; the longer layouts of versions 1 and 2 are
// read as if they ended here, so that their extra fields are taken for a box.
void readAudioEntry(SampleDescription& description, AtomReader& entry, FourCC entryType) {
  entry.skipExact(6);
  readU16(entry);
  readU32(entry);
  readU32(entry);
  description.channelCount = readU16(entry);
  description.sampleSize = readU16(entry);
  readU16(entry);
  readU16(entry);
  description.sampleRate = readU16(entry);
  readU16(entry);
  readFirstChild(description, entry, entryType, readAudioChild);
}

// VisualSampleEntry
//   6 reserved bytes, u16 data_reference_index, 16 pre-defined and reserved bytes, u16 width,
//   u16 height, u32 horizresolution, u32 vertresolution, u32 reserved, u16 frame_count,
//   32 bytes compressorname (a length byte, then the text), u16 depth, u16 pre_defined, boxes
//
// DELIBERATE D-304: the length byte of the compressor name is kept as its first character, and
// nothing is trimmed.
void readVideoEntry(SampleDescription& description, AtomReader& entry, FourCC entryType) {
  entry.skipExact(24);
  description.width = readU16(entry);
  description.height = readU16(entry);
  readU32(entry);
  readU32(entry);
  readU32(entry);
  readU16(entry);
  description.compressorName = SharedString::make();
  readString(entry, *description.compressorName, kCompressorNameBytes);
  readU16(entry);
  readU16(entry);
  readFirstChild(description, entry, entryType, readVideoChild);
}

// DELIBERATE D-301: the kind is set even when the options don't ask for the entry's details, so
// that unwanted tracks can be told apart, and the last recognised entry decides it.
void readSampleEntry(ParseOptions options, SampleDescription& description, AtomReader& entry,
                     FourCC type) {
  CodecKind kind = CodecKind::other;
  switch (type) {
    case fourCC("mp4a"):
      kind = CodecKind::mp4a;
      break;
    case fourCC("alac"):
      kind = CodecKind::alac;
      break;
    case fourCC("mp4v"):
      kind = CodecKind::mp4v;
      break;
    case fourCC("avc1"):
      kind = CodecKind::avc1;
      break;
    default:
      return;
  }
  description.codecKind = kind;
  if (isAudio(kind) && (options & kWantAudio)) readAudioEntry(description, entry, type);
  if (isVideo(kind) && (options & kWantVideo)) readVideoEntry(description, entry, type);
}

}  // namespace

// 'stsd' SampleDescriptionBox
//   u8 version, u24 flags (both ignored), u32 entry_count, entry_count x box
// Bytes behind the last entry are left to the caller to skip.
void readSampleDescriptions(ParseOptions options, SampleDescription& description,
                            AtomReader& reader, uint64_t payloadSize) {
  description.codecKind = CodecKind::other;
  if (payloadSize < 4) throw exception("invalid stsd atom");
  skipVersionAndFlags(reader);
  const uint32_t entryCount = readU32(reader);
  // The reader holds payloadSize bytes, so 8 of them are there once the count was read, and no
  // entry takes more than what is left: the difference below doesn't wrap.
  uint64_t consumed = 8;
  for (uint32_t i = 0; i < entryCount; ++i) {
    const BoxHeader header = expectBoxHeader(reader, payloadSize - consumed);
    AtomReader entry(reader, header.payloadSize);
    readSampleEntry(options, description, entry, header.type);
    entry.finish();
    consumed += header.boxSize();
  }
}

}  // namespace atomkit
