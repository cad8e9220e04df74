// The names under which the items of an item list become tags.
#pragma once
#include "atomkit/core/streams/fourcc.h"

namespace atomkit {

/// Name of the tag that items of a type make, for example "title" for 0xA9 'nam'.
/// @return null for a type without a name
const char* tagNameOf(FourCC itemType) noexcept;

/// Name of the tag of an item that carries a name. "date" becomes "year" and "tracknumber" becomes
/// "track", without regard to ASCII case, so that they join the tags that item types make; any
/// other name stays as it is written.
/// @param name  may be what is returned
const char* canonicalTagName(const char* name) noexcept;

}  // namespace atomkit
