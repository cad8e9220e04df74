// Item-list metadata: the text tags and the cover picture of 'udta' / 'meta' / 'ilst'.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/core/streams/parse_options.h"
#include "atomkit/meta/tags/tag_store.h"

namespace atomkit {

struct ItemListTags {
  bool seen = false;  ///< a 'meta' box has been read; later ones are ignored
  TagStore tags;
  ByteArray cover;  ///< the picture as stored; empty when there is none
};

/// Reads the payload of a 'meta' box, when text tags or the cover are wanted. An exception inside
/// discards the tags (not the cover) and ends here; what the source throws passes through. The
/// caller skips the rest of the box with finish().
/// @param payloadSize  bytes of the payload
void readMetadata(ParseOptions options, ItemListTags& target, AtomReader& reader,
                  uint64_t payloadSize);

/// The same without the catch: what was read before an exception stays. Reads the payload whatever
/// was seen before.
/// @throws exception
void readMetadataContents(ParseOptions options, ItemListTags& target, AtomReader& reader,
                          uint64_t payloadSize);

}  // namespace atomkit
