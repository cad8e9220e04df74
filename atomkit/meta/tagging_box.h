// The ZT tagging box ('udta' / 'tags'): free named fields for the file and for its chapters.
#pragma once
#include <cstdint>

#include "atomkit/core/byte_stream.h"
#include "atomkit/core/node_list.h"
#include "atomkit/core/parse_options.h"
#include "atomkit/core/plain_array.h"
#include "atomkit/meta/tag_store.h"

namespace atomkit {

struct TaggingBox {
  bool seen = false;  ///< a 'tags' box has been read
  TagStore fields;    ///< of the whole file
  /// Fields of single chapters in file order, keyed by the chapter's number in the file (zero-based
  /// index of the chapter that they are merged into).
  NodeList<uint32_t, TagStore> segments;
  ByteArray cover;

  void clear() noexcept;
};

/// Reads the payload of a 'tags' box. Any exception inside discards everything that the box gave
/// and is not passed on; what the source throws is.
void readTaggingBox(ParseOptions options, TaggingBox& target, AtomReader& reader,
                    uint64_t payloadSize);

}  // namespace atomkit
