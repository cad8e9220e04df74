// The names under which the items of an item list become tags.
#pragma once
#include "atomkit/core/streams/fourcc.h"

namespace atomkit {

/// Tag name of an item type, for example "title" for 0xA9 'nam'.
/// @return null for a type without one
const char* tagNameOf(FourCC itemType) noexcept;

/// Name of a tag whose item carries its name: "date" becomes "year" and "tracknumber" becomes
/// "track", without regard to ASCII case, so that both kinds of items meet in one tag; any other
/// name stays as it is written.
/// @param name  borrowed; may be what is returned
const char* canonicalTagName(const char* name) noexcept;

}  // namespace atomkit
