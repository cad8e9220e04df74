// 'avcC': the parameter sets of an H.264 track.
#pragma once
#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/meta/codec/sample_description.h"

namespace atomkit {

/// Reads the payload of an 'avcC' box: `decoderConfig` becomes a 16-bit big-endian length and the
/// bytes of every sequence parameter set, then of every picture parameter set, in file order.
/// @throws exception "invalid avcC chunk (1)", "invalid avcC chunk (2)" when a reserved bit is 0;
///         the reader's "past end" message; "out of memory when resizing array". A failure inside
///         the sets leaves what was appended before it.
/// Cost: linear in the bytes of the sets.
void readAvcConfiguration(DecoderConfig& decoderConfig, AtomReader& reader);

}  // namespace atomkit
