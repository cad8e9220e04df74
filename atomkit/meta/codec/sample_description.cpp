#include "atomkit/meta/codec/sample_description.h"

#include "atomkit/core/containers/exception.h"
#include "atomkit/core/streams/box_reader.h"
#include "atomkit/core/streams/fourcc.h"
#include "atomkit/core/streams/value_readers.h"
#include "atomkit/meta/codec/avc_configuration.h"
#include "atomkit/meta/codec/elementary_stream_descriptor.h"

namespace atomkit {
namespace {

constexpr uint32_t kAudioReservedBytes = 6;
constexpr uint32_t kVideoReservedBytes = 24;  // data_reference_index included
constexpr uint32_t kCompressorNameBytes = 32;

// 'alac' inside an 'alac' entry: the decoder's setup.
// DELIBERATE D-311: the box's version and flags stay at the head of the setup.
void readAlacSetup(SampleDescription& description, AtomReader& reader) {
  const uint64_t bytes = reader.remaining();
  if (bytes > UINT32_MAX) throw exception("ALAC decoder setup too big");
  readBytes(reader, description.decoderConfig, static_cast<uint32_t>(bytes));
}

void readAvcSetup(SampleDescription& description, AtomReader& reader) {
  readAvcConfiguration(description.decoderConfig, reader);
}

// An entry type, the kind of track that it makes, and the box that configures its decoder. That
// box is refused with `misplaced` in the other entries of the same medium.
//
// DELIBERATE D-305: a misplaced 'esds' is reported in other words for video than for audio.
struct EntryType {
  FourCC type;
  CodecKind kind;
  FourCC configurationBox;
  void (*readConfiguration)(SampleDescription& description, AtomReader& reader);
  const char* misplaced;
};
constexpr EntryType kEntryTypes[] = {
    {fourCC("mp4a"), CodecKind::mp4a, fourCC("esds"), readElementaryStreamDescriptor,
     "esds atom not expected here"},
    {fourCC("alac"), CodecKind::alac, fourCC("alac"), readAlacSetup, "alac atom not expected here"},
    {fourCC("mp4v"), CodecKind::mp4v, fourCC("esds"), readElementaryStreamDescriptor,
     "esds not expected here"},
    {fourCC("avc1"), CodecKind::avc1, fourCC("avcC"), readAvcSetup, "avcC not expected here"},
};

// DELIBERATE D-303: only the first box after the fields of an entry is looked at, and none is
// opened: an 'esds' after another box or inside a 'wave' box is not found.
void readFirstChild(SampleDescription& description, AtomReader& entry, const EntryType& entryType) {
  BoxHeader header;
  if (!readBoxHeader(entry, header)) return;
  AtomReader child(entry, header.payloadSize);
  for (const EntryType& owner : kEntryTypes) {
    if (isAudio(owner.kind) != isAudio(entryType.kind) || owner.configurationBox != header.type) {
      continue;
    }
    if (owner.type != entryType.type) throw exception(owner.misplaced);
    owner.readConfiguration(description, child);
  }
  child.finish();
}

// AudioSampleEntry
//   6 reserved bytes, u16 data_reference_index, u16 entry version, u16 revision, u32 vendor,
//   u16 channelcount, u16 samplesize, u16 compression_id, u16 packet_size,
//   u32 samplerate (16.16, only the integer part is kept), boxes
//
// DELIBERATE D-302: the entry version is not looked at; the longer layouts of versions 1 and 2 are
// read as if they ended here, and their extra fields are taken for a box.
void readAudioEntry(SampleDescription& description, AtomReader& entry, const EntryType& entryType) {
  entry.skipExact(kAudioReservedBytes);
  readU16(entry);
  readU32(entry);
  readU32(entry);
  description.channelCount = readU16(entry);
  description.sampleSize = readU16(entry);
  readU16(entry);
  readU16(entry);
  description.sampleRate = readU16(entry);
  readU16(entry);
  readFirstChild(description, entry, entryType);
}

// VisualSampleEntry
//   6 reserved bytes, u16 data_reference_index, 16 pre-defined and reserved bytes, u16 width,
//   u16 height, u32 horizresolution, u32 vertresolution, u32 reserved, u16 frame_count,
//   32 bytes compressorname (a length byte, then the text), u16 depth, u16 pre_defined, boxes
//
// DELIBERATE D-304: the length byte of the compressor name is kept as its first character, and
// nothing is trimmed.
void readVideoEntry(SampleDescription& description, AtomReader& entry, const EntryType& entryType) {
  entry.skipExact(kVideoReservedBytes);
  description.width = readU16(entry);
  description.height = readU16(entry);
  readU32(entry);
  readU32(entry);
  readU32(entry);
  readU16(entry);
  description.compressorName = readString(entry, kCompressorNameBytes);
  readU16(entry);
  readU16(entry);
  readFirstChild(description, entry, entryType);
}

// DELIBERATE D-301: the kind is set even when the options don't ask for the entry's details, and
// the last recognised entry decides it.
void readSampleEntry(ParseOptions options, SampleDescription& description, AtomReader& entry,
                     FourCC type) {
  for (const EntryType& entryType : kEntryTypes) {
    if (entryType.type != type) continue;
    description.codecKind = entryType.kind;
    const bool audio = isAudio(entryType.kind);
    if (audio && (options & kWantAudio)) readAudioEntry(description, entry, entryType);
    if (!audio && (options & kWantVideo)) readVideoEntry(description, entry, entryType);
  }
}

}  // namespace

// 'stsd' SampleDescriptionBox
//   u8 version, u24 flags (both ignored), u32 entry_count, entry_count x box
// Bytes after the last entry are left to the caller to skip.
void readSampleDescriptions(ParseOptions options, SampleDescription& description,
                            AtomReader& reader, uint64_t payloadSize) {
  description.codecKind = CodecKind::other;
  if (payloadSize < 4) throw exception("invalid stsd atom");
  skipVersionAndFlags(reader);
  const uint32_t entryCount = readU32(reader);
  // The count was read, so the payload has at least 8 bytes, and no entry takes more than what is
  // left: the difference below doesn't wrap.
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
