// Item-list metadata: the text tags and the cover picture of 'udta' / 'meta' / 'ilst'.
#pragma once
#include <cstdint>

#include "atomkit/core/containers/plain_array.h"
#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/core/streams/parse_options.h"
#include "atomkit/meta/tags/tag_store.h"

namespace atomkit {

struct ItemListTags {
  bool seen = false;  ///< a 'meta' box was read; later ones are ignored
  TagStore tags;
  ByteArray cover;  ///< the picture as it is stored; empty when there is none
};

/// Reads the payload of a 'meta' box, when text tags or the cover are wanted. Any exception inside
/// discards the tags (not the cover) and is not passed on; what the source throws is. The caller
/// goes on behind the box with finish().
/// @param payloadSize  bytes of the payload
void readMetadata(ParseOptions options, ItemListTags& target, AtomReader& reader,
                  uint64_t payloadSize);

/// The reader inside, which passes its exceptions on and leaves what was read until then.
/// @throws exception
void readMetadataContents(ParseOptions options, ItemListTags& target, AtomReader& reader,
                          uint64_t payloadSize);

}  // namespace atomkit
