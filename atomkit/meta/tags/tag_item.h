// One item of an item list, which becomes a text tag.
#pragma once
#include <cstdint>

#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/core/streams/fourcc.h"
#include "atomkit/meta/tags/tag_store.h"

namespace atomkit {

/// Bytes of a 'data' box before the value of the item: version, flags and locale.
inline constexpr uint32_t kDataHeaderBytes = 8;

/// Reads the payload of an item other than the cover, and adds the tags that it makes: none, one,
/// or two for a number with a total.
/// @param itemType  type of the item's box
/// @param payloadSize  bytes of the item's payload
/// @throws exception (box header errors; past end; out of memory)
void readTagItem(TagStore& tags, FourCC itemType, AtomReader& reader, uint64_t payloadSize);

/// Adds `value` to the tag of that name. "tool", "codec" and names that begin with "replaygain_"
/// keep only their last value. Other tags collect values, unless the tag takes no further ones.
/// @throws exception (out of memory)
void addTag(TagStore& tags, const char* name, SharedString value);

}  // namespace atomkit
