// The ZT tagging box ('udta' / 'tags'): free named fields for the file and for its chapters.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/node_list.h"
#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/core/streams/parse_options.h"
#include "atomkit/meta/tags/tag_store.h"

namespace atomkit {

struct TaggingBox {
  bool seen = false;  ///< a 'tags' box has been read
  TagStore fields;    ///< of the whole file
  /// Fields of single chapters in file order, keyed by the chapter's number in the file (zero-based
  /// index of the chapter that they are merged into).
  NodeList<uint32_t, TagStore> segments;
  ByteArray cover;  ///< the picture as it is stored; empty when there is none

  void clear() noexcept;
};

/// Reads the payload of a 'tags' box, when text tags or the cover are wanted. Any exception inside
/// discards everything that this and an earlier 'tags' box gave and is not passed on; what the
/// source throws is. The caller goes on behind the box with finish().
/// @param payloadSize  bytes of the payload
void readTaggingBox(ParseOptions options, TaggingBox& target, AtomReader& reader,
                    uint64_t payloadSize);

// The readers inside, which pass their exceptions on and leave what was read until then.

/// The whole payload, whatever the options. @throws exception
void readTaggingContents(ParseOptions options, TaggingBox& target, AtomReader& reader,
                         uint64_t payloadSize);

/// A field list ('meta' at either level): appends its fields to `fields`.
/// @throws exception "suspiciously big field count (exploit attempt?)" above 256 fields,
///         "suspiciously big value count (exploit attempt?)" above 256 values of a field,
///         "suspiciously long value (exploit attempt?)" above 65,536 bytes; past end; out of memory
void readTagFields(TagStore& fields, AtomReader& reader);

}  // namespace atomkit
