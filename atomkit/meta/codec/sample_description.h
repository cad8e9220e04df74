// Sample descriptions ('stsd'): what kind of media a track holds and how its decoder is set up.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/containers/shared_string.h"
#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/core/streams/parse_options.h"

namespace atomkit {

enum class CodecKind : uint32_t {  // ABI: do not renumber
  none = 0,                        ///< no 'stsd' was seen
  other = 1,                       ///< only entries that the library does not know
  mp4a = 2,
  alac = 3,
  mp4v = 4,
  avc1 = 5,
};

constexpr bool isAudio(CodecKind kind) noexcept {
  return kind == CodecKind::mp4a || kind == CodecKind::alac;
}
constexpr bool isVideo(CodecKind kind) noexcept {
  return kind == CodecKind::mp4v || kind == CodecKind::avc1;
}

/// How a decoder is set up.
/// mp4a, mp4v: the DecoderSpecificInfo. avc1: for every sequence, then every picture parameter set,
/// a 16-bit big-endian length and its bytes. alac: the payload of the 'alac' box.
using DecoderConfig = ByteArray;

/// All fields are 0 or empty until a sample entry fills them.
struct SampleDescription {
  CodecKind codecKind = CodecKind::none;
  uint32_t channelCount = 0;
  uint32_t sampleSize = 0;  ///< bits per sample
  uint32_t sampleRate = 0;  ///< Hz, the integer part of the 16.16 field
  uint32_t objectType = 0;  ///< objectTypeIndication of the DecoderConfigDescriptor
  DecoderConfig decoderConfig;
  uint32_t maximumBitrate = 0;  ///< bits per second
  uint32_t averageBitrate = 0;  ///< bits per second
  uint32_t width = 0;           ///< pixels
  uint32_t height = 0;          ///< pixels
  SharedString compressorName;  ///< the 32-byte field as it stands, its length byte included
};

/// Reads the payload of an 'stsd' box. The kind is set whatever the options say; details are read
/// for wanted audio (kWantAudio) and video (kWantVideo) only. With several entries the last
/// recognised one decides the kind.
/// @param payloadSize  bytes of the payload
/// @throws exception, leaving what was read until then
void readSampleDescriptions(ParseOptions options, SampleDescription& description,
                            AtomReader& reader, uint64_t payloadSize);

}  // namespace atomkit
