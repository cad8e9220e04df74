// One item of an item list: becomes a text tag.
#pragma once
#include <cstdint>

#include "atomkit/core/streams/byte_stream.h"
#include "atomkit/core/streams/fourcc.h"
#include "atomkit/meta/tags/tag_store.h"

namespace atomkit {

/// Reads the payload of an item that isn't the cover, and adds the tag that it makes, if any.
/// @param itemType  type of the item's box
/// @param payloadSize  bytes of the item's payload
/// @throws exception (box header errors; past end; out of memory)
void readTagItem(TagStore& tags, FourCC itemType, AtomReader& reader, uint64_t payloadSize);

/// Adds `value` to the tag of that name. "tool", "codec" and names that begin with "replaygain_"
/// keep the last value only; other tags collect their values, unless the tag takes no further ones.
/// @throws exception (out of memory)
void addTag(TagStore& tags, const char* name, SharedString value);

}  // namespace atomkit
