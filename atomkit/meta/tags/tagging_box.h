// The ZT tagging box ('udta' / 'tags'): free named fields for the file and for its chapters.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/node_list.h"
#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/core/streams/parse_options.h"
#include "atomkit/meta/tags/tag_store.h"

namespace atomkit {

/// The fields of single chapters, in file order.
using TaggedSegments = NodeList<uint32_t, TagStore>;
/// One of them: `key` is the zero-based number of the chapter, `payload` its fields.
using TaggedSegment = TaggedSegments::Node;

struct TaggingBox {
  TagStore fields;  ///< of the whole file
  TaggedSegments segments;
  bool seen = false;  ///< a 'tags' box has been read
  ByteArray cover;    ///< the picture as stored; empty when there is none

  void clear() noexcept;
};

/// Reads the payload of a 'tags' box, when text tags or the cover are wanted. An exception inside
/// discards everything that this and an earlier 'tags' box gave, and ends here; what the source
/// throws passes through. The caller skips the rest of the box with finish().
/// @param payloadSize  bytes of the payload
void readTaggingBox(ParseOptions options, TaggingBox& target, AtomReader& reader,
                    uint64_t payloadSize);

/// The same without the catch: what was read before an exception stays. Reads the payload even when
/// the options want nothing of it.
/// @throws exception
void readTaggingContents(ParseOptions options, TaggingBox& target, AtomReader& reader,
                         uint64_t payloadSize);

/// Reads the payload of a field list ('meta' in 'tags' or 'tseg') and appends its fields to
/// `fields`.
/// @throws exception "suspiciously big field count (exploit attempt?)" above 256 fields,
///         "suspiciously big value count (exploit attempt?)" above 256 values of a field,
///         "suspiciously long value (exploit attempt?)" above 65,536 bytes; past end; out of memory
void readTagFields(TagStore& fields, AtomReader& reader);

}  // namespace atomkit
