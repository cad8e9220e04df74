// 'esds': how an MPEG-4 elementary stream is decoded.
#pragma once
#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/meta/codec/sample_description.h"

namespace atomkit {

/// Reads the payload of an 'esds' box: the object type, the bit rates and the decoder
/// configuration, which stays as it was when the box holds no DecoderSpecificInfo.
/// @throws exception "invalid esds atom (1)" for an ES_Descriptor shorter than 20 bytes, "invalid
///         esds atom (2)" when no DecoderConfigDescriptor follows, "invalid esds atom (3)" when
///         that is shorter than 13 bytes; the reader's "past end" message
void readElementaryStreamDescriptor(SampleDescription& description, AtomReader& reader);

}  // namespace atomkit
